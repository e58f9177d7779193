"""The comparison's tables (each server's figures and calyx-dms's ratio to the best peer;
the scaling by library size) and its chart of the Browse latency distributions
(gnuplot, PNG)."""

import os
import shutil
import subprocess
import tempfile

CASES = ["100/1", "100/8", "1000/1", "1000/8"]
ANSWER = "fewest objects in an answer to a Browse of 1000"
MIB = 1024


def percentile(values, fraction):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(fraction * len(ordered)))] if ordered else 0.0


def figures(result):
    """(label, value, True when higher is better) of one server's result."""
    rows = []
    videos = result["videos"]
    for case in CASES:
        page, clients = case.split("/")
        seconds = result["latency"][case]
        for name, fraction in (("p50", 0.5), ("p99", 0.99)):
            rows.append(("Browse %s of %d, %s client(s), %s ms" % (page, videos, clients, name),
                         percentile(seconds, fraction) * 1000, False))
    parsed = result.get("latency_parsed", {}).get("100/1")
    if parsed:
        rows.append(("Browse 100 of %d, 1 client(s), p50 ms with the probe's parse of the reply"
                     % videos, percentile(parsed, 0.5) * 1000, False))
    # A server that answers fewer objects than asked for does less work per request: the
    # shortest of its answers counts.
    rows.append((ANSWER, min(result["returned"]["1000/1"] + result["returned"]["1000/8"]),
                 True))
    rows += [("mixed load, 8 clients, requests/s", result["mixed_rps"], True),
             ("start on an empty index until all %d items are listed, s" % result["tree_items"],
              result["ready_s"] if result["ready_s"] is not None else float("inf"), False),
             ("first start with its own PostgreSQL cluster until all %d items are listed, s"
              % result["tree_items"], result.get("embedded_ready_s"), False),
             ("peak RSS of the server before streaming, MiB",
              result["server_before_stream_kib"] / MIB, False),
             ("peak RSS of the server, MiB", result["server_peak_kib"] / MIB, False)]
    if "database_pss_kib" in result:
        rows.append(("PostgreSQL after the loads, PSS of all its processes, MiB",
                     result["database_pss_kib"] / MIB, False))
    rows += [("streaming one large file, MB/s", result["stream_mb_s"], True),
             ("CPU seconds per GB streamed", result["stream_cpu_s_per_gb"], False)]
    # A figure a server has not (the embedded start is calyx-dms's alone; a failed one is
    # an error) is left out.
    return [r for r in rows if isinstance(r[1], (int, float))]


def cell(value):
    return "not within the limit" if value == float("inf") else "%.1f" % value


def table(results):
    if not results:
        return ""
    names = [n for n in results if "error" not in results[n]]
    peers = [n for n in names if n != "calyx-dms"]
    ours = {label: (value, higher) for label, value, higher in figures(results["calyx-dms"])} \
        if "calyx-dms" in names else {}
    theirs = {n: {label: value for label, value, _ in figures(results[n])} for n in peers}
    lines = ["| figure | " + " | ".join(names) + " | calyx-dms / best peer |",
             "|---" * (len(names) + 2) + "|"]
    for label, (value, higher) in ours.items():
        cells = [cell(value)] + [cell(theirs[n][label]) if label in theirs[n] else "-"
                                 for n in peers]
        # A page of 1,000 is compared only with peers that answered as many objects:
        # a shorter answer is less work, not a faster server.
        full = [n for n in peers if not label.startswith("Browse 1000 ") or
                theirs[n].get(ANSWER, 0) >= ours.get(ANSWER, (0, True))[0]]
        known = [theirs[n][label] for n in full
                 if label in theirs[n] and theirs[n][label] != float("inf")]
        best = (max(known) if higher else min(known)) if known else None
        ratio = "%.2f" % (value / best) if best else "-"
        lines.append("| %s | %s | %s |" % (label, " | ".join(cells), ratio))
    for n, result in results.items():
        if "error" in result:
            lines.append("\n%s: no figures (%s)" % (n, result["error"].splitlines()[0]))
    return "\n".join(lines) + "\n"


SCALING = [("listed after, s", "ready_s"),
           ("folder, first page ms", "folder_first_ms"),
           ("folder, page at 80% ms", "folder_deep_ms"),
           ("folder walked in pages of 100, ms", "folder_walk_s"),
           ("Music view, first page ms", "music_first_ms"),
           ("Music view, page at 80% ms", "music_deep_ms"),
           ("Video view, page at 80% ms", "video_deep_ms"),
           ("Photo view, page at 80% ms", "photo_deep_ms"),
           ("Search title contains, ms", "search_ms"),
           ("Search, objects answered", "search_returned"),
           ("peak RSS of the server, MiB", "server_peak_kib")]


def scaling_table(scaling):
    """One row per library size and server: its start and p50 page and Search times."""
    if not scaling:
        return ""
    lines = ["| items | server | " + " | ".join(label for label, _ in SCALING) + " |",
             "|---" * (len(SCALING) + 2) + "|"]
    for size, results in scaling.items():
        for name, result in results.items():
            if "error" in result:
                lines.append("| %s | %s | %s |" % (size, name, "failed: " +
                                                     result["error"].splitlines()[0][:80]))
                continue
            cells = []
            for _, key in SCALING:
                value = result.get(key)
                if value is None:
                    cells.append("-")
                elif key.endswith("_kib"):
                    cells.append(cell(value / MIB))
                elif key.endswith("_s") and key != "ready_s":
                    cells.append(cell(value * 1000))
                else:
                    cells.append(cell(value))
            lines.append("| %s | %s | %s |" % (size, name, " | ".join(cells)))
    return "\n".join(lines) + "\n"


def chart(results, png):
    """Cumulative distributions of the Browse latencies, one panel per case."""
    names = [n for n in results if "error" not in results[n]]
    with tempfile.TemporaryDirectory() as tmp:
        plots = []
        for case in CASES:
            lines = []
            for n in names:
                data = os.path.join(tmp, "%s-%s.dat" % (n, case.replace("/", "-")))
                values = sorted(results[n]["latency"][case])
                with open(data, "w") as f:
                    for i, v in enumerate(values):
                        f.write("%f %f\n" % (v * 1000, (i + 1) / len(values)))
                lines.append("'%s' using 1:2 with steps title '%s'" % (data, n))
            page, clients = case.split("/")
            plots.append("set title 'Browse of %s children, %s client(s)'\nplot %s" % (
                page, clients, ", ".join(lines)))
        script = ("set terminal png size 1200,900\nset output '%s'\nset multiplot layout 2,2\n"
                  "set logscale x\nset xlabel 'latency, ms'\nset ylabel 'fraction of requests'\n"
                  "set key bottom right\n%s\nunset multiplot\n" % (png, "\n".join(plots)))
        if not shutil.which("gnuplot"):
            print("(no chart: gnuplot is not installed)")
            return
        subprocess.run(["gnuplot"], input=script, text=True, check=True)
