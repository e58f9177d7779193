#!/usr/bin/python3
"""calyx-dms side by side with minidlna, gerbera and rygel: the same generated media tree,
the same namespaces and the same client load for each, one server at a time, in one run.
Run by bench/peers/run.sh (which installs the peers, builds calyx-dms and starts the
PostgreSQL server); prints a table and writes results.json, latency.png and table.md to
the output folder.

    compare.py OUTPUT_DIR [--quick] [--only NAME,NAME] [--limit SECONDS] [--perf]

--quick makes fewer requests; --only runs the named servers alone; --limit (default 1200)
bounds the wait for a server to list the whole tree (one that does not is measured on
what it lists by then); --perf records each server's processes with perf during the
Browse loads into OUTPUT_DIR/perf-NAME.data (`perf report -i` reads it).
"""

import json
import os
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tests", "server"))
sys.path.insert(0, HERE)
from dms_lab import Lab  # noqa: E402
from media_tree import TREE_ITEMS, make_tree  # noqa: E402
from report import chart, table  # noqa: E402
from servers import PEERS, CalyxDms  # noqa: E402

PROBE = os.path.join(HERE, "probe.py")


def probe(lab, client, *args, timeout=600):
    out = subprocess.run(["ip", "netns", "exec", client.ns, "/usr/bin/python3", PROBE,
                          *[str(a) for a in args]], capture_output=True, text=True,
                         timeout=timeout)
    if out.returncode != 0:
        raise RuntimeError("probe %s: %s" % (args[0], out.stderr.strip()[-2000:]))
    return json.loads(out.stdout)


def peak_kib(pid):
    try:
        for line in open("/proc/%d/status" % pid):
            if line.startswith("VmHWM:"):
                return int(line.split()[1])
    except OSError:
        pass
    return 0


def until_listed(lab, client, server, started, limit):
    """Seconds from `started` until a Browse walk lists every item of the tree (None when
    it did not within `limit`, if the server answers at all)."""
    location, tree = None, None
    while time.monotonic() - started < limit:
        if server.process.poll() is not None:
            raise RuntimeError("%s exited with %d" % (server.name, server.process.returncode))
        try:
            location = location or probe(lab, client, "discover")["location"]
            if location:
                tree = tree or probe(lab, client, "find", location, "benchtree")["id"]
            if tree and probe(lab, client, "count", location, tree)["items"] >= TREE_ITEMS:
                return time.monotonic() - started, location
        except RuntimeError as e:
            print("  (%s not ready: %s)" % (server.name, str(e).splitlines()[-1][:120]))
        time.sleep(2)
    if not location:
        raise RuntimeError("%s did not answer within %d s" % (server.name, limit))
    print("  %s did not list the whole tree within %d s" % (server.name, limit))
    return None, location


def start_profile(server, out_dir):
    """perf sampling the server's processes (calyx-dms: and its PostgreSQL ones) during
    the Browse and mixed loads."""
    pids = ",".join(str(p) for group in server.pids().values() for p in group)
    return subprocess.Popen(["perf", "record", "-F", "499", "-g", "-p", pids, "-o",
                             os.path.join(out_dir, "perf-%s.data" % server.name)],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def stop_profile(perf, out_dir):
    perf.send_signal(signal.SIGINT)
    perf.wait(timeout=60)


def measure(lab, client, server, quick, limit, profile_dir=None):
    started = time.monotonic()
    server.start()
    ready, location = until_listed(lab, client, server, started, limit)
    if ready is not None:
        print("  %s lists all %d items after %.1f s" % (server.name, TREE_ITEMS, ready))
    videos = probe(lab, client, "find", location, "videos1000")["id"]
    if not videos:
        raise RuntimeError("%s does not list the folder of 1,000 videos" % server.name)
    large = probe(lab, client, "find", location, "large")["id"]
    requests = 20 if quick else 100
    perf = start_profile(server, profile_dir) if profile_dir else None
    result = {"ready_s": ready, "limit_s": limit, "latency": {}}
    for page in (100, 1000):
        for clients in (1, 8):
            got = probe(lab, client, "latency", location, videos, page, clients,
                        max(1, requests // clients))
            result["latency"]["%d/%d" % (page, clients)] = got["seconds"]
            result.setdefault("returned", {})["%d/%d" % (page, clients)] = got["returned"]
    result["mixed_rps"] = probe(lab, client, "mixed", location, videos, 8,
                                3 if quick else 10)["rps"]
    if perf:
        stop_profile(perf, profile_dir)
    # Read before the stream too: which of the Browse loads and the stream sets the peak.
    result["server_before_stream_kib"] = peak_kib(server.process.pid)
    got = probe(lab, client, "stream", location, large)
    result["stream_mb_s"] = got["bytes"] / got["seconds"] / 1e6
    result["memory_kib"] = {role: sum(peak_kib(p) for p in pids)
                            for role, pids in server.pids().items()}
    return result


def main():
    out_dir = os.path.abspath(sys.argv[1])
    quick = "--quick" in sys.argv
    limit = int(sys.argv[sys.argv.index("--limit") + 1]) if "--limit" in sys.argv else 1200
    only = sys.argv[sys.argv.index("--only") + 1].split(",") if "--only" in sys.argv else None
    os.makedirs(out_dir, exist_ok=True)
    results = {}
    with Lab("bench") as lab:
        lab.make_index()
        client = lab.add_client("02:62:00:00:00:01")
        media = make_tree(os.path.join(lab.tmp, "media"))
        for kind in [k for k in [CalyxDms] + PEERS if not only or k.name in only]:
            server = kind(lab, lab.tmp, media)
            print("%s:" % server.name)
            try:
                results[server.name] = measure(lab, client, server, quick, limit,
                                               out_dir if "--perf" in sys.argv else None)
            except (RuntimeError, subprocess.SubprocessError) as e:
                print("  FAILED: %s" % e)
                results[server.name] = {"error": str(e)}
                shutil.copy(server.log.name, os.path.join(out_dir, server.name + ".log"))
            finally:
                server.stop()
    with open(os.path.join(out_dir, "results.json"), "w") as f:
        json.dump(results, f)
    text = table(results)
    print(text)
    with open(os.path.join(out_dir, "table.md"), "w") as f:
        f.write(text)
    chart(results, os.path.join(out_dir, "latency.png"))


if __name__ == "__main__":
    main()
