#!/usr/bin/python3
"""The media under the server changes while it serves: a file deleted while it is streamed,
a file truncated while it is streamed, and rows added to and removed from the index while
clients browse. A stream may end early but never carries wrong bytes and never hangs;
every Browse stays well-formed and self-consistent; the server serves everyone after."""

import hashlib
import json
import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, PORT, SERVER_IP, fail, soap_action  # noqa: E402
from dms_load_lab import (Workers, add_big_video, add_recorded_clients, media_url,  # noqa: E402
                          require_clean, scale, summary)

FAULTS_CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "dms_faults_client.py")
RATE = 4 << 20  # bytes per second a slow reader takes: a 16 MiB file lasts 4 s


def slow_download(lab, client, url):
    """A slow reader of `url` in the background, 20 s at most."""
    return lab.spawn(client.ns, "/usr/bin/python3", FAULTS_CLIENT, "slowread", SERVER_IP,
                     str(PORT), url, "20", str(RATE), stdout=subprocess.PIPE,
                     stderr=subprocess.PIPE)


def check_prefix(what, process, original):
    """The stream was ended by the server within the reader's time and carried a prefix
    of the original, shorter than the whole when `short`."""
    out, err = process.communicate(timeout=60)
    if process.returncode != 0:
        fail("%s: the reader failed: %s" % (what, err.decode(errors="replace")))
    report = json.loads(out)
    print("%s: %r" % (what, report))
    if report["status"] != "200" or report["ended"] == "no":
        fail("%s: the stream did not end: %r" % (what, report))
    if hashlib.sha256(original[:report["bytes"]]).hexdigest() != report["sha256"]:
        fail("%s: %d bytes received that are not the file's" % (what, report["bytes"]))
    return report["bytes"]


def change_index_while_browsing(lab, seconds):
    """Adds and removes video rows in a bounded loop for `seconds`; returns how many."""
    changes, deadline = 0, time.monotonic() + seconds
    while changes < 10000 and time.monotonic() < deadline:
        row = lab.insert("video", path="/lab/new/%d.mp4" % changes, title="New %d" % changes,
                         mime_type="video/mp4")
        if changes % 2:
            lab.psql("DELETE FROM video WHERE id = %d" % row)
        changes += 1
    return changes


def main():
    seconds = 4 * scale()
    with Lab("faultmd") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        big, big_id = add_big_video(lab, 16)
        with open(big, "rb") as f:
            original = f.read()
        doomed = os.path.join(lab.tmp, "media", "doomed.mp4")
        with open(doomed, "wb") as f:
            f.write(original)
        doomed_id = lab.insert("video", path=doomed, title="Doomed", mime_type="video/mp4")
        clients = add_recorded_clients(lab, 4)
        # Small send buffers too, so that the server reads the file as the reader goes.
        lab.ns_run(lab.server_ns, "sysctl", "-qw", "net.ipv4.tcp_wmem=4096 16384 65536")
        lab.start_server()

        # Deleted and truncated under a slow reader each.
        deleting = slow_download(lab, clients[0][0], media_url(lab, "v", doomed_id, doomed))
        truncating = slow_download(lab, clients[1][0], media_url(lab, "v", big_id, big))
        time.sleep(1)
        os.unlink(doomed)
        os.truncate(big, len(original) // 3)
        check_prefix("deleted while streamed", deleting, original)
        if check_prefix("truncated while streamed", truncating, original) == len(original):
            fail("the truncated file was streamed whole")
        status, _headers, _body = clients[0][0].curl(lab.url(media_url(lab, "v", doomed_id,
                                                                       doomed)))
        if status != 404:
            fail("the deleted file answered %d, not 404" % status)

        # The index changes under clients that browse it.
        workers = Workers(lab)
        clip = (media_url(lab, "v", ids["clip"], files["clip"]), files["clip"])
        for client, _name, headers in clients:
            workers.start(client, {"headers": headers, "seconds": seconds,
                                   "browse": ["video", "0"], "streams": [clip]})
        changes = change_index_while_browsing(lab, seconds)
        results = workers.results()
        print("%d index changes; %s" % (changes, summary(results)))
        require_clean(results, "while the index changes")
        # Totals are at most a second old: once the index has been still that long, a
        # Browse counts what the index holds.
        time.sleep(1.5)
        status, answer = soap_action(clients[0][0], lab, "ContentDirectory", "Browse", [
            ("ObjectID", "video"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
            ("StartingIndex", "0"), ("RequestedCount", "1"), ("SortCriteria", "")])
        held = int(lab.psql("SELECT COUNT(*) FROM video").strip())
        if status != 200 or answer.get("TotalMatches") != str(held):
            fail("after the changes the video container counts %r (status %d), the index "
                 "holds %d" % (answer.get("TotalMatches"), status, held))
        if lab.server.poll() is not None or lab.stop_server() != 0:
            fail("the server did not live through the changing media")
    print("PASS")


if __name__ == "__main__":
    main()
