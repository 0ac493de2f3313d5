#!/bin/sh
# Writes docs/dish-counted.png, the README's picture of a dish being counted:
# a generated dish photograph (seed 2, one megapixel) counted with
# --dish auto, the disc counted in drawn in green.
# Usage: scripts/dish-picture.sh [BUILD_DIR]   (needs dish_score and the CLI)
set -eu
build=${1:-build}
here=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$build/bench/dish_score" --seeds 2-2 --megapixels 1 --write "$tmp" >/dev/null
"$build/cli/autocount" count -v --dish auto --annotated "$here/docs/dish-counted.png" \
    "$tmp/dish-2-10.png"
