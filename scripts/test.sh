#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the whole test suite.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${AUTOCOUNT_BUILD_DIR:-$root/build}"

bash "$root/scripts/build.sh"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --parallel "$(nproc)" --timeout 600
