#!/usr/bin/python3
"""One table of the transcoding benchmarks' figures, case by case, from the files their
--json option wrote (transcode_bench.py, gerbera_transcode.py, rygel_transcode.py):

    compare_transcodes.py FILE...

A server that could not make a case says why in its row."""

import json
import sys


def cell(value, form):
    return form % value if value is not None else "-"


def main():
    reports = []
    for path in sys.argv[1:]:
        try:
            with open(path) as f:
                reports.append(json.load(f))
        except (OSError, ValueError) as e:
            print("%s: not read (%s)" % (path, e))
    cases = []
    for report in reports:
        for row in report["cases"]:
            if row["case"] not in cases:
                cases.append(row["case"])
    print("%-26s %-28s %-22s %7s %8s %6s %9s %9s %9s  %s" % (
        "case", "server", "res taken", "fps", "x real", "CPU", "memory", "1st byte",
        "seek 1st", "time seek"))
    for case in cases:
        for report in reports:
            for row in report["cases"]:
                if row["case"] != case:
                    continue
                if "error" in row:
                    print("%-26s %-28s %-22s %s" % (case, report["server"][:28],
                                                     row.get("target", "-")[:22], row["error"]))
                    continue
                print("%-26s %-28s %-22s %7s %7.2fx %6.2f %5.0f MiB %7.3f s %9s  %s" % (
                    case, report["server"][:28], row["target"][:22], cell(row["fps"], "%.1f"),
                    row["real"], row["cpu"], row["memory"], row["first"],
                    cell(row["seek"], "%.3f s"), row["seek_verdict"]))
    for report in reports:
        if "two_720p" in report:
            print("%s, two 720p at once: %s real time each" % (
                report["server"], " and ".join("%.2fx" % r for r in report["two_720p"])))
        for note in report.get("notes", []):
            print("%s: %s" % (report["server"], note))


if __name__ == "__main__":
    main()
