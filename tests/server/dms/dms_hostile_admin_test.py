#!/usr/bin/python3
"""The settings page against a hostile network, with curl.

- Binding the page to a network address is refused unless --admin-allow-remote.
- Password guesses: after a failed login an address waits longer before its next guess
  (a second, then doubling; 429 with Retry-After until then, even for the right password),
  and all addresses together get at most 10 guesses per interval (--admin-login-interval,
  6 s here).
- Host must name the page's address (or localhost, or a --host-name name); a change
  whose Origin is another site is refused with nothing changed.
- 230 clients are shown 100 to a page, with links between the pages; several are removed
  at once, and "remove undecided" removes the entries the owner never decided about."""

import json
import os
import re
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import SERVER_IP, Lab, fail, run, wait_for  # noqa: E402

ADMIN_PORT = 8201
ADMIN_URL = "http://%s:%d/" % (SERVER_IP, ADMIN_PORT)
PASSWORD = "correct horse 42"
INTERVAL = 6
ENTRIES = 230


def curl(client, *args, jar=None, source=None):
    """curl to the page from a client namespace; returns (status, headers, body)."""
    extra = (["-b", jar, "-c", jar] if jar else []) + (["--interface", source] if source else [])
    status, headers, body = client.curl(*extra, *args)
    return status, headers, body.decode(errors="replace")


def guess(client, password, source=None):
    return curl(client, "--data-urlencode", "password=" + password, ADMIN_URL + "login",
                source=source)


def retry_after(headers):
    match = re.search(r"^Retry-After:\s*(\d+)", headers, re.M | re.I)
    return int(match.group(1)) if match else None


def write_clients(lab):
    entries = []
    for i in range(ENTRIES):
        entry = {"macAddr": "02:88:00:00:%02x:%02x" % (i // 256, i % 256),
                 "ipAddr": "10.88.%d.%d" % (i // 256, i % 256), "isAccess": True,
                 "profileName": "Default Profile", "profileName_Orig": "Default Profile",
                 "displayName": "Device %03d" % i}
        if i % 10 == 0:
            entry["profileName_UserSelected"] = "Default Profile"  # decided by the owner
        entries.append(entry)
    with open(lab.client_list_path(), "w") as f:
        json.dump({"ClientList": entries}, f)


def macs_on_disk(lab):
    return [e.get("macAddr") for e in (lab.client_list() or {}).get("ClientList", [])]


def main():
    with Lab("hadmin") as lab:
        lab.make_index()
        client = lab.add_client("02:77:00:00:00:41")
        hashed = run(lab.server_binary, "--hash-password", input=PASSWORD + "\n").stdout.strip()
        config = os.path.join(lab.tmp, "calyx-dms.conf")
        with open(config, "w") as f:
            f.write("admin-password-hash = %s\nadmin-port = %d\nadmin-address = %s\n"
                    % (hashed, ADMIN_PORT, SERVER_IP))
        write_clients(lab)

        # A network address without --admin-allow-remote: the server refuses to start.
        env = dict(os.environ, CALYX_ROOT=lab.root, TMPDIR=lab.tmp,
                   PGOPTIONS="-c search_path=%s" % lab.schema)
        refused = subprocess.run(
            ["ip", "netns", "exec", lab.server_ns, lab.server_binary, "--interface", "br0",
             "--profiles", os.path.join(lab.source, "data/profiles.json"), "--config", config,
             "--log", os.path.join(lab.tmp, "refused.log")],
            capture_output=True, text=True, timeout=30, env=env)
        if refused.returncode == 0 or "--admin-allow-remote" not in refused.stderr:
            fail("a settings page on %s without --admin-allow-remote: %d %r"
                 % (SERVER_IP, refused.returncode, refused.stderr))

        lab.start_server("--config", config, "--admin-allow-remote", "--admin-login-interval",
                         str(INTERVAL), "--host-name", "nas.example")

        # Host and Origin.
        for host in ("evil.example", "evil.example:%d" % ADMIN_PORT, "127.0.0.2:%d" % ADMIN_PORT):
            status, _, _ = curl(client, "-H", "Host: " + host, ADMIN_URL)
            if status != 403:
                fail("settings page with Host %s: %d" % (host, status))
        for host in ("%s:%d" % (SERVER_IP, ADMIN_PORT), "nas.example:%d" % ADMIN_PORT):
            status, _, _ = curl(client, "-H", "Host: " + host, ADMIN_URL)
            if status != 200:
                fail("settings page with Host %s: %d" % (host, status))

        # One address guessing: the waits grow, and the right password waits too.
        answers = []
        for _ in range(10):
            status, headers, _ = guess(client, "wrong")
            answers.append((status, retry_after(headers)))
        checked = [a for a in answers if a[0] == 403]
        held = [a for a in answers if a[0] == 429]
        if not 1 <= len(checked) <= 4 or len(held) < 6 or any(r is None or r < 1 for _, r in held):
            fail("guesses from one address in a burst: %r" % answers)
        status, headers, _ = guess(client, PASSWORD)
        if status != 429:
            fail("the right password during the wait: %d" % status)
        time.sleep(retry_after(headers) + 0.2)
        jar = os.path.join(lab.tmp, "cookies")
        status, headers, _ = curl(client, "--data-urlencode", "password=" + PASSWORD,
                                  ADMIN_URL + "login", jar=jar)
        if status != 303:
            fail("the right password after the wait: %d\n%s" % (status, headers))

        # Many addresses: at most 10 guesses per interval in all.
        time.sleep(INTERVAL)
        sources = ["10.77.0.%d" % (150 + i) for i in range(12)]
        for source in sources:
            client.run("ip", "addr", "add", source + "/24", "dev", "eth0")
        statuses = [guess(client, "wrong", source=s)[0] for s in sources]
        if statuses.count(403) > 10 or statuses.count(429) < 2:
            fail("12 addresses guessing once each: %r" % statuses)

        # Pages of 100 and bulk removal.
        _, _, page = curl(client, ADMIN_URL, jar=jar)
        rows = re.findall(r'<tr data-mac="([^"]+)"', page)
        token = re.search(r'name="csrf" value="([0-9a-f]+)"', page).group(1)
        if len(rows) != 100 or 'href="/?page=2' not in page:
            fail("page 1: %d rows" % len(rows))
        total = len(macs_on_disk(lab))
        _, _, last = curl(client, ADMIN_URL + "?page=%d" % ((total + 99) // 100), jar=jar)
        last_rows = re.findall(r'<tr data-mac="([^"]+)"', last)
        if len(last_rows) != total - 100 * ((total - 1) // 100):
            fail("the last page: %d rows of %d" % (len(last_rows), total))
        victims = rows[1:4]
        # A change from another site is refused.
        args = ["--data-urlencode", "csrf=" + token]
        for mac in victims:
            args += ["--data-urlencode", "mac=" + mac]
        status, _, _ = curl(client, "-H", "Origin: http://evil.example", *args,
                            ADMIN_URL + "clients/remove", jar=jar)
        if status != 403 or any(m not in macs_on_disk(lab) for m in victims):
            fail("a removal with a foreign Origin: %d" % status)
        status, _, _ = curl(client, "-H", "Origin: http://%s:%d" % (SERVER_IP, ADMIN_PORT), *args,
                            ADMIN_URL + "clients/remove", jar=jar)
        if status != 303 or any(m in macs_on_disk(lab) for m in victims):
            fail("bulk removal of %r: %d" % (victims, status))
        status, _, _ = curl(client, "--data-urlencode", "csrf=" + token, ADMIN_URL +
                            "clients/remove-undecided", jar=jar)
        left = macs_on_disk(lab)
        decided = ["02:88:00:00:%02x:%02x" % (i // 256, i % 256) for i in range(0, ENTRIES, 10)]
        if status != 303 or sorted(left) != sorted(m for m in decided if m not in victims):
            fail("remove undecided: %d, %d entries left" % (status, len(left)))
        if lab.stop_server() != 0:
            fail("unclean stop")
    print("PASS")


if __name__ == "__main__":
    main()
