#!/usr/bin/env bash
# Fills a private armhf sysroot with Debian's armhf builds of the libraries that the
# library, the tool and the tests link against, and everything they depend on.
#
#   armhf-sysroot.sh DIR      DIR/root becomes the sysroot; DIR/apt keeps apt's private
#                             state (armhf package lists, downloaded packages)
#
# apt runs with its own lists, cache and an empty package status, so it resolves the
# whole dependency closure for armhf alone and nothing on this machine changes: no
# foreign architecture is added and no package is installed. The packages are unpacked
# with dpkg-deb -x. A list that fails to download (an update or security archive) is
# tolerated as long as the main archive's list is there. Once filled, the sysroot is kept
# until the list of packages below changes.
set -euo pipefail

dir=$(mkdir -p "$1" && cd "$1" && pwd)
root=$dir/root
state=$dir/apt
mkdir -p "$state/lists/partial" "$state/cache/archives/partial"

# With their dependencies: the libraries and the runtime the programs need.
PACKAGES=(
    libjsoncpp-dev libupnp-dev libpq-dev
    libgtest-dev libgmock-dev
    libc6 libstdc++6
)
# Header-only and architecture-independent, without their dependencies (valijson's are
# other JSON libraries that the tool does not use).
HEADER_PACKAGES=(libcli11-dev libvalijson-dev)

wanted="${PACKAGES[*]} / ${HEADER_PACKAGES[*]}"
if [ -d "$root" ] && [ "$wanted" = "$(cat "$dir/packages" 2>/dev/null)" ]; then
    exit 0
fi

apt_private() {
    apt-get -q -o APT::Architecture=armhf -o APT::Architectures::=armhf \
        -o Dir::State::Lists="$state/lists" -o Dir::Cache="$state/cache" \
        -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= \
        -o Dir::State::status=/dev/null -o Acquire::Languages=none \
        -o APT::Sandbox::User=root "$@"
}

apt_private update >"$state/update.log" 2>&1 || true
if ! compgen -G "$state/lists/*_dists_*_main_binary-armhf_Packages*" >/dev/null; then
    cat "$state/update.log" >&2
    echo "armhf-sysroot: the armhf list of the main archive could not be downloaded" >&2
    exit 1
fi
if grep -q '^[WE]:' "$state/update.log"; then
    echo "armhf-sysroot: some armhf lists were not downloaded (tolerated):" >&2
    grep '^[WE]:' "$state/update.log" >&2
fi

archives=$state/cache/archives
rm -f "$archives"/*.deb
{
    apt_private install -y --download-only --no-install-recommends "${PACKAGES[@]}" &&
        (cd "$archives" && apt_private download "${HEADER_PACKAGES[@]}")
} >"$state/install.log" 2>&1 || {
    cat "$state/install.log" >&2
    exit 1
}

rm -rf "$root" "$dir/packages"
mkdir -p "$root"
count=0
for deb in "$archives"/*.deb; do
    dpkg-deb -x "$deb" "$root"
    count=$((count + 1))
done
printf '%s\n' "$wanted" >"$dir/packages"
echo "armhf-sysroot: $count packages unpacked into $root"
