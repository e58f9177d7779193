#!/usr/bin/python3
"""Clients that misbehave while others browse and stream: one drops its connection in the
middle of a stream again and again, one opens 200 connections and holds them, one sends
its request head one byte per second. Everyone else must be served as usual (every answer
well-formed, every stream byte-exact), and the server must be alive and serving after."""

import json
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, SERVER_IP, PORT, fail  # noqa: E402
from dms_load_lab import (Workers, add_big_video, add_recorded_clients, media_url,  # noqa: E402
                          require_clean, scale, summary)

FAULTS_CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "dms_faults_client.py")


def main():
    seconds = 4 * scale()
    with Lab("faultcl") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        big, big_id = add_big_video(lab, 8)
        big_url = media_url(lab, "v", big_id, big)
        clip_url = media_url(lab, "v", ids["clip"], files["clip"])
        # Recorded clients that see videos (the first ones of the recorded list do).
        good = add_recorded_clients(lab, 4)
        bad = [lab.add_client("02:66:00:00:00:%02x" % n) for n in range(1, 4)]
        lab.start_server()

        attacks = {}
        for client, (mode, count) in zip(bad, [("disconnect", 40), ("connections", 200),
                                               ("slowheader", 1)]):
            attacks[mode] = lab.spawn(
                client.ns, "/usr/bin/python3", FAULTS_CLIENT, mode, SERVER_IP, str(PORT),
                big_url if mode == "disconnect" else clip_url, str(seconds), str(count),
                stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        workers = Workers(lab)
        for client, _name, headers in good:
            workers.start(client, {"headers": headers, "seconds": seconds,
                                   "browse": ["0", "video"],
                                   "streams": [(clip_url, files["clip"]), (big_url, big)]})
        results = workers.results()
        print(summary(results))
        require_clean(results, "beside misbehaving clients")
        for mode, process in attacks.items():
            out, err = process.communicate(timeout=seconds + 60)
            if process.returncode != 0:
                fail("the %s client failed: %s" % (mode, err.decode(errors="replace")))
            report = json.loads(out)
            print("%s: %r" % (mode, report))
            if mode == "disconnect" and report["disconnects"] < 2:
                fail("the disconnecting client got too little done: %r" % report)
            if mode == "connections" and report["opened"] != 200:
                fail("could not open 200 connections: %r" % report)
        if lab.server.poll() is not None:
            fail("the server exited with %d" % lab.server.returncode)
        # And after it all, a new round for everyone.
        for client, _name, headers in good:
            workers.start(client, {"headers": headers, "seconds": 1, "rounds": 1,
                                   "browse": ["video"], "streams": [(big_url, big)]})
        require_clean(workers.results(), "after the misbehaving clients")
        if lab.stop_server() != 0:
            fail("the server did not exit cleanly")
    print("PASS")


if __name__ == "__main__":
    main()
