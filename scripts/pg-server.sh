# Sourced by the test and benchmark commands: the unprivileged user they run servers
# (and, for tests, test programs) as, and one throw-away PostgreSQL server at a time.
#
#   unprivileged_user        prints "calyx-test" (creating it if missing) when running as
#                            root, nothing otherwise (PostgreSQL refuses to run as root)
#   pg_server_start USER PORT  starts a cluster (scripts/pg-cluster.sh) in a new temporary
#                            directory and exports PGHOST, PGPORT, PGUSER and PGDATABASE;
#                            a server that cannot start fails the command with its reason
#   pg_server_stop           stops and removes the running one, if any (trap it on EXIT)
# Needs $src, the repository root.

pg_server_dir=""
pg_server_user=""

unprivileged_user() {
    if [ "$(id -u)" -eq 0 ]; then
        if ! id calyx-test >/dev/null 2>&1; then
            useradd --system --no-create-home --shell /usr/sbin/nologin calyx-test || return 1
        fi
        echo calyx-test
    fi
}

pg_server_start() {
    pg_server_user=$1
    pg_server_dir=$(mktemp -d /tmp/calyx-pg-XXXXXX)
    chmod 755 "$pg_server_dir"
    CALYX_PG_PORT=$2 bash "$src/scripts/pg-cluster.sh" start "$pg_server_dir" "$pg_server_user"
    export PGHOST=$pg_server_dir PGPORT=$2 PGUSER=admin PGDATABASE=calyx
}

pg_server_stop() {
    if [ -n "$pg_server_dir" ]; then
        bash "$src/scripts/pg-cluster.sh" stop "$pg_server_dir" "$pg_server_user"
        pg_server_dir=""
    fi
}
