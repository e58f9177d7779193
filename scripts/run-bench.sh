#!/usr/bin/env bash
# Runs every benchmark program of a bench build (make bench). Benchmarks that need the
# media index (bench/db) get a throw-away PostgreSQL server of their own, stopped and
# removed afterwards; a server that cannot start fails the command with its reason.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$src/build/bench}
filter=${CALYX_BENCH_FILTER:-}

pgdir=""
stop_server() {
    if [ -n "$pgdir" ]; then
        bash "$src/scripts/pg-cluster.sh" stop "$pgdir" "$pg_user"
        pgdir=""
    fi
}
trap stop_server EXIT

# start_server: a cluster for the database benchmarks, run as an unprivileged user when
# this runs as root (PostgreSQL refuses root).
start_server() {
    pg_user=""
    if [ "$(id -u)" -eq 0 ]; then
        pg_user=calyx-test
        if ! id "$pg_user" >/dev/null 2>&1; then
            useradd --system --no-create-home --shell /usr/sbin/nologin "$pg_user"
        fi
    fi
    pgdir=$(mktemp -d /tmp/calyx-pg-bench-XXXXXX)
    export CALYX_PG_PORT=${CALYX_PG_PORT:-55433}
    bash "$src/scripts/pg-cluster.sh" start "$pgdir" "$pg_user"
    export PGHOST=$pgdir PGPORT=$CALYX_PG_PORT PGUSER=admin PGDATABASE=calyx
}

for bin in $(find "$build/bench" -type f -name '*_bench' -perm -u+x | sort); do
    echo "== $(basename "$bin")"
    args=()
    case "$bin" in
    */bench/db/*)
        [ -n "$pgdir" ] || start_server
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
