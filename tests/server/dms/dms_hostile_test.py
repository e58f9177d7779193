#!/usr/bin/python3
"""A hostile device on the lab's network gets nothing from calyx-dms.

- Host: a request whose Host names neither an address of the server nor a --host-name
  gets 403 with no body (media, thumbnails, descriptions); an HTTP/1.0 request without
  Host is served.
- Heads and bodies: 1,000 header lines get 431; a body announced beyond 64 KiB gets 413
  and a chunked one is cut off while it arrives, without the server reading it (its
  memory stays where it was); a denied client's large POST is refused before its body.
- Client entries: only identification headers are recorded, each value cut to 256
  bytes; a denied client's requests record nothing; a file bloated by an earlier version
  is trimmed at start; fake hardware addresses beyond --max-clients drop the oldest
  entries the owner never decided about, never a decided one.
- Log: a denied client's 300 requests leave a couple of "403 for" lines and one "... more
  in the last 2 s" line.
- Search: criteria beyond 4,096 bytes or 32 relations get 708; a Search that waits on a
  locked table ends with 720 at the statement timeout.
- GENA: a callback on another host gets 412; past 50 subscriptions of one client, 503.
- Renderers: an announcement naming a description on another host is not fetched; one
  naming a 10 MiB description on its own host is fetched at most 64 KiB; several
  announcements of one sender lead to one fetch.
- Links: the indexer leaves out a link that leads out of the media folders; the server
  refuses (403) a row whose file is such a link, a media file swapped for a link to a
  secret, and (409) a file that changed since it was indexed; with --follow-links the
  link out of the folders is served."""

import http.server
import json
import os
import re
import socket
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import PORT, SERVER_IP, Lab, fail, run, soap_action, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
HOSTILE = os.path.join(HERE, "dms_hostile_client.py")
MAX_CLIENTS = 5
COLLAPSE_SECONDS = 2
BLOATED_MAC = "02:77:00:00:0b:01"
DECIDED_MAC = "02:77:00:00:0b:02"
RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
SECRET = "calyx-dms must never serve this file"


def hostile(client, *args, stdin=None):
    result = subprocess.run(["ip", "netns", "exec", client.ns, "/usr/bin/python3", HOSTILE,
                             *args[:1], SERVER_IP, str(PORT), *args[1:]], input=stdin,
                            capture_output=True, timeout=60)
    if result.returncode != 0:
        fail("hostile client %r: %s" % (args, result.stderr.decode(errors="replace")))
    return result.stdout.decode().strip()


def resident(pid):
    for line in open("/proc/%d/status" % pid):
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) * 1024
    fail("no VmRSS")


def search(client, lab, criteria):
    return soap_action(client, lab, "ContentDirectory", "Search", [
        ("ContainerID", "0"), ("SearchCriteria", criteria), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])


def browse(client, lab, headers=()):
    return soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", "0"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")], headers=headers)


def bloated_client_list(path):
    """An entry grown by an earlier version (thousands of header members, huge values) and
    a denied entry that still holds headers."""
    bloated = {"macAddr": BLOATED_MAC, "ipAddr": "10.77.0.200", "isAccess": True,
               "profileName": "Default Profile", "profileName_Orig": "Default Profile",
               "displayName": "General DMA", "open_user-agent": "U" * 20000}
    for i in range(3000):
        bloated["browse_x-junk-%d" % i] = "j" * 300
    decided = {"macAddr": DECIDED_MAC, "ipAddr": "10.77.0.201", "isAccess": False,
               "profileName": "Default Profile", "profileName_Orig": "Default Profile",
               "displayName": "General DMA", "browse_user-agent": "Denied/1.0",
               "open_x-av-client-info": "secret"}
    with open(path, "w") as f:
        json.dump({"ClientList": [bloated, decided]}, f)
    return os.path.getsize(path)


def check_trimmed(lab, size_before):
    document = lab.client_list() or {}
    entries = {e.get("macAddr"): e for e in document.get("ClientList", [])}
    bloated, decided = entries.get(BLOATED_MAC), entries.get(DECIDED_MAC)
    if not bloated or not decided:
        fail("trimming lost entries: %r" % list(entries))
    junk = [k for k in bloated if k.startswith("browse_x-junk")]
    if junk or len(bloated.get("open_user-agent", "")) > 256:
        fail("the bloated entry was not trimmed: %d junk members, user agent of %d bytes"
             % (len(junk), len(bloated.get("open_user-agent", ""))))
    headers = [k for k in decided if k.startswith(("open_", "browse_"))]
    if headers:
        fail("the denied entry kept its headers: %r" % headers)
    size = os.path.getsize(lab.client_list_path())
    if size > 4096:
        fail("the trimmed file still has %d bytes (was %d)" % (size, size_before))


def check_host(lab, client, ids):
    urls = [lab.location(), lab.url("/media/v/%d.mp4" % ids["clip"]),
            lab.url("/thumb/v/%d.jpg" % ids["clip"]), lab.url("/ContentDirectory.xml")]
    for url in urls:
        for host in ("evil.example", "evil.example:%d" % PORT, "10.77.0.1.evil.example",
                     "127.0.0.2:%d" % PORT, "[::2]:%d" % PORT):
            status, _, body = client.curl("-H", "Host: " + host, url)
            if status != 403 or body:
                fail("Host %s for %s: %d with %d bytes" % (host, url, status, len(body)))
        for host in ("%s:%d" % (SERVER_IP, PORT), SERVER_IP, "nas.example:%d" % PORT,
                     "NAS.example"):
            status, _, _ = client.curl("-H", "Host: " + host, url)
            if status != 200:
                fail("own Host %s for %s: %d" % (host, url, status))
    line = hostile(client, "raw", stdin=b"GET /ContentDirectory.xml HTTP/1.0\r\n\r\n")
    if " 200 " not in line + " ":
        fail("HTTP/1.0 without Host: %r" % line)


def check_heads_and_bodies(lab, client):
    many = "".join("X-H%d: v\r\n" % i for i in range(1000))
    line = hostile(client, "raw", stdin=("GET /description.xml HTTP/1.1\r\nHost: %s\r\n%s\r\n"
                                         % (SERVER_IP, many)).encode())
    if not line.startswith("HTTP/1.1 431"):
        fail("1,000 header lines: %r" % line)
    before = resident(lab.server.pid)
    for mode in ("length", "chunked"):
        answer = hostile(client, "body", "/ContentDirectory/control", mode, str(200 << 20))
        status, sent = answer.rsplit(" ", 1)
        if "413" not in status or int(sent) > 16 << 20:
            fail("a 200 MiB %s body: %r after %s bytes" % (mode, status, sent))
    grown = resident(lab.server.pid) - before
    if grown > 24 << 20:
        fail("the refused bodies grew the server by %d bytes" % grown)
    status, _ = browse(client, lab)
    if status != 200:
        fail("not serving after refused bodies: %d" % status)


def check_entry_bounded(lab, client):
    junk = ["X-Junk-%d: %s" % (i, "j" * 100) for i in range(60)]
    status, _ = browse(client, lab, headers=["User-Agent: " + "A" * 5000,
                                             "X-AV-Client-Info: " + "é" * 300] + junk)
    if status != 200:
        fail("Browse with 60 extra headers: %d" % status)
    entry = wait_for("the client's entry", lambda: (
        lambda e: e if e and e.get("browse_user-agent", "").startswith("A") else None)(
            lab.client_entry(client.mac)), 5)
    recorded = [k for k in entry if k.startswith(("open_", "browse_"))]
    if any(k.startswith("browse_x-junk") for k in recorded):
        fail("unusable headers recorded: %r" % recorded)
    for key in recorded:
        if len(entry[key].encode()) > 256:
            fail("%s recorded with %d bytes" % (key, len(entry[key].encode())))
    if not entry.get("browse_x-av-client-info", "").startswith("é"):
        fail("x-av-client-info not recorded whole characters: %r"
             % entry.get("browse_x-av-client-info"))


def check_denied(lab, denied):
    if browse(denied, lab)[0] != 200:
        fail("the client to deny is not served first")
    wait_for("its saved entry", lambda: lab.client_entry(denied.mac), 5)
    run(lab.tool, "clients", "--root", lab.root, "deny", denied.mac)
    wait_for("the denial", lambda: browse(denied, lab)[0] == 403, 5)
    before = resident(lab.server.pid)
    answer = hostile(denied, "body", "/ContentDirectory/control", "length", str(100 << 20))
    status, sent = answer.rsplit(" ", 1)
    if "403" not in status or int(sent) > 16 << 20:
        fail("a denied client's 100 MiB POST: %r after %s bytes" % (status, sent))
    if resident(lab.server.pid) - before > 24 << 20:
        fail("a denied client's body grew the server")
    status, _ = browse(denied, lab, headers=["X-AV-Client-Info: should not be kept"])
    time.sleep(0.5)
    entry = lab.client_entry(denied.mac) or {}
    if "should not be kept" in json.dumps(entry):
        fail("a denied client's headers were recorded: %r" % entry)
    # Log churn: 300 requests, a couple of lines.
    log_before = lab.server_log()
    forbidden = int(hostile(denied, "repeat", "/description.xml", "300"))
    if forbidden != 300:
        fail("only %d of 300 requests of the denied client got 403" % forbidden)
    marker = "for %s" % denied.ip

    def accounted():
        new = lab.server_log()[len(log_before):]
        lines = [l for l in new.splitlines() if "403 for" in l and marker in l]
        counted = sum(int(m.replace(",", "")) for m in re.findall(
            r"for %s: ([0-9,]+) more in the last %d s" % (re.escape(denied.ip),
                                                          COLLAPSE_SECONDS), new))
        return len(lines), counted

    # Every refusal is told: as a line of its own or in a count, once the intervals end.
    wait_for("the collapsed counts", lambda: sum(accounted()) >= 300, COLLAPSE_SECONDS * 4 + 5)
    lines, counted = accounted()
    if lines > 6 or counted == 0:
        fail("%d log lines and %d counted for 300 refused requests" % (lines, counted))


def check_search(lab, client):
    long_text = 'dc:title contains "%s"' % ("x" * 4100)
    relations = " or ".join('dc:title = "t%d"' % i for i in range(33))
    for criteria in (long_text, relations):
        status, result = search(client, lab, criteria)
        if status != 500 or result.get("errorCode") != "708":
            fail("unbounded criteria (%d bytes): %d %r" % (len(criteria), status, result))
    status, result = search(client, lab, " or ".join('dc:title = "t%d"' % i for i in range(32)))
    if status != 200:
        fail("32 relations: %d %r" % (status, result))
    # A table locked by another session: the Search ends at the statement timeout.
    env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
    locker = subprocess.Popen(["psql", "-X", "-q", "-U", "admin", "-d", "calyx", "-c",
                               "BEGIN; LOCK TABLE music, video, photo IN ACCESS EXCLUSIVE MODE; "
                               "SELECT pg_sleep(4); COMMIT;"], env=env,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        time.sleep(1.5)
        started = time.monotonic()
        status, result = search(client, lab, 'dc:title contains "Clip"')
        took = time.monotonic() - started
    finally:
        # The lock ends with the locking transaction (a closed client would not end it).
        locker.wait(timeout=30)
    if status != 500 or result.get("errorCode") != "720" or took > 5:
        fail("Search on a locked table: %d %r after %.1f s" % (status, result, took))


def check_gena(lab, client):
    url = lab.url("/ContentDirectory/events")

    def subscribe(callback):
        status, headers, _ = client.curl("-X", "SUBSCRIBE", "-H", "CALLBACK: " + callback,
                                         "-H", "NT: upnp:event", "-H", "TIMEOUT: Second-300", url)
        return status, headers

    for callback in ("<http://10.77.0.99:4000/cb>", "<http://%s:4000/cb>" % SERVER_IP,
                     "<http://%s:4000/a><http://10.77.0.99:4000/b>" % client.ip,
                     "<http://127.0.0.1:4000/cb>", "<http://%s@10.77.0.99/>" % client.ip, ""):
        status, _ = subscribe(callback)
        if status != 412:
            fail("SUBSCRIBE with CALLBACK %r: %d" % (callback, status))
    accepted = 0
    for _ in range(50):
        status, headers = subscribe("<http://%s:4000/cb>" % client.ip)
        if status != 200 or "SID:" not in headers.upper():
            fail("subscription %d of 50: %d" % (accepted + 1, status))
        accepted += 1
    status, _ = subscribe("<http://%s:4000/cb>" % client.ip)
    if status != 503:
        fail("a 51st subscription: %d" % status)


# --- renderers ---------------------------------------------------------------------------
DESCRIPTION_SERVER = r"""
import http.server, sys
size, log = int(sys.argv[2]), sys.argv[3]
class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        with open(log, "a") as f:
            f.write(self.path + "\n")
        self.send_response(200)
        self.send_header("Content-Type", "text/xml")
        self.send_header("Content-Length", str(size))
        self.end_headers()
        piece = b"<a>" + b" " * 16381
        sent = 0
        try:
            while sent < size:
                self.wfile.write(piece)
                sent += len(piece)
        except OSError:
            pass
    def log_message(self, *a):
        pass
http.server.ThreadingHTTPServer(("0.0.0.0", int(sys.argv[1])), Handler).serve_forever()
"""

NOTIFY = r"""
import socket, sys
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 2)
for i, location in enumerate(sys.argv[2:]):
    message = ("NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=1800\r\n"
               "Location: %s\r\nNT: %s\r\nNTS: ssdp:alive\r\nServer: Linux UPnP/1.0 x/1\r\n"
               "USN: uuid:0000000%d-bad0-4000-8000-000000000000::%s\r\n\r\n"
               % (location, sys.argv[1], i, sys.argv[1]))
    s.sendto(message.encode(), ("239.255.255.250", 1900))
"""


def check_renderers(lab, rogue, bystander):
    logs = {}
    for client, port, size in ((rogue, 8090, 10 << 20), (bystander, 8091, 2000)):
        logs[client.ns] = os.path.join(lab.tmp, "requests-%d.log" % port)
        open(logs[client.ns], "w").close()
        lab.spawn(client.ns, "/usr/bin/python3", "-c", DESCRIPTION_SERVER, str(port), str(size),
                  logs[client.ns])
    time.sleep(0.5)
    before = resident(lab.server.pid)
    locations = ["http://%s:8091/elsewhere.xml" % bystander.ip,
                 "http://127.0.0.1:%d/description.xml" % PORT,
                 "http://%s:8090/big-1.xml" % rogue.ip, "http://%s:8090/big-2.xml" % rogue.ip,
                 "http://%s:8090/big-3.xml" % rogue.ip]
    rogue.run("/usr/bin/python3", "-c", NOTIFY, RENDERER_TYPE, *locations)
    wait_for("the fetch of the rogue's description",
             lambda: open(logs[rogue.ns]).read().strip(), 5)
    wait_for("the server to give the description up", lambda: re.search(
        r"description of the renderer at %s not read" % re.escape(rogue.ip),
        lab.server_log()), 10)
    time.sleep(1)
    fetched = open(logs[rogue.ns]).read().split()
    if len(fetched) != 1:
        fail("one sender's announcements led to %d fetches: %r" % (len(fetched), fetched))
    if open(logs[bystander.ns]).read():
        fail("a description on another host was fetched")
    grown = resident(lab.server.pid) - before
    if grown > 8 << 20:
        fail("a 10 MiB description grew the server by %d bytes" % grown)


def make_links(lab, files):
    """Before indexing: a secret and a song outside the media folder, and a link in the
    folder to the song; returns the link and the outside song."""
    media = os.path.dirname(files["clip"])
    outside = os.path.join(lab.tmp, "elsewhere")
    os.makedirs(outside)
    with open(os.path.join(outside, "secret.txt"), "w") as f:
        f.write(SECRET)
    tune = os.path.join(outside, "tune.mp3")
    with open(files["song"], "rb") as src, open(tune, "wb") as dst:
        dst.write(src.read())
    link = os.path.join(media, "tune-link.mp3")
    os.symlink(tune, link)
    return link, tune


def check_links(lab, client, ids, files, link_id):
    if lab.psql("SELECT count(*) FROM music WHERE path LIKE '%%tune-link%%' AND id <> %d"
                % link_id).strip() != "0":
        fail("the indexer took in a link out of the media folder")
    status, _, body = client.curl(lab.url("/media/m/%d.mp3" % link_id))
    if status != 403:
        fail("a link out of the media folder: %d" % status)
    # A served file swapped for a link to a secret, and another changed since indexed.
    song = files["song"]
    os.rename(song, song + ".orig")
    os.symlink(os.path.join(lab.tmp, "elsewhere", "secret.txt"), song)
    status, _, body = client.curl(lab.url("/media/m/%d.mp3" % ids["song"]))
    if status != 403 or SECRET.encode() in body:
        fail("a media file swapped for a link to a secret: %d" % status)
    with open(files["latin"], "ab") as f:
        f.write(b"\0" * 100)
    status, _, _ = client.curl(lab.url("/media/m/%d.mp3" % ids["latin"]))
    if status != 409:
        fail("a file changed since it was indexed: %d" % status)
    status, _, _ = client.curl(lab.url("/media/v/%d.mp4" % ids["clip"]))
    if status != 200:
        fail("an unchanged file: %d" % status)


def check_cap(lab, client):
    """Fake hardware addresses of one namespace, each seen anew by the server."""
    macs = ["02:77:00:00:0c:%02x" % i for i in range(MAX_CLIENTS + 3)]
    for mac in macs:
        client.run("ip", "link", "set", "eth0", "address", mac)
        lab.ns_run(lab.server_ns, "ip", "neigh", "flush", "dev", "br0")
        status, result = browse(client, lab)
        if status != 200:
            fail("Browse from %s: %d %r" % (mac, status, result))
    time.sleep(3)  # a save
    entries = [e.get("macAddr") for e in (lab.client_list() or {}).get("ClientList", [])]
    if len(entries) > MAX_CLIENTS:
        fail("%d entries with --max-clients %d: %r" % (len(entries), MAX_CLIENTS, entries))
    if DECIDED_MAC not in entries or macs[-1] not in entries:
        fail("the cap dropped a decided or the newest entry: %r" % entries)
    client.run("ip", "link", "set", "eth0", "address", client.mac)


def main():
    with Lab("hostile") as lab:
        lab.make_index()
        files = lab.make_media()
        link, tune = make_links(lab, files)
        ids = lab.index_media(files)
        link_id = lab.insert("music", path=link, title="Tune", mime_type="audio/mpeg")
        client = lab.add_client("02:77:00:00:00:31")
        denied = lab.add_client("02:77:00:00:00:32")
        rogue = lab.add_client("02:77:00:00:00:33")
        bystander = lab.add_client("02:77:00:00:00:34")
        size_before = bloated_client_list(lab.client_list_path())
        lab.start_server("--host-name", "nas.example", "--max-clients", str(MAX_CLIENTS),
                         "--log-collapse-interval", str(COLLAPSE_SECONDS),
                         "--statement-timeout", "1000", log_level=1)
        check_trimmed(lab, size_before)
        check_host(lab, client, ids)
        check_heads_and_bodies(lab, client)
        check_entry_bounded(lab, client)
        check_denied(lab, denied)
        check_search(lab, client)
        check_gena(lab, client)
        check_renderers(lab, rogue, bystander)
        check_links(lab, client, ids, files, link_id)
        check_cap(lab, client)
        if lab.stop_server() != 0:
            fail("unclean stop")

        # New clients denied: a new client's entry holds its MAC and address only, and its
        # large POST is refused before the body.
        newcomer = lab.add_client("02:77:00:00:00:35")
        lab.start_server("--deny-new-clients", log_level=1)
        answer = hostile(newcomer, "body", "/ContentDirectory/control", "length", str(100 << 20))
        status, sent = answer.rsplit(" ", 1)
        if "403" not in status or int(sent) > 16 << 20:
            fail("a new client's 100 MiB POST with new clients denied: %r after %s bytes"
                 % (status, sent))
        status, _ = browse(newcomer, lab, headers=["User-Agent: Newcomer/1.0"])
        if status != 403:
            fail("a new client with new clients denied: %d" % status)
        entry = wait_for("the newcomer's entry", lambda: lab.client_entry(newcomer.mac), 5)
        recorded = [k for k in entry if k.startswith(("open_", "browse_")) or k in
                    ("friendlyName", "modelName")]
        if recorded or entry.get("ipAddr") != newcomer.ip or entry.get("isAccess") is not False:
            fail("a not-yet-allowed client's entry: %r" % entry)
        if lab.stop_server() != 0:
            fail("unclean stop")

        # Links out of the media folders allowed.
        lab.start_server("--follow-links", log_level=1)
        status, _, body = bystander.curl(lab.url("/media/m/%d.mp3" % link_id))
        if status != 200 or body != open(tune, "rb").read():
            fail("a link out of the media folder with --follow-links: %d" % status)
        if lab.stop_server() != 0:
            fail("unclean stop")
    print("PASS")


if __name__ == "__main__":
    main()
