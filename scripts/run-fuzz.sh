#!/usr/bin/env bash
# Runs every libFuzzer target (make fuzz).
#
#   run-fuzz.sh [TARGET...]     build the "fuzz" preset and run each target (all when none
#                               is named) for CALYX_FUZZ_SECONDS (default 60) seconds,
#                               CALYX_FUZZ_JOBS (default 2) at a time.
#
# Each target starts from its seed corpus in fuzz/corpus/<target>/ (read only) and from
# the inputs it gathered in earlier runs, kept in build/fuzz/corpus/<target>/. A crash, a
# failed property, a leak or a hang (-timeout, default 10 s per input) is a finding: the
# input is saved under build/fuzz/findings/<target>/, the end of the target's output is
# shown and the command fails. Logs stay in build/fuzz/logs/.
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
seconds=${CALYX_FUZZ_SECONDS:-60}
jobs=${CALYX_FUZZ_JOBS:-2}
timeout=${CALYX_FUZZ_TIMEOUT:-10}
build=$src/build/fuzz

echo "== fuzz build"
cmake --preset fuzz -S "$src" >/dev/null
cmake --build "$build" --target calyx_fuzzers -j "${CALYX_JOBS:-$(nproc)}" >/dev/null

if [ $# -gt 0 ]; then
    targets=("$@")
else
    mapfile -t targets < <(grep -v '^$' "$build/fuzz/targets.txt")
fi

# The targets write their temporary roots here; removed however the run ends.
scratch=$(mktemp -d "${TMPDIR:-/tmp}/calyx-fuzz-run-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$build/logs"

# run_one TARGET: runs it and leaves its status in $build/logs/TARGET.status.
run_one() {
    local target=$1
    local binary=$build/fuzz/$target
    local work=$build/corpus/$target
    local findings=$build/findings/$target
    local seeds=$src/fuzz/corpus/$target
    mkdir -p "$work" "$findings" "$scratch/$target"
    [ -d "$seeds" ] || seeds=""
    local status=0
    TMPDIR=$scratch/$target \
        ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1} \
        UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1} \
        "$binary" -max_total_time="$seconds" -timeout="$timeout" -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$findings/" "$work" $seeds \
        >"$build/logs/$target.log" 2>&1 || status=$?
    echo "$status" >"$build/logs/$target.status"
}

echo "== fuzzing ${#targets[@]} targets, ${seconds} s each, ${jobs} at a time"
running=0
for target in "${targets[@]}"; do
    if [ ! -x "$build/fuzz/$target" ]; then
        echo "run-fuzz: no fuzz target named $target" >&2
        exit 2
    fi
    run_one "$target" &
    running=$((running + 1))
    if [ "$running" -ge "$jobs" ]; then
        wait -n || true
        running=$((running - 1))
    fi
done
wait || true

failed=0
for target in "${targets[@]}"; do
    status=$(cat "$build/logs/$target.status" 2>/dev/null || echo missing)
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$build/logs/$target.log" |
        grep -o '[0-9]*$' || true)
    if [ "$status" = 0 ]; then
        printf '  %-22s ok    %s runs\n' "$target" "${runs:-?}"
    else
        printf '  %-22s FAILED (status %s)\n' "$target" "$status"
        tail -n 40 "$build/logs/$target.log" | sed 's/^/      /'
        failed=1
    fi
done
if [ "$failed" -ne 0 ]; then
    echo "run-fuzz: findings above; inputs saved under $build/findings/" >&2
    exit 1
fi
echo "== fuzzing found nothing"
