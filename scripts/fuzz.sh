#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang into build-fuzz/ (or
# $AUTOCOUNT_FUZZ_DIR) and runs each for a fixed time.
#   scripts/fuzz.sh [SECONDS [TARGET...]]     default 60 s, every target
# New inputs go to build-fuzz/corpus/<target>/ (the seeds in fuzz/corpus/ are
# only read); a crashing input is saved as build-fuzz/artifacts/<target>/...
# and the run fails after the remaining targets have run. Copy such an input
# into fuzz/regressions/<target>/ once the fault is fixed: the test suite
# replays it from then on.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${AUTOCOUNT_FUZZ_DIR:-$root/build-fuzz}"
seconds="${1:-60}"
[ $# -gt 0 ] && shift

bash "$root/scripts/setup.sh"
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DAUTOCOUNT_BUILD_FUZZ=ON -DAUTOCOUNT_BUILD_TESTS=OFF >/dev/null
fi
cmake --build "$build" --parallel "$(nproc)" --target fuzzers 2>&1 | sed -e '/^\[ *[0-9]*%\]/d'

if [ $# -gt 0 ]; then
    targets=("$@")
else
    targets=()
    for exe in "$build"/fuzz/fuzz_*; do
        [ -f "$exe" ] && [ -x "$exe" ] && targets+=("$(basename "$exe" | sed -e 's/^fuzz_//')")
    done
fi

asan_options="detect_leaks=1:allocator_may_return_null=1"
export LSAN_OPTIONS="suppressions=$root/tests/sanitizers/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export QT_QPA_PLATFORM=offscreen

failed=()
printf '%-18s %10s %8s %8s %8s %6s\n' target execs exec/s cov features time
for name in "${targets[@]}"; do
    corpus="$build/corpus/$name"
    artifacts="$build/artifacts/$name"
    log="$build/logs/$name.log"
    mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
    seeds=("$root/fuzz/corpus/$name")
    [ -d "$root/fuzz/regressions/$name" ] && seeds+=("$root/fuzz/regressions/$name")
    # Leak reports inside Qt and OpenCV need the slow unwinder to show the
    # frames that the suppressions name (both are built without frame
    # pointers); only the targets that meet those leaks pay for it.
    unwind=1
    case "$name" in Cli* | AlgCalResult) unwind=0 ;; esac
    export ASAN_OPTIONS="$asan_options:fast_unwind_on_malloc=$unwind"
    status=0
    "$build/fuzz/fuzz_$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -max_len=4096 -print_final_stats=1 -artifact_prefix="$artifacts/" \
        "$corpus" "${seeds[@]}" >"$log" 2>&1 || status=$?
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
    cov=$( (grep -o 'cov: [0-9]*' "$log" || true) | tail -1 | cut -d' ' -f2)
    ft=$( (grep -o 'ft: [0-9]*' "$log" || true) | tail -1 | cut -d' ' -f2)
    printf '%-18s %10s %8s %8s %8s %5ss\n' "$name" "${execs:-?}" "${rate:-?}" "${cov:-?}" \
        "${ft:-?}" "$seconds"
    if [ "$status" -ne 0 ]; then
        failed+=("$name")
        echo "fuzz: $name failed (exit $status); log: $log" >&2
        grep -E 'ERROR|runtime error|what\(\)|terminate|SUMMARY|Test unit written' "$log" \
            | head -20 >&2 || true
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzz: failing targets: ${failed[*]}" >&2
    exit 1
fi
