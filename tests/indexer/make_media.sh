#!/usr/bin/env bash
# Makes the tiny media tree the indexer tests read, with Debian's ffmpeg and exiv2:
#   make_media.sh DIR
# Every file is one or two seconds of small frames; see the table of the tests for what
# each one is made of. Fails (non-zero) when a tool is missing or a file cannot be made.
set -euo pipefail
dir=$1
rm -rf "$dir"
mkdir -p "$dir/video/nested/deeper" "$dir/music" "$dir/photo" "$dir/bad" "$dir/names"

ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
# Sources: a 320x240 test picture at 25 fps and a 440 Hz tone.
vsrc=(-f lavfi -i "testsrc=size=320x240:rate=25:duration=2")
asrc() { echo -f lavfi -i "sine=frequency=440:sample_rate=$1:duration=2"; }

ff "${vsrc[@]}" $(asrc 48000) -ac 2 -c:v libx264 -preset ultrafast -c:a aac -b:a 64k \
    "$dir/video/h264_aac.mkv"
ff "${vsrc[@]}" $(asrc 48000) -ac 2 -c:v libx264 -preset ultrafast -c:a aac -b:a 64k \
    "$dir/video/h264_aac.mp4"
ff "${vsrc[@]}" $(asrc 48000) -ac 1 -c:v libx265 -preset ultrafast -x265-params log-level=none \
    -c:a aac "$dir/video/nested/hevc_aac.mkv"
ff "${vsrc[@]}" $(asrc 48000) -ac 2 -c:v mpeg2video -c:a mp2 -f mpegts \
    "$dir/video/nested/mpeg2_mp2.ts"
ff "${vsrc[@]}" $(asrc 48000) -ac 2 -c:v mpeg2video -c:a mp2 -f vob \
    "$dir/video/nested/deeper/mpeg2_mp2.vob"
ff "${vsrc[@]}" $(asrc 44100) -ac 2 -c:v mpeg4 -c:a libmp3lame "$dir/video/mpeg4_mp3.avi"
ff "${vsrc[@]}" $(asrc 44100) -ac 2 -c:v wmv2 -c:a wmav2 "$dir/video/wmv2_wma.wmv"

ff -f lavfi -i "testsrc=size=64x64:rate=1:duration=1" -frames:v 1 "$dir/music/cover.png"
ff $(asrc 44100) -i "$dir/music/cover.png" -map 0:a -map 1:v -ac 2 -c:a libmp3lame \
    -c:v png -disposition:v attached_pic -id3v2_version 3 \
    -metadata title="Tone With Cover" -metadata artist="Test Artist" -metadata album="Test Album" \
    -metadata genre="Test" -metadata track="3/12" -metadata date="2019" "$dir/music/with_cover.mp3"
rm "$dir/music/cover.png"
ff $(asrc 44100) -ac 2 -c:a flac -metadata title="Flac Tone" "$dir/music/tone.flac"
ff $(asrc 48000) -ac 1 -c:a aac "$dir/music/tone.m4a"

ff -f lavfi -i "testsrc=size=400x300:rate=1:duration=1" -frames:v 1 "$dir/photo/picture.jpg"
exiv2 -M "set Exif.Photo.DateTimeOriginal Ascii 2021:03:04 05:06:07" \
    -M "set Exif.Image.Orientation Short 6" "$dir/photo/picture.jpg"
ff -f lavfi -i "testsrc=size=200x100:rate=1:duration=1" -frames:v 1 "$dir/photo/picture.png"

printf '#EXTM3U\nvideo/h264_aac.mkv\nmusic/tone.flac\n' >"$dir/list.m3u"

# A name that is not UTF-8 (Latin-1 e-acute) and one with a percent sign.
cp "$dir/music/tone.flac" "$dir/names/caf$(printf '\351').flac"
cp "$dir/music/tone.flac" "$dir/names/100%.flac"

# Bad and damaged files.
: >"$dir/bad/empty.mp4"
printf 'just some text, not a film\n' >"$dir/bad/text.mkv"
# ffmpeg writes an MP4's index (moov) at the end: cutting the file loses it.
head -c 4000 "$dir/video/h264_aac.mp4" >"$dir/bad/cut_before_index.mp4"
# Matroska keeps its headers in front: half a file still probes.
size=$(stat -c %s "$dir/video/h264_aac.mkv")
head -c $((size / 2)) "$dir/video/h264_aac.mkv" >"$dir/bad/half.mkv"
