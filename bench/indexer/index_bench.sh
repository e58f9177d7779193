#!/usr/bin/env bash
# index_bench.sh CALYX_TOOL [ignored...]
#
# Files per second of `calyx index` on a generated tree of CALYX_BENCH_FILES (default
# 10,000) files, for a first run and an unchanged re-run, and, side by side on the same
# tree, the full scans of the peer servers minidlna and gerbera (Debian packages, only
# run: each with its own configuration and database in the temporary folder, timed until
# its database holds every file). Peers that are not installed are installed when running
# as root (with services kept from starting), else skipped.
#
# The tree: the tiny files of tests/indexer/make_media.sh, copied under many names into
# folders of 100.
set -euo pipefail
tool=$(realpath "$1")
src=$(cd "$(dirname "$0")/../.." && pwd)
files=${CALYX_BENCH_FILES:-10000}
work=$(mktemp -d /tmp/calyx-index-bench-XXXXXX)
chmod 755 "$work"
peer_pids=()

# shellcheck source=scripts/pg-server.sh
. "$src/scripts/pg-server.sh"
cleanup() {
    for pid in "${peer_pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    pg_server_stop
    rm -rf "$work"
}
trap cleanup EXIT

now() { date +%s.%N; }
rate() { awk -v n="$1" -v s="$2" 'BEGIN { printf "%.1f", (s > 0 ? n / s : 0) }'; }
results=()
report() {  # NAME FILES SECONDS
    results+=("$(printf '%-34s %6d files %8.2f s %9s files/s' "$1" "$2" "$3" "$(rate "$2" "$3")")")
    echo "${results[-1]}"
}

echo "== making $files files under $work/tree"
bash "$src/tests/indexer/make_media.sh" "$work/seed" >/dev/null
samples=(video/h264_aac.mkv video/h264_aac.mp4 video/mpeg4_mp3.avi music/with_cover.mp3
    music/tone.flac music/tone.m4a photo/picture.jpg photo/picture.png)
for ((i = 0; i < files; i++)); do
    folder=$work/tree/folder$((i / 100))
    [ $((i % 100)) -eq 0 ] && mkdir -p "$folder"
    sample=${samples[$((i % ${#samples[@]}))]}
    cp "$work/seed/$sample" "$folder/file$i.${sample##*.}"
done
rm -rf "$work/seed"
chmod -R a+rX "$work"

user=$(unprivileged_user)
pg_server_start "$user" "${CALYX_PG_PORT:-55434}"

# As root, the servers and our indexer run as the unprivileged user (setpriv execs, so
# the pid of a background job is the server's own).
as_user() {
    if [ -n "$user" ]; then
        setpriv --reuid "$user" --regid "$(id -g "$user")" --clear-groups -- "$@"
    else
        "$@"
    fi
}
# For a server started in the background: the job's pid is then the server's own.
spawn_as_user() {
    if [ -n "$user" ]; then
        exec setpriv --reuid "$user" --regid "$(id -g "$user")" --clear-groups -- "$@"
    fi
    exec "$@"
}

echo "== calyx index ($(nproc) workers)"
mkdir -p "$work/thumbnails" && chown "${user:-$(id -un)}" "$work/thumbnails"
for run in "first run" "unchanged re-run"; do
    start=$(now)
    as_user env PGHOST="$PGHOST" PGPORT="$PGPORT" "$tool" index --quiet --json \
        --thumbnails "$work/thumbnails" "$work/tree" >"$work/summary.json"
    seconds=$(awk -v a="$start" -v b="$(now)" 'BEGIN { print b - a }')
    indexed=$(python3 -c 'import json,sys; s=json.load(open(sys.argv[1])); print(s["added"]+s["changed"]+s["unchanged"])' "$work/summary.json")
    report "calyx index, $run" "$indexed" "$seconds"
done

# Times a peer's full scan: it runs until its database holds every file, or until it has
# gone quiet (neither its file count nor its processor time grown) for
# CALYX_BENCH_SETTLE seconds: a peer that skips some kinds of file, or one that keeps its
# database locked while it runs (then it is stopped and the database read afterwards).
# Reports the time from $start to its last sign of work, and the files its database holds.
wait_for_scan() {  # NAME DB SQL PID
    local name=$1 db=$2 sql=$3 pid=$4 count=0 cpu=0 last_cpu=0 settle=${CALYX_BENCH_SETTLE:-10}
    local last_count=0 active
    active=$(now)
    while kill -0 "$pid" 2>/dev/null; do
        count=$(sqlite3 -readonly "$db" "$sql" 2>/dev/null || true)
        [[ "$count" =~ ^[0-9]+$ ]] || count=$last_count  # locked or not made yet: retry
        cpu=$(awk '{ print $14 + $15 }' "/proc/$pid/stat" 2>/dev/null || echo "$last_cpu")
        if [ "$count" -gt "$last_count" ] || [ "$cpu" -gt $((last_cpu + 1)) ]; then
            active=$(now)
        fi
        last_count=$count
        last_cpu=$cpu
        [ "$count" -ge "$files" ] && break
        awk -v a="$active" -v b="$(now)" -v s="$settle" 'BEGIN { exit !(b - a > s) }' && break
        sleep 0.5
    done
    local seconds
    seconds=$(awk -v a="$start" -v b="$active" 'BEGIN { print b - a }')
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    count=$(sqlite3 -cmd ".timeout 5000" -readonly "$db" "$sql" 2>/dev/null || echo 0)
    [ "$count" -ge "$files" ] || echo "$name: its database holds $count of $files files"
    report "$name, full scan" "$count" "$seconds"
}

install_peers() {
    local missing=()
    for pkg in minidlna gerbera sqlite3; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    [ "$(id -u)" -eq 0 ] || { echo "not root: cannot install ${missing[*]}"; return 1; }
    # Keep the packages' services from starting: only this script runs the peers.
    local policy=/usr/sbin/policy-rc.d made=""
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' >"$policy" && chmod 755 "$policy" && made=1
    fi
    DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=900 install -y -qq \
        --no-install-recommends "${missing[@]}" >/dev/null || true
    [ -n "$made" ] && rm -f "$policy"
    for service in minidlna gerbera; do
        service "$service" stop >/dev/null 2>&1 || true
    done
}

if install_peers && command -v minidlnad >/dev/null; then
    echo "== minidlna"
    mkdir -p "$work/minidlna/db" "$work/minidlna/log"
    chown -R "${user:-$(id -un)}" "$work/minidlna"
    cat >"$work/minidlna/minidlna.conf" <<CONF
media_dir=$work/tree
db_dir=$work/minidlna/db
log_dir=$work/minidlna/log
port=${CALYX_BENCH_MINIDLNA_PORT:-58200}
friendly_name=calyx-bench
inotify=no
CONF
    start=$(now)
    spawn_as_user minidlnad -S -R -f "$work/minidlna/minidlna.conf" -P "$work/minidlna/pid" &
    peer_pids+=($!)
    wait_for_scan "minidlna" "$work/minidlna/db/files.db" \
        "SELECT count(*) FROM DETAILS WHERE MIME IS NOT NULL" "${peer_pids[-1]}"
fi

if command -v gerbera >/dev/null; then
    echo "== gerbera"
    mkdir -p "$work/gerbera/home"
    chown -R "${user:-$(id -un)}" "$work/gerbera"
    # Started with a home of its own, it writes its default configuration and database
    # there (it binds to the first network card; the loopback one it refuses).
    start=$(now)
    spawn_as_user gerbera --home "$work/gerbera/home" --port "${CALYX_BENCH_GERBERA_PORT:-58201}" \
        --add "$work/tree" --logfile "$work/gerbera/log" >/dev/null 2>&1 &
    peer_pids+=($!)
    db=$work/gerbera/home/gerbera.db
    wait_for_scan "gerbera" "$db" \
        "SELECT count(*) FROM mt_cds_object WHERE location LIKE 'F%' AND (object_type & 2) = 2" \
        "${peer_pids[-1]}"
fi

echo
echo "== results ($files files, $(nproc) processors)"
printf '%s\n' "${results[@]}"
