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

# Waits until `count_command` prints at least $files (retrying while the database is
# locked or not made yet) and reports the time since $start.
wait_for_count() {  # NAME DB SQL PID
    local name=$1 db=$2 sql=$3 pid=$4 count=0
    while :; do
        if [ -f "$db" ]; then
            count=$(sqlite3 -readonly "$db" "$sql" 2>/dev/null || echo 0)
            [ -n "$count" ] || count=0
        fi
        [ "$count" -ge "$files" ] && break
        if ! kill -0 "$pid" 2>/dev/null; then
            echo "$name stopped before its database held every file ($count of $files)"
            return 1
        fi
        sleep 0.2
    done
    report "$name, full scan" "$count" "$(awk -v a="$start" -v b="$(now)" 'BEGIN { print b - a }')"
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
    as_user minidlnad -S -R -f "$work/minidlna/minidlna.conf" -P "$work/minidlna/pid" &
    peer_pids+=($!)
    wait_for_count "minidlna" "$work/minidlna/db/files.db" \
        "SELECT count(*) FROM DETAILS WHERE MIME IS NOT NULL" "${peer_pids[-1]}" || true
    kill "${peer_pids[-1]}" 2>/dev/null || true
    wait "${peer_pids[-1]}" 2>/dev/null || true
fi

if command -v gerbera >/dev/null; then
    echo "== gerbera"
    mkdir -p "$work/gerbera/home"
    chown -R "${user:-$(id -un)}" "$work/gerbera"
    # Started with a home of its own, it writes its default configuration and database
    # under HOME/.config/gerbera.
    start=$(now)
    as_user gerbera --home "$work/gerbera/home" --port "${CALYX_BENCH_GERBERA_PORT:-58201}" \
        --interface lo --add "$work/tree" --logfile "$work/gerbera/log" >/dev/null 2>&1 &
    peer_pids+=($!)
    db=$work/gerbera/home/.config/gerbera/gerbera.db
    wait_for_count "gerbera" "$db" \
        "SELECT count(*) FROM mt_cds_object WHERE location LIKE '%/file%' AND (object_type & 2) = 2" \
        "${peer_pids[-1]}" || tail -5 "$work/gerbera/log"
    kill "${peer_pids[-1]}" 2>/dev/null || true
    wait "${peer_pids[-1]}" 2>/dev/null || true
fi

echo
echo "== results ($files files, $(nproc) processors)"
printf '%s\n' "${results[@]}"
