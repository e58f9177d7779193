#!/usr/bin/python3
"""A misbehaving client of the fault tests, run inside its own namespace:

    dms_faults_client.py MODE HOST PORT PATH SECONDS [COUNT]

MODE is one of
  disconnect   GET PATH, read 64 KiB of the body, drop the connection; again and again
               (COUNT times at most) until SECONDS have passed
  connections  open COUNT connections, each with half a request head, hold them SECONDS
  slowheader   send a request head for PATH one byte per second for SECONDS
  slowread     GET PATH with a small receive buffer, COUNT bytes a second, for SECONDS
               at most; reports how much came, its SHA-256 and whether the server ended it
Prints one JSON line: what it did and what the server answered.
"""

import hashlib
import json
import socket
import sys
import time


def connect(host, port):
    return socket.create_connection((host, port), timeout=10)


def disconnect(host, port, path, seconds, count):
    done, received = 0, 0
    deadline = time.monotonic() + seconds
    while done < count and time.monotonic() < deadline:
        with connect(host, port) as s:
            s.sendall(("GET %s HTTP/1.1\r\nHost: %s\r\n\r\n" % (path, host)).encode())
            got = 0
            while got < 65536:
                data = s.recv(65536 - got)
                if not data:
                    break
                got += len(data)
            received += got
            # A reset rather than an orderly close: the client vanished.
            s.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\x01\x00\x00\x00\x00\x00\x00\x00")
        done += 1
    return {"disconnects": done, "received": received}


def connections(host, port, path, seconds, count):
    held = []
    for _ in range(count):
        s = connect(host, port)
        s.sendall(("GET %s HTTP/1.1\r\nHost: " % path).encode())
        held.append(s)
    time.sleep(seconds)
    closed_by_server = 0
    for s in held:
        s.setblocking(False)
        try:
            if s.recv(1) == b"":
                closed_by_server += 1
        except BlockingIOError:
            pass
        except OSError:
            closed_by_server += 1
        s.close()
    return {"opened": len(held), "closed_by_server": closed_by_server}


def slowheader(host, port, path, seconds, _count):
    head = ("GET %s HTTP/1.1\r\nHost: %s\r\nUser-Agent: slow\r\n" % (path, host)).encode()
    head += b"X-Pad: " + b"a" * 200
    sent, answer = 0, b""
    deadline = time.monotonic() + seconds
    with connect(host, port) as s:
        try:
            while time.monotonic() < deadline and sent < len(head):
                s.sendall(head[sent:sent + 1])
                sent += 1
                time.sleep(1)
        except OSError as e:
            answer = ("send failed: %s" % e).encode()
        s.settimeout(0.5)
        try:
            answer = answer or s.recv(200)
        except (socket.timeout, OSError):
            pass
    return {"bytes_sent": sent, "answer": answer.decode(errors="replace")[:80]}


def slowread(host, port, path, seconds, rate):
    s = socket.socket()
    # A small window, so that the server cannot run far ahead of the reader.
    s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 32768)
    s.settimeout(10)
    s.connect((host, port))
    s.sendall(("GET %s HTTP/1.1\r\nHost: %s\r\nConnection: close\r\n\r\n"
               % (path, host)).encode())
    data, ended, start = bytearray(), "no", time.monotonic()
    while time.monotonic() - start < seconds:
        try:
            chunk = s.recv(65536)
        except OSError as e:
            ended = "error: %s" % e
            break
        if not chunk:
            ended = "closed"
            break
        data += chunk
        time.sleep(max(0.0, len(data) / rate - (time.monotonic() - start)))
    s.close()
    end = data.find(b"\r\n\r\n")
    head, body = bytes(data[:max(end, 0)]), memoryview(data)[end + 4:] if end >= 0 else b""
    return {"status": head.split(b" ")[1].decode() if b" " in head else "", "ended": ended,
            "bytes": len(body), "sha256": hashlib.sha256(body).hexdigest(),
            "seconds": round(time.monotonic() - start, 2)}


def main():
    mode, host, port, path, seconds = sys.argv[1:6]
    count = int(sys.argv[6]) if len(sys.argv) > 6 else 1
    action = {"disconnect": disconnect, "connections": connections,
              "slowheader": slowheader, "slowread": slowread}[mode]
    print(json.dumps(dict(action(host, int(port), path, float(seconds), count), mode=mode)))


if __name__ == "__main__":
    main()
