#!/usr/bin/python3
"""What a hostile device sends, run inside a client namespace of the lab.

  dms_hostile_client.py raw HOST PORT            stdin sent as is; prints the status line
  dms_hostile_client.py body HOST PORT PATH MODE BYTES
        a POST whose head announces BYTES (MODE "length") or sends them chunked (MODE
        "chunked"), then the body in 64 KiB pieces until the server stops reading or
        closes; prints the status line (or "-") and the bytes the server took
  dms_hostile_client.py repeat HOST PORT PATH COUNT
        COUNT GETs, each on a connection of its own; prints how many were answered 403
"""

import socket
import sys
import time

PIECE = 64 * 1024


def status_line(sock, limit=5.0):
    sock.settimeout(limit)
    answer = b""
    try:
        while b"\r\n" not in answer and len(answer) < 65536:
            chunk = sock.recv(4096)
            if not chunk:
                break
            answer += chunk
    except OSError:
        pass
    return answer.split(b"\r\n", 1)[0].decode("latin-1") or "-"


def raw(host, port):
    data = sys.stdin.buffer.read()
    s = socket.create_connection((host, port), timeout=10)
    try:
        s.sendall(data)
    except OSError:
        pass
    print(status_line(s))


def body(host, port, path, mode, total):
    s = socket.create_connection((host, port), timeout=10)
    head = "POST %s HTTP/1.1\r\nHost: %s:%d\r\nContent-Type: text/xml\r\n" % (path, host, port)
    head += ("Content-Length: %d\r\n" % total) if mode == "length" else \
        "Transfer-Encoding: chunked\r\n"
    s.sendall((head + "\r\n").encode())
    sent = 0
    piece = b"<" * PIECE
    s.settimeout(3)
    deadline = time.monotonic() + 20
    try:
        while sent < total and time.monotonic() < deadline:
            if mode == "chunked":
                s.sendall(b"%x\r\n" % len(piece) + piece + b"\r\n")
            else:
                s.sendall(piece)
            sent += len(piece)
    except OSError:
        pass  # the server closed or stopped reading
    print(status_line(s, 3), sent)


def repeat(host, port, path, count):
    forbidden = 0
    request = ("GET %s HTTP/1.1\r\nHost: %s:%d\r\nConnection: close\r\n\r\n"
               % (path, host, port)).encode()
    for _ in range(count):
        try:
            s = socket.create_connection((host, port), timeout=5)
            s.sendall(request)
            if status_line(s).split()[1:2] == ["403"]:
                forbidden += 1
            s.close()
        except (OSError, IndexError):
            pass
    print(forbidden)


def main():
    command, host, port = sys.argv[1], sys.argv[2], int(sys.argv[3])
    if command == "raw":
        raw(host, port)
    elif command == "body":
        body(host, port, sys.argv[4], sys.argv[5], int(sys.argv[6]))
    elif command == "repeat":
        repeat(host, port, sys.argv[4], int(sys.argv[5]))
    else:
        sys.exit("unknown command " + command)


if __name__ == "__main__":
    main()
