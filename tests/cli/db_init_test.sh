#!/usr/bin/env bash
# calyx db init against a PostgreSQL server of its own (a fresh cluster in a temporary
# folder, reached through its Unix socket only), whose login rules are Debian's default:
# the superuser "postgres" and a role "weak" get in without a password, every other role
# only by peer authentication, which refuses "admin" since no system user has that name.
#   - "weak" without CREATEROLE, then without CREATEDB: a clear refusal each, exit 1;
#   - the superuser: role and database made, then the refused login of "admin" explained
#     with a pg_hba.conf line; that line, added as printed, lets "admin" in, and a second
#     run creates the media index's tables and the media server's, owned by "admin";
#   - a third run changes nothing; a role with CREATEROLE and CREATEDB (no superuser)
#     does it all on a server without them; a bad connection string is a usage error (2); a server
#     that is not there gives libpq's reason.
#   db_init_test.sh CALYX_TOOL
set -euo pipefail

calyx=${1:?usage: db_init_test.sh CALYX_TOOL}
port=${CALYX_DB_INIT_PG_PORT:-55424}
unset PGHOST PGHOSTADDR PGPORT PGUSER PGDATABASE PGOPTIONS PGSERVICE PGPASSWORD
bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1 || true)
[ -x "$bindir/initdb" ] || { echo "FAIL: no PostgreSQL server programs (postgresql package)"; exit 1; }
if [ "$(id -u)" -eq 0 ]; then
    echo "FAIL: run as an unprivileged user (PostgreSQL refuses root)"
    exit 1
fi

tmp=$(mktemp -d "${TMPDIR:-/tmp}/calyx-db-init-XXXXXX")
data=$tmp/data
cleanup() {
    "$bindir/pg_ctl" -D "$data" -m immediate -w stop >/dev/null 2>&1 || true
    rm -rf "$tmp"
}
trap cleanup EXIT
fail() {
    echo "FAIL: $*"
    exit 1
}

"$bindir/initdb" -D "$data" -U postgres -A trust -E UTF8 --locale=C.UTF-8 >"$tmp/initdb.log" 2>&1 ||
    { cat "$tmp/initdb.log"; fail "initdb"; }
cat >"$data/pg_hba.conf" <<HBA
local  all  postgres  trust
local  all  weak      trust
local  all  all       peer
HBA
"$bindir/pg_ctl" -D "$data" -l "$tmp/server.log" -w -t 60 \
    -o "-c listen_addresses='' -c unix_socket_directories='$tmp' -p $port -c fsync=off" \
    start >/dev/null || { cat "$tmp/server.log"; fail "the server did not start"; }

sql() { # ROLE DATABASE STATEMENT
    "$bindir/psql" -X -A -t -h "$tmp" -p "$port" -U "$1" -d "$2" -v ON_ERROR_STOP=1 -c "$3"
}
init() { # RUN-NAME CONNINFO: the tool's status, standard output and error in $tmp/RUN-NAME.*
    set +e
    "$calyx" db init --database "$2" >"$tmp/$1.out" 2>"$tmp/$1.err"
    echo $? >"$tmp/$1.status"
    set -e
    echo "--- calyx db init --database '$2' (exit $(cat "$tmp/$1.status"))"
    cat "$tmp/$1.out" "$tmp/$1.err"
}
expect() { # RUN-NAME STATUS TEXT
    [ "$(cat "$tmp/$1.status")" = "$2" ] || fail "$1: exit $(cat "$tmp/$1.status"), not $2"
    grep -qF -- "$3" "$tmp/$1.out" "$tmp/$1.err" || fail "$1: no '$3' in its output"
}
server="host=$tmp port=$port"

sql postgres postgres "CREATE ROLE weak LOGIN" >/dev/null
init weak "$server user=weak"
expect weak 1 'the role "weak" may not create roles'
[ -z "$(sql postgres postgres "SELECT 1 FROM pg_roles WHERE rolname = 'admin'")" ] ||
    fail "the role admin was made by a role that may not"

sql postgres postgres "ALTER ROLE weak CREATEROLE" >/dev/null
init weak-createrole "$server user=weak"
expect weak-createrole 1 'the role "weak" may not create databases'
[ -z "$(sql postgres postgres "SELECT 1 FROM pg_database WHERE datname = 'calyx'")" ] ||
    fail "the database calyx was made by a role that may not"
sql postgres postgres "DROP ROLE admin" >/dev/null

init refused "$server user=postgres"
expect refused 1 'Peer authentication failed for user "admin"'
expect refused 1 "Add this line to $data/pg_hba.conf"
[ "$(sql postgres postgres "SELECT pg_get_userbyid(datdba) FROM pg_database WHERE datname = 'calyx'")" = admin ] ||
    fail "the database calyx was not made, owned by admin"
line=$(grep -A 2 '^Add this line' "$tmp/refused.err" | sed -n '3s/^    //p')
[ "$line" = "local  calyx  admin  trust" ] || fail "unexpected pg_hba.conf line: '$line'"

# The line as printed, above the peer line; then the server reloads its rules.
{ echo "$line"; cat "$data/pg_hba.conf"; } >"$tmp/hba" && mv "$tmp/hba" "$data/pg_hba.conf"
sql postgres postgres "SELECT pg_reload_conf()" >/dev/null
init ready "$server user=postgres"
expect ready 0 'the role "admin" exists'
expect ready 0 'the database "calyx" exists'
expect ready 0 "ready; start the media server with --database 'host=$tmp port=$port'"
expect ready 0 "(or the line: database = \"host=$tmp port=$port\" in its configuration file)"
tables=$(sql admin calyx "SELECT string_agg(tablename || ':' || tableowner, ' ' ORDER BY tablename)
    FROM pg_tables WHERE tablename IN ('video', 'music', 'photo', 'bookmark')")
[ "$tables" = "bookmark:admin music:admin photo:admin video:admin" ] ||
    fail "tables after the init: '$tables'"
# Search's trigram indexes of titles: the extension (pg_trgm, trusted) made by "admin", the
# database's owner, without superuser rights.
[ "$(sql admin calyx "SELECT count(*) FROM pg_indexes WHERE indexname LIKE '%\_title\_trigram\_idx'")" = 3 ] ||
    fail "no trigram indexes of titles after the init"
# The tables are the ones the programs use: a bookmark row needs its video.
sql admin calyx "INSERT INTO video (path, title) VALUES ('/v/a.mkv', 'a');
    INSERT INTO bookmark (client_mac, video_id, position) SELECT '02:00:00:00:00:01', id, 5 FROM video" >/dev/null

init again "$server user=postgres"
expect again 0 "the media index schema and the media server's tables are in place"
[ "$(sql admin calyx "SELECT count(*) FROM bookmark")" = 1 ] || fail "a second run lost rows"

# A role with CREATEROLE and CREATEDB but no superuser rights may do it all too.
for statement in "DROP DATABASE calyx" "DROP ROLE admin" "ALTER ROLE weak CREATEDB"; do
    sql postgres postgres "$statement" >/dev/null
done
init weak-enough "$server user=weak"
expect weak-enough 0 'created the database "calyx" owned by "admin"'
[ "$(sql admin calyx "SELECT tableowner FROM pg_tables WHERE tablename = 'bookmark'")" = admin ] ||
    fail "no bookmark table owned by admin after the init by weak"
[ "$(sql admin calyx "SELECT count(*) FROM pg_indexes WHERE indexname LIKE '%\_title\_trigram\_idx'")" = 3 ] ||
    fail "no trigram indexes of titles after the init by weak"

init bad "host=$tmp port=$port nonsense"
expect bad 2 "--database"
init absent "host=$tmp/nowhere port=$port user=postgres"
expect absent 1 "No such file or directory"
echo "PASS"
