#!/usr/bin/python3
"""Large files are sent by the kernel from the file to the client's socket, over the
connection taken from the HTTP stack, which is closed afterwards; small ones keep the
stack's way and their connection. From a client namespace, with raw HTTP/1.1 requests:
a whole 6 MiB file and a 2 MiB range of it arrive byte for byte, with their status,
Content-Length, Content-Range and "Connection: close", and the server then closes the
connection; a small file's answer leaves the connection open for a second request; HEAD
of the large file answers its length with no body; a client that goes away early or
stops reading costs the server no descriptor once it has gone, and the server answers
the next client meanwhile."""

import hashlib
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import PORT, SERVER_IP, Lab, fail, wait_for  # noqa: E402

BIG = 6 << 20
SMALL = 100 << 10

# Runs in the client namespace: argv = server ip, port, big path, small path; prints one
# line per check, exits non-zero at the first that fails.
CLIENT = r'''
import hashlib, socket, sys, time
ip, port, big, small, big_sha, range_sha, small_sha, part = sys.argv[1:9]
port = int(port)

def request(sock, path, extra=b"", method=b"GET"):
    sock.sendall(method + b" " + path.encode() + b" HTTP/1.1\r\nHost: " + ip.encode() + b":" +
                 str(port).encode() + b"\r\n" + extra + b"\r\n")

def head_of(sock):
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = sock.recv(65536)
        if not chunk:
            sys.exit("the connection closed before the head: %r" % data)
        data += chunk
    head, rest = data.split(b"\r\n\r\n", 1)
    lines = head.decode().split("\r\n")
    headers = {}
    for line in lines[1:]:
        name, value = line.split(":", 1)
        headers[name.strip().lower()] = value.strip()
    return lines[0], headers, rest

def body_of(sock, rest, length):
    body = rest
    while len(body) < length:
        chunk = sock.recv(1 << 20)
        if not chunk:
            sys.exit("short body: %d of %d" % (len(body), length))
        body += chunk
    return body

def closed_after(sock):
    sock.settimeout(5)
    return sock.recv(1) == b""

def check(name, condition, detail=""):
    if not condition:
        sys.exit("%s: %s" % (name, detail))
    print("ok:", name)

if part == "kept":
    with socket.create_connection((ip, port), timeout=20) as sock:
        request(sock, big, method=b"HEAD")
        status, headers, rest = head_of(sock)
        check("HEAD: length, no body", status == "HTTP/1.1 200 OK" and rest == b"" and
              headers.get("content-length") == str(BIG_SIZE), (status, headers, rest))
        for n in range(2):
            request(sock, small)
            status, headers, rest = head_of(sock)
            check("small %d: status and length" % n, status == "HTTP/1.1 200 OK" and
                  headers.get("content-length") == str(SMALL_SIZE), (status, headers))
            check("small %d: connection kept" % n, headers.get("connection") != "close", headers)
            body = body_of(sock, rest, SMALL_SIZE)
            check("small %d: the file's bytes" % n, hashlib.sha256(body).hexdigest() == small_sha)

else:
    with socket.create_connection((ip, port), timeout=20) as sock:
        request(sock, big)
        status, headers, rest = head_of(sock)
        check("whole: status", status == "HTTP/1.1 200 OK", status)
        check("whole: length", headers.get("content-length") == str(BIG_SIZE), headers)
        check("whole: told the connection closes", headers.get("connection") == "close", headers)
        check("whole: DLNA headers", "transfermode.dlna.org" in headers and
              headers.get("accept-ranges") == "bytes", headers)
        body = body_of(sock, rest, BIG_SIZE)
        check("whole: the file's bytes", hashlib.sha256(body).hexdigest() == big_sha)
        check("whole: closed after the body", closed_after(sock))

    with socket.create_connection((ip, port), timeout=20) as sock:
        request(sock, big, b"Range: bytes=1000-2098151\r\n")
        status, headers, rest = head_of(sock)
        check("range: status", status == "HTTP/1.1 206 Partial Content", status)
        check("range: Content-Range", headers.get("content-range") ==
              "bytes 1000-2098151/BIG_SIZE", headers)
        check("range: length", headers.get("content-length") == "2097152", headers)
        body = body_of(sock, rest, 2097152)
        check("range: the slice's bytes", hashlib.sha256(body).hexdigest() == range_sha)
        check("range: closed after the body", closed_after(sock))

    # Goes away after the first bytes.
    sock = socket.create_connection((ip, port), timeout=20)
    request(sock, big)
    head_of(sock)
    sock.close()
    # Stops reading (its socket buffer small) while the next client is answered.
    stalled = socket.socket()
    stalled.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    stalled.connect((ip, port))
    request(stalled, big)
    head_of(stalled)
    with socket.create_connection((ip, port), timeout=20) as sock:
        # Closed by the server, so that only the bodies handed over hold connections.
        request(sock, small, b"Connection: close\r\n")
        status, headers, rest = head_of(sock)
        body = body_of(sock, rest, SMALL_SIZE)
        check("answered beside a stalled body", status == "HTTP/1.1 200 OK" and
              hashlib.sha256(body).hexdigest() == small_sha and closed_after(sock), status)
    stalled.close()
print("done")
'''.replace("BIG_SIZE", str(BIG)).replace("SMALL_SIZE", str(SMALL))


def descriptors(pid):
    return len(os.listdir("/proc/%d/fd" % pid))


def main():
    with Lab("big") as lab:
        lab.make_index()
        folder = os.path.join(lab.tmp, "big")
        os.makedirs(folder)
        contents = {"big": os.urandom(BIG), "small": os.urandom(SMALL)}
        ids = {}
        for name, data in contents.items():
            path = os.path.join(folder, name + ".mp4")
            with open(path, "wb") as f:
                f.write(data)
            ids[name] = lab.insert("video", path=path, title=name, mime_type="video/mp4",
                                   filesize=len(data))
        client = lab.add_client("02:77:00:00:00:51")
        lab.start_server()
        pid = lab.server.pid

        def client_checks(part):
            result = client.run(
                "/usr/bin/python3", "-c", CLIENT, SERVER_IP, str(PORT),
                "/media/v/%d.mp4" % ids["big"], "/media/v/%d.mp4" % ids["small"],
                hashlib.sha256(contents["big"]).hexdigest(),
                hashlib.sha256(contents["big"][1000:2098152]).hexdigest(),
                hashlib.sha256(contents["small"]).hexdigest(), part, check=False)
            print(result.stdout, end="")
            if result.returncode != 0:
                fail("raw HTTP checks: " + result.stderr)
        client_checks("kept")
        # The bodies handed over: each connection and file is let go once its body has gone
        # or its client has (the stack's own connections are its business).
        before = descriptors(pid)
        client_checks("handed")
        wait_for("the server's descriptors back to %d" % before,
                 lambda: descriptors(pid) <= before, 10)
    print("PASS")


if __name__ == "__main__":
    main()
