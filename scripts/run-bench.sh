#!/usr/bin/env bash
# Runs every benchmark program of a bench build (make bench). Benchmarks that need the
# media index (bench/db, bench/views) get a throw-away PostgreSQL server of their own, stopped and
# removed afterwards; a server that cannot start fails the command with its reason.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$src/build/bench}
filter=${CALYX_BENCH_FILTER:-}

# shellcheck source=scripts/pg-server.sh
. "$src/scripts/pg-server.sh"
trap pg_server_stop EXIT

for bin in $(find "$build/bench" -type f -name '*_bench' -perm -u+x | sort); do
    echo "== $(basename "$bin")"
    args=()
    case "$bin" in
    */bench/db/* | */bench/views/*)
        [ -n "$pg_server_dir" ] || pg_server_start "$(unprivileged_user)" "${CALYX_PG_PORT:-55433}"
        # The server shares the machine: interleaved repetitions keep a load change from
        # falling on one side of the comparison only; compare the medians.
        args=(--benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
            --benchmark_report_aggregates_only=true)
        ;;
    esac
    if [ -n "$filter" ]; then
        args+=(--benchmark_filter="$filter")
    fi
    "$bin" "${args[@]}"
done
