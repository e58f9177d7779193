"""What the peers' transcoding benchmarks share (gerbera_transcode.py, rygel_transcode.py):
a network namespace of the benchmark's own with a veth pair whose two ends stay inside it
(the peer's multicast needs an interface with a carrier; nothing leaves the namespace),
ContentDirectory walks with curl, and the figures transcode_bench.py reports for
calyx-transcode, measured over HTTP on the peer's transcoded res:

- the whole stream: frames per second and real-time factor, CPU (seconds per second of
  wall time, of the peer and the processes it starts) and peak memory, as each peer's
  `usage` hook counts them;
- the first byte of a fresh request, and of a request with a time seek to the middle
  (`TimeSeekRange.dlna.org: npt=MID-`): whether the peer honours it (the answer names the
  range), ignores it (200 without it: the stream starts at 0) or refuses it.

Medians of RUNS runs, like transcode_bench.py. Run as root (network namespaces)."""

import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import transcode_bench  # noqa: E402

ADDRESS = "10.78.0.1"  # inside the namespace only
CLOCK_TICKS = os.sysconf("SC_CLK_TCK")

# name, source key of transcode_bench.make_sources, "video" or "audio"
CASES = [
    ("1080p H.264 -> H.264 TS", "h264-1080", "video"),
    ("1080p HEVC -> H.264 TS", "hevc-1080", "video"),
    ("720p H.264 -> H.264 TS", "h264-720", "video"),
    ("FLAC 44.1 kHz -> LPCM", "flac", "audio"),
]


class Namespace:
    def __init__(self, name):
        self.name = name

    def __enter__(self):
        subprocess.run(["ip", "netns", "add", self.name], check=True)
        self.run("ip", "link", "set", "lo", "up")
        self.run("ip", "link", "add", "d0", "type", "veth", "peer", "name", "d1")
        self.run("ip", "link", "set", "d1", "up")
        self.run("ip", "addr", "add", ADDRESS + "/24", "dev", "d0")
        self.run("ip", "link", "set", "d0", "up", "multicast", "on")
        self.run("ip", "route", "add", "224.0.0.0/4", "dev", "d0")
        time.sleep(3)  # the IPv6 link-local address leaves its tentative state
        return self

    def __exit__(self, *exc):
        subprocess.run(["ip", "netns", "delete", self.name])

    def command(self, *args):
        return ["ip", "netns", "exec", self.name, *args]

    def run(self, *args, **kw):
        kw.setdefault("check", True)
        return subprocess.run(self.command(*args), **kw)


def soap_browse(ns, control_url, object_id):
    body = ('<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:Browse xmlns:u="urn:schemas-upnp-org:service:ContentDirectory:1">'
            '<ObjectID>%s</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>'
            '<Filter>*</Filter><StartingIndex>0</StartingIndex><RequestedCount>200'
            '</RequestedCount><SortCriteria></SortCriteria></u:Browse></s:Body></s:Envelope>'
            % object_id)
    out = ns.run("curl", "-s", "--max-time", "20", "-H",
                 'SOAPAction: "urn:schemas-upnp-org:service:ContentDirectory:1#Browse"',
                 "-H", 'Content-Type: text/xml; charset="utf-8"', "--data-binary", body,
                 control_url, capture_output=True, text=True, check=False).stdout
    return (out.replace("&lt;", "<").replace("&gt;", ">").replace("&quot;", '"')
            .replace("&amp;", "&"))


def walk_items(ns, control_url, object_id="0", depth=0):
    """Every item under `object_id` (Browse, container by container), as DIDL text."""
    didl = soap_browse(ns, control_url, object_id)
    found = "".join(re.findall(r"<item .*?</item>", didl, re.S))
    if depth < 6:
        for child in re.findall(r'<container [^>]*id="([^"]+)"', didl):
            found += walk_items(ns, control_url, child, depth + 1)
    return found


def items_with_res(didl):
    """[(title, [(protocolInfo, url)])] of the items of a DIDL text."""
    out = []
    for item in re.findall(r"<item .*?</item>", didl, re.S):
        title = re.search(r"<dc:title>(.*?)</dc:title>", item, re.S)
        res = re.findall(r"<res ([^>]*)>([^<]*)</res>", item)
        infos = [(re.search(r'protocolInfo="([^"]*)"', attrs).group(1)
                  if "protocolInfo" in attrs else "", url.strip()) for attrs, url in res]
        out.append((title.group(1) if title else "", infos))
    return out


def cpu_seconds(pid):
    """User + system seconds of a process (with its ended, waited-for children)."""
    try:
        fields = open("/proc/%d/stat" % pid).read().rsplit(")", 1)[1].split()
    except OSError:
        return 0.0
    return sum(int(f) for f in fields[11:15]) / CLOCK_TICKS


def rss_kib(pid):
    try:
        for line in open("/proc/%d/status" % pid):
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    except OSError:
        pass
    return 0


class RssSampler:
    """The largest resident size of a process while it runs, sampled every 50 ms."""

    def __init__(self, pid):
        self.pid, self.peak, self.done = pid, rss_kib(pid), threading.Event()
        self.thread = threading.Thread(target=self.loop, daemon=True)
        self.thread.start()

    def loop(self):
        while not self.done.wait(0.05):
            self.peak = max(self.peak, rss_kib(self.pid))

    def stop(self):
        self.done.set()
        self.thread.join()
        return self.peak


def fetch(ns, url, headers=(), first_only=False):
    """GET `url` in the namespace: (seconds to the first body byte or None, wall seconds,
    bytes, HTTP status, response headers text). first_only: the connection is closed after
    the first byte, as a client that only probes would."""
    header_file = tempfile.mktemp(prefix="peer-transcode-headers-")
    args = ["curl", "-s", "-N", "--max-time", "600", "-D", header_file]
    for h in headers:
        args += ["-H", h]
    began = time.monotonic()
    p = subprocess.Popen(ns.command(*args, url), stdout=subprocess.PIPE)
    first, total = None, 0
    while True:
        data = p.stdout.read1(65536)
        if not data:
            break
        if first is None:
            first = time.monotonic() - began
        total += len(data)
        if first_only:
            p.kill()
            break
    p.wait()
    wall = time.monotonic() - began
    try:
        text = open(header_file, encoding="latin-1").read()
        os.unlink(header_file)
    except OSError:
        text = ""
    statuses = re.findall(r"^HTTP/\S+ (\d+)", text, re.M)
    return first, wall, total, int(statuses[-1]) if statuses else 0, text


def stream_head(ns, url, headers=(), limit=4 << 20):
    """The first `limit` bytes of the stream (fewer when it is shorter)."""
    args = ["curl", "-s", "-N", "--max-time", "60"]
    for h in headers:
        args += ["-H", h]
    p = subprocess.Popen(ns.command(*args, url), stdout=subprocess.PIPE)
    head = b""
    while len(head) < limit:
        data = p.stdout.read1(65536)
        if not data:
            break
        head += data
    p.kill()
    p.wait()
    return head[:limit]


def ffprobe_stdin(data, *args):
    return subprocess.run(["ffprobe", "-v", "error", *args, "-"], input=data,
                          capture_output=True).stdout.decode()


def stream_form(ns, url):
    """"codec WxH" (or the audio codec) of the start of the stream, read by ffprobe."""
    probe = ffprobe_stdin(stream_head(ns, url), "-show_entries",
                          "stream=codec_type,codec_name,width,height", "-of", "csv=p=0")
    forms = []
    for line in probe.split("\n"):
        fields = line.strip().split(",")
        form = None
        if len(fields) >= 4 and fields[1] == "video":
            form = "%s %sx%s" % (fields[0], fields[2], fields[3])
        elif len(fields) >= 2 and fields[1] == "audio":
            form = fields[0]
        if form and form not in forms:  # a TS lists its streams once per program too
            forms.append(form)
    # Raw LPCM (audio/L16) carries no header for ffprobe to read.
    return " + ".join(forms) or "raw (no header)"


def starts_alike(ns, url, headers):
    """True when the stream asked for with `headers` starts as the plain one does: the
    same first timestamp, or for a stream without timestamps (raw PCM) the same bytes."""
    plain = stream_head(ns, url, limit=1 << 20)
    time.sleep(1)
    asked = stream_head(ns, url, headers, limit=1 << 20)
    time.sleep(1)

    def first_time(data):
        out = ffprobe_stdin(data, "-show_entries", "packet=pts_time", "-read_intervals",
                            "%+#3", "-of", "csv=p=0").split()
        times = [float(t.strip(",")) for t in out if t.strip(",").replace(".", "").isdigit()]
        return min(times) if times else None

    a, b = first_time(plain), first_time(asked)
    if a is None or b is None:
        return plain[:65536] == asked[:65536]
    return abs(a - b) < 1.0


def seek_result(ns, url, middle, runs):
    """The time seek to `middle`: (median first byte or None, what the peer did)."""
    firsts, verdict = [], ""
    for _ in range(runs):
        first, _wall, _total, status, headers = fetch(
            ns, url, ["TimeSeekRange.dlna.org: npt=%.1f-" % middle], first_only=True)
        named = re.search(r"(?im)^TimeSeekRange\.dlna\.org: *(\S+)", headers)
        if status in (200, 206) and named:
            verdict = "honoured (%s)" % named.group(1)
            firsts.append(first)
        elif status == 200 and starts_alike(ns, url, ["TimeSeekRange.dlna.org: npt=%.1f-" %
                                                      middle]):
            verdict = "ignored: the stream starts at 0"
        elif status == 200:
            verdict = "answered without the header, not from 0"
        else:
            verdict = "refused (HTTP %d)" % status
        time.sleep(1)  # the peer stops the transcode of the closed connection
    return (statistics.median(firsts) if firsts else None), verdict


def measure(ns, url, media_seconds, video, usage, runs):
    """The figures of one case. `usage()` is called before each whole stream and returns
    a function that, called after it, gives (CPU seconds, peak memory KiB) of that
    transcode."""
    streams = []
    for _ in range(runs):
        finish = usage()
        first, wall, total, status, _ = fetch(ns, url)
        cpu, memory = finish()
        if status != 200 or total == 0:
            return {"error": "HTTP %d, %d bytes" % (status, total)}
        streams.append((wall, first, cpu, memory, total))
        time.sleep(1)
    wall = statistics.median(s[0] for s in streams)
    firsts = []
    for _ in range(runs):
        firsts.append(fetch(ns, url, first_only=True)[0])
        time.sleep(1)
    seek, verdict = seek_result(ns, url, media_seconds / 2, runs)
    form = stream_form(ns, url)
    time.sleep(1)
    return {
        "form": form,
        "fps": media_seconds * transcode_bench.FPS / wall if video else None,
        "real": media_seconds / wall,
        "cpu": statistics.median(s[2] / s[0] for s in streams),
        "memory": statistics.median(s[3] for s in streams) / 1024,
        "first": statistics.median(f for f in firsts if f is not None),
        "seek": seek, "seek_verdict": verdict,
        "bytes": statistics.median(s[4] for s in streams),
    }


def print_table(title, rows, notes):
    """One table: the columns of transcode_bench.py, then how the peer took a seek."""
    print()
    print(title)
    print("%-26s %-22s %7s %8s %6s %9s %9s %9s  %-40s %s" % (
        "case", "res taken", "fps", "x real", "CPU", "memory", "1st byte", "seek 1st",
        "time seek", "stream"))
    for name, target, figures in rows:
        if "error" in figures:
            print("%-26s %-22s %s" % (name, target, figures["error"]))
            continue
        print("%-26s %-22s %7s %7.2fx %6.2f %5.0f MiB %7.3f s %9s  %-40s %s" % (
            name, target[:22], "%.1f" % figures["fps"] if figures["fps"] else "-",
            figures["real"], figures["cpu"], figures["memory"], figures["first"],
            "%.3f s" % figures["seek"] if figures["seek"] is not None else "-",
            figures["seek_verdict"], figures["form"]))
    for note in notes:
        print(note)
    sys.stdout.flush()


def ffmpeg_seek_first_byte(source, arguments, middle, runs):
    """Seconds to the first byte of the ffmpeg command `arguments` (with %in and %out)
    started at `middle` (-ss before -i: a seek in the input), output on a pipe: what a
    seek costs the external transcoder itself."""
    args = arguments.replace("%in", source).replace("%out", "pipe:1").split()
    took = []
    for _ in range(runs):
        began = time.monotonic()
        p = subprocess.Popen(["ffmpeg", "-nostdin", "-loglevel", "error", "-ss", str(middle)] +
                             args, stdout=subprocess.PIPE)
        p.stdout.read1(1)
        took.append(time.monotonic() - began)
        p.kill()
        p.wait()
    return statistics.median(took)


def arguments(argv):
    """[SECONDS] [--runs N] [--json FILE] from the command line: (seconds of the sources,
    runs, the file to write the figures to or None)."""
    seconds, runs, json_path, rest = 20, 3, None, list(argv)
    if "--runs" in rest:
        i = rest.index("--runs")
        runs = int(rest[i + 1])
        del rest[i:i + 2]
    if "--json" in rest:
        i = rest.index("--json")
        json_path = rest[i + 1]
        del rest[i:i + 2]
    if rest:
        seconds = int(rest[0])
    return seconds, runs, json_path


def write_json(path, server, seconds, rows, notes):
    """The figures of print_table's rows, for compare_transcodes.py."""
    if not path:
        return
    cases = []
    for name, target, figures in rows:
        cases.append(dict(figures, case=name, target=target))
    with open(path, "w") as f:
        json.dump({"server": server, "seconds": seconds, "cases": cases, "notes": notes}, f,
                  indent=1)


def package_version(package):
    return subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True,
                          text=True).stdout.strip() or "(version unknown)"


def load():
    return os.getloadavg()[0]
