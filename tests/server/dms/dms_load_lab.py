"""Helpers of the load and fault tests: many recorded clients, each in its own namespace
with a MAC of its own, running dms_load_client.py at once against the lab's server."""

import json
import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import fail, run  # noqa: E402
from dms_sample_clients_test import control_headers  # noqa: E402

CLIENT_SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "dms_load_client.py")


def scale():
    """CALYX_TEST_SCALE: 1 by default, 5 for the long run."""
    return max(1, int(os.environ.get("CALYX_TEST_SCALE") or "1"))


def recorded_clients(source):
    """(name, recorded MAC, control request headers) of every recorded client that made
    a control request."""
    found = []
    with open(os.path.join(source, "data/clients/clients.tsv")) as f:
        for line in f:
            if line.strip() and not line.startswith("#"):
                name, mac = line.split("\t")[:2]
                with open(os.path.join(source, "data/clients", name, "headers.txt")) as h:
                    if "\nPOST " not in "\n" + h.read():
                        continue
                headers = [h for h in control_headers(source, name)
                           if h.split(":")[0].lower() not in ("host", "content-length")]
                found.append((name, mac, headers))
    return found


def add_recorded_clients(lab, count, first=0):
    """`count` client namespaces, the n-th playing recorded client n modulo their number,
    with the recorded MAC's vendor prefix and a host part of its own. Returns a list of
    (client, name, headers)."""
    recorded = recorded_clients(lab.source)
    made = []
    for n in range(first, first + count):
        name, mac, headers = recorded[n % len(recorded)]
        own = "%s:%02x:%02x:%02x" % (mac[:8].lower(), 0x50 + n // 65536, n // 256 % 256,
                                     n % 256)
        made.append((lab.add_client(own), name, headers))
    return made


def identity(lab, client, headers, handler="HandleActionRequest", root=None):
    """(profile, music only) that `calyx identify` gives for this client's control request
    headers, as a control request or (handler "WebSerOpen") as a media request, which
    carries them without SOAPAction and Content-Type. With `root`, the client list under
    that root prefix is read and saved, so successive calls accumulate the client's keys
    in one entry as the server's list does."""
    args = [lab.tool, "identify", "-p", os.path.join(lab.source, "data/profiles.json"),
            "--mac", client.mac, "--ip", client.ip, "--handler", handler, "--json"]
    if root is not None:
        args += ["--root", root, "--save"]
    for header in headers:
        if handler == "HandleActionRequest" or header.split(":")[0].lower() not in (
                "soapaction", "content-type"):
            args += ["-H", header]
    found = json.loads(run(*args).stdout)
    return found["profileName"], "musiconly" in found["checker"]["types"]


def add_big_video(lab, megabytes):
    """A file of pseudo-random bytes indexed as a video (streamed in many pieces); returns
    (path, row id)."""
    path = os.path.join(lab.tmp, "media", "big.mp4")
    with open(path, "wb") as f:
        f.write(os.urandom(megabytes << 20))
    row = lab.insert("video", path=path, title="Big", mime_type="video/mp4",
                     container_type="mov,mp4,m4a,3gp,3g2,mj2")
    return path, row


def media_url(lab, kind, row, path):
    return "/media/%s/%d%s" % (kind, row, os.path.splitext(path)[1])


class Workers:
    """dms_load_client.py processes, one per client namespace, started together."""

    def __init__(self, lab):
        self.lab = lab
        self.running = []

    def start(self, client, config):
        config = dict({"host": "10.77.0.1", "port": 8200, "page": 0, "rounds": 10 ** 6},
                      **config)
        base = os.path.join(self.lab.tmp, "worker-%s" % client.ns)
        with open(base + ".in.json", "w") as f:
            json.dump(config, f)
        process = self.lab.spawn(client.ns, "/usr/bin/python3", CLIENT_SCRIPT,
                                 base + ".in.json", base + ".out.json",
                                 stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.running.append((client, process, base + ".out.json", config["seconds"]))

    def results(self, grace=60):
        """Waits for every worker (its seconds plus `grace`); returns {client: result}."""
        done = {}
        for client, process, out, seconds in self.running:
            try:
                _out, err = process.communicate(timeout=seconds + grace)
            except subprocess.TimeoutExpired:
                process.kill()
                fail("client %s did not finish within %d s" % (client.mac, seconds + grace))
            if process.returncode != 0:
                fail("client %s failed: %s" % (client.mac, err.decode(errors="replace")))
            with open(out) as f:
                done[client] = json.load(f)
        self.running = []
        return done


def percentile(values, fraction):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(fraction * len(ordered)))] if ordered else 0.0


def summary(results):
    """One line: rounds, browses, streams, MB and Browse latency p50/p99 of all clients."""
    latencies = [x for r in results.values() for x in r["latencies"]]
    return ("%d clients: %d browses, %d streams, %.1f MB; Browse p50 %.0f ms, p99 %.0f ms" % (
        len(results), sum(r["browses"] for r in results.values()),
        sum(r["streams"] for r in results.values()),
        sum(r["bytes"] for r in results.values()) / 1e6,
        percentile(latencies, 0.5) * 1000, percentile(latencies, 0.99) * 1000))


def require_clean(results, what, allowed_upnp=()):
    """Fails unless every client finished a round without a problem."""
    for client, result in results.items():
        if result["problems"]:
            fail("%s: client %s: %s" % (what, client.mac, "; ".join(result["problems"][:5])))
        unexpected = {c: n for c, n in result["upnp_errors"].items() if c not in allowed_upnp}
        if unexpected:
            fail("%s: client %s got UPnP errors %r" % (what, client.mac, unexpected))
        if result["rounds"] < 1:
            fail("%s: client %s finished no round" % (what, client.mac))


def wait_alive(lab, seconds):
    """Fails when the server exits within `seconds`."""
    time.sleep(seconds)
    if lab.server.poll() is not None:
        fail("the server exited with %d" % lab.server.returncode)

