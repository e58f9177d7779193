#!/usr/bin/python3
"""Answers are freed once sent: a client browses a container of 600 videos (an answer of
several hundred KiB) 30 times, then 150 times more. The server's resident memory after the
150 must not have grown by more than a small part of what keeping those answers would
take. The server runs with a small ASan quarantine, so freed memory is reused at once, and
keeps no answers (--answer-cache 0), so that each Browse makes its answer anew. The server
maps no media library: libav runs only in its worker processes (calyx-dms-worker)."""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import SERVER_IP, PORT, SERVICES, Lab, fail, soap_envelope  # noqa: E402

VIDEOS = 600
WARM_UP, MEASURED = 30, 150
# Growth allowed over the measured Browses: allocator slack, not answers kept.
ALLOWED_GROWTH = 16 * 1024 * 1024

BROWSE_LOOP = r"""
import http.client, sys
count, body = int(sys.argv[1]), sys.argv[2].encode()
headers = {"SOAPAction": '"%s#Browse"' % sys.argv[3],
           "Content-Type": 'text/xml; charset="utf-8"'}
connection = http.client.HTTPConnection(sys.argv[4], int(sys.argv[5]), timeout=30)
size = 0
for _ in range(count):
    connection.request("POST", "/ContentDirectory/control", body, headers)
    response = connection.getresponse()
    data = response.read()
    if response.status != 200 or b"NumberReturned>%d<" % int(sys.argv[6]) not in data:
        sys.exit("Browse answered %d: %r" % (response.status, data[:300]))
    size = len(data)
print(size)
"""


def resident_bytes(pid):
    for line in open("/proc/%d/status" % pid):
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) * 1024
    fail("no VmRSS for the server")


def main():
    os.environ["ASAN_OPTIONS"] = (os.environ.get("ASAN_OPTIONS", "") +
                                  ":quarantine_size_mb=1:thread_local_quarantine_size_kb=64")
    with Lab("memory") as lab:
        lab.make_index()
        lab.psql("INSERT INTO video (path, title, mime_type, filesize, duration) "
                 "SELECT '/srv/media/video-' || g || '.mp4', "
                 "'A film with a long title, number ' || g || ' ' || repeat('x', 160), "
                 "'video/mp4', 1000000 + g, 3600 FROM generate_series(1, %d) AS g" % VIDEOS)
        client = lab.add_client("02:78:00:00:00:01")
        lab.start_server("--answer-cache", "0")
        with open("/proc/%d/maps" % lab.server.pid) as f:
            mapped = f.read()
        if "calyx-dms\n" not in mapped or any(
                library in mapped for library in ("libavcodec", "libavformat", "libavutil")):
            fail("the server process maps a media library:\n" + "\n".join(
                line for line in mapped.splitlines() if "libav" in line))
        body = soap_envelope("ContentDirectory", "Browse", [
            ("ObjectID", "video"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
            ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])

        def browse(count):
            out = client.run("/usr/bin/python3", "-c", BROWSE_LOOP, str(count), body,
                             SERVICES["ContentDirectory"], SERVER_IP, str(PORT), str(VIDEOS))
            return int(out.stdout.split()[-1])

        browse(WARM_UP)
        before = resident_bytes(lab.server.pid)
        answer = browse(MEASURED)
        after = resident_bytes(lab.server.pid)
        kept = MEASURED * answer
        print("answer %d bytes; resident %d -> %d bytes (%+d); keeping the answers would "
              "take %d" % (answer, before, after, after - before, kept))
        if kept < 3 * ALLOWED_GROWTH:
            fail("the answers are too small for this test to tell: %d bytes" % answer)
        if after - before > ALLOWED_GROWTH:
            fail("resident memory grew by %d bytes over %d Browses" % (after - before, MEASURED))
        if lab.stop_server() != 0:
            fail("the server did not exit cleanly")
    print("PASS")


if __name__ == "__main__":
    main()
