#!/usr/bin/env bash
# The calyx-dms package as a service, from the packages debian_packages_test.sh built and
# unpacked (nothing is installed on the machine):
#   - it holds the server, the transcoding worker, the unit, the configuration (a
#     conffile), the manual page and the library's texts, and the client list's folder;
#     its maintainer scripts make the user calyx and give it that folder;
#   - it depends on the tool package (profile list, indexer, `calyx db init`), on
#     PostgreSQL's server and on adduser;
#   - the configuration and the manual page name every setting of `calyx-dms --help`, and
#     the server accepts the configuration as shipped and with every example in force;
#   - the programs and the library are hardened (bind now, relro, PIE, fortified calls);
#   - `systemd-analyze verify --root` accepts the unit in a tree holding the unpacked
#     packages and the system's own unit files;
#   - lintian shows no tag on it that docs/server.md does not explain, and that page opens
#     with the one-command start, then the service, then an existing database server.
#
#   service_package_checks.sh SOURCE_DIR DEBS_DIR ROOT LINTIAN_OUTPUT
set -euo pipefail

src=$1 debs=$2 root=$3 lintian_out=$4
fail() {
    echo "FAIL: $*"
    exit 1
}
deb=$(ls "$debs"/calyx-dms_*.deb 2>/dev/null | head -n 1)
[ -n "$deb" ] || fail "package calyx-dms was not built"
work=$(mktemp -d "${TMPDIR:-/tmp}/calyx-service-XXXXXX")
trap 'rm -rf "$work"' EXIT

# --- contents and control -------------------------------------------------------------
dpkg-deb -c "$deb" | awk '{print $6}' >"$work/contents"
for path in ./usr/bin/calyx-dms ./usr/libexec/calyx-dms/calyx-transcode \
    ./usr/libexec/calyx-dms/calyx-dms-worker \
    ./lib/systemd/system/calyx-dms.service ./etc/calyx/calyx-dms.conf \
    ./usr/share/man/man8/calyx-dms.8.gz ./var/packages/Calyx/etc/ \
    ./var/packages/Calyx/target/app/texts/enu/strings ./usr/share/doc/calyx-dms/copyright; do
    grep -qxF "$path" "$work/contents" || fail "calyx-dms lacks $path"
done
diff -r "$src/data/texts" "$root/var/packages/Calyx/target/app/texts" ||
    fail "the packaged texts differ from data/texts"
[ -f "$root/usr/share/man/man1/calyx-db-init.1.gz" ] || fail "no manual page calyx-db-init.1"

dpkg-deb -e "$deb" "$work/control"
grep -qxF /etc/calyx/calyx-dms.conf "$work/control/conffiles" || fail "the configuration is no conffile"
depends=$(dpkg-deb -f "$deb" Depends)
echo "calyx-dms depends on: $depends"
for dep in "calyx-tools (= " "libcalyx0 (= " "postgresql" "adduser" "libgupnp-1.6"; do
    grep -qF "$dep" <<<"$depends" || fail "calyx-dms does not depend on $dep"
done
for script in postinst prerm postrm; do
    sh -n "$work/control/$script" || fail "$script is no valid shell script"
done
grep -q 'adduser --system --group .*calyx' "$work/control/postinst" ||
    grep -q -- '--gecos .* calyx$' "$work/control/postinst" || fail "postinst makes no user calyx"
grep -qF 'chown calyx:calyx /var/packages/Calyx/etc' "$work/control/postinst" ||
    fail "postinst does not give the client list's folder to calyx"

# --- every setting in the configuration and the manual page ---------------------------
export LD_LIBRARY_PATH
LD_LIBRARY_PATH=$(dirname "$(find "$root/usr/lib" -name 'libcalyx.so.0' | head -n 1)")
"$root/usr/bin/calyx-dms" --help | grep -o -- '--[a-z][a-z-]*' | sort -u |
    grep -vxE -- '--(help|version|config|hash-password)' >"$work/settings"
[ "$(wc -l <"$work/settings")" -gt 20 ] || fail "too few settings in --help: $(cat "$work/settings")"
zcat "$root/usr/share/man/man8/calyx-dms.8.gz" | sed 's/\\-/-/g' >"$work/man"
while read -r flag; do
    grep -qE "^#?${flag#--} = " "$root/etc/calyx/calyx-dms.conf" ||
        fail "the configuration does not name the setting ${flag#--}"
    grep -qE -- "${flag}([^a-z-]|\$)" "$work/man" || fail "the manual page does not name $flag"
done <"$work/settings"
# The server reads the file as shipped, and with every example line in force (the settings
# page's hash is a placeholder): --hash-password parses the whole configuration first.
conf=$root/etc/calyx/calyx-dms.conf
sed -E 's/^#([a-z][a-z-]* = )/\1/' "$conf" | grep -v '^admin-password-hash' >"$work/every.conf"
for file in "$conf" "$work/every.conf"; do
    echo secret | "$root/usr/bin/calyx-dms" --config "$file" --hash-password >"$work/hash" 2>&1 ||
        { cat "$work/hash"; fail "calyx-dms refuses the configuration ${file##*/}"; }
done
# The lines that are set hold what the service needs.
grep -qx 'state-dir = /var/lib/calyx' "$root/etc/calyx/calyx-dms.conf" || fail "no state-dir line"
grep -qx 'log = /var/log/calyx/calyx-dms.log' "$root/etc/calyx/calyx-dms.conf" || fail "no log line"
# man-db comes with lintian; its warnings are the formatting errors.
zcat "$root/usr/share/man/man8/calyx-dms.8.gz" | MANWIDTH=80 man --warnings -l - >/dev/null \
    2>"$work/man.err" || true
if [ -s "$work/man.err" ]; then
    cat "$work/man.err"
    fail "the manual page has formatting errors"
fi

# --- hardening ------------------------------------------------------------------------
lib=$(find "$root/usr/lib" -name 'libcalyx.so.0.*' -type f | head -n 1)
# (readelf's output is read whole: grep -q stopping early would fail the pipe.)
for elf in "$root/usr/bin/calyx-dms" "$root/usr/bin/calyx" \
    "$root/usr/libexec/calyx-dms/calyx-transcode" "$root/usr/libexec/calyx-dms/calyx-dms-worker" \
    "$lib"; do
    name=${elf#"$root"}
    dynamic=$(readelf -d "$elf") segments=$(readelf -lW "$elf") header=$(readelf -hW "$elf")
    grep -qE '\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*NOW' <<<"$dynamic" || fail "$name: not bound at start (bindnow)"
    grep -q GNU_RELRO <<<"$segments" || fail "$name: no read-only relocations (relro)"
    grep -q 'Type:.*DYN' <<<"$header" || fail "$name: not position independent"
done
for elf in "$root/usr/bin/calyx-dms" "$root/usr/bin/calyx" "$lib"; do
    symbols=$(readelf --dyn-syms -W "$elf")
    grep -qE ' __[a-z0-9_]+_chk@' <<<"$symbols" ||
        fail "${elf#"$root"}: no fortified calls (_FORTIFY_SOURCE)"
done
echo "hardening: bindnow, relro, PIE and fortified calls in calyx-dms, calyx, calyx-transcode," \
    "calyx-dms-worker, libcalyx"

# --- the unit, as systemd reads it ----------------------------------------------------
# The tree: the system's unit files (what the unit names: network-online.target,
# multi-user.target, ...) and the unpacked packages; the real /etc is never read.
sysroot=$work/sysroot
mkdir -p "$sysroot/lib/systemd" "$sysroot/etc/systemd/system"
cp -a /lib/systemd/system "$sysroot/lib/systemd/"
cp -a "$root/." "$sysroot/"
systemd-analyze verify --root="$sysroot" --man=no \
    "$sysroot/lib/systemd/system/calyx-dms.service" >"$work/verify" 2>&1 ||
    { cat "$work/verify"; fail "systemd-analyze verify rejects calyx-dms.service"; }
if grep -i 'calyx' "$work/verify"; then
    fail "systemd-analyze verify has remarks on calyx-dms.service"
fi
unit=$sysroot/lib/systemd/system/calyx-dms.service
for line in 'User=calyx' 'Restart=on-failure' 'Wants=network-online.target' 'ProtectSystem=strict' \
    'ProtectHome=read-only' 'PrivateTmp=yes' 'NoNewPrivileges=yes' 'CapabilityBoundingSet=' \
    'ReadWritePaths=/var/lib/calyx /var/log/calyx /var/packages/Calyx/etc'; do
    grep -qxF "$line" "$unit" || fail "the unit lacks $line"
done
grep -qE '^After=.*network-online.target' "$unit" || fail "the unit does not start after the network"
echo "systemd-analyze verify: calyx-dms.service accepted"

# --- lintian: only the tags the documentation explains --------------------------------
explained=$(sed -n '/^### What lintian says/,/^#/p' "$src/docs/server.md" |
    grep -oE '^\| `[a-z0-9-]+`' | tr -d '|` ' | sort -u)
[ -n "$explained" ] || fail "docs/server.md explains no lintian tags"
unexplained=""
while read -r tag; do
    [ -z "$tag" ] && continue
    grep -qxF "$tag" <<<"$explained" || unexplained+=" $tag"
done < <(grep -E '^[EW]: calyx-dms( \(binary\))?: ' "$lintian_out" |
    sed -E 's/^[EW]: calyx-dms( \(binary\))?: ([a-z0-9-]+).*/\2/' | sort -u)
if [ -n "$unexplained" ]; then
    grep -E '^[EW]: calyx-dms' "$lintian_out"
    fail "lintian tags of calyx-dms that docs/server.md does not explain:$unexplained"
fi
echo "lintian: every tag of calyx-dms is explained in docs/server.md"
headings=$(grep '^## ' "$src/docs/server.md" | head -n 3 | tr '\n' '|')
[ "$headings" = "## One command|## Installed as a service|## An existing PostgreSQL server|" ] ||
    fail "docs/server.md does not open with the one command, the service, the database: $headings"
echo "service package: checked"
