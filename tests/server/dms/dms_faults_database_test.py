#!/usr/bin/python3
"""The PostgreSQL server stopped while clients browse: every Browse meanwhile gets a
well-formed answer or the clean UPnP error 720 (an answer the server keeps for repeated
requests is given, unchanged, until its next read of the update id fails, at most about a
second: from the first 720 on, every Browse gets 720), and once the database is back Browse
and streaming answer normally again without restarting calyx-dms. The test runs its own
throw-away cluster (scripts/pg-cluster.sh) so that it can stop and start it."""

import glob
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action, wait_for  # noqa: E402
from dms_load_lab import (Workers, add_recorded_clients, media_url, require_clean,  # noqa: E402
                          scale, summary)

PORT = "55419"
BROWSE = [("ObjectID", "video"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
          ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")]


class Cluster:
    """A cluster of pg-cluster.sh that can be stopped and started again in place, on its
    own socket folder and `port`."""

    def __init__(self, source, port=PORT):
        self.source = source
        self.port = port
        self.dir = tempfile.mkdtemp(prefix="calyx-pg-faults-")
        os.chmod(self.dir, 0o755)
        os.rmdir(self.dir)  # pg-cluster.sh makes it, owned by the server's user
        self.user = "calyx-test" if os.geteuid() == 0 else ""
        self.bindir = sorted(glob.glob("/usr/lib/postgresql/*/bin"))[-1]
        run("bash", os.path.join(source, "scripts/pg-cluster.sh"), "start", self.dir,
            *([self.user] if self.user else []), env=dict(os.environ, CALYX_PG_PORT=port))

    def pg_ctl(self, *args):
        command = [os.path.join(self.bindir, "pg_ctl"), "-D", os.path.join(self.dir, "data"),
                   "-w", "-t", "30", *args]
        if self.user:
            command = ["runuser", "-u", self.user, "--"] + command
        # Not captured: the server started would hold the pipes open.
        if subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          timeout=60).returncode != 0:
            fail("pg_ctl %s failed" % " ".join(args))

    def stop(self):
        self.pg_ctl("-m", "fast", "stop")

    def start(self):
        self.pg_ctl("-l", os.path.join(self.dir, "server.log"), "-o",
                    "-c listen_addresses='' -c unix_socket_directories='%s' -p %s -c fsync=off"
                    % (self.dir, self.port), "start")

    def remove(self):
        run("bash", os.path.join(self.source, "scripts/pg-cluster.sh"), "stop", self.dir,
            *([self.user] if self.user else []), check=False)


def main():
    seconds = 4 * scale()
    source = os.environ["CALYX_SOURCE_DIR"]
    cluster = Cluster(source)
    try:
        os.environ.update(PGHOST=cluster.dir, PGPORT=PORT)
        with Lab("faultdb") as lab:
            lab.make_index()
            files = lab.make_media()
            ids = lab.index_media(files)
            clip = (media_url(lab, "v", ids["clip"], files["clip"]), files["clip"])
            clients = add_recorded_clients(lab, 3)
            probe = clients[0][0]
            lab.start_server()
            status, before = soap_action(probe, lab, "ContentDirectory", "Browse", BROWSE)
            if status != 200:
                fail("Browse before the stop: %d %r" % (status, before))

            # Clients browse all along: before, while and after the database is down.
            workers = Workers(lab)
            for client, _name, headers in clients[1:]:
                workers.start(client, {"headers": headers, "seconds": 3 * seconds,
                                       "browse": ["0", "video", "music"]})
            time.sleep(seconds)
            cluster.stop()
            stopped = time.monotonic()
            refused = False
            deadline = stopped + seconds
            while time.monotonic() < deadline:
                status, result = soap_action(probe, lab, "ContentDirectory", "Browse", BROWSE)
                kept = status == 200 and result == before
                if kept and not refused and time.monotonic() - stopped < 1.5:
                    continue  # the kept answer, before the server has noticed
                if status != 500 or result.get("errorCode") != "720":
                    fail("Browse while the database is down, %.1f s after the stop: %d %r" % (
                        time.monotonic() - stopped, status, result))
                refused = True
            status, _headers, _body = probe.curl(lab.url(clip[0]))
            if status != 503:
                fail("a media request while the database is down answered %d, not 503" % status)
            cluster.start()

            def browses_again():
                return soap_action(probe, lab, "ContentDirectory", "Browse", BROWSE)[0] == 200
            wait_for("Browse to answer once the database is back", browses_again, 15)
            results = workers.results()
            print(summary(results))
            require_clean(results, "around the database stop", allowed_upnp=("720",))
            if not any(r["upnp_errors"].get("720") for r in results.values()):
                fail("no client saw the database down: %r" % results)
            after = Workers(lab)
            for client, _name, headers in clients:
                after.start(client, {"headers": headers, "seconds": 2, "rounds": 2,
                                     "browse": ["0", "video"], "streams": [clip]})
            require_clean(after.results(), "after the database came back")
            if lab.server.poll() is not None or lab.stop_server() != 0:
                fail("the server did not live through the database stop")
    finally:
        cluster.remove()
    print("PASS")


if __name__ == "__main__":
    main()
