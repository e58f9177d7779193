#!/usr/bin/python3
"""calyx-dms with a GUPnP control point and ffprobe in a client namespace: discovery by
SSDP, description, browsing to a video, a Range download, the media opened by ffprobe,
thumbnails, Search, the client recorded with its veth's real MAC, the time one Browse of
100 children spends inside the library, and a clean stop with bye-bye. The server's SSDP
announcements, as a listener on the network sees them: at the start a bye-bye and three
alive of each of its resources, paced closely enough that the whole set goes out within
a second or so; at the stop all three bye-byes of every resource."""

import hashlib
import json
import os
import re
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, soap_action, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
PS4_INFO = ('X-AV-Client-Info: av=5.0; cn="Sony Interactive Entertainment Inc."; '
            'mn="PlayStation 4"; mv="2.0";')


# Prints "ready", then one JSON line per SSDP NOTIFY that reaches port 1900: the time it
# arrived, its NTS and its NT.
SSDP_LISTENER = r"""
import json, socket, struct, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM, socket.IPPROTO_UDP)
s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
s.bind(("", 1900))
s.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
             struct.pack("4s4s", socket.inet_aton("239.255.255.250"),
                         socket.inet_aton("0.0.0.0")))
print("ready", flush=True)
while True:
    data = s.recvfrom(4096)[0].decode(errors="replace").split("\r\n")
    if not data[0].startswith("NOTIFY"):
        continue
    fields = dict((line.split(":", 1)[0].strip().lower(), line.split(":", 1)[1].strip())
                  for line in data[1:] if ":" in line)
    print(json.dumps({"t": time.monotonic(), "nts": fields.get("nts"),
                      "nt": fields.get("nt")}), flush=True)
"""
# The server's resources: the root device, its UUID, the device type and three services.
RESOURCES = 6


def check_announcements(notes):
    """The start's set and the stop's bye-byes, as the listener saw them."""
    alive = [n for n in notes if n["nts"] == "ssdp:alive"]
    if not alive:
        fail("the server announced nothing")
    start = [n for n in notes if n["t"] <= alive[-1]["t"]]
    stop = [n for n in notes if n["t"] > alive[-1]["t"]]
    kinds = sorted({n["nt"] for n in notes})
    if len(kinds) != RESOURCES or "urn:schemas-upnp-org:device:MediaServer:1" not in kinds:
        fail("announced resources %r" % kinds)
    for nt in kinds:
        said = [n["nts"] for n in start if n["nt"] == nt]
        if said != ["ssdp:byebye"] + ["ssdp:alive"] * 3:
            fail("at the start %s was announced as %r" % (nt, said))
        # With the stack's default pacing (120 ms) only the first few of the 18 bye-byes
        # would go out before the server exits.
        said = [n["nts"] for n in stop if n["nt"] == nt]
        if said != ["ssdp:byebye"] * 3:
            fail("at the stop %s said %r, not three bye-byes" % (nt, said))
    # 24 messages: at the stack's default pacing at least 23 x 120 ms = 2.76 s.
    span = start[-1]["t"] - start[0]["t"]
    if span > 2.0:
        fail("the start's announcements took %.2f s" % span)


def interface_mac(client):
    out = client.run("ip", "-j", "link", "show", "eth0").stdout
    return json.loads(out)[0]["address"]


def main():
    with Lab("cp") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        # 100 more videos in a folder of their own, for the timing of one Browse.
        many = lab.insert("directory", path="/lab/many", title="many")
        lab.psql("INSERT INTO video (parent_id, path, title, mime_type, container_type, "
                 "video_codec, audio_codec, resolutionx, resolutiony, channel, duration, date) "
                 "SELECT %d, '/lab/many/' || n || '.mkv', 'Video ' || n, 'video/x-matroska', "
                 "'matroska', 'h264', 'aac', 1920, 1080, 2, 60 + n, '2024-01-02 03:04:05' "
                 "FROM generate_series(1, 100) AS n" % many)
        client = lab.add_client("02:77:00:00:00:10")
        listener = lab.spawn(client.ns, "/usr/bin/python3", "-c", SSDP_LISTENER,
                             stdout=subprocess.PIPE, text=True)
        if listener.stdout.readline().strip() != "ready":
            fail("the SSDP listener did not start")
        lab.start_server()

        # The control point: discovery, description, browse, Range download; it stays to
        # watch for the bye-bye at the end.
        cp = lab.spawn(client.ns, "/usr/bin/python3", os.path.join(HERE, "upnp_control_point.py"),
                       "eth0", "--range", "100-1123", "--await-byebye", "15",
                       stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        line = cp.stdout.readline()
        if not line:
            fail("control point said nothing: " + cp.stderr.read())
        facts = json.loads(line)
        print("control point:", json.dumps(facts))
        if "error" in facts:
            fail("control point: " + facts["error"])
        if facts["friendlyName"] != "Media Server":
            fail("friendly name %r, not the translated \"Media Server\"" % facts["friendlyName"])
        if facts["modelName"] != "LabBox" or facts["serialNumber"] != "LAB0001":
            fail("model/serial not from the library: %r" % facts)
        if not re.fullmatch(r"uuid:[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}",
                            facts["udn"]):
            fail("UDN %r" % facts["udn"])
        if facts["rootTitles"] != ["Music", "Video", "Photo", "Folder", "Music by Artist",
                                   "Music by Album", "Music by Genre", "Photos by Date",
                                   "Playlists"]:
            fail("root containers %r" % facts["rootTitles"])
        if facts["status"] != 206 or facts["bytes"] != 1024:
            fail("Range download: status %s, %s bytes" % (facts["status"], facts["bytes"]))
        with open(files["clip"], "rb") as f:
            expected = f.read()[100:1124]
        if facts["sha256"] != hashlib.sha256(expected).hexdigest():
            fail("the downloaded range differs from the file's bytes 100-1123")
        if facts["contentRange"] != "bytes 100-1123/%d" % len(open(files["clip"], "rb").read()):
            fail("Content-Range %r" % facts["contentRange"])
        if facts["duration"] != "0:00:02.000":
            fail("duration %r" % facts["duration"])

        # The client list: the entry of the client's real MAC, with the control point's
        # headers, saved within 2 s.
        mac = interface_mac(client)

        def recorded():
            entry = lab.client_entry(mac)
            return entry if entry and entry.get("browse_user-agent", "").startswith("GUPnP/") \
                and entry.get("open_user-agent", "").startswith("GUPnP/") else None
        entry = wait_for("the control point's entry in the saved client list", recorded, 5)
        if entry.get("ipAddr") != client.ip or entry.get("isAccess") is not True:
            fail("entry %r" % entry)
        print("client list entry:", json.dumps(entry))

        # ffprobe opens the URL from the DIDL and reads its streams.
        probe = client.run("ffprobe", "-v", "error", "-show_streams", "-of", "json",
                           facts["url"], check=False)
        if probe.returncode != 0:
            fail("ffprobe: " + probe.stderr)
        codecs = sorted(s["codec_name"] for s in json.loads(probe.stdout)["streams"])
        if codecs != ["aac", "h264"]:
            fail("ffprobe streams %r" % codecs)

        # A file whose name is not valid UTF-8: stored percent-encoded, decoded to open it.
        status, headers, body = client.curl(lab.url("/media/m/%d.mp3" % ids["latin"]))
        if status != 200 or body != open(files["latin"], "rb").read():
            fail("the file with a non-UTF-8 name: status %d, %d bytes" % (status, len(body)))

        # The thumbnail the indexer made, at the announced JPEG_TN URL.
        status, headers, body = client.curl(lab.url("/thumb/v/%d.jpg" % ids["clip"]))
        if status != 200 or body != open(files["thumb"], "rb").read():
            fail("thumbnail: status %d, %d bytes" % (status, len(body)))
        if "image/jpeg" not in headers:
            fail("thumbnail type: " + headers)

        # BrowseMetadata of the root, a container, a folder and an item; the folders.
        def browse(object_id, flag):
            status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
                ("ObjectID", object_id), ("BrowseFlag", flag), ("Filter", "*"),
                ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
            if status != 200:
                fail("Browse %s %s: %d %r" % (object_id, flag, status, result))
            return result
        for object_id, wanted in (
                ("0", '<container id="0" parentID="-1" restricted="1" searchable="1" '
                      'childCount="9"><dc:title>Media Server</dc:title>'),
                ("video", '<container id="video" parentID="0" restricted="1" searchable="1" '
                          'childCount="101"><dc:title>Video</dc:title>'),
                ("d%d" % ids["folder"], '<container id="d%d" parentID="folders"' % ids["folder"]),
                ("v%d" % ids["clip"], '<item id="v%d" parentID="video"' % ids["clip"])):
            result = browse(object_id, "BrowseMetadata")
            if wanted not in result["Result"] or result["NumberReturned"] != "1":
                fail("BrowseMetadata %s: %r" % (object_id, result["Result"][:300]))
        result = browse("folders", "BrowseDirectChildren")
        if 'id="d%d"' % ids["folder"] not in result["Result"] or result["TotalMatches"] != "2":
            fail("folders: %r" % result)
        # A folder's items of every table, in one title order.
        result = browse("d%d" % ids["folder"], "BrowseDirectChildren")
        if re.findall(r'<item id="(\w+)"', result["Result"]) != [
                "v%d" % ids["clip"], "m%d" % ids["latin"], "p%d" % ids["photo"],
                "m%d" % ids["song"]]:
            fail("the folder's children: %r" % result["Result"])

        # Search: by class and by title.
        for criteria, wanted in (
                ('upnp:class derivedfrom "object.item.videoItem" and dc:title contains "CLIP"',
                 ["Clip ♪ one"]),
                ('upnp:class derivedfrom "object.item.audioItem"', ["Latin%E9", "song"]),
                ('dc:title contains "video 10" or dc:title = "photo"',
                 ["Video 10", "Video 100", "photo"])):  # tables in turn, sorted within
            status, result = soap_action(client, lab, "ContentDirectory", "Search", [
                ("ContainerID", "0"), ("SearchCriteria", criteria), ("Filter", "*"),
                ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "+dc:title")])
            titles = re.findall(r"<dc:title>(.*?)</dc:title>", result.get("Result", ""))
            if status != 200 or titles != wanted:
                fail("Search %r: %d %r" % (criteria, status, titles))
        for action, name, value in (("GetSearchCapabilities", "SearchCaps", "upnp:class"),
                                    ("GetSortCapabilities", "SortCaps", "dc:title"),
                                    ("GetSystemUpdateID", "Id", "")):
            status, result = soap_action(client, lab, "ContentDirectory", action, [])
            if status != 200 or value not in result.get(name, "") or name not in result:
                fail("%s: %d %r" % (action, status, result))
        for action, args, name in (("GetProtocolInfo", [], "Source"),
                                   ("GetCurrentConnectionIDs", [], "ConnectionIDs"),
                                   ("GetCurrentConnectionInfo", [("ConnectionID", "0")],
                                    "Direction")):
            status, result = soap_action(client, lab, "ConnectionManager", action, args)
            if status != 200 or not result.get(name):
                fail("%s: %d %r" % (action, status, result))

        # One Browse of 100 children by a client whose profile has video profiles (the
        # PlayStation 4's client info header): the server logs its library share.
        status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
            ("ObjectID", "d%d" % many), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
            ("StartingIndex", "0"), ("RequestedCount", "100"), ("SortCriteria", "")],
            headers=[PS4_INFO])
        if status != 200 or result.get("NumberReturned") != "100":
            fail("Browse of 100: %d %r" % (status, result.get("NumberReturned")))
        didl = result["Result"]
        if didl.count("DLNA.ORG_PN=AVC_MKV_HD;") != 100 or 'duration="0:01:01.000"' not in didl \
                or "<dc:date>2024-01-02T03:04:05</dc:date>" not in didl:
            fail("Browse of 100: items lack the library's video profile, duration or date")
        timing = re.findall(r"Browse of 100 objects for \S+: library (\d+) us of (\d+) us",
                            lab.server_log())
        if not timing:
            fail("no timing line for the Browse of 100")
        library, whole = map(int, timing[-1])
        print("one Browse of 100 children: %d us inside the library of %d us" % (library, whole))
        if not 0 < library < whole:
            fail("library time %d us not within the request's %d us" % (library, whole))

        # Nothing changed since the last save: the checks write nothing.
        wait_for("the last save", lambda: lab.client_entry(mac) and
                 lab.client_entry(mac).get("profileName") == "PlayStation 4", 5)
        before = os.stat(lab.client_list_path())
        time.sleep(2.5)
        after = os.stat(lab.client_list_path())
        if (before.st_ino, before.st_mtime_ns) != (after.st_ino, after.st_mtime_ns):
            fail("the client list was written again without a change")

        # SIGTERM: clean exit, bye-bye seen by the control point, list saved.
        status = lab.stop_server()
        if status != 0:
            fail("server exit status %r" % status)
        line = cp.stdout.readline()
        if not line or not json.loads(line).get("byebye"):
            fail("the control point saw no bye-bye: %r" % line)
        if "stopped" not in lab.server_output():
            fail("no clean stop: " + lab.server_output())
        time.sleep(0.3)  # the last bye-bye has reached the listener
        listener.terminate()
        check_announcements([json.loads(line) for line in listener.communicate()[0].splitlines()])
    print("PASS")


if __name__ == "__main__":
    main()
