#!/usr/bin/env bash
# calyx-dms side by side with minidlna, gerbera and rygel (run as root; not a test).
#   bash bench/peers/run.sh [OUTPUT_DIR] [--quick]
# Installs the peers (Debian packages) without letting their services start, builds the
# release calyx-dms and tool, starts a throw-away PostgreSQL server and runs compare.py,
# which writes results.json, table.md and latency.png to OUTPUT_DIR (default
# build/bench-peers).
set -euo pipefail

src=$(cd "$(dirname "$0")/../.." && pwd)
out=${1:-$src/build/bench-peers}
shift || true
[ "$(id -u)" -eq 0 ] || { echo "run as root (network namespaces)" >&2; exit 1; }

# Installing a peer must not start its service: a policy that denies every start while
# apt runs, removed again unless it was there before.
peers="minidlna gerbera rygel gstreamer1.0-plugins-base gstreamer1.0-plugins-good gnuplot-nox"
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
    DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=900 install -y \
        --no-install-recommends $missing
    [ -z "$own_policy" ] || rm -f "$policy"
fi
for daemon in minidlnad gerbera rygel; do
    if pgrep -x "$daemon" >/dev/null; then
        echo "a $daemon runs outside the benchmark (pid $(pgrep -x "$daemon" | tr '\n' ' ')):" \
            "stop it first" >&2
        exit 1
    fi
done

cmake --preset release -S "$src" >/dev/null
cmake --build "$src/build/release" --target calyx_dms calyx_tool

# shellcheck source=scripts/pg-server.sh
. "$src/scripts/pg-server.sh"
trap pg_server_stop EXIT
pg_server_start "$(unprivileged_user)" "${CALYX_PG_PORT:-55420}"

CALYX_SOURCE_DIR=$src CALYX_DMS=$src/build/release/server/dms/calyx-dms \
    CALYX_TOOL=$src/build/release/tools/calyx \
    /usr/bin/python3 "$src/bench/peers/compare.py" "$out" "$@"
