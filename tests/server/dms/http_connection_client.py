#!/usr/bin/python3
"""Run inside a client namespace by dms_connections_test.py: the connection checks, each
failure on standard error with a non-zero exit.

usage: http_connection_client.py HOST PORT DESCRIPTION BROWSE_XML MEDIA THUMB CLIENT_IP"""

import http.client
import socket
import sys

HOST, PORT, DESCRIPTION, BROWSE_FILE, MEDIA, THUMB, CLIENT_IP = sys.argv[1:8]
PORT = int(PORT)
BROWSE = open(BROWSE_FILE, "rb").read()
CD = "urn:schemas-upnp-org:service:ContentDirectory:1"
SEARCH = BROWSE.replace(b"<u:Browse ", b"<u:Search ").replace(b"</u:Browse>", b"</u:Search>")
SEARCH = SEARCH.replace(b"<ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>",
                        b"<ContainerID>0</ContainerID><SearchCriteria>*</SearchCriteria>")


def fail(message):
    print("FAIL: " + message, file=sys.stderr)
    sys.exit(1)


def soap_headers(action):
    return {"SOAPAction": '"%s#%s"' % (CD, action),
            "Content-Type": 'text/xml; charset="utf-8"'}


def keep_alive():
    """One http.client connection for every request: each answered, none closing it."""
    conn = http.client.HTTPConnection(HOST, PORT, timeout=10)
    requests = [("GET", DESCRIPTION, None, {}),
                ("POST", "/ContentDirectory/control", BROWSE, soap_headers("Browse")),
                ("POST", "/ContentDirectory/control", SEARCH, soap_headers("Search")),
                ("GET", MEDIA, None, {"Range": "bytes=0-99"}),
                ("POST", "/ContentDirectory/control", BROWSE, soap_headers("Browse"))]
    first = None
    for method, path, body, headers in requests:
        conn.request(method, path, body=body, headers=headers)
        response = conn.getresponse()
        data = response.read()
        if response.status not in (200, 206) or not data:
            fail("keep-alive %s %s: %d" % (method, path, response.status))
        if (response.getheader("Connection") or "").lower() == "close":
            fail("keep-alive %s %s answered Connection: close" % (method, path))
        local = conn.sock.getsockname() if conn.sock else None
        if local is None or (first is not None and local != first):
            fail("keep-alive %s %s: the connection was not kept" % (method, path))
        first = local
    conn.close()
    print("keep-alive: %d requests on one connection" % len(requests))


def exchange(request, expect_open):
    """Sends raw request bytes; returns (status line, headers dict). The socket must be
    closed by the server after the answer, or stay open, as `expect_open` says."""
    sock = socket.create_connection((HOST, PORT), timeout=10)
    sock.sendall(request)
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = sock.recv(65536)
        if not chunk:
            break
        data += chunk
    head, _, rest = data.partition(b"\r\n\r\n")
    lines = head.decode("latin-1").split("\r\n")
    headers = {}
    for line in lines[1:]:
        name, _, value = line.partition(":")
        headers[name.strip().lower()] = value.strip()
    length = int(headers.get("content-length", "0"))
    while len(rest) < length:
        chunk = sock.recv(65536)
        if not chunk:
            break
        rest += chunk
    sock.settimeout(2)
    try:
        after = sock.recv(1)
        closed = after == b""
    except socket.timeout:
        closed = False
    except ConnectionResetError:
        closed = True
    sock.close()
    if closed == expect_open:
        fail("%r: the connection was %s" % (lines[0], "closed" if closed else "left open"))
    return lines[0], headers, rest


def request(method, path, version="1.1", headers=(), body=b"", host=True):
    lines = ["%s %s HTTP/%s" % (method, path, version)]
    if host:
        lines.append("Host: %s:%d" % (HOST, PORT))
    lines += list(headers)
    if body:
        lines.append("Content-Length: %d" % len(body))
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1") + body


def soap_lines(action):
    return ['SOAPAction: "%s#%s"' % (CD, action), 'Content-Type: text/xml; charset="utf-8"']


def connection_close():
    """Every kind of handler, asked to close: it says so and closes."""
    cases = [("GET", DESCRIPTION, [], b""), ("GET", "/ContentDirectory.xml", [], b""),
             ("POST", "/ContentDirectory/control", soap_lines("Browse"), BROWSE),
             ("POST", "/ContentDirectory/control",
              soap_lines("GetSystemUpdateID"), BROWSE.replace(b"Browse", b"GetSystemUpdateID")),
             ("GET", MEDIA, ["Range: bytes=0-99"], b""), ("GET", THUMB, [], b""),
             ("GET", "/no/such/path", [], b""),
             ("SUBSCRIBE", "/ContentDirectory/events",
              ["CALLBACK: <http://%s:9/>" % CLIENT_IP, "NT: upnp:event", "TIMEOUT: Second-60"], b"")]
    for method, path, extra, body in cases:
        status, headers, _ = exchange(request(method, path, headers=["Connection: close"] + extra,
                                              body=body), expect_open=False)
        if headers.get("connection", "").lower() != "close":
            fail("%s %s with Connection: close answered %r without it" % (method, path, status))
    print("Connection: close: %d kinds of request told and closed" % len(cases))


def http10():
    """HTTP/1.0 without Host: answered (no chunks), closed unless keep-alive is asked."""
    cases = [("GET", DESCRIPTION, [], b""),
             ("POST", "/ContentDirectory/control", soap_lines("Browse"), BROWSE),
             ("GET", MEDIA, [], b"")]
    for method, path, extra, body in cases:
        status, headers, data = exchange(request(method, path, "1.0", extra, body, host=False),
                                         expect_open=False)
        if " 200 " not in status + " " or headers.get("connection", "").lower() != "close":
            fail("HTTP/1.0 %s %s: %r %r" % (method, path, status, headers))
        if "chunked" in headers.get("transfer-encoding", "") or not data:
            fail("HTTP/1.0 %s %s: a body it cannot read" % (method, path))
        status, headers, _ = exchange(request(method, path, "1.0", ["Connection: keep-alive"] +
                                              extra, body, host=False), expect_open=True)
        if " 200 " not in status + " " or headers.get("connection", "").lower() != "keep-alive":
            fail("HTTP/1.0 keep-alive %s %s: %r %r" % (method, path, status, headers))
    print("HTTP/1.0 without Host: %d kinds answered, kept only when asked" % len(cases))


keep_alive()
connection_close()
http10()
