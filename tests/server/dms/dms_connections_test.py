#!/usr/bin/python3
"""HTTP connections to calyx-dms as real clients use them, from a client namespace:
Python's http.client reusing one connection for the description, Browse, Search and a
ranged GET; a request with "Connection: close" to each kind of handler answered with that
header and a closed socket; HTTP/1.0 requests without Host answered, and kept open only
when they ask for keep-alive; and Node's default (keep-alive) agent, if Node is at hand,
getting every answer where it sends "Connection: close" itself."""

import os
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import PORT, SERVER_IP, Lab, fail, run, soap_envelope  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
ADMIN_PORT = 8202
# The settings page, asked to close and asked in HTTP/1.0 without Host: the answers carry
# "Connection: close" and the socket is closed (run in the server's namespace, where the
# page listens on the loopback address).
ADMIN_CHECK = """
import socket, sys
for request in (b"GET / HTTP/1.1\\r\\nHost: 127.0.0.1:PORT\\r\\nConnection: close\\r\\n\\r\\n",
                b"GET / HTTP/1.0\\r\\n\\r\\n"):
    sock = socket.create_connection(("127.0.0.1", PORT), timeout=10)
    sock.sendall(request)
    data = b""
    while True:
        chunk = sock.recv(65536)
        if not chunk:
            break
        data += chunk
    head = data.split(b"\\r\\n\\r\\n")[0].lower()
    if b"connection: close" not in head or not head.startswith(b"http/1.1 "):
        sys.exit("settings page %r: %r" % (request, head))
print("settings page: told and closed")
""".replace("PORT", str(ADMIN_PORT))


def main():
    with Lab("conn") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        client = lab.add_client("02:77:00:00:00:30")
        hashed = run(lab.server_binary, "--hash-password", input="conn-test\n").stdout.strip()
        config = os.path.join(lab.tmp, "calyx-dms.conf")
        with open(config, "w") as f:
            f.write("admin-password-hash = %s\nadmin-port = %d\n" % (hashed, ADMIN_PORT))
        lab.start_server("--config", config)
        description = lab.location().split(str(PORT), 1)[1]
        browse = soap_envelope("ContentDirectory", "Browse", [
            ("ObjectID", "0"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
            ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
        with open(os.path.join(lab.tmp, "browse.xml"), "w") as f:
            f.write(browse)
        args = ["/usr/bin/python3", os.path.join(HERE, "http_connection_client.py"), SERVER_IP,
                str(PORT), description, os.path.join(lab.tmp, "browse.xml"),
                "/media/v/%d.mp4" % ids["clip"], "/thumb/v/%d.jpg" % ids["clip"], client.ip]
        result = client.run(*args, check=False)
        print(result.stdout, end="")
        if result.returncode != 0:
            fail("HTTP connection checks:\n" + result.stderr)

        result = lab.ns_run(lab.server_ns, "/usr/bin/python3", "-c", ADMIN_CHECK, check=False)
        print(result.stdout, end="")
        if result.returncode != 0:
            fail("settings page: " + result.stderr)

        node = shutil.which("node") or shutil.which("nodejs")
        if node:
            result = client.run(node, os.path.join(HERE, "http_node_agent.js"), SERVER_IP,
                                str(PORT), description, os.path.join(lab.tmp, "browse.xml"),
                                check=False)
            print(result.stdout, end="")
            if result.returncode != 0:
                fail("Node's keep-alive agent:\n" + result.stdout + result.stderr)
        else:
            print("Node is not installed: its agent is not tried")
    print("PASS")


if __name__ == "__main__":
    main()
