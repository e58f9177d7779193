#!/usr/bin/env bash
# Installs the Debian packages that libcalyx needs to build, test, benchmark and fuzz.
# Idempotent and quiet when everything is already present.
set -euo pipefail

PACKAGES=(
    build-essential cmake ninja-build pkg-config
    libjsoncpp-dev libupnp-dev libpq-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    postgresql
    libcli11-dev
    clang libclang-rt-14-dev
    valgrind gzip
    # calyx-dms (server/dms, with the indexer's libav*) and its tests with real clients
    # on namespaced networks
    libavformat-dev libavcodec-dev libswscale-dev libavutil-dev
    libgupnp-1.6-dev gir1.2-gupnp-1.6 python3-gi ffmpeg curl iproute2
)

missing=()
for pkg in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    SUDO="sudo"
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
