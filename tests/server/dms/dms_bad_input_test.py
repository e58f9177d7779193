#!/usr/bin/python3
"""Bad input to calyx-dms: malformed SOAP bodies, unknown actions, absurd StartingIndex and
RequestedCount, unknown object ids, malformed and oversized HTTP requests, ranges out of
bounds and path traversal in media URLs. Each gets the right UPnP or HTTP error, the server
keeps serving, and nothing outside the index is ever served."""

import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, PORT, SERVER_IP, fail, soap_action  # noqa: E402

SECRET = "calyx-dms must never serve this file"

RAW_CLIENT = r"""
import socket, sys
data = sys.stdin.buffer.read()
s = socket.create_connection((sys.argv[1], int(sys.argv[2])), timeout=10)
try:
    s.sendall(data)
    s.shutdown(socket.SHUT_WR)
except OSError:
    pass
answer = b""
try:
    while len(answer) < 65536:
        chunk = s.recv(4096)
        if not chunk:
            break
        answer += chunk
except OSError:
    pass
print(answer.split(b"\r\n", 1)[0].decode("latin-1"))
print(answer.decode("latin-1"), file=sys.stderr)
"""


def raw_status(client, data):
    """Sends raw bytes on one connection; the status line of the answer ("" for none)."""
    result = subprocess.run(["ip", "netns", "exec", client.ns, "/usr/bin/python3", "-c",
                             RAW_CLIENT, SERVER_IP, str(PORT)], input=data, capture_output=True,
                            timeout=30)
    return result.stdout.decode().strip(), result.stderr.decode(errors="replace")


def browse(client, lab, object_id="0", start="0", count="0", flag="BrowseDirectChildren"):
    return soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", flag), ("Filter", "*"),
        ("StartingIndex", start), ("RequestedCount", count), ("SortCriteria", "")])


def expect_upnp_error(what, answer, code):
    status, result = answer
    if status != 500 or result.get("errorCode") != str(code):
        fail("%s: wanted UPnP error %d, got HTTP %d %r" % (what, code, status, result))


def main():
    with Lab("bad") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        secret = os.path.join(lab.tmp, "secret.txt")
        with open(secret, "w") as f:
            f.write(SECRET)
        missing = lab.insert("video", path="/lab/no/such/file.mp4", title="Gone",
                             mime_type="video/mp4")
        client = lab.add_client("02:77:00:00:00:20")
        lab.start_server()
        rows = "SELECT (SELECT count(*) FROM video), (SELECT count(*) FROM music)"
        counts_before = lab.psql(rows)
        size = os.path.getsize(files["clip"])

        # SOAP: malformed bodies and unknown actions.
        for body in ("", "not xml at all", "<s:Envelope", "<?xml version='1.0'?><a><b></a>",
                     '<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/'
                     'soap/envelope/"><s:Body></s:Body></s:Envelope>', "\x00\xff" * 100):
            status, result = soap_action(client, lab, "ContentDirectory", "Browse", [], body=body)
            if status < 400 or status >= 600 or "Result" in result:
                fail("malformed SOAP body %r answered %d %r" % (body[:30], status, result))
        expect_upnp_error("unknown action",
                          soap_action(client, lab, "ContentDirectory", "Frobnicate", []), 401)
        expect_upnp_error("unknown ConnectionID", soap_action(
            client, lab, "ConnectionManager", "GetCurrentConnectionInfo",
            [("ConnectionID", "7")]), 706)

        # Browse arguments.
        for start, count in (("-1", "0"), ("abc", "0"), ("99999999999", "0"), ("0", "-5"),
                             ("0", "4294967296"), ("", "0"), ("1e3", "0")):
            expect_upnp_error("StartingIndex %r RequestedCount %r" % (start, count),
                              browse(client, lab, start=start, count=count), 402)
        expect_upnp_error("BrowseFlag", browse(client, lab, flag="BrowseEverything"), 402)
        status, result = browse(client, lab, start="4294967295", count="4294967295")
        if status != 200 or result.get("NumberReturned") != "0" or result.get("TotalMatches") != "9":
            fail("StartingIndex beyond the end: %d %r" % (status, result))
        status, result = browse(client, lab, object_id="video", count="4294967295")
        if status != 200 or result.get("NumberReturned") != "2":
            fail("huge RequestedCount: %d %r" % (status, result))
        for object_id in ("zzz", "v999999", "v0", "v-1", "v1x", "", "d99999", "0 ", "music/.."):
            expect_upnp_error("object id %r" % object_id, browse(client, lab, object_id), 701)
        expect_upnp_error("children of an item",
                          browse(client, lab, "v%d" % ids["clip"]), 710)
        expect_upnp_error("search criteria", soap_action(
            client, lab, "ContentDirectory", "Search", [
                ("ContainerID", "0"), ("SearchCriteria", 'dc:title contains "x" and ('),
                ("Filter", "*"), ("StartingIndex", "0"), ("RequestedCount", "0"),
                ("SortCriteria", "")]), 708)
        expect_upnp_error("sort criteria", soap_action(
            client, lab, "ContentDirectory", "Browse", [
                ("ObjectID", "video"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
                ("StartingIndex", "0"), ("RequestedCount", "0"),
                ("SortCriteria", "+dc:title;DROP TABLE video")]), 709)
        injection = browse(client, lab, object_id="v1; DROP TABLE video")
        expect_upnp_error("object id with SQL", injection, 701)

        # Malformed and oversized HTTP requests. Requests whose head exceeds the HTTP
        # stack's 64 KiB limit are cut off without an answer ("" below); nothing is served.
        for data, wanted in ((b"GARBAGE\r\n\r\n", ("400",)),
                             (b"GET / HTTP/9.9\r\n\r\n", ("505",)),
                             (b"GET /" + b"a" * 1000 + b" HTTP/1.1\r\nHost: 10.77.0.1\r\nConnection: close\r\n\r\n",
                              ("414",)),
                             (b"GET /description.xml HTTP/1.1\r\nHost: 10.77.0.1\r\nX: " + b"a" * 200000 +
                              b"\r\n\r\n", ("", "400", "413", "431")),
                             (b"GET /" + b"a" * 100000 + b" HTTP/1.1\r\nHost: 10.77.0.1\r\n\r\n",
                              ("", "400", "414"))):
            line, raw = raw_status(client, data)
            parts = line.split()
            code = parts[1] if len(parts) > 1 else ""
            if code not in wanted:
                fail("malformed request %r...: answer %r" % (data[:30], line))
            status, result = browse(client, lab)
            if status != 200:
                fail("not serving after a malformed request %r: %d" % (data[:30], status))
        line, raw = raw_status(client, b"POST /ContentDirectory/control HTTP/1.1\r\nHost: 10.77.0.1\r\n"
                                       b"Content-Length: 99999999999\r\n\r\n<s:Envelope>")
        if line and line.split()[1][0] not in "45":
            fail("a body shorter than its absurd Content-Length was answered: %r" % line)

        # Media: ranges, methods, traversal, rows whose file is gone.
        clip = lab.url("/media/v/%d.mp4" % ids["clip"])
        for header, wanted in (("bytes=%d-" % size, 416), ("bytes=99999999999-", 416),
                               ("bytes=-0", 416)):
            status, headers, body = client.curl("-H", "Range: " + header, clip)
            if status != wanted or "Content-Range: bytes */%d" % size not in headers:
                fail("Range %s: %d\n%s" % (header, status, headers))
        for header in ("bytes=5-2", "items=0-1", "bytes=a-b"):
            status, headers, body = client.curl("-H", "Range: " + header, clip)
            if status != 200 or len(body) != size:
                fail("ignorable Range %s: %d, %d bytes" % (header, status, len(body)))
        status, headers, body = client.curl("-H", "Range: bytes=%d-99999999" % (size - 10), clip)
        if status != 206 or len(body) != 10:
            fail("Range past the end: %d, %d bytes" % (status, len(body)))
        status, headers, body = client.curl("-X", "DELETE", clip)
        if status != 405:
            fail("DELETE of media: %d" % status)
        status, headers, body = client.curl("-I", clip)
        if status != 200 or "Content-Length: %d" % size not in headers:
            fail("HEAD: %d\n%s" % (status, headers))
        rel = os.path.relpath(secret, "/")
        for path in ("/media/v/../../../../../%s" % rel, "/media/v/%%2e%%2e/%%2e%%2e/%s" % rel,
                     "/media/v/%d.mp4/../../../%s" % (ids["clip"], rel),
                     "/media/../%s" % rel, "/media/v/..%%2f..%%2f%s" % rel.replace("/", "%2f"),
                     "/thumb/m/%d.jpg" % ids["song"], "/media/x/1.mp4", "/media/v/",
                     "/media/v/%d.mp4" % missing, "/media/v/0.mp4", "/media/d/%d" % ids["folder"],
                     "/%s" % rel, "/media/v/1%00.mp4", "/thumb/v/99999.jpg"):
            status, headers, body = client.curl("--path-as-is", lab.url(path))
            if SECRET.encode() in body or status in (200, 206):
                fail("%s served: %d" % (path, status))
            if status not in (400, 403, 404):
                fail("%s: %d" % (path, status))

        # Still serving, and the index was never written.
        status, result = browse(client, lab, object_id="video")
        if status != 200 or result.get("NumberReturned") != "2":
            fail("the server stopped serving after bad input: %d %r" % (status, result))
        status, headers, body = client.curl(clip)
        if status != 200 or len(body) != size:
            fail("media after bad input: %d" % status)
        if lab.server.poll() is not None:
            fail("the server died")
        if lab.psql(rows) != counts_before:
            fail("the index changed: %r, was %r" % (lab.psql(rows), counts_before))
        if lab.stop_server() != 0:
            fail("unclean stop")
    print("PASS")


if __name__ == "__main__":
    main()
