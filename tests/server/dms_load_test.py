#!/usr/bin/python3
"""Many clients at once: 10 clients for 5 s (CALYX_TEST_SCALE=5: 50 clients for 30 s), each
a recorded client in its own namespace with a MAC of its own, browsing the root, Music and
Video (or, for a music-only client, Music) and streaming whole files and ranges. Every
answer must be well-formed DIDL-Lite, every stream byte-exact, the server alive after it,
and the saved client list must hold every MAC with the profile `calyx identify` names."""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, wait_for  # noqa: E402
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
            profile, music_only = identity(lab, client, headers)
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

        def all_saved():
            for mac, (_name, profile) in expected.items():
                entry = lab.client_entry(mac)
                if not entry or entry.get("profileName") != profile:
                    return False
            return True
        wait_for("every client with its profile in the saved client list", all_saved, 10)
        if lab.stop_server() != 0:
            fail("the server did not exit cleanly after the load")
        if "ThreadSanitizer" in lab.server_output():
            fail("ThreadSanitizer reported on the server")
    print("PASS")


if __name__ == "__main__":
    main()
