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
# tolerated as long as the main archive's list is there. Running it again reuses what
# was fetched and unpacks only when the package set changed.
set -euo pipefail

dir=$(mkdir -p "$1" && cd "$1" && pwd)
root=$dir/root
state=$dir/apt
mkdir -p "$state/lists/partial" "$state/cache/archives/partial"

PACKAGES=(
    libjsoncpp-dev libupnp-dev libpq-dev
    libgtest-dev libgmock-dev libcli11-dev libvalijson-dev
    libc6 libstdc++6
)

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

apt_private install -y --download-only --no-install-recommends "${PACKAGES[@]}" \
    >"$state/install.log" 2>&1 || {
    cat "$state/install.log" >&2
    exit 1
}

# Unpack afresh only when the set of packages differs from the one unpacked last time.
debs=$(cd "$state/cache/archives" && ls -- *.deb | sort)
if [ -d "$root" ] && [ "$debs" = "$(cat "$dir/unpacked" 2>/dev/null)" ]; then
    exit 0
fi
rm -rf "$root" "$dir/unpacked"
mkdir -p "$root"
for deb in $debs; do
    dpkg-deb -x "$state/cache/archives/$deb" "$root"
done
printf '%s\n' "$debs" >"$dir/unpacked"
echo "armhf-sysroot: $(wc -l <"$dir/unpacked") packages unpacked into $root"
