#!/usr/bin/python3
"""Many clients at once: 10 clients for 5 s (CALYX_TEST_SCALE=5: 50 clients for 30 s), each
a recorded client in its own namespace with a MAC of its own, browsing the root, Music and
Video (or, for a music-only client, Music) and streaming whole files and ranges. Every
answer must be well-formed DIDL-Lite, every stream byte-exact, the server alive after it,
and the saved client list must hold every MAC with the profile `calyx identify` names."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail  # noqa: E402
from dms_load_lab import (Workers, add_big_video, add_recorded_clients, identity,  # noqa: E402
                          media_url, require_clean, scale, summary)


def main():
    count, seconds = 10 * scale(), 5 * scale()
    with Lab("load") as lab:
        lab.make_index()
        files = lab.make_media()
        ids = lab.index_media(files)
        big, big_id = add_big_video(lab, 2)
        clients = add_recorded_clients(lab, count)
        lab.start_server("--save-interval", "1")

        videos = [(media_url(lab, "v", ids["clip"], files["clip"]), files["clip"]),
                  (media_url(lab, "v", big_id, big), big)]
        music = [(media_url(lab, "m", ids["song"], files["song"]), files["song"]),
                 (media_url(lab, "p", ids["photo"], files["photo"]), files["photo"])]
        expected = {}
        workers = Workers(lab)
        for client, name, headers in clients:
            # The server's entry gathers the keys of the client's control and media
            # requests (some players are recognised by their media requests only, some by
            # both together), so the expected profile is that of one entry fed both.
            root = os.path.join(lab.tmp, "expected-%s" % client.ns)
            os.makedirs(root)
            _, music_only = identity(lab, client, headers, root=root)
            profile, _ = identity(lab, client, headers, "WebSerOpen", root=root)
            expected[client.mac] = (name, profile)
            workers.start(client, {
                "headers": headers, "seconds": seconds,
                "browse": ["0", "music"] + ([] if music_only else ["video", "d%d" % ids["folder"]]),
                "streams": music + ([] if music_only else videos)})
        results = workers.results()
        print(summary(results))
        require_clean(results, "under load")
        if lab.server.poll() is not None:
            fail("the server exited with %d under load" % lab.server.returncode)
        if "ThreadSanitizer" in lab.server_output():
            fail("ThreadSanitizer reported on the server")

        def wrong():
            found = []
            for mac, (name, profile) in expected.items():
                entry = lab.client_entry(mac) or {}
                if entry.get("profileName") != profile:
                    found.append("%s %s: %r, not %r" % (name, mac, entry.get("profileName"),
                                                       profile))
            return found
        deadline = time.monotonic() + 10
        while wrong() and time.monotonic() < deadline:
            time.sleep(0.2)
        if wrong():
            fail("the saved client list: " + "; ".join(wrong()))
        if lab.stop_server() != 0:
            fail("the server did not exit cleanly after the load")
        if "ThreadSanitizer" in lab.server_output():
            fail("ThreadSanitizer reported on the server")
    print("PASS")


if __name__ == "__main__":
    main()
