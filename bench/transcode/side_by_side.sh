#!/usr/bin/env bash
# Transcoding side by side (run as root; not a test): calyx-transcode as calyx-dms runs it,
# then the same sources through gerbera + ffmpeg and through rygel, each in a network
# namespace of its own. Prints each one's table, then one table of the three, case by case.
#   bash bench/transcode/side_by_side.sh [SECONDS] [--runs N]     (defaults: 20 s, 3 runs)
# Installs the peers' Debian packages when missing, without letting their services start,
# and builds the release worker.
set -euo pipefail

src=$(cd "$(dirname "$0")/../.." && pwd)
[ "$(id -u)" -eq 0 ] || { echo "run as root (network namespaces)" >&2; exit 1; }
seconds=20
if [ $# -gt 0 ] && [ "${1#--}" = "$1" ]; then
    seconds=$1
    shift
fi

peers="gerbera rygel gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
    gstreamer1.0-plugins-ugly gstreamer1.0-libav"
missing=""
for p in $peers; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" ||
        missing="$missing $p"
done
if [ -n "$missing" ]; then
    policy=/usr/sbin/policy-rc.d
    own_policy=""
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' >"$policy"
        chmod 755 "$policy"
        own_policy=1
    fi
    # shellcheck disable=SC2086
    DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=900 install -y \
        --no-install-recommends $missing
    [ -z "$own_policy" ] || rm -f "$policy"
fi
for daemon in gerbera rygel; do
    if pgrep -x "$daemon" >/dev/null; then
        echo "a $daemon runs outside the benchmark: stop it first" >&2
        exit 1
    fi
done

cmake --preset release -S "$src" >/dev/null
cmake --build "$src/build/release" --target calyx_transcode
figures=$(mktemp -d /tmp/calyx-transcode-figures-XXXXXX)
trap 'rm -rf "$figures"' EXIT
echo "== calyx-transcode (release)"
/usr/bin/python3 "$src/bench/transcode/transcode_bench.py" \
    "$src/build/release/server/dms/calyx-transcode" "$seconds" --json "$figures/calyx.json"
echo "== gerbera"
/usr/bin/python3 "$src/bench/transcode/gerbera_transcode.py" "$seconds" "$@" \
    --json "$figures/gerbera.json" || echo "gerbera: the benchmark failed"
echo "== rygel"
/usr/bin/python3 "$src/bench/transcode/rygel_transcode.py" "$seconds" "$@" \
    --json "$figures/rygel.json" || echo "rygel: the benchmark failed"
echo
echo "== side by side"
/usr/bin/python3 "$src/bench/transcode/compare_transcodes.py" "$figures"/calyx.json \
    "$figures"/gerbera.json "$figures"/rygel.json
