#!/usr/bin/python3
"""calyx-dms follows its media folders (inotify) while a GUPnP control point in a client
namespace listens to its events: a file copied in shows up in Browse and a larger
SystemUpdateID arrives within 5 s; a file removed disappears; a folder of 1,000 files moved
in at once is indexed alone (not the whole tree), each file once; a file written slowly for
5 s is indexed once, after it is complete; the media folder renamed away hides its items
and brings them back, with the same ids, when it returns. Then, with a watch limit too
small for the tree (the limit's file is the test's own), the server says so and finds new
files by its periodic rescans; and the settings page's "Rescan now" alone brings a new file
in and shows the counts."""

import os
import re
import shutil
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_eventing_test import Listener, browse  # noqa: E402
from dms_lab import Lab, encode_path, fail, run, sql_literal, wait_for  # noqa: E402

BATCH = 1000


def rows_under(lab, folder):
    like = encode_path(folder).replace("\\", "\\\\").replace("%", "\\%").replace("_", "\\_")
    return int(lab.psql("SELECT count(*) FROM music WHERE path LIKE %s" %
                        sql_literal(like + "/%")).strip())


def row_of(lab, table, path):
    out = lab.psql("SELECT id, filesize, hidden FROM %s WHERE path = %s" % (
        table, sql_literal(encode_path(path)))).strip()
    return out.split("|") if out else None


def system_id(lab):
    return int(lab.psql("SELECT system_update_id FROM index_update").strip())


def tiny_mp3(lab, path):
    run("ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
        "sine=frequency=300", "-t", "0.2", "-c:a", "libmp3lame", "-b:a", "32k", path)


def wait_event_above(listener, value, what, timeout=5):
    return listener.wait_for(what, lambda e: e.get("var") == "SystemUpdateID"
                             and e["value"] > value, timeout)


def main():
    with Lab("watch") as lab:
        lab.make_schema()
        files = lab.make_media()
        media = os.path.realpath(os.path.dirname(files["clip"]))
        client = lab.add_client("02:77:00:00:00:41")
        lab.start_server("--media", media, "--forget-after", "3600", log_level=1)
        wait_for("the first index of the media folder", lambda: "index up to date" in
                 lab.server_log(), 30)
        listener = Listener(lab, client, 170)
        _, music = browse(client, lab, "music")

        # A file copied in: in Browse and told by an event within 5 s.
        before = system_id(lab)
        song = os.path.join(media, "copied song.mp3")
        shutil.copy(files["song"], song)
        copied = time.monotonic()
        wait_for("the copied file in Browse", lambda: browse(client, lab, "music")[1] == music + 1,
                 5)
        indexed = time.monotonic() - copied
        heard = wait_event_above(listener, before, "an event for the copied file")
        print("copied file: in Browse after %.2f s, event %r" % (indexed, heard))

        # Removed: gone from Browse, told again.
        before = system_id(lab)
        os.unlink(song)
        wait_for("the removed file gone from Browse",
                 lambda: browse(client, lab, "music")[1] == music, 5)
        wait_event_above(listener, before, "an event for the removed file")

        # 1,000 files moved in at once: one walk of that folder only, each file once.
        staging = os.path.join(lab.tmp, "staging", "batch")
        os.makedirs(staging)
        tiny_mp3(lab, os.path.join(staging, "0.mp3"))
        for i in range(1, BATCH):
            shutil.copyfile(os.path.join(staging, "0.mp3"), os.path.join(staging, "%d.mp3" % i))
        log_before = len(lab.server_log())
        batch = os.path.join(media, "batch")
        os.rename(staging, batch)
        moved = time.monotonic()
        wait_for("the %d moved files in the index" % BATCH,
                 lambda: rows_under(lab, batch) == BATCH, 90)
        print("%d files moved in: indexed after %.1f s" % (BATCH, time.monotonic() - moved))
        # The runs' summaries: "index up to date: N files (A added, C changed, ...)", N the
        # files the run walked; the last comes when its worker has ended.
        summary = r"index up to date: (\d+) files \((\d+) added, (\d+) changed"

        def runs_since():
            found = re.findall(summary, lab.server_log()[log_before:])
            return found if sum(int(r[1]) for r in found) >= BATCH else None
        runs = wait_for("the summary of the run of the moved folder", runs_since, 20)
        print("index runs since the move: %r" % runs)
        if sum(int(r[1]) for r in runs) != BATCH or any(int(r[2]) for r in runs):
            fail("the moved files were not each added once: %r" % runs)
        if max(int(r[0]) for r in runs) > BATCH:
            fail("the whole tree was walked for the moved folder: %r" % runs)

        # A file written slowly for 5 s: not in the index until it is complete, then once.
        with open(files["song"], "rb") as f:
            content = f.read()
        slow = os.path.join(media, "slow.mp3")
        seen_early = None
        with open(slow, "wb") as f:
            step = len(content) // 10 + 1
            for i in range(10):
                f.write(content[i * step:(i + 1) * step])
                f.flush()
                time.sleep(0.5)
                seen_early = seen_early or row_of(lab, "music", slow)
        closed = time.monotonic()
        if seen_early:
            fail("the file was indexed while it was being written: %r" % seen_early)
        row = wait_for("the slowly written file in the index",
                       lambda: row_of(lab, "music", slow), 5)
        print("slow file: indexed %.2f s after it was closed: %r" % (
            time.monotonic() - closed, row))
        if int(row[1]) != len(content):
            fail("the slow file was indexed with %s bytes of %d" % (row[1], len(content)))

        # The media folder renamed away: its items hidden, not removed; back, the same ids.
        clip_id = row_of(lab, "video", files["clip"])[0]
        before = system_id(lab)
        away = media + ".away"
        os.rename(media, away)
        wait_for("the items of the gone folder hidden",
                 lambda: browse(client, lab, "video")[1] == 0, 5)
        wait_event_above(listener, before, "an event for the gone folder")
        kept = row_of(lab, "video", files["clip"])
        if not kept or kept[0] != clip_id or kept[2] != "t":
            fail("the clip's row is not kept hidden: %r" % kept)
        os.rename(away, media)
        wait_for("the items back", lambda: browse(client, lab, "video")[1] == 1, 8)
        if row_of(lab, "video", files["clip"])[0] != clip_id:
            fail("the clip came back with another id")
        print("folder away and back: ok")
        lab.stop_server()

        # A watch limit too small for the tree: said so, and rescans find new files.
        limit_file = os.path.join(lab.tmp, "max_user_watches")
        with open(limit_file, "w") as f:
            f.write("1\n")
        os.environ["CALYX_INOTIFY_LIMIT_FILE"] = limit_file
        lab.start_server("--media", media, "--rescan-interval", "2", log_level=1)
        wait_for("the watch limit's log line",
                 lambda: "inotify watch limit (1, fs.inotify.max_user_watches) is below the 2 "
                 "folders" in lab.server_log(), 10)
        extra = os.path.join(media, "batch", "extra.mp3")
        shutil.copy(files["song"], extra)
        wait_for("the new file found by a rescan", lambda: row_of(lab, "music", extra), 10)
        print("watch limit: fell back to rescans")
        lab.stop_server()

        # The settings page's "Rescan now": with neither watches nor timed rescans, the
        # button alone brings a new file in, and the page shows the counts.
        from dms_admin_test import ADMIN_URL, PASSWORD, admin_curl, log_in, post
        hashed = run(lab.server_binary, "--hash-password", input=PASSWORD + "\n").stdout.strip()
        done_before = lab.server_log().count("index up to date")
        lab.start_server("--media", media, "--rescan-interval", "3600",
                         "--admin-password-hash", hashed, log_level=1)
        wait_for("the index run at start", lambda: lab.server_log().count("index up to date") >
                 done_before, 20)
        button = os.path.join(media, "by the button.mp3")
        shutil.copy(files["song"], button)
        time.sleep(2)
        if row_of(lab, "music", button):
            fail("the file was indexed before the button was pressed")
        jar = os.path.join(lab.tmp, "cookies")
        _, _, token = log_in(lab, jar)
        post(lab, jar, "rescan", csrf=token)
        wait_for("the file brought in by Rescan now", lambda: row_of(lab, "music", button), 15)
        _, _, page = admin_curl(lab, ADMIN_URL, jar=jar)
        music_rows = int(lab.psql("SELECT count(*) FROM music WHERE NOT hidden").strip())
        if '<dd class="count-music">%d</dd>' % music_rows not in page:
            fail("the settings page does not show %d music items" % music_rows)
        print("Rescan now: ok")


if __name__ == "__main__":
    main()
