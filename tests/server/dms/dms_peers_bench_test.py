#!/usr/bin/python3
"""The side-by-side benchmark still runs and reports (not how fast anything is):
bench/peers/compare.py --smoke with calyx-dms and minidlna, a tiny tree and a library of
20 songs, 2 videos and 2 photos. Every figure of the table and of the scaling table is
there for both servers: each server listed everything, answered every Browse with the
objects the tree holds (a short answer or a deep page past the end would show), found
the views, answered the Search, and the memory and CPU figures were read; calyx-dms's
first start with its own PostgreSQL cluster was timed apart. Before the loads the
benchmark waited for each server's indexing to end: calyx-dms said its index run (of the
whole tree, thumbnails included) was done. Runs as root (the benchmark makes its own
namespaces)."""

import json
import math
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import fail, skip_or_fail  # noqa: E402

SOURCE = os.environ["CALYX_SOURCE_DIR"]
COMPARE = os.path.join(SOURCE, "bench", "peers", "compare.py")
SERVERS = ("calyx-dms", "minidlna")
SMOKE_VIDEOS, SMOKE_SONGS, LIBRARY = 30, 20, 20
# Files of the smoke tree (songs, videos, the large one) and of the library of 20 songs
# (with 2 videos and 2 photos), as calyx-dms's index run counts them.
TREE_FILES, LIBRARY_FILES = SMOKE_SONGS + SMOKE_VIDEOS + 1, LIBRARY + 4


def check_settled(name, result, files):
    """The client heard of the server (by its announcement or an answer to its search)
    before it listed everything; the loads started only once the server's indexing had
    ended: the wait is there, and calyx-dms's own word that its run covered every file of
    the media."""
    found = result.get("found_s")
    if not positive(found) or found > result["ready_s"]:
        fail("%s: heard of after %r s, listed after %r s" % (name, found, result["ready_s"]))
    if result.get("heard") not in ("notify", "search"):
        fail("%s: heard of by %r" % (name, result.get("heard")))
    settled = result.get("settled_s")
    if not (isinstance(settled, float) and math.isfinite(settled) and settled >= 0):
        fail("%s: no wait for the end of its indexing before the loads: %r" % (name, settled))
    if name == "calyx-dms":
        said = result.get("index_summary") or ""
        wanted = "index up to date: %d files (%d added, " % (files, files)
        if not said.startswith(wanted):
            fail("calyx-dms's index run ended with %r, not %r..." % (said, wanted))


def positive(value):
    return isinstance(value, (int, float)) and math.isfinite(value) and value > 0


def check_table(table):
    for name in SERVERS:
        result = table.get(name) or fail("no table figures for " + name)
        if "error" in result:
            fail("%s failed in the table run: %s" % (name, result["error"]))
        if not positive(result["ready_s"]):
            fail("%s did not list the whole tree: %r" % (name, result["ready_s"]))
        check_settled(name, result, TREE_FILES)
        for case, seconds in result["latency"].items():
            if not seconds or not all(positive(s) for s in seconds):
                fail("%s: no Browse times for %s: %r" % (name, case, seconds))
            # The exchange alone is timed; the probe's parse comes on top of it.
            parsed = result.get("latency_parsed", {}).get(case) or []
            if len(parsed) != len(seconds) or not all(p > s for p, s in zip(parsed, seconds)):
                fail("%s: the times with the probe's parse for %s are not each above the "
                     "exchange's: %r %r" % (name, case, parsed, seconds))
        # Pages of 100 and of 1,000 of a folder of 30 videos: every answer holds all 30.
        for case, returned in result["returned"].items():
            if returned != [SMOKE_VIDEOS]:
                fail("%s answered %r objects to Browse %s of %d videos" % (
                    name, returned, case, SMOKE_VIDEOS))
        for key in ("mixed_rps", "stream_mb_s", "server_peak_kib", "server_before_stream_kib"):
            if not positive(result.get(key)):
                fail("%s: figure %s missing or not positive: %r" % (name, key, result.get(key)))
        # A few MB streamed may take less CPU than the kernel's clock tick counts.
        cpu = result.get("stream_cpu_s_per_gb")
        if not (isinstance(cpu, float) and math.isfinite(cpu) and cpu >= 0):
            fail("%s: no CPU seconds per GB streamed: %r" % (name, cpu))
    if not positive(table["calyx-dms"].get("embedded_ready_s")):
        fail("no first start of calyx-dms with its own cluster: %r" % (
            table["calyx-dms"].get("embedded_ready_s"),))
    if not positive(table["calyx-dms"].get("database_pss_kib")):
        fail("no proportional memory of calyx-dms's database")
    if "database_pss_kib" in table["minidlna"]:
        fail("minidlna has no database server, yet a database figure")


def check_scaling(scaling):
    results = scaling.get(str(LIBRARY)) or fail("no scaling figures for %d items" % LIBRARY)
    for name in SERVERS:
        result = results.get(name) or fail("no scaling figures for " + name)
        if "error" in result:
            fail("%s failed in the scaling run: %s" % (name, result["error"]))
        if not positive(result.get("ready_s")):
            fail("%s did not list the library: %r" % (name, result.get("ready_s")))
        check_settled(name, result, LIBRARY_FILES)
        for key in ("ready_s", "folder_first_ms", "folder_deep_ms", "music_first_ms",
                    "music_deep_ms", "video_deep_ms", "photo_deep_ms", "search_ms"):
            if not positive(result.get(key)):
                fail("%s: scaling figure %s missing: %r" % (name, key, result.get(key)))
        if result.get("folder_walk_items") != LIBRARY or not positive(result.get("folder_walk_s")):
            fail("%s: the walk of the folder found %r songs" % (name, result.get("folder_walk_items")))
        # The page at 80 % of 20 songs holds the last 4; of 2 videos or photos, the last 1.
        for key, wanted in (("folder_deep_returned", 4), ("music_deep_returned", 4),
                            ("video_deep_returned", 1), ("photo_deep_returned", 1)):
            if result.get(key) != wanted:
                fail("%s: %s is %r, not %d" % (name, key, result.get(key), wanted))
        # "0042" is in no title of the library ("song000000" .. "song000019").
        if result.get("search_returned") != 0:
            fail("%s: Search answered %r objects" % (name, result.get("search_returned")))


def main():
    if os.geteuid() != 0:
        skip_or_fail("the benchmark makes network namespaces (root)")
    if not os.path.exists("/usr/sbin/minidlnad"):
        skip_or_fail("minidlna is not installed")
    out = tempfile.mkdtemp(prefix="calyx-peers-smoke-")
    # A home of its own: the benchmark keeps everything it writes in its temporary folder.
    home = tempfile.mkdtemp(prefix="calyx-peers-home-")
    env = dict(os.environ, HOME=home)
    env.pop("XDG_CACHE_HOME", None)
    try:
        run = subprocess.run(["/usr/bin/python3", COMPARE, out, "--smoke", "--only",
                              ",".join(SERVERS), "--no-chart", "--limit", "90"],
                             capture_output=True, text=True, timeout=170, env=env)
        print(run.stdout[-6000:])
        if run.returncode != 0:
            fail("compare.py exited with %d:\n%s" % (run.returncode, run.stderr[-4000:]))
        with open(os.path.join(out, "results.json")) as f:
            results = json.load(f)
        check_table(results["table"])
        check_scaling(results["scaling"])
        with open(os.path.join(out, "table.md")) as f:
            table = f.read()
        for row in ("Browse 100 of 30, 1 client(s), p50 ms",
                    "Browse 100 of 30, 1 client(s), p50 ms with the probe's parse",
                    "mixed load, 8 clients",
                    "first start with its own PostgreSQL cluster",
                    "CPU seconds per GB streamed", "PostgreSQL after the loads, PSS"):
            if row not in table:
                fail("table.md has no row %r:\n%s" % (row, table))
        with open(os.path.join(out, "scaling.md")) as f:
            scaling = f.read()
        for name in SERVERS:
            if "| %d | %s |" % (LIBRARY, name) not in scaling:
                fail("scaling.md has no row for %s:\n%s" % (name, scaling))
        left = [os.path.join(top, name) for top, dirs, files in os.walk(home)
                for name in dirs + files]
        if left:
            fail("the benchmark wrote into the home folder: %r" % left[:10])
    finally:
        shutil.rmtree(out, ignore_errors=True)
        shutil.rmtree(home, ignore_errors=True)
    print("PASS")


if __name__ == "__main__":
    main()
