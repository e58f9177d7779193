#!/usr/bin/env bash
# make demo: the calyx tool on the shipped sample data, under a temporary root, then the
# media server's one-command start seen by a real control point.
#
#   scripts/demo.sh [PATH_TO_CALYX]
#
# Shows the road of one request for every sample client, the video profile each client
# gets for a handful of sample items, the client list saved and edited, the texts, the
# device facts of this machine and, when a media index server is reachable, a count. As
# root it then installs what the server part needs and runs `calyx-dms --media DIR` (as an
# unprivileged user, on its private database) in a network namespace, browsed by a GUPnP
# control point in another (scripts/dms-demo.py); as another user it says what it needs.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
calyx=${1:-${CALYX:-$src/build/release/tools/calyx}}
if [ ! -x "$calyx" ]; then
    echo "demo: $calyx is not built (run 'make build' first)" >&2
    exit 1
fi
calyx=$(cd "$(dirname "$calyx")" && pwd)/$(basename "$calyx")
cd "$src"
data=data  # relative, so the output names files as a reader of the repository sees them
root=$(mktemp -d "${TMPDIR:-/tmp}/calyx-demo.XXXXXX")
trap 'rm -rf "$root"' EXIT

section() { printf '\n== %s\n\n' "$1"; }

# The temporary root: an ARP table that knows the sample clients, the package's texts.
mkdir -p "$root/proc/net" "$root/var/packages/Calyx/etc" "$root/var/packages/Calyx/target/app/texts"
{
    echo "IP address       HW type     Flags       HW address            Mask     Device"
    grep -v '^#' "$data/clients/clients.tsv" | while IFS=$'\t' read -r _ mac ip _; do
        printf '%-16s 0x1         0x2         %-21s *        eth0\n' "$ip" "$mac"
    done
} >"$root/proc/net/arp"
cp -r "$data/texts/." "$root/var/packages/Calyx/target/app/texts/"

section "Profile list check: calyx lint data/profiles.json"
"$calyx" lint "$data/profiles.json"

section "The road of one request, for every sample client (MAC from the ARP table; profile from the client list match)"
table=$(mktemp "$root/table.XXXXXX")
printf 'CLIENT\tMAC\tPROFILE\tDISPLAY NAME\tTYPES\tOPTIONS\tEXPECTED\n' >"$table"
mismatches=0
while IFS=$'\t' read -r name mac ip expected; do
    args=(identify --root "$root" --profiles "$data/profiles.json" --ip "$ip" --save --brief)
    [ -f "$data/clients/$name/description.xml" ] && args+=(--description "$data/clients/$name/description.xml")
    [ -f "$data/clients/$name/headers.txt" ] && args+=(--requests "$data/clients/$name/headers.txt")
    row=$("$calyx" "${args[@]}")
    profile=$(cut -f2 <<<"$row")
    verdict=ok
    if [ "$profile" != "$expected" ]; then
        verdict="MISMATCH (expected $expected)"
        mismatches=$((mismatches + 1))
    fi
    printf '%s\t%s\t%s\n' "$name" "$row" "$verdict" >>"$table"
done < <(grep -v '^#' "$data/clients/clients.tsv")
column -t -s $'\t' "$table"

section "Why a client got its profile: calyx identify --explain (Sony Bravia, first records only)"
"$calyx" identify --root "$root" --profiles "$data/profiles.json" --ip 192.168.1.106 \
    --requests "$data/clients/sony-bravia-2012/headers.txt" --explain | sed -n '1,22p'
echo "  ..."

section "An unknown client: calyx identify --suggest"
"$calyx" identify --root "$root" --profiles "$data/profiles.json" --mac 02:00:00:00:99:01 --ip 192.168.1.199 \
    -H 'User-Agent: FooStream/2.4 (Linux; ARM) UPnP/1.0 DLNADOC/1.50' --handler WebSerOpen --suggest

section "Video profiles chosen for the sample items (data/media/items.json)"
"$calyx" video-profile --profiles "$data/profiles.json" --profile "Samsung TV 2014+ (Tizen)" \
    --items "$data/media/items.json" --brief | cut -f1,3 | sed 's/^/  item /'
echo
vtable=$(mktemp "$root/video.XXXXXX")
while IFS=$'\t' read -r _ _ _ profile; do
    chosen=$("$calyx" video-profile --profiles "$data/profiles.json" --profile "$profile" \
        --items "$data/media/items.json" --brief | awk -F'\t' '$2 != "-" { printf "%s:%s  ", $1, $2 }')
    printf '%s\t%s\n' "$profile" "${chosen:-(no video profiles: audio only)}" >>"$vtable"
done < <(grep -v '^#' "$data/clients/clients.tsv")
column -t -s $'\t' "$vtable"

section "Why an item got its video profile: calyx video-profile --explain"
"$calyx" video-profile --profiles "$data/profiles.json" --profile "Sony Bravia 2010-2013" \
    --path "/volume1/video/Camcorder/00012.MTS" --container mpegts --video-codec h264 --audio-codec ac3 \
    --width 1920 --height 1080 --channels 2 --frame-rate 30000/1001 --explain

section "The saved client list: calyx clients list"
"$calyx" clients --root "$root" list

section "Editing it as the settings screen does: set-profile, deny, show"
"$calyx" clients --root "$root" set-profile 5c:49:7d:11:20:01 "Samsung TV 2012-2013" --profiles "$data/profiles.json" >/dev/null
"$calyx" clients --root "$root" deny 00:1f:a7:aa:b0:01 >/dev/null
"$calyx" clients --root "$root" show 5c:49:7d:11:20:01 | grep -E '^(KEY|profileName|isAccess|displayName)'
"$calyx" clients --root "$root" list | grep -E '^(MAC|5c:49:7d:11:20:01|00:1f:a7:aa:b0:01)'

section "Texts: calyx translate"
"$calyx" translate --root "$root" title '{music}' by_album client_list
"$calyx" translate --root "$root" --language ger title '{music}' client_list

section "This machine: calyx device"
"$calyx" device

section "Media index: calyx media count"
if count=$("$calyx" media count --type video 2>&1); then
    echo "$count"
else
    echo "no media index server reachable ($count); skipped"
fi

section "calyx-dms: one command, seen by a real control point on a namespaced network"
dms=${CALYX_DMS:-$(dirname "$calyx")/../server/dms/calyx-dms}
# What the section needs besides root (network namespaces, a second user): PostgreSQL's
# server programs, ffmpeg for the sample media and Debian's GUPnP bindings for Python.
missing=$(bash "$src/scripts/install-deps.sh" --demo --dry-run || true)
if [ "$(id -u)" -eq 0 ] && [ -n "$missing" ]; then
    echo "installing what this part needs: $missing"
    bash "$src/scripts/install-deps.sh" --demo
    missing=""
fi
if [ ! -x "$dms" ]; then
    echo "calyx-dms is not built ($dms): skipped"
elif [ "$(id -u)" -eq 0 ]; then
    # shellcheck source=scripts/pg-server.sh
    . "$src/scripts/pg-server.sh"
    unprivileged_user >/dev/null # the user the server runs as (PostgreSQL refuses root)
    CALYX_SOURCE_DIR=$src CALYX_DMS=$(cd "$(dirname "$dms")" && pwd)/calyx-dms CALYX_TOOL=$calyx \
        /usr/bin/python3 "$src/scripts/dms-demo.py"
else
    echo "This part needs root: it makes two network namespaces (the server's and a"
    echo "player's) and runs the server as a user of its own. Run 'sudo make demo'."
    if [ -n "$missing" ]; then
        echo "It also needs these Debian packages, which 'sudo make demo' installs: $missing"
    fi
    echo "By hand, on this machine's network:"
    echo "  build/release/server/dms/calyx-dms --media ~/Music --media ~/Videos"
    echo "(docs/server.md explains the settings, the service and an existing database)."
fi

section "calyx-dms: the settings page (client list in a browser)"
echo "The page is off until a password hash is configured; it listens on 127.0.0.1:8201."
echo "  build/release/server/dms/calyx-dms --hash-password     (type the password; prints a hash)"
echo "  add 'admin-password-hash = <that hash>' to the configuration file, start calyx-dms"
echo "  with --config FILE and open http://127.0.0.1:8201/ on the server itself"
echo "  (from another machine: ssh -L 8201:127.0.0.1:8201 <server>, then the same address)."
shots=$(ls "$src"/build/*/tests/server/dms/dms_admin/admin-*.png 2>/dev/null || true)
if [ -n "$shots" ]; then
    echo "Screenshots the tests took in headless Chromium (desktop and a 360x740 phone):"
    sed 's/^/  /' <<<"$shots"
else
    echo "Screenshots: 'make test' takes them in headless Chromium into"
    echo "  build/asan/tests/server/dms/dms_admin/admin-desktop.png and admin-phone.png"
fi

echo
if [ "$mismatches" -ne 0 ]; then
    echo "demo: $mismatches sample clients did not get their intended profile" >&2
    exit 1
fi
echo "demo: every sample client got its intended profile"
