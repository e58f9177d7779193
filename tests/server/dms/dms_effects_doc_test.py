#!/usr/bin/python3
"""The table of agent types and capability options in docs/server.md and what
`calyx identify --explain` says calyx-dms does for a client are one text: every type and
option of the library has its row, in the library's order, and the tool names the same
effect (the "with" text for what the client's profile has, the "without" text for the
rest)."""

import json
import os
import subprocess
import sys
import tempfile

TYPES = ["dlna", "xbox", "msclient", "wmp", "roku", "musiconly", "wdtvlive", "samsungtv"]
OPTIONS = ["xmres", "transwav", "transpcm", "xalbart", "revimgres", "xvcover", "transmkv",
           "videoalbart", "videosrt", "photowithxlthumb", "videosubtitleitem",
           "photoforcejpegpn", "xlibdlnamodule", "photoforcebgthumb", "customizesymbol",
           "origcover", "sendvsmetadata", "videowithext"]
# What a profile of the test has: some types and options, so both texts are checked.
HAS = {"dlna", "samsungtv", "xmres", "videosrt", "origcover", "videowithext"}


def fail(message):
    print("FAIL: " + message, file=sys.stderr)
    sys.exit(1)


def docs_rows(path):
    """name -> (kind, with, without, test) from the table under its heading."""
    rows, inside = {}, False
    order = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if line.startswith("| name | kind |"):
                inside = True
                continue
            if inside and line.startswith("|---"):
                continue
            if inside and not line.startswith("|"):
                break
            if inside:
                cells = [c.strip() for c in line.strip("|").split(" | ")]
                if len(cells) != 5:
                    fail("docs/server.md: a row without 5 cells: %r" % line)
                name, kind, with_, without, test = cells
                name, test = name.strip("`"), test.strip("`")
                rows[name] = (kind, with_, without, test)
                order.append(name)
    return order, rows


def main():
    source, tool = os.environ["CALYX_SOURCE_DIR"], os.environ["CALYX_TOOL"]
    order, rows = docs_rows(os.path.join(source, "docs/server.md"))
    if order != TYPES + OPTIONS:
        fail("docs/server.md rows %r, not every type and option in table order" % order)
    for name, (_kind, with_, without, _test) in rows.items():
        if "not yet" in (with_ + without).lower():
            fail("docs/server.md: the row of %s says 'not yet'" % name)
    with tempfile.TemporaryDirectory() as tmp:
        profile = {"profileName": "Everything", "profileID": {"macAddr": "02:25:00:00:00:01"},
                   "agentopt": " ".join(sorted(HAS & set(OPTIONS)))}
        for t in HAS & set(TYPES):
            profile[t] = "yes"
        profiles = os.path.join(tmp, "profiles.json")
        with open(profiles, "w") as f:
            json.dump({"ProfileList": [profile]}, f)
        args = [tool, "identify", "-p", profiles, "--root", tmp, "--mac", "02:25:00:00:00:01",
                "-H", "User-Agent: lab"]
        result = subprocess.run(args + ["--explain", "--json"], capture_output=True, text=True,
                                timeout=60)
        if result.returncode != 0:
            fail("calyx identify --explain --json: " + result.stderr)
        effects = json.loads(result.stdout)["effects"]
        text = subprocess.run(args + ["--explain"], capture_output=True, text=True,
                              timeout=60).stdout
    if [e["name"] for e in effects] != order:
        fail("the tool's effects %r differ from the docs' rows" % [e["name"] for e in effects])
    for e in effects:
        kind, with_, without, test = rows[e["name"]]
        got = ("type" if e["type"] else "option", e["with"], e["without"], e["test"])
        if got != (kind, with_, without, test):
            fail("%s: the tool says %r, docs/server.md %r" % (e["name"], got,
                                                              (kind, with_, without, test)))
        if e["has"] != (e["name"] in HAS):
            fail("%s: the tool says the profile has it: %r" % (e["name"], e["has"]))
        line = "%s %s: %s" % ("+" if e["has"] else "-", e["name"],
                              with_ if e["has"] else without)
        if line not in text:
            fail("calyx identify --explain does not say %r" % line)
    print("%d rows: docs/server.md and calyx identify --explain agree" % len(order))


if __name__ == "__main__":
    main()
