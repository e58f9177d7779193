#!/usr/bin/python3
"""An external PostgreSQL server that is down when calyx-dms starts (a machine that boots
the media server before the database): the server does not exit; it says in its output and
its log that it waits and retries, answers Browse with UPnP error 720 and media requests
with 503 meanwhile, and once the database server is up it serves the index without a
restart. The test runs its own cluster (scripts/pg-cluster.sh), down before the start."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_faults_database_test import Cluster  # noqa: E402
from dms_lab import Lab, fail, soap_action, wait_for  # noqa: E402
from dms_load_lab import media_url  # noqa: E402

PORT = "55425"
BROWSE = [("ObjectID", "video"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
          ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")]
WAITING = "the media index cannot be read yet ("
RETRY_SECONDS = 5


def main():
    cluster = Cluster(os.environ["CALYX_SOURCE_DIR"], PORT)
    try:
        os.environ.update(PGHOST=cluster.dir, PGPORT=PORT)
        with Lab("latedb") as lab:
            lab.make_index()
            files = lab.make_media()
            ids = lab.index_media(files)
            clip = media_url(lab, "v", ids["clip"], files["clip"])
            player = lab.add_client("02:77:de:30:00:24")
            cluster.stop()

            lab.start_server()
            wait_for("the server to say it waits for the database",
                     lambda: WAITING in lab.server_output(), 10)
            if "retrying every %d s" % RETRY_SECONDS not in lab.server_output():
                fail("no retry announced: %r" % lab.server_output())
            if WAITING not in lab.server_log():
                fail("the log does not say the server waits")
            status, result = soap_action(player, lab, "ContentDirectory", "Browse", BROWSE)
            if status != 500 or result.get("errorCode") != "720":
                fail("Browse while the database is down: %d %r" % (status, result))
            status, _headers, _body = player.curl(lab.url(clip))
            if status != 503:
                fail("a media request while the database is down answered %d, not 503" % status)
            # Still there after a retry or two, and it said so once, not at every retry.
            time.sleep(RETRY_SECONDS + 1)
            if lab.server.poll() is not None:
                fail("the server exited while the database was down: %s" % lab.server_output())
            if lab.server_output().count(WAITING) != 1:
                fail("the wait was reported more than once: %r" % lab.server_output())

            cluster.start()

            def browses():
                status, result = soap_action(player, lab, "ContentDirectory", "Browse", BROWSE)
                return status == 200 and "Clip" in result.get("Result", "")
            wait_for("Browse to list the clip once the database is up", browses,
                     RETRY_SECONDS * 3)
            # Browse connects when asked; the start-up's own retry notices within its period.
            wait_for("the server to say the index can be read now",
                     lambda: "the media index can be read now" in lab.server_output(),
                     RETRY_SECONDS * 2)
            status, headers, body = player.curl("-r", "0-99", lab.url(clip))
            if status != 206 or len(body) != 100:
                fail("the clip after the database came up: %d, %d bytes" % (status, len(body)))
            if lab.stop_server() != 0:
                fail("the server did not stop cleanly")
    finally:
        cluster.remove()
    print("PASS")


if __name__ == "__main__":
    main()
