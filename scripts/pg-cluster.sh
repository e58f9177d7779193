#!/usr/bin/env bash
# A throw-away PostgreSQL cluster for the tests.
#
#   pg-cluster.sh start DIR [USER]   initdb (UTF-8) into DIR, listen only on a Unix socket
#                                    in DIR, create the role "admin" and the database
#                                    "calyx" and load sql/media_index.sql; runs the
#                                    server as USER when given (needed as root).
#   pg-cluster.sh stop DIR           stop the server and remove DIR.
#
# After start, PGHOST=DIR and PGPORT=$CALYX_PG_PORT reach it.
set -euo pipefail

cmd=${1:?usage: pg-cluster.sh start|stop DIR [USER]}
dir=${2:?usage: pg-cluster.sh start|stop DIR [USER]}
user=${3:-}
port=${CALYX_PG_PORT:-55432}
here=$(cd "$(dirname "$0")/.." && pwd)

bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
if [ -z "$bindir" ] || [ ! -x "$bindir/initdb" ]; then
    echo "pg-cluster: PostgreSQL server binaries not found (install the postgresql package)" >&2
    exit 1
fi

as_user() {
    if [ -n "$user" ]; then
        runuser -u "$user" -- "$@"
    else
        "$@"
    fi
}

case "$cmd" in
start)
    mkdir -p "$dir"
    [ -n "$user" ] && chown "$user" "$dir"
    as_user "$bindir/initdb" -D "$dir/data" -E UTF8 --locale=C.UTF-8 -A trust -U postgres >"$dir/initdb.log" 2>&1 ||
        { echo "pg-cluster: initdb failed:" >&2; cat "$dir/initdb.log" >&2; exit 1; }
    as_user "$bindir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
        -o "-c listen_addresses='' -k $dir -p $port -c fsync=off" start >/dev/null ||
        { echo "pg-cluster: server did not start:" >&2; cat "$dir/server.log" >&2; exit 1; }
    as_user "$bindir/psql" -h "$dir" -p "$port" -U postgres -d postgres -q -v ON_ERROR_STOP=1 \
        -c "CREATE ROLE admin LOGIN SUPERUSER" -c "CREATE DATABASE calyx OWNER admin" >/dev/null
    if [ -f "$here/sql/media_index.sql" ]; then
        as_user "$bindir/psql" -h "$dir" -p "$port" -U admin -d calyx -q -v ON_ERROR_STOP=1 \
            -f "$here/sql/media_index.sql" >/dev/null
    fi
    ;;
stop)
    if [ -f "$dir/data/postmaster.pid" ]; then
        as_user "$bindir/pg_ctl" -D "$dir/data" -m immediate -w stop >/dev/null 2>&1 || true
    fi
    rm -rf "$dir"
    ;;
*)
    echo "usage: pg-cluster.sh start|stop DIR [USER]" >&2
    exit 2
    ;;
esac
