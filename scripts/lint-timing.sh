#!/usr/bin/env bash
# Times `calyx lint` on generated profile lists of growing size (5,000 and 50,000 entries
# by default), to show that checking stays near-linear in the number of profiles.
#
#   scripts/lint-timing.sh [PATH_TO_CALYX] [COUNT...]
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
calyx=${1:-$src/build/release/tools/calyx}
shift || true
counts=("$@")
[ ${#counts[@]} -eq 0 ] && counts=(5000 50000)
work=$(mktemp -d "${TMPDIR:-/tmp}/calyx-lint-timing.XXXXXX")
trap 'rm -rf "$work"' EXIT

# One profile per vendor and model: a user-agent product token, a manufacturer, two
# agent types, options and three video profiles, like the entries of data/profiles.json.
generate() {
    awk -v n="$1" 'BEGIN {
        print "{\n\t\"ProfileList\": ["
        for (i = 1; i <= n; i++) {
            printf "\t\t{\n\t\t\t\"profileName\": \"Vendor %d Player %d\",\n", i % 97, i
            printf "\t\t\t\"profileID\": {\"manufacturer\": \"Vendor %d\", \"open_user-agent\": \"Player%d/\"},\n", i % 97, i
            printf "\t\t\t\"dlna\": \"yes\",\n\t\t\t\"samsungtv\": \"no\",\n"
            printf "\t\t\t\"agentopt\": \"xmres videosrt\",\n"
            printf "\t\t\t\"profile@AVC_MP4_HD\": \"container_type@mp4#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#audio_codec@aac&ac3#channel@1~6\",\n"
            printf "\t\t\t\"profile@AVC_TS_HD\": \"container_type@mpegts#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#audio_codec@ac3&aac&mp2#channel@1~6\",\n"
            printf "\t\t\t\"profile@MPEG_PS_PAL\": \"container_type@mpeg#video_codec@mpeg2video#resolutionx@1~720#resolutiony@1~576#audio_codec@mp2&ac3&lpcm#channel@1~6\"\n"
            printf "\t\t}%s\n", (i < n ? "," : "")
        }
        print "\t]\n}"
    }'
}

for count in "${counts[@]}"; do
    file=$work/profiles-$count.json
    generate "$count" >"$file"
    start=$(date +%s.%N)
    "$calyx" lint "$file" >/dev/null || true
    end=$(date +%s.%N)
    printf 'lint of %6d profiles: %6.2f s\n' "$count" "$(awk -v a="$start" -v b="$end" "BEGIN { print b - a }")"
done
