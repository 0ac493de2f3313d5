#!/usr/bin/env bash
# Installs what is missing, builds, and runs the autocount command-line tool
# with the given arguments, e.g.: bash scripts/autocount.sh count
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${AUTOCOUNT_BUILD_DIR:-$root/build}"

bash "$root/scripts/build.sh" >&2
QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" exec "$build/cli/autocount" "$@"
