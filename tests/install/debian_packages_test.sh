#!/usr/bin/env bash
# Builds the Debian packages of a built tree, checks them with lintian (no error tags
# allowed; warnings are listed), unpacks them with dpkg-deb -x into a temporary root
# (nothing is installed on the machine), checks the media server's package as a service
# (service_package_checks.sh), runs the unpacked tool from there and builds and runs the
# example host against that root.
#
#   tests/install/debian_packages_test.sh BUILD_DIR
set -euo pipefail

src=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: debian_packages_test.sh BUILD_DIR}" && pwd)
stage=$(mktemp -d /tmp/calyx-packages-XXXXXX)
trap 'rm -rf "$stage"' EXIT

cpack --config "$build/CPackConfig.cmake" -B "$stage/debs" >"$stage/cpack.log" 2>&1 ||
    { cat "$stage/cpack.log"; exit 1; }
debs=("$stage"/debs/*.deb)
echo "packages: $(cd "$stage/debs" && echo *.deb)"
for name in libcalyx0 libcalyx-dev calyx-tools; do
    ls "$stage/debs/${name}_"*.deb >/dev/null 2>&1 || { echo "package $name was not built"; exit 1; }
done

# lintian: errors fail the check, warnings are shown. The media server's package may
# carry the tags docs/server.md explains (the library's fixed folders under /var), which
# service_package_checks.sh holds it to.
lintian --tag-display-limit 0 "${debs[@]}" >"$stage/lintian.out" 2>/dev/null || true
if grep '^E: ' "$stage/lintian.out" | grep -qv '^E: calyx-dms'; then
    echo "lintian errors:"
    grep '^E: ' "$stage/lintian.out"
    exit 1
fi
echo "lintian: no errors outside calyx-dms; warnings:"
grep '^W: ' "$stage/lintian.out" | sed 's/^/  /' || echo "  (none)"

root=$stage/root
for deb in "${debs[@]}"; do
    dpkg-deb -x "$deb" "$root"
done
libdir=$(dirname "$(find "$root/usr/lib" -name 'libcalyx.so.0' | head -n 1)")
export LD_LIBRARY_PATH=$libdir
calyx=$root/usr/bin/calyx

# The media server's package as a service (when this build has the server).
if [ -x "$build/server/dms/calyx-dms" ]; then
    bash "$src/tests/install/service_package_checks.sh" "$src" "$stage/debs" "$root" \
        "$stage/lintian.out"
fi

# The unpacked tool, on the unpacked sample data and schema.
echo "unpacked tool: $("$calyx" --version)"
"$calyx" lint --schema "$root/usr/share/calyx/schema/profile-list.schema.json" \
    "$root/usr/share/calyx/data/profiles.json"
for page in calyx calyx-identify calyx-clients-remove calyx-lint; do
    [ -f "$root/usr/share/man/man1/$page.1.gz" ] || { echo "missing manual page $page"; exit 1; }
done
bash -n "$root/usr/share/bash-completion/completions/calyx"

# The example host, built against the unpacked packages only, on a prepared tree.
cmake -S "$src/examples/host" -B "$stage/host-build" -G Ninja \
    -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_FIND_ROOT_PATH="$root" >/dev/null
cmake --build "$stage/host-build" >/dev/null
tree=$stage/tree
mkdir -p "$tree/proc/net" "$tree/var/packages/Calyx/etc"
printf '%s\n' \
    "IP address       HW type     Flags       HW address            Mask     Device" \
    "192.168.1.50     0x1         0x2         02:00:00:00:00:50     *        eth0" \
    >"$tree/proc/net/arp"
result=$(CALYX_ROOT=$tree "$stage/host-build/calyx-example-host" \
    "$root/usr/share/calyx/data/profiles.json" "$stage/host.log" 192.168.1.50 \
    "Roku/DVP-9.10 (519.10E04111A)")
echo "example host: $result"
case $result in
    "mac=02:00:00:00:00:50 profile=Roku "*"saved=yes") ;;
    *) echo "example host: unexpected result"; exit 1 ;;
esac
[ -s "$tree/var/packages/Calyx/etc/client_list.json" ] || { echo "example host saved nothing"; exit 1; }
"$calyx" clients --root "$tree" show 02:00:00:00:00:50 | grep -q 'open_user-agent'
echo "packages: checked"
