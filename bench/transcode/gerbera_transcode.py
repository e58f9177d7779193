#!/usr/bin/python3
"""The transcodes of transcode_bench.py through gerbera (Debian's package), for the
side-by-side figures: gerbera hands a file to an external ffmpeg with the arguments below
(calyx-transcode's encoder settings for the same targets), reads its output from a FIFO
and streams it. Measured over HTTP inside a network namespace of the benchmark's own
(peer_transcode.py): frames per second, real-time factor, CPU and peak memory per
transcode, first byte, and what a time seek gets. Prints one table.

    gerbera_transcode.py [SECONDS] [--runs N] [--json FILE]   (as root; defaults: 20 s, 3 runs)

CPU is gerbera's own plus that of the ffmpeg it starts (run through a small wrapper that
reports the ffmpeg's resource usage when it ends); memory is the ffmpeg's peak resident
size, the counterpart of calyx-transcode's. Installs nothing: gerbera must be installed
(bench/peers/run.sh installs it)."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import peer_transcode as peer  # noqa: E402
import transcode_bench  # noqa: E402

PORT = 50231
NS = "calyx-gerbera-bench"
VIDEO = ("-y -i %%in -c:v libx264 -preset superfast -tune zerolatency -b:v %dk -bufsize %dk "
         "-s %s -c:a aac -b:a 64k -ac 2 -ar 48000 -f mpegts %%out")
# Source file (in the media folder) of each case, and its gerbera profile: mimetype of the
# source, profile name, mimetype of the transcode, ffmpeg arguments. The 720p source is
# remuxed into MP4 so that it gets a profile of its own (gerbera picks one by mimetype).
FILES = {"h264-1080": "h264-1080.mkv", "hevc-1080": "hevc-1080.mkv", "h264-720": "h264-720.mp4",
         "flac": "song.flac"}
PROFILES = {
    "video/x-matroska": ("h264ts1080", "video/mpeg", VIDEO % (8000, 16000, "1920x1080")),
    "video/mp4": ("h264ts720", "video/mpeg", VIDEO % (4000, 8000, "1280x720")),
    "audio/flac": ("lpcm", "audio/L16", "-y -i %in -f s16be -ar 44100 -ac 2 %out"),
    "audio/x-flac": ("lpcm", "audio/L16", "-y -i %in -f s16be -ar 44100 -ac 2 %out"),
}
WRAPPER = """#!/usr/bin/python3
import os, signal, subprocess, sys
child = subprocess.Popen(["ffmpeg", "-nostdin", "-loglevel", "error"] + sys.argv[2:])
for s in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGPIPE):
    signal.signal(s, lambda sig, _frame: child.send_signal(sig))
while True:
    try:
        _, status, usage = os.wait4(child.pid, 0)
        break
    except InterruptedError:
        continue
with open(sys.argv[1], "a") as log:
    log.write("%f %d\\n" % (usage.ru_utime + usage.ru_stime, usage.ru_maxrss))
sys.exit(os.waitstatus_to_exitcode(status) & 0xff)
"""


def config(home, wrapper, usage_log):
    with open("/etc/gerbera/config.xml") as f:
        out = f.read()
    out = re.sub(r"<home>.*?</home>", "<home>%s</home>" % home, out)
    mappings = "".join('<transcode mimetype="%s" using="%s"/>' % (m, p[0])
                       for m, p in PROFILES.items())
    unique = {p[0]: p for p in PROFILES.values()}
    profiles = "".join(
        '<profile name="%s" enabled="yes" type="external"><mimetype>%s</mimetype>'
        '<accept-url>no</accept-url><first-resource>yes</first-resource>'
        '<accept-ogg-theora>no</accept-ogg-theora>'
        '<agent command="%s" arguments="%s %s"/>'
        '<buffer size="1048576" chunk-size="131072" fill-size="262144"/></profile>'
        % (p[0], p[1], wrapper, usage_log, p[2]) for p in unique.values())
    section = ('<transcoding enabled="yes"><mimetype-profile-mappings>%s'
               '</mimetype-profile-mappings><profiles>%s</profiles></transcoding>'
               % (mappings, profiles))
    out = re.sub(r"<transcoding .*?</transcoding>", section, out, flags=re.S)
    path = os.path.join(home, "config.xml")
    with open(path, "w") as f:
        f.write(out)
    return path


def usage_lines(path):
    try:
        return open(path).read().split("\n")[:-1]
    except OSError:
        return []


def main():
    seconds, runs, json_path = peer.arguments(sys.argv[1:])
    if shutil.which("gerbera") is None:
        print("gerbera is not installed (bench/peers/run.sh installs it)")
        return 1
    work = tempfile.mkdtemp(prefix="calyx-gerbera-bench-")
    os.chmod(work, 0o755)
    gerbera = None
    try:
        print("making %d s sources..." % seconds, flush=True)
        sources = transcode_bench.make_sources(work, seconds)
        media = os.path.join(work, "media")
        os.makedirs(media)
        for key, name in FILES.items():
            subprocess.run(transcode_bench.FF + ["-i", sources[key], "-c", "copy",
                                                 os.path.join(media, name)], check=True)
        wrapper = os.path.join(work, "ffmpeg-measured")
        with open(wrapper, "w") as f:
            f.write(WRAPPER)
        os.chmod(wrapper, 0o755)
        usage_log = os.path.join(work, "ffmpeg-usage.log")
        with peer.Namespace(NS) as ns:
            home = os.path.join(work, "home")
            os.makedirs(home)
            cfg = config(home, wrapper, usage_log)
            log = open(os.path.join(work, "gerbera.log"), "w")
            gerbera = subprocess.Popen(ns.command("gerbera", "-c", cfg, "-e", "d0", "-p",
                                                  str(PORT), "-a", media),
                                       stdout=log, stderr=subprocess.STDOUT,
                                       env=dict(os.environ, HOME=home))
            control = "http://%s:%d/upnp/control/cds" % (peer.ADDRESS, PORT)
            urls = {}
            deadline = time.monotonic() + 120
            while time.monotonic() < deadline and len(urls) < len(FILES):
                time.sleep(1)
                for title, res in peer.items_with_res(peer.walk_items(ns, control)):
                    for info, url in res:
                        if "video/mpeg" in info or "audio/L16" in info:
                            for key, name in FILES.items():
                                if title in (name, os.path.splitext(name)[0]):
                                    urls[key] = (url, info.split(":")[2].split(";")[0])

            def usage():
                cpu_before = peer.cpu_seconds(gerbera.pid)
                lines_before = len(usage_lines(usage_log))

                def finish():
                    # The ffmpeg that made the stream reports when it has ended.
                    waited = time.monotonic() + 10
                    while len(usage_lines(usage_log)) <= lines_before and \
                            time.monotonic() < waited:
                        time.sleep(0.05)
                    ended = [tuple(map(float, line.split()))
                             for line in usage_lines(usage_log)[lines_before:]]
                    ffmpeg = max(ended) if ended else (0.0, 0)
                    return peer.cpu_seconds(gerbera.pid) - cpu_before + ffmpeg[0], ffmpeg[1]
                return finish

            print("load average before: %.2f (medians of %d runs)" % (peer.load(), runs))
            rows, notes = [], []
            for name, key, kind in peer.CASES:
                if key not in urls:
                    rows.append((name, "-", {"error": "no transcoded res announced"}))
                    continue
                media_seconds = seconds * 3 if key == "flac" else seconds
                figures = peer.measure(ns, urls[key][0], media_seconds, kind == "video", usage,
                                       runs)
                rows.append((name, urls[key][1], figures))
                if figures.get("seek") is None and "error" not in figures:
                    mime = {"flac": "audio/flac", "h264-720": "video/mp4"}.get(
                        key, "video/x-matroska")
                    notes.append("%s: ffmpeg itself, started at the middle with gerbera's "
                                 "arguments, gives its first byte after %.3f s" % (
                                     name, peer.ffmpeg_seek_first_byte(
                                         os.path.join(media, FILES[key]), PROFILES[mime][2],
                                         media_seconds / 2, runs)))
            notes.append("load average after: %.2f" % peer.load())
            peer.print_table("gerbera %s + ffmpeg (external transcoding profiles), %d s sources"
                             % (peer.package_version("gerbera"), seconds), rows, notes)
            peer.write_json(json_path, "gerbera " + peer.package_version("gerbera"), seconds,
                            rows, notes)
            if len(urls) < len(FILES):
                log.flush()
                print(open(os.path.join(work, "gerbera.log")).read()[-3000:])
    finally:
        if gerbera:
            gerbera.terminate()
            gerbera.wait()
        shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
