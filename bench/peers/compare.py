#!/usr/bin/python3
"""calyx-dms side by side with minidlna, gerbera and rygel: the same generated media, the
same namespaces and the same client load for each, one server at a time, in one run.
Run by bench/peers/run.sh (which installs the peers, builds calyx-dms and starts the
PostgreSQL server); prints the tables and writes results.json, table.md, scaling.md and
latency.png to the output folder.

    compare.py OUTPUT_DIR [--quick] [--smoke] [--only NAME,NAME] [--limit SECONDS]
               [--perf] [--sizes N,N] [--scaling-only NAME,NAME|all] [--no-table]
               [--no-chart]

The table: Browse latencies, mixed load, start, memory and streaming on the main tree
(media_tree.py). The scaling: for each library size of --sizes (default 1000,10000), the
start and the latency of first and deep pages of one folder and of the Music, Video and
Photo views, and of a Search by title.

--quick makes fewer requests; --smoke runs a tiny tree and library with a few requests
(does it run and report, not how fast); --only runs the named servers alone; --limit
(default 1200) bounds the wait for a server to list the whole tree (one that does not is
measured on what it lists by then); --perf records each server's processes with perf
during the Browse loads into OUTPUT_DIR/perf-NAME.data (`perf report -i` reads it);
--scaling-only names the servers of the scaling (default calyx-dms,minidlna: the slower
peers take minutes to list each library); --no-table skips the table (the scaling alone),
--no-chart the chart.
"""

import json
import os
import select
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tests", "server", "dms"))
sys.path.insert(0, HERE)
from dms_lab import Lab  # noqa: E402
from media_tree import FULL, SMOKE, library_counts, make_library, make_tree, tree_items  # noqa: E402
from report import chart, scaling_table, table  # noqa: E402
from servers import PEERS, CalyxDms, CalyxDmsEmbedded  # noqa: E402
from system_figures import CpuMeter, cpu_seconds, peak_kib, pss_kib  # noqa: E402

PROBE = os.path.join(HERE, "probe.py")
SEARCH = 'dc:title contains "0042"'


def option(name, default):
    return sys.argv[sys.argv.index(name) + 1] if name in sys.argv else default


def probe(client, *args, timeout=600):
    out = subprocess.run(["ip", "netns", "exec", client.ns, "/usr/bin/python3", PROBE,
                          *[str(a) for a in args]], capture_output=True, text=True,
                         timeout=timeout)
    if out.returncode != 0:
        raise RuntimeError("probe %s: %s" % (args[0], out.stderr.strip()[-2000:]))
    return json.loads(out.stdout)


def timed_start(client, server, limit, mode, wanted):
    """Starts `server` with a client already on the network (probe.py watch, listening
    before the server starts and looking every 0.1 s). (seconds from the start until the
    client found every folder of `wanted` ({title: items}) holding its items, or None when
    that did not happen within `limit`; location; {title: id}; {"found_s": seconds until
    the client heard of the server, "heard": "notify" or "search"}). Raises when the
    server exits or does not answer at all."""
    server.prepare()
    watcher = subprocess.Popen(
        ["ip", "netns", "exec", client.ns, "/usr/bin/python3", PROBE, "watch", str(limit), mode,
         *[str(x) for pair in wanted.items() for x in pair]],
        stdout=subprocess.PIPE, text=True)
    try:
        if watcher.stdout.readline().strip() != "ready":
            raise RuntimeError("the probe did not start listening")
        started = time.monotonic()
        server.start()
        while not select.select([watcher.stdout], [], [], 0.05)[0]:
            if server.process.poll() is not None:
                raise RuntimeError("%s exited with %d" % (server.name,
                                                          server.process.returncode))
        line = watcher.stdout.readline()
        ready = time.monotonic() - started
    finally:
        if watcher.poll() is None:
            watcher.kill()
        watcher.wait()
    got = json.loads(line)
    if not got["location"]:
        raise RuntimeError("%s did not answer within %d s" % (server.name, limit))
    if not got["listed"]:
        print("  %s did not list everything within %d s" % (server.name, limit))
    return ((ready if got["listed"] else None), got["location"], got["ids"],
            {"found_s": got["found_s"], "heard": got["heard"]})


def settle(server, limit):
    """Waits until the server has finished the indexing of its start (see Server.settle)
    before the loads; the figures saying how long that took and how it ended."""
    settled = {"settled_s": server.settle(limit)}
    if settled["settled_s"] is None:
        print("  %s was still indexing %d s after it listed everything" % (server.name, limit))
    elif settled["settled_s"] >= 0.05:
        print("  %s finished its indexing %.1f s later" % (server.name, settled["settled_s"]))
    if hasattr(server, "index_summary"):
        settled["index_summary"] = server.index_summary()
    return settled


def start_profile(server, out_dir):
    """perf sampling the server's processes (calyx-dms: and its PostgreSQL ones) during
    the Browse and mixed loads."""
    pids = ",".join(str(p) for group in server.pids().values() for p in group)
    return subprocess.Popen(["perf", "record", "-F", "499", "-g", "-p", pids, "-o",
                             os.path.join(out_dir, "perf-%s.data" % server.name)],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def stop_profile(perf):
    perf.send_signal(signal.SIGINT)
    perf.wait(timeout=60)


def measure(client, server, shape, load, limit, profile_dir=None):
    """The table's figures of one server on the main tree."""
    # Listed: every item of every folder the next figures use (a server that still scans
    # the videos is not ready to be browsed for them).
    songs = tree_items(shape) - shape["videos"] - 1
    wanted = {"benchtree": songs, "videos1000": shape["videos"], "large": 1}
    ready, location, ids, found = timed_start(client, server, limit, "count", wanted)
    server.meter = CpuMeter(server.process.pid, server.name)
    if ready is not None:
        print("  %s lists all %d items after %.1f s" % (server.name, tree_items(shape), ready))
    settled = settle(server, limit)
    if not ids.get("videos1000"):
        raise RuntimeError("%s does not list the folder of videos" % server.name)
    videos = ids["videos1000"]
    perf = start_profile(server, profile_dir) if profile_dir else None
    result = dict(settled, **found, ready_s=ready, limit_s=limit, latency={}, returned={},
                  tree_items=tree_items(shape), videos=shape["videos"])
    for page in (100, 1000):
        for clients in (1, 8):
            got = probe(client, "latency", location, videos, page, clients,
                        max(1, load["requests"] // clients))
            result["latency"]["%d/%d" % (page, clients)] = got["seconds"]
            # What a client sees with its own parsing added (a larger answer costs it more).
            result.setdefault("latency_parsed", {})["%d/%d" % (page, clients)] = [
                s + p for s, p in zip(got["seconds"], got["parse_seconds"])]
            result["returned"]["%d/%d" % (page, clients)] = got["returned"]
    result["mixed_rps"] = probe(client, "mixed", location, videos, 8, load["mixed_s"])["rps"]
    if perf:
        stop_profile(perf)
    # Read before the stream too: which of the Browse loads and the stream sets the peak.
    result["server_before_stream_kib"] = peak_kib(server.process.pid)
    # The server's CPU (with the processes it starts, such as a peer's sending children)
    # and that of its database processes.
    database = server.pids().get("postgresql", [])

    def cpu():
        return server.meter.seconds() + cpu_seconds(database)
    cpu_before = cpu()
    got = probe(client, "stream", location, ids["large"])
    time.sleep(0.5)  # a sending child has exited
    result["stream_cpu_s_per_gb"] = (cpu() - cpu_before) / (got["total_bytes"] / 1e9)
    result["stream_mb_s"] = got["bytes"] / got["seconds"] / 1e6
    result["server_peak_kib"] = peak_kib(server.process.pid)
    if database:
        result["database_pss_kib"] = sum(pss_kib(p) for p in database)
    return result


def measure_embedded(client, server, shape, limit):
    """Seconds from the first start of calyx-dms with its own cluster until it lists the
    main tree (None when not within `limit`)."""
    songs = tree_items(shape) - shape["videos"] - 1
    wanted = {"benchtree": songs, "videos1000": shape["videos"], "large": 1}
    ready = timed_start(client, server, limit, "count", wanted)[0]
    if ready is not None:
        print("  lists all %d items after %.1f s" % (tree_items(shape), ready))
    return ready


def p50_ms(got):
    ordered = sorted(got["seconds"])
    return ordered[len(ordered) // 2] * 1000


def measure_scaling(client, server, size, load, limit):
    """The scaling figures of one server on the library of `size` items."""
    counts = library_counts(size)
    ready, location, ids, found = timed_start(client, server, limit, "total", counts)
    result = dict(settle(server, limit), **found, ready_s=ready)
    n = load["scaling_requests"]

    def page(container, total, key):
        if not container:
            return
        result[key + "_first_ms"] = p50_ms(probe(client, "page", location, container, 0, 100, n))
        deep = probe(client, "page", location, container, int(total * 0.8), 100, n)
        result[key + "_deep_ms"] = p50_ms(deep)
        result[key + "_deep_returned"] = min(deep["returned"])
    page(ids.get("songs"), counts["songs"], "folder")
    if ids.get("songs"):
        walked = probe(client, "walk", location, ids["songs"], 100)
        result["folder_walk_s"] = walked["seconds"]
        result["folder_walk_items"] = walked["items"]
    for view, folder in (("music", "songs"), ("video", "videos"), ("photo", "photos")):
        if view in server.VIEWS:
            found = probe(client, "path", location, server.VIEWS[view])["id"]
            page(found, counts[folder], view)
    try:
        got = probe(client, "search", location, "0", SEARCH, n)
        result["search_ms"] = p50_ms(got)
        result["search_returned"] = min(got["returned"])
    except RuntimeError as e:
        print("  %s: no Search (%s)" % (server.name, str(e).splitlines()[-1][:120]))
    result["server_peak_kib"] = peak_kib(server.process.pid)
    return result


def run_servers(lab, kinds, run_dir, media, out_dir, work):
    """work(server) for each kind of server started on `media`; {name: figures or
    {"error": text}}."""
    results = {}
    for kind in kinds:
        server = kind(lab, run_dir, media)
        print("%s:" % server.name)
        try:
            results[server.name] = work(server)
        except (RuntimeError, subprocess.SubprocessError) as e:
            print("  FAILED: %s" % e)
            results[server.name] = {"error": str(e)}
            shutil.copy(server.log.name, os.path.join(out_dir, "%s-%s.log" % (
                server.name, os.path.basename(run_dir))))
        finally:
            server.stop()
            if getattr(server, "meter", None):
                server.meter.close()
    return results


def main():
    out_dir = os.path.abspath(sys.argv[1])
    smoke, quick = "--smoke" in sys.argv, "--quick" in sys.argv
    limit = int(option("--limit", "1200"))
    only = option("--only", None)
    sizes = [int(s) for s in option("--sizes", "20" if smoke else "1000,10000").split(",") if s]
    load = {"requests": 4 if smoke else 20 if quick else 100,
            "mixed_s": 1 if smoke else 3 if quick else 10,
            "scaling_requests": 2 if smoke else 5 if quick else 20}
    profile_dir = out_dir if "--perf" in sys.argv else None
    kinds = [k for k in [CalyxDms] + PEERS if not only or k.name in only.split(",")]
    scaling_only = option("--scaling-only", "calyx-dms,minidlna")
    scaling_kinds = [k for k in kinds if scaling_only == "all" or k.name in scaling_only.split(",")]
    os.makedirs(out_dir, exist_ok=True)
    results = {"table": {}, "scaling": {}}
    with Lab("bench") as lab:
        client = lab.add_client("02:62:00:00:00:01")
        shape = SMOKE if smoke else FULL
        if "--no-table" not in sys.argv:
            run_dir = os.path.join(lab.tmp, "table")
            media = make_tree(os.path.join(lab.tmp, "media"), shape)
            results["table"] = run_servers(
                lab, kinds, run_dir, media, out_dir,
                lambda server: measure(client, server, shape, load, limit, profile_dir))
            calyx = results["table"].get("calyx-dms")
            if calyx and "error" not in calyx:
                # The first start with the embedded cluster, reported apart from the start
                # against an existing cluster.
                embedded = run_servers(lab, [CalyxDmsEmbedded], run_dir, media, out_dir,
                                       lambda server: measure_embedded(client, server, shape,
                                                                       limit))
                calyx["embedded_ready_s"] = embedded["calyx-dms-embedded"]
        for size in sizes:
            print("library of %d items" % size)
            run_dir = os.path.join(lab.tmp, "size-%d" % size)
            media = make_library(os.path.join(lab.tmp, "libraries"), size)
            results["scaling"][str(size)] = run_servers(
                lab, scaling_kinds, run_dir, media, out_dir,
                lambda server: measure_scaling(client, server, size, load, limit))
            shutil.rmtree(media)
    with open(os.path.join(out_dir, "results.json"), "w") as f:
        json.dump(results, f)
    for name, text in (("table.md", table(results["table"])),
                       ("scaling.md", scaling_table(results["scaling"]))):
        print(text)
        with open(os.path.join(out_dir, name), "w") as f:
            f.write(text)
    if results["table"] and "--no-chart" not in sys.argv:
        chart(results["table"], os.path.join(out_dir, "latency.png"))


if __name__ == "__main__":
    main()
