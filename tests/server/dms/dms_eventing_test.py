#!/usr/bin/python3
"""calyx-dms's evented update ids with GUPnP control points in a client namespace: a new
subscriber hears the stored SystemUpdateID at once; a change of the index (a file indexed,
a file removed) reaches it as a larger SystemUpdateID with the changed containers in
ContainerUpdateIDs, and Browse and GetSystemUpdateID answer the same stored values; a
burst of changes is told at most once every 2 s, and the values only grow."""

import json
import os
import queue
import shutil
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))


class Listener:
    """upnp_event_listener.py in a client namespace; its lines arrive on a queue."""

    def __init__(self, lab, client, seconds):
        self.process = lab.spawn(client.ns, "/usr/bin/python3",
                                 os.path.join(HERE, "upnp_event_listener.py"), "eth0",
                                 "--seconds", str(seconds), stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        self.events = []
        threading.Thread(target=self._read, daemon=True).start()
        first = self.next(25)
        if first is None or "error" in first:
            fail("listener did not subscribe: %r %s" % (first, self.process.stderr.read()
                                                       if self.process.poll() is not None else ""))

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(json.loads(line))
        self.lines.put(None)

    def next(self, timeout):
        try:
            return self.lines.get(timeout=timeout)
        except queue.Empty:
            return None

    def wait_for(self, what, predicate, timeout):
        """The first event (after those already seen) for which predicate holds."""
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            event = self.next(max(0.05, deadline - time.monotonic()))
            if event is None:
                break
            self.events.append(event)
            if "error" in event:
                fail("listener: " + event["error"])
            if predicate(event):
                return event
        fail("no event with %s within %.0f s; heard %r" % (what, timeout, self.events))

    def drain(self, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            event = self.next(max(0.05, end - time.monotonic()))
            if event is not None:
                self.events.append(event)


def stored_system(lab):
    return int(lab.psql("SELECT system_update_id FROM index_update").strip())


def stored_container(lab, name):
    return int(lab.psql("SELECT update_id FROM container_update WHERE container = '%s'" % name)
               .strip())


def browse(client, lab, object_id):
    status, out = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200:
        fail("Browse %s answered %d" % (object_id, status))
    return int(out["UpdateID"]), int(out["TotalMatches"])


def system_events(events):
    return [e for e in events if e.get("var") == "SystemUpdateID"]


def main():
    with Lab("events") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        folder = "d%d" % ids["folder"]
        media = os.path.dirname(files["clip"])
        client = lab.add_client("02:77:00:00:00:31")
        other = lab.add_client("02:77:00:00:00:32")
        lab.start_server()

        listener = Listener(lab, client, 90)
        start = stored_system(lab)
        if start <= 0:
            fail("indexing left SystemUpdateID at %d" % start)
        first = listener.wait_for("the initial SystemUpdateID",
                                  lambda e: e.get("var") == "SystemUpdateID", 5)
        if first["value"] != start:
            fail("initial SystemUpdateID %r, stored %d" % (first["value"], start))
        print("initial event:", first)

        update_id, music_total = browse(client, lab, "music")
        if update_id != stored_container(lab, "music"):
            fail("Browse of music: UpdateID %d, stored %d" % (update_id,
                                                              stored_container(lab, "music")))
        status, out = soap_action(client, lab, "ContentDirectory", "GetSystemUpdateID", [])
        if status != 200 or int(out.get("Id", -1)) != start:
            fail("GetSystemUpdateID: %d %r, stored %d" % (status, out, start))

        # A file indexed: a larger SystemUpdateID, and its containers in ContainerUpdateIDs.
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
        shutil.copy(files["song"], os.path.join(media, "new song.mp3"))
        run(lab.tool, "index", "--workers", "1", "-q", media, env=env)
        after_add = stored_system(lab)
        indexed = time.monotonic()
        heard = listener.wait_for("SystemUpdateID %d" % after_add,
                                  lambda e: e.get("var") == "SystemUpdateID"
                                  and e["value"] == after_add, 5)
        print("event after the file was indexed: %r, %.2f s later" % (
            heard, time.monotonic() - indexed))
        containers = listener.wait_for("ContainerUpdateIDs", lambda e:
                                       e.get("var") == "ContainerUpdateIDs", 3)["value"]
        pairs = containers.split(",")
        changed = dict(zip(pairs[0::2], (int(v) for v in pairs[1::2])))
        for name in ("music", folder, "0"):
            if changed.get(name) != after_add:
                fail("ContainerUpdateIDs %r lacks %s,%d" % (containers, name, after_add))
        if "video" in changed:
            fail("ContainerUpdateIDs %r names video, which did not change" % containers)
        update_id, total = browse(client, lab, "music")
        if update_id != after_add or total != music_total + 1:
            fail("Browse of music after the change: UpdateID %d total %d (want %d, %d)" % (
                update_id, total, after_add, music_total + 1))

        # The newest row removed: the ids still grow.
        os.unlink(os.path.join(media, "new song.mp3"))
        run(lab.tool, "index", "--workers", "1", "-q", media, env=env)
        after_remove = stored_system(lab)
        if after_remove <= after_add:
            fail("removing the newest file left SystemUpdateID at %d" % after_remove)
        listener.wait_for("SystemUpdateID %d" % after_remove,
                          lambda e: e.get("var") == "SystemUpdateID"
                          and e["value"] == after_remove, 5)

        # A burst of changes, one every 0.2 s for 4 s: told at most once every 2 s.
        burst_start = len(listener.events)
        for _ in range(20):
            lab.psql("SELECT calyx_index_changed(ARRAY['music'])")
            time.sleep(0.2)
        final = stored_system(lab)
        listener.wait_for("SystemUpdateID %d" % final, lambda e: e.get("var") == "SystemUpdateID"
                          and e["value"] == final, 5)
        listener.drain(2.5)
        burst = system_events(listener.events[burst_start:])
        gaps = [round(b["t"] - a["t"], 2) for a, b in zip(burst, burst[1:])]
        print("burst of 20 changes: %d events, gaps %r" % (len(burst), gaps))
        if len(burst) > 4 or any(gap < 1.8 for gap in gaps):
            fail("the burst was told %d times, gaps %r: more than once every 2 s" % (
                len(burst), gaps))
        if burst[-1]["value"] != final:
            fail("the last event told %d, stored %d" % (burst[-1]["value"], final))
        values = [e["value"] for e in system_events(listener.events)]
        if values != sorted(set(values)):
            fail("SystemUpdateID went down or repeated: %r" % values)

        # A subscriber that comes now hears the current value at once.
        late = Listener(lab, other, 10)
        heard = late.wait_for("the initial SystemUpdateID", lambda e:
                              e.get("var") == "SystemUpdateID", 5)
        if heard["value"] != final:
            fail("a new subscriber heard %r, stored %d" % (heard, final))
        print("events ok: %d events, values %r" % (len(values), values))


if __name__ == "__main__":
    main()
