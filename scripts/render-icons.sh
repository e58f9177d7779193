#!/usr/bin/env bash
# Renders the device icons of calyx-dms from their drawing, data/icons/calyx-dms.svg, into
# the PNG and JPEG files next to it (48 and 120 pixels square, the sizes DLNA names for
# small and large device icons). The rendered files are kept in the repository, so
# building needs no renderer; run this after changing the drawing. Needs ffmpeg built with
# librsvg (Debian's is).
set -euo pipefail
dir=$(cd "$(dirname "$0")/../data/icons" && pwd)
for size in 48 120; do
    ffmpeg -nostdin -loglevel error -y -i "$dir/calyx-dms.svg" \
        -vf "scale=$size:$size:flags=lanczos,format=rgb24" -frames:v 1 "$dir/calyx-dms-$size.png"
    ffmpeg -nostdin -loglevel error -y -i "$dir/calyx-dms.svg" \
        -vf "scale=$size:$size:flags=lanczos,format=yuvj420p" -q:v 2 -frames:v 1 \
        "$dir/calyx-dms-$size.jpg"
done
