#!/usr/bin/python3
"""The transcodes of transcode_bench.py through rygel (Debian's package with its
GStreamer transcoders), for the side-by-side figures: rygel's media export serves the
sources and announces transcoded res of its own choice (its transcoders and their
settings are fixed: an MPEG-TS or MP4 video form, LPCM for audio). Measured over HTTP
inside a network namespace of the benchmark's own (peer_transcode.py): frames per second,
real-time factor, CPU and memory per transcode, first byte, and what a time seek gets.
Prints one table, with the DLNA profile of the res each case took.

    rygel_transcode.py [SECONDS] [--runs N] [--json FILE]   (as root; defaults: 20 s, 3 runs)

rygel transcodes inside its own process: CPU is the process's, memory the growth of its
resident size during the stream (its size at rest is printed below the table). Needs the
packages rygel, gstreamer1.0-plugins-good, -bad, -ugly and gstreamer1.0-libav; installs
nothing."""

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

PORT = 50232
NS = "calyx-rygel-bench"
FILES = {"h264-1080": "h264-1080.mkv", "hevc-1080": "hevc-1080.mkv", "h264-720": "h264-720.mkv",
         "flac": "song.flac"}
# The transcoded res taken for each kind, best first (rygel marks them DLNA.ORG_CI=1).
WANTED = {"video": ("video/mpeg", "video/mp2t", "video/mp4", "video/"),
          "audio": ("audio/L16", "audio/")}
DISCOVER = r"""
import socket, sys, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(sys.argv[1]))
s.settimeout(1)
query = ("M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
         "MX: 1\r\nST: urn:schemas-upnp-org:service:ContentDirectory:1\r\n\r\n").encode()
end = time.monotonic() + 5
while time.monotonic() < end:
    s.sendto(query, ("239.255.255.250", 1900))
    try:
        while True:
            data = s.recv(4096).decode("latin-1")
            for line in data.split("\r\n"):
                if line.lower().startswith("location:"):
                    print(line.split(":", 1)[1].strip())
                    sys.exit(0)
    except socket.timeout:
        pass
sys.exit(1)
"""


def rygel_config(folder, media):
    path = os.path.join(folder, "rygel.conf")
    with open(path, "w") as f:
        f.write("[general]\ninterface=d0\nport=%d\nenable-transcoding=true\n"
                "upnp-enabled=true\nlog-level=*:3\n\n"
                "[MediaExport]\nenabled=true\ntitle=bench-rygel\nuris=%s\n"
                "monitor-changes=false\n\n"
                "[Tracker]\nenabled=false\n[Tracker3]\nenabled=false\n"
                "[LMS]\nenabled=false\n[Playbin]\nenabled=false\n"
                "[GstLaunch]\nenabled=false\n[MPRIS]\nenabled=false\n"
                "[External]\nenabled=false\n[Ruih]\nenabled=false\n" % (PORT, media))
    return path


def control_url(ns):
    """The ContentDirectory control URL, from an M-SEARCH inside the namespace."""
    found = ns.run("/usr/bin/python3", "-c", DISCOVER, peer.ADDRESS, capture_output=True,
                   text=True, check=False).stdout.strip()
    if not found:
        return None
    description = ns.run("curl", "-s", "--max-time", "10", found, capture_output=True,
                         text=True, check=False).stdout
    for service in re.findall(r"<service>.*?</service>", description, re.S):
        if "ContentDirectory" in service:
            control = re.search(r"<controlURL>(.*?)</controlURL>", service).group(1)
            base = re.match(r"(http://[^/]+)", found).group(1)
            return control if control.startswith("http") else base + "/" + control.lstrip("/")
    return None


def candidates(res, kind):
    """[(url, DLNA profile or MIME type)] of the transcoded res of the kind, best first."""
    converted = [(info, url) for info, url in res if "DLNA.ORG_CI=1" in info]
    out = []
    for wanted in WANTED[kind]:
        for info, url in converted:
            pn = re.search(r"DLNA\.ORG_PN=([^;]+)", info)
            named = pn.group(1) if pn else info.split(":")[2].split(";")[0]
            if info.split(":")[2].startswith(wanted) and (url, named) not in out:
                out.append((url, named))
    return out


def same_file(title, name):
    """rygel titles files by their name, punctuation made spaces ("song flac")."""
    def letters(text):
        return re.sub(r"[^a-z0-9]", "", text.lower())
    return letters(title) in (letters(name), letters(os.path.splitext(name)[0]))


def first_that_streams(ns, offers, failed):
    """The first offer whose stream starts; those that do not go to `failed`."""
    for url, named in offers:
        first, _wall, total, status, _ = peer.fetch(ns, url, first_only=True)
        time.sleep(1)
        if status == 200 and total > 0:
            return url, named
        failed.append("%s (HTTP %d, %d bytes)" % (named, status, total))
    return None


def main():
    seconds, runs, json_path = peer.arguments(sys.argv[1:])
    if shutil.which("rygel") is None:
        print("rygel: not installed (apt-get install rygel gstreamer1.0-plugins-good "
              "gstreamer1.0-plugins-bad gstreamer1.0-plugins-ugly gstreamer1.0-libav)")
        return 1
    work = tempfile.mkdtemp(prefix="calyx-rygel-bench-")
    os.chmod(work, 0o755)
    rygel = None
    try:
        print("making %d s sources..." % seconds, flush=True)
        sources = transcode_bench.make_sources(work, seconds)
        media = os.path.join(work, "media")
        os.makedirs(media)
        for key, name in FILES.items():
            shutil.copy(sources[key], os.path.join(media, name))
        with peer.Namespace(NS) as ns:
            home = os.path.join(work, "home")
            os.makedirs(home)
            env = dict(os.environ, XDG_CONFIG_HOME=home,
                       XDG_CACHE_HOME=os.path.join(home, "cache"),
                       XDG_DATA_HOME=os.path.join(home, "data"), HOME=home)
            env.pop("DBUS_SESSION_BUS_ADDRESS", None)
            log = open(os.path.join(work, "rygel.log"), "w")
            rygel = subprocess.Popen(ns.command("rygel", "-c", rygel_config(home, media)),
                                     stdout=log, stderr=subprocess.STDOUT, env=env)
            control, offers, items = None, {}, []
            deadline = time.monotonic() + 120
            while time.monotonic() < deadline and len(offers) < len(FILES):
                time.sleep(1)
                control = control or control_url(ns)
                if control is None:
                    continue
                items = peer.items_with_res(peer.walk_items(ns, control))
                for title, res in items:
                    for name, key, kind in peer.CASES:
                        if same_file(title, FILES[key]) and candidates(res, kind):
                            offers[key] = candidates(res, kind)
            # Of the forms offered, each case takes the first that streams at all.
            urls, failures = {}, []
            for name, key, kind in peer.CASES:
                failed = []
                found = first_that_streams(ns, offers.get(key, []), failed)
                if found:
                    urls[key] = found
                if failed:
                    failures.append("%s: no stream from %s" % (name, ", ".join(failed)))
            resting = peer.rss_kib(rygel.pid)

            def usage():
                cpu_before = peer.cpu_seconds(rygel.pid)
                rss_before = peer.rss_kib(rygel.pid)
                sampler = peer.RssSampler(rygel.pid)

                def finish():
                    return (peer.cpu_seconds(rygel.pid) - cpu_before,
                            max(0, sampler.stop() - rss_before))
                return finish

            print("load average before: %.2f (medians of %d runs)" % (peer.load(), runs))
            rows = []
            for name, key, kind in peer.CASES:
                if key not in urls:
                    rows.append((name, "-", {"error": "no transcoded res announced"}))
                    continue
                media_seconds = seconds * 3 if key == "flac" else seconds
                rows.append((name, urls[key][1], peer.measure(
                    ns, urls[key][0], media_seconds, kind == "video", usage, runs)))
            notes = failures + ["memory: growth of rygel's resident size during the stream; at rest "
                     "after indexing it was %.0f MiB" % (resting / 1024),
                     "load average after: %.2f" % peer.load()]
            peer.print_table("rygel %s (GStreamer transcoders), %d s sources" % (
                peer.package_version("rygel"), seconds), rows, notes)
            peer.write_json(json_path, "rygel " + peer.package_version("rygel"), seconds, rows,
                            notes)
            if len(offers) < len(FILES):
                print("rygel announced transcodes for %d of %d files; its items:" %
                      (len(offers), len(FILES)))
                for title, res in items:
                    print("  %s: %s" % (title, [info for info, _ in res]))
                log.flush()
                print(open(os.path.join(work, "rygel.log")).read()[-3000:])
    finally:
        if rygel:
            rygel.terminate()
            try:
                rygel.wait(timeout=20)
            except subprocess.TimeoutExpired:
                rygel.kill()
                rygel.wait()
        shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
