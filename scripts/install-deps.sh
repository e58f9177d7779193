#!/usr/bin/env bash
# Installs the Debian packages that libcalyx needs. Idempotent and quiet when everything
# is already present.
#
#   scripts/install-deps.sh          what building and running need (make build)
#   scripts/install-deps.sh --demo   also what make demo's media server part needs: the
#                                    PostgreSQL server, ffmpeg for the sample media, a GUPnP
#                                    control point (Debian's python3-gi) and namespaces
#   scripts/install-deps.sh --test   also what testing, packaging, benchmarks and fuzzing
#                                    need (make test, make bench, make fuzz)
#   scripts/install-deps.sh --armhf  also the cross compilers and the emulator of the
#                                    32-bit ARM test command (make test-armhf)
# With --dry-run after the group, it installs nothing and prints the missing packages (none:
# nothing), exiting 1 when some are missing.
set -euo pipefail

BUILD_PACKAGES=(
    build-essential cmake ninja-build pkg-config gzip
    libjsoncpp-dev libupnp-dev libpq-dev
    libcli11-dev libvalijson-dev
    # the media server programs in server/ (indexer and calyx-dms)
    libavformat-dev libavcodec-dev libswscale-dev libswresample-dev libavutil-dev
    libgupnp-1.6-dev
    # password hashes of the settings page of calyx-dms
    libcrypt-dev
)
DEMO_PACKAGES=(
    postgresql ffmpeg gir1.2-gupnp-1.6 python3-gi iproute2 curl
)
TEST_PACKAGES=(
    # the demo's: PostgreSQL, ffmpeg, and the tests of calyx-dms with real clients on
    # namespaced networks
    "${DEMO_PACKAGES[@]}"
    libgtest-dev libgmock-dev libbenchmark-dev
    clang libclang-rt-14-dev clang-tidy
    valgrind
    python3-jsonschema
    lintian file dpkg-dev
    # systemd-analyze verify of the media server's unit (tests/install)
    systemd
    exiv2
    # a real UPnP client of calyx-dms in the tests: VLC with its UPnP discovery
    vlc-bin vlc-plugin-base
    # the settings page of calyx-dms in a real (headless) browser
    chromium chromium-driver python3-selenium
    # the smoke run of the side-by-side benchmark (bench/peers) runs minidlna beside it
    minidlna
)
ARMHF_PACKAGES=(crossbuild-essential-armhf qemu-user)

PACKAGES=("${BUILD_PACKAGES[@]}")
case "${1:-}" in
    --demo) PACKAGES+=("${DEMO_PACKAGES[@]}") ;;
    --test) PACKAGES+=("${TEST_PACKAGES[@]}") ;;
    --armhf) PACKAGES+=("${TEST_PACKAGES[@]}" "${ARMHF_PACKAGES[@]}") ;;
esac

missing=()
for pkg in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
    fi
done
if [ "${2:-}" = "--dry-run" ]; then
    [ ${#missing[@]} -eq 0 ] && exit 0
    echo "${missing[*]}"
    exit 1
fi
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    SUDO="sudo"
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
# minidlna's service must not start (it would serve every interface): the benchmark starts
# its own inside its namespaces. It is installed apart, under a policy that denies every
# service start while apt runs, removed again unless it was there before.
quiet=()
for pkg in "${missing[@]}"; do
    [ "$pkg" = minidlna ] && quiet+=("$pkg")
done
others=()
for pkg in "${missing[@]}"; do
    [ "$pkg" = minidlna ] || others+=("$pkg")
done
if [ ${#others[@]} -gt 0 ]; then
    $SUDO apt-get -o DPkg::Lock::Timeout=900 install -y -qq --no-install-recommends "${others[@]}" >/dev/null
fi
if [ ${#quiet[@]} -gt 0 ]; then
    policy=/usr/sbin/policy-rc.d
    own_policy=""
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' | $SUDO tee "$policy" >/dev/null
        $SUDO chmod 755 "$policy"
        own_policy=1
    fi
    status=0
    $SUDO apt-get -o DPkg::Lock::Timeout=900 install -y -qq --no-install-recommends "${quiet[@]}" >/dev/null ||
        status=$?
    [ -z "$own_policy" ] || $SUDO rm -f "$policy"
    [ "$status" -eq 0 ] || exit "$status"
fi
