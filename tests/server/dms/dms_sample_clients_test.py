#!/usr/bin/python3
"""Recorded sample clients (data/clients/) browse calyx-dms with curl, each from its own
namespace and MAC, sending the headers of its recorded control request. Each answer must
carry the DLNA.ORG_PN choices and the offend-char handling that `calyx identify` and
`calyx video-profile` give for the same headers, and the saved client list the profile
that `calyx identify` names."""

import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action, wait_for  # noqa: E402

CLIENTS = ["sony-bravia-2012", "sony-bravia-4k", "xbox-one", "playstation-3", "playstation-4",
           "windows-media-player", "windows-10", "bubbleupnp", "foobar2000", "vlc",
           "samsung-tv-2013", "kodi"]
DIDL = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
        "dc": "http://purl.org/dc/elements/1.1/"}
TITLE = "Film %d ♪ ~ ’ end"


def sample_clients(source):
    table = {}
    with open(os.path.join(source, "data/clients/clients.tsv")) as f:
        for line in f:
            if line.strip() and not line.startswith("#"):
                name, mac, _ip, _profile = line.rstrip("\n").split("\t")
                table[name] = mac
    return [(name, table[name]) for name in CLIENTS]


def control_headers(source, name):
    """The header lines of the client's first recorded POST (its control request)."""
    headers, inside = [], False
    with open(os.path.join(source, "data/clients", name, "headers.txt")) as f:
        for line in f:
            line = line.rstrip("\n")
            if line.startswith("POST "):
                inside = True
            elif inside and not line.strip():
                break
            elif inside and not line.startswith("#"):
                headers.append(line)
    if not headers:
        fail("%s: no recorded control request" % name)
    return headers


def tool(lab, *args):
    return run(lab.tool, *args, check=False)


def expected_for(lab, mac, ip, headers, items_file):
    """Profile, offend chars, music-only flag and path -> DLNA.ORG_PN from the tool."""
    args = ["identify", "-p", lab.profiles, "--mac", mac, "--ip", ip, "--handler",
            "HandleActionRequest", "--json"]
    for h in headers:
        args += ["-H", h]
    result = tool(lab, *args)
    if result.returncode != 0:
        fail("calyx identify: " + result.stderr)
    identity = json.loads(result.stdout)
    profile = identity["profileName"]
    pn = {}
    result = tool(lab, "video-profile", "-p", lab.profiles, "-n", profile, "--items",
                  items_file, "--json")
    if result.returncode == 0:
        for entry in json.loads(result.stdout)["items"]:
            pn[entry["item"]["path"]] = entry.get("videoProfile") or ""
    elif "no profile named" not in result.stderr:
        fail("calyx video-profile: " + result.stderr)
    return (profile, identity["checker"]["offendChars"],
            "musiconly" in identity["checker"]["types"], pn)


def without(text, chars):
    return "".join(c for c in text if c not in chars)


def main():
    with Lab("clients") as lab:
        lab.profiles = os.path.join(lab.source, "data/profiles.json")
        lab.make_index()
        with open(os.path.join(lab.source, "data/media/items.json")) as f:
            items = json.load(f)["items"]
        paths = {}
        for number, item in enumerate(items, 1):
            row_id = lab.insert("video", title=TITLE % number, mime_type="video/x-matroska",
                                duration=3725, **item)
            paths[row_id] = item["path"]
        items_file = os.path.join(lab.tmp, "items.json")
        with open(items_file, "w") as f:
            json.dump({"items": items}, f)
        lab.insert("music", path="/lab/music/a.mp3", title="Tune ♪ ~ ’", mime_type="audio/mpeg")
        clients = [(name, lab.add_client(mac)) for name, mac in sample_clients(lab.source)]
        lab.start_server()

        expected = {}
        for name, client in clients:
            headers = [h for h in control_headers(lab.source, name)
                       if h.split(":")[0].lower() not in ("host", "content-length")]
            profile, offend, music_only, pn = expected_for(lab, client.mac, client.ip, headers,
                                                           items_file)
            status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
                ("ObjectID", "video"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
                ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")],
                headers=headers, own_headers=False)
            if music_only:
                # A music-only client is shown no video: no such object.
                if status != 500 or result.get("errorCode") != "701":
                    fail("%s (music only) browsed the videos: %d %r" % (name, status, result))
                status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
                    ("ObjectID", "0"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
                    ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")],
                    headers=headers, own_headers=False)
                if status != 200 or 'id="video"' in result.get("Result", "x id=\"video\""):
                    fail("%s (music only) sees the video container: %r" % (name, result))
                chosen = "music only: no videos"
            else:
                if status != 200:
                    fail("%s: Browse answered %d %r" % (name, status, result))
                didl = ET.fromstring(result["Result"])
                got = didl.findall("d:item", DIDL)
                if len(got) != len(items):
                    fail("%s: %d items, not %d" % (name, len(got), len(items)))
                chosen = []
                for item in got:
                    row_id = int(item.get("id")[1:])
                    resources = item.findall("d:res", DIDL)
                    originals = [r for r in resources if "/media/" in (r.text or "")]
                    if originals:
                        m = re.search(r"DLNA\.ORG_PN=([^;]*);",
                                      originals[0].get("protocolInfo"))
                        served = m.group(1) if m else ""
                    else:
                        # Without xmres, a transcoded form takes the place of an original
                        # that none of the client's rules accepts.
                        if not resources or "/transcode/" not in (resources[0].text or ""):
                            fail("%s: %s has neither original nor transcode" %
                                 (name, paths[row_id]))
                        served = ""
                    if served != pn.get(paths[row_id], ""):
                        fail("%s: %s served as %r, the tool says %r" %
                             (name, paths[row_id], served, pn.get(paths[row_id], "")))
                    number = list(paths).index(row_id) + 1
                    title = item.findtext("dc:title", "", DIDL)
                    if title != without(TITLE % number, offend):
                        fail("%s: title %r with offend chars %r" % (name, title, offend))
                    chosen.append(served or "-")
            expected[client.mac] = (name, client.ip, profile)
            print("%-22s %s  %-28s offend %-6r %s" % (name, client.mac, profile, offend,
                                                      " ".join(chosen) if isinstance(chosen, list)
                                                      else chosen))

        def all_saved():
            for mac, (_name, _ip, profile) in expected.items():
                entry = lab.client_entry(mac)
                if not entry or entry.get("profileName") != profile:
                    return False
            return True
        wait_for("every client with its profile in the saved client list", all_saved, 5)
        for mac, (name, ip, _profile) in expected.items():
            if lab.client_entry(mac).get("ipAddr") != ip:
                fail("%s: entry %r" % (name, lab.client_entry(mac)))
    print("PASS")


if __name__ == "__main__":
    main()
