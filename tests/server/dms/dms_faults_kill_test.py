#!/usr/bin/python3
"""`kill -9` of calyx-dms while it saves the client list: 20 rounds (100 at
CALYX_TEST_SCALE=5). In each round the clients take new MACs, so the list the server saves
grows, and the server is killed at a random moment around its saves. After every kill the
file must load (`calyx clients list` reads it with the library) and hold either the
clients it held before the round or those plus some of the round's new ones."""

import json
import os
import random
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action  # noqa: E402
from dms_load_lab import scale  # noqa: E402

CLIENTS = 3
ROOT = [("ObjectID", "0"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")]


def new_mac(client, round_number, n):
    """A MAC of its own for client n in this round; the neighbour tables forget the old."""
    mac = "02:6b:00:%02x:%02x:%02x" % (round_number // 256, round_number % 256, n)
    client.run("ip", "link", "set", "eth0", "address", mac)
    client.run("ip", "neigh", "flush", "all")
    client.mac = mac
    return mac


def saved_macs(lab):
    """The MACs of the saved list as the library loads it (None: no file yet)."""
    path = lab.client_list_path()
    if not os.path.exists(path):
        return None
    result = run(lab.tool, "clients", "--file", path, "--json", "list", check=False)
    if result.returncode != 0:
        fail("the client list does not load after a kill: %s\n%s" % (
            result.stderr.strip(), open(path, errors="replace").read()[:2000]))
    document = json.loads(result.stdout)
    entries = document if isinstance(document, list) else document.get("clients", [])
    return {(e.get("macAddr") or e.get("mac") or "").lower() for e in entries}


def main():
    rounds = 20 * scale()
    rng = random.Random(os.getpid())
    with Lab("kill") as lab:
        lab.make_index()
        clients = [lab.add_client("02:6b:ff:00:00:%02x" % n) for n in range(CLIENTS)]
        before = set()
        for number in range(rounds):
            lab.ns_run(lab.server_ns, "ip", "neigh", "flush", "all")
            lab.start_server("--save-interval", "1")
            new = set()
            # Requests spread over about a second, then a kill at a random moment of the
            # next second and a half: before, during or after the periodic save.
            for n, client in enumerate(clients):
                new.add(new_mac(client, number, n))
                status, result = soap_action(client, lab, "ContentDirectory", "Browse", ROOT)
                if status != 200:
                    fail("round %d: Browse answered %d %r" % (number, status, result))
            time.sleep(rng.uniform(0.0, 1.5))
            lab.server.kill()
            lab.server.wait()
            got = saved_macs(lab)
            if got is None:
                if before:
                    fail("round %d: the client list file is gone" % number)
                continue
            if not before <= got or not got <= before | new:
                fail("round %d: the list holds %s; before the round %s, new %s" % (
                    number, sorted(got), sorted(before), sorted(new)))
            before = got
        if len(before) < CLIENTS:
            fail("after %d rounds only %d clients were ever saved" % (rounds, len(before)))
        print("%d kills; the list always loaded and ends with %d clients" % (rounds,
                                                                             len(before)))
    print("PASS")


if __name__ == "__main__":
    main()
