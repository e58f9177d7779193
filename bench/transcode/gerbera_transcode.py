#!/usr/bin/python3
"""The same transcodes through gerbera (Debian's package, run as root only for its
network namespace): gerbera hands a file to an external ffmpeg with the arguments below,
reads its output from a FIFO and streams it. Measured over HTTP inside a namespace of the
bench's own: time to the first byte and real-time factor of the whole stream.

    gerbera_transcode.py SOURCE...

Installs nothing: gerbera must be installed (bench/peers/run.sh installs it)."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

PORT = 50231
NS = "calyx-gerbera-bench"
ADDRESS = "10.78.0.1"  # inside the bench's own namespace
PROFILES = {
    # The arguments calyx-dms's targets use, given to ffmpeg (gerbera's way).
    "video/x-matroska": ("h264ts", "video/mpeg",
                         "-y -i %in -c:v libx264 -preset superfast -tune zerolatency -b:v 8000k "
                         "-maxrate 8000k -bufsize 16000k -c:a aac -b:a 128k -ac 2 -ar 48000 "
                         "-f mpegts %out"),
    "audio/flac": ("lpcm", "audio/L16", "-y -i %in -f s16be -ar 44100 -ac 2 %out"),
    "audio/x-flac": ("lpcm", "audio/L16", "-y -i %in -f s16be -ar 44100 -ac 2 %out"),
}


def config(folder):
    with open("/etc/gerbera/config.xml") as f:
        out = f.read()
    out = re.sub(r"<home>.*?</home>", "<home>%s</home>" % folder, out)
    mappings = "".join('<transcode mimetype="%s" using="%s"/>' % (m, p[0])
                       for m, p in PROFILES.items())
    unique = {p[0]: p for p in PROFILES.values()}
    profiles = "".join(
        '<profile name="%s" enabled="yes" type="external"><mimetype>%s</mimetype>'
        '<accept-url>no</accept-url><first-resource>yes</first-resource>'
        '<accept-ogg-theora>no</accept-ogg-theora>'
        '<agent command="ffmpeg" arguments="%s"/>'
        '<buffer size="1048576" chunk-size="131072" fill-size="262144"/></profile>'
        % (p[0], p[1], p[2]) for p in unique.values())
    section = ('<transcoding enabled="yes"><mimetype-profile-mappings>%s'
               '</mimetype-profile-mappings><profiles>%s</profiles></transcoding>'
               % (mappings, profiles))
    out = re.sub(r"<transcoding .*?</transcoding>", section, out, flags=re.S)
    path = os.path.join(folder, "config.xml")
    with open(path, "w") as f:
        f.write(out)
    return path


def ns(*args, **kw):
    return subprocess.run(["ip", "netns", "exec", NS, *args], **kw)


def browse(base, object_id):
    body = ('<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:Browse xmlns:u="urn:schemas-upnp-org:service:ContentDirectory:1">'
            '<ObjectID>%s</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>'
            '<Filter>*</Filter><StartingIndex>0</StartingIndex><RequestedCount>200'
            '</RequestedCount><SortCriteria></SortCriteria></u:Browse></s:Body></s:Envelope>'
            % object_id)
    out = ns("curl", "-s", "-H",
             'SOAPAction: "urn:schemas-upnp-org:service:ContentDirectory:1#Browse"',
             "-H", 'Content-Type: text/xml; charset="utf-8"', "--data-binary", body,
             base + "/upnp/control/cds", capture_output=True, text=True).stdout
    return (out.replace("&lt;", "<").replace("&gt;", ">").replace("&quot;", '"')
            .replace("&amp;", "&"))


def search(base, object_id="0", depth=0):
    """Every item under `object_id` (a walk by Browse), as DIDL text."""
    didl = browse(base, object_id)
    found = "".join(re.findall(r"<item .*?</item>", didl, re.S))
    if depth < 6:
        for child in re.findall(r'<container id="([^"]+)"', didl):
            found += search(base, child, depth + 1)
    return found


def main():
    sources = sys.argv[1:]
    work = tempfile.mkdtemp(prefix="calyx-gerbera-bench-")
    os.chmod(work, 0o755)
    media = os.path.join(work, "media")
    os.makedirs(media)
    for s in sources:
        shutil.copy(s, media)
    subprocess.run(["ip", "netns", "add", NS], check=True)
    gerbera = None
    try:
        ns("ip", "link", "set", "lo", "up", check=True)
        # libupnp wants a multicast interface with a carrier: a veth pair whose both ends
        # stay inside the namespace.
        ns("ip", "link", "add", "d0", "type", "veth", "peer", "name", "d1", check=True)
        ns("ip", "link", "set", "d1", "up", check=True)
        ns("ip", "addr", "add", ADDRESS + "/24", "dev", "d0", check=True)
        ns("ip", "link", "set", "d0", "up", "multicast", "on", check=True)
        ns("ip", "route", "add", "224.0.0.0/4", "dev", "d0", check=True)
        time.sleep(3)  # the IPv6 link-local address leaves its tentative state
        home = os.path.join(work, "home")
        os.makedirs(home)
        cfg = config(home)
        log = open(os.path.join(work, "gerbera.log"), "w")
        gerbera = subprocess.Popen(["ip", "netns", "exec", NS, "gerbera", "-c", cfg,
                                    "-e", "d0", "-p", str(PORT), "-a", media],
                                   stdout=log, stderr=subprocess.STDOUT,
                                   env=dict(os.environ, HOME=home))
        base = "http://%s:%d" % (ADDRESS, PORT)
        urls = {}
        deadline = time.monotonic() + 120
        while time.monotonic() < deadline and len(urls) < len(sources):
            time.sleep(1)
            didl = search(base)
            for item in re.findall(r"<item .*?</item>", didl, re.S):
                title = re.search(r"<dc:title>(.*?)</dc:title>", item).group(1)
                for res in re.findall(r"<res ([^>]*)>([^<]*)</res>", item):
                    if "video/mpeg" in res[0] or "audio/L16" in res[0]:
                        urls[title] = res[1]
        for title, url in sorted(urls.items()):
            began = time.monotonic()
            p = subprocess.Popen(["ip", "netns", "exec", NS, "curl", "-s", "-N", url],
                                 stdout=subprocess.PIPE)
            first = None
            total = 0
            while True:
                data = p.stdout.read1(65536)
                if not data:
                    break
                if first is None:
                    first = time.monotonic() - began
                total += len(data)
            p.wait()
            wall = time.monotonic() - began
            print("gerbera %-28s first byte %.3f s, whole stream %.1f s (%d bytes)"
                  % (title, first or -1, wall, total), flush=True)
        if len(urls) < len(sources):
            print("gerbera announced transcodes for %d of %d files" % (len(urls), len(sources)))
            print(search(base)[:3000])
            log.flush()
            print(open(os.path.join(work, "gerbera.log")).read()[-3000:])
    finally:
        if gerbera:
            gerbera.terminate()
            gerbera.wait()
        subprocess.run(["ip", "netns", "delete", NS])
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
