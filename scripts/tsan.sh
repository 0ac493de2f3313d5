#!/usr/bin/env bash
# Builds the tests of counting on several threads with ThreadSanitizer into
# build-tsan/ (or $AUTOCOUNT_TSAN_DIR) and runs them. Any report fails the run.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${AUTOCOUNT_TSAN_DIR:-$root/build-tsan}"

bash "$root/scripts/setup.sh"
flags="-fsanitize=thread -fno-omit-frame-pointer"
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Debug \
        -DCMAKE_CXX_FLAGS="$flags -O1" \
        -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=thread" \
        -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=thread" >/dev/null
fi
targets=(engine_test)
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]}" 2>&1 |
    sed -e '/^\[ *[0-9]*%\]/d'

# The image library's thread pool is not instrumented: its loops run on the
# calling thread here (see tests/support/testmain.cpp).
export AUTOCOUNT_TEST_SERIAL_OPENCV=1
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$root/tests/sanitizers/tsan.supp"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --timeout 900 -R "EngineRun|SeparationWorker"
