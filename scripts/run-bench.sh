#!/usr/bin/env bash
# Runs every benchmark program of a bench build (make bench). Benchmarks that need the
# media index get a throw-away PostgreSQL server of their own.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$src/build/bench}
filter=${CALYX_BENCH_FILTER:-}
for bin in $(find "$build/bench" -type f -name '*_bench' -perm -u+x | sort); do
    echo "== $(basename "$bin")"
    if [ -n "$filter" ]; then
        "$bin" --benchmark_filter="$filter"
    else
        "$bin"
    fi
done
