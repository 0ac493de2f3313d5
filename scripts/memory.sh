#!/usr/bin/env bash
# Peak memory of one counting run on a 20-megapixel image: builds the
# largeimagerun program in build/ (or $AUTOCOUNT_BUILD_DIR) and runs it under
# /usr/bin/time -v. Extra arguments (WIDTH HEIGHT) pass to the program.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${AUTOCOUNT_BUILD_DIR:-$root/build}"

[ -f "$build/CMakeCache.txt" ] || bash "$root/scripts/build.sh"
cmake --build "$build" --parallel "$(nproc)" --target largeimagerun >/dev/null
export QT_QPA_PLATFORM=offscreen
/usr/bin/time -v "$build/tests/memory/largeimagerun" "$@" 2>"$build/memory-time.txt"
grep -E 'Maximum resident set size|Elapsed \(wall clock\)' "$build/memory-time.txt"
