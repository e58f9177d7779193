#!/usr/bin/env bash
# A throw-away PostgreSQL cluster for the tests and benchmarks.
#
#   pg-cluster.sh start DIR [USER]   initdb (UTF-8) into DIR, listen only on a Unix socket
#                                    in DIR, create the role "admin" and the database
#                                    "calyx" and load sql/media_index.sql. The server runs
#                                    as USER when given (required as root: PostgreSQL
#                                    refuses to run as root).
#   pg-cluster.sh stop DIR [USER]    stop the server and remove DIR.
#
# After start, PGHOST=DIR PGPORT=$CALYX_PG_PORT (default 55432) reach the server. A start
# that fails says why on standard error, leaves no server running, removes DIR and exits
# non-zero.
set -euo pipefail

usage() {
    echo "usage: pg-cluster.sh start|stop DIR [USER]" >&2
    exit 2
}
cmd=${1:-}
dir=${2:-}
user=${3:-}
[ -n "$cmd" ] && [ -n "$dir" ] || usage
port=${CALYX_PG_PORT:-55432}
here=$(cd "$(dirname "$0")/.." && pwd)
schema=$here/sql/media_index.sql

fail() {
    echo "pg-cluster: $*" >&2
    exit 1
}

bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1 || true)
if [ -z "$bindir" ] || [ ! -x "$bindir/initdb" ]; then
    fail "PostgreSQL server binaries not found under /usr/lib/postgresql (install the postgresql package)"
fi

as_user() {
    if [ -n "$user" ]; then
        runuser -u "$user" -- "$@"
    else
        "$@"
    fi
}

# Stops the server of DIR if one runs: pg_ctl first, then the postmaster recorded in
# postmaster.pid (the one this script started) if pg_ctl could not stop it.
stop_server() {
    local pidfile=$dir/data/postmaster.pid
    [ -f "$pidfile" ] || return 0
    as_user "$bindir/pg_ctl" -D "$dir/data" -m immediate -w -t 30 stop >/dev/null 2>&1 || true
    if [ -f "$pidfile" ]; then
        local pid
        pid=$(head -n 1 "$pidfile")
        if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
            kill -KILL "$pid" 2>/dev/null || true
            for _ in $(seq 50); do
                kill -0 "$pid" 2>/dev/null || break
                sleep 0.1
            done
        fi
    fi
}

start() {
    [ -f "$schema" ] || fail "schema $schema not found"
    if [ "$(id -u)" -eq 0 ] && [ -z "$user" ]; then
        fail "running as root: name an unprivileged user to run the server"
    fi
    if [ -n "$user" ] && ! id "$user" >/dev/null 2>&1; then
        fail "user $user does not exist"
    fi
    if [ -e "$dir/data" ]; then
        fail "$dir/data already exists (stop that cluster first)"
    fi
    mkdir -p "$dir"
    if [ -n "$user" ]; then
        chown "$user" "$dir"
        chmod 755 "$dir"
    fi
    # From here on a failure stops whatever was started and removes the directory.
    trap 'status=$?; if [ $status -ne 0 ]; then stop_server; rm -rf "$dir"; fi' EXIT

    as_user "$bindir/initdb" -D "$dir/data" -E UTF8 --locale=C.UTF-8 -A trust -U postgres \
        >"$dir/initdb.log" 2>&1 ||
        fail "initdb failed:"$'\n'"$(cat "$dir/initdb.log")"
    # No TCP at all: only the socket in DIR, so clusters in other directories never meet.
    as_user "$bindir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
        -o "-c listen_addresses='' -c unix_socket_directories='$dir' -p $port -c fsync=off" \
        start >/dev/null 2>&1 ||
        fail "server did not start:"$'\n'"$(cat "$dir/server.log" 2>/dev/null)"
    local out
    out=$(as_user "$bindir/psql" -X -h "$dir" -p "$port" -U postgres -d postgres -q \
        -v ON_ERROR_STOP=1 -c "CREATE ROLE admin LOGIN SUPERUSER" \
        -c "CREATE DATABASE calyx OWNER admin ENCODING 'UTF8'" 2>&1) ||
        fail "could not create the role and database:"$'\n'"$out"
    # The schema goes through standard input: the server's user need not read the sources.
    out=$(as_user "$bindir/psql" -X -h "$dir" -p "$port" -U admin -d calyx -q \
        -v ON_ERROR_STOP=1 -f - <"$schema" 2>&1) ||
        fail "could not load $schema:"$'\n'"$out"
}

case "$cmd" in
start) start ;;
stop)
    stop_server
    rm -rf "$dir"
    ;;
*) usage ;;
esac
