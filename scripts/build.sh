#!/usr/bin/env bash
# Configures and builds AutoCount into build/ (or $AUTOCOUNT_BUILD_DIR).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${AUTOCOUNT_BUILD_DIR:-$root/build}"

bash "$root/scripts/setup.sh"
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
fi
# Progress lines are dropped; warnings and errors still show.
cmake --build "$build" --parallel "$(nproc)" 2>&1 | sed -e '/^\[ *[0-9]*%\]/d'
