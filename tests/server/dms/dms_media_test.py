#!/usr/bin/python3
"""calyx-dms --media: the server applies the index schema to an empty database schema,
serves at once and indexes its folders in a worker process in the background. While
another index run holds the index (this test holds its lock), the root and its containers
answer empty, never with an error; the log says the indexing waits and then shows its
progress, and so does the settings page. Then a GUPnP control point browses the files.
The Folders container shows the --media folder under its name and a folder of the
library's index folder configuration under the name given there, indexed for its media
type only."""

import json
import os
import re
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
PASSWORD = "index progress"


def browse(lab, client, object_id):
    status, out = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    return status, out


def titles(result):
    return re.findall(r"<dc:title>([^<]*)</dc:title>", result.get("Result", ""))


def container_id(result, title):
    for match in re.finditer(r'<container id="([^"]+)"[^>]*>(.*?)</container>',
                             result.get("Result", ""), re.S):
        if "<dc:title>%s</dc:title>" % title in match.group(2):
            return match.group(1)
    fail("no container %r in %r" % (title, result.get("Result")))


def library_folders(lab, holiday):
    """A share "pictures" and the platform's index folder file naming one folder of it,
    for photos only."""
    etc = os.path.join(lab.root, "usr/zevo/etc")
    os.makedirs(etc, exist_ok=True)
    with open(os.path.join(etc, "shares.conf"), "w") as f:
        f.write("pictures=%s\n" % os.path.dirname(holiday))
    with open(os.path.join(etc, "index_folder.conf"), "w") as f:
        json.dump([{"path": "pictures/" + os.path.basename(holiday), "name": "Holiday pictures",
                    "photo": True, "music": False, "video": False}], f)


def admin_page(lab):
    """The settings page's list, logged in with curl from the server namespace."""
    jar = os.path.join(lab.tmp, "cookies")
    base = ["ip", "netns", "exec", lab.server_ns, "curl", "-s", "--max-time", "10", "-b", jar,
            "-c", jar]
    run(*base, "--data-urlencode", "password=" + PASSWORD, "http://127.0.0.1:8201/login")
    return run(*base, "http://127.0.0.1:8201/").stdout


def main():
    with Lab("media") as lab:
        lab.make_schema()
        files = lab.make_media()
        media = os.path.dirname(files["clip"])
        holiday = os.path.join(lab.tmp, "pictures", "holiday")
        os.makedirs(holiday)
        shutil.copy(files["photo"], os.path.join(holiday, "beach.jpg"))
        shutil.copy(files["song"], os.path.join(holiday, "campfire.mp3"))
        library_folders(lab, holiday)
        client = lab.add_client("02:77:00:00:00:31")

        # Another index run holds this index: the server's worker must wait for it.
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
        holder = subprocess.Popen(["psql", "-X", "-q", "-U", "admin", "-d", "calyx"],
                                  stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True,
                                  env=env)
        lab.processes.append(holder)
        holder.stdin.write("SELECT pg_advisory_lock(hashtext('calyx index ' || current_schema()));\n")
        holder.stdin.flush()

        hashed = run(lab.server_binary, "--hash-password", input=PASSWORD + "\n").stdout.strip()
        lab.start_server("--media", media, "--index-workers", "1",
                         "--admin-password-hash", hashed)
        wait_for("the index worker to wait", lambda: "indexing waits: another index run"
                 in lab.server_log(), 20)

        # Served at once: the containers of an index with no rows yet are empty, not errors.
        status, root = browse(lab, client, "0")
        if status != 200 or root.get("TotalMatches") != "9":
            fail("root while the index waits: %d %r" % (status, root))
        for container in ("music", "video", "photo", "folders", "artists", "albums", "genres",
                          "dates", "playlists"):
            status, out = browse(lab, client, container)
            if status != 200 or out.get("TotalMatches") != "0":
                fail("%s while the index waits: %d %r" % (container, status, out))
        page = admin_page(lab)
        if "indexing: waiting for another index run" not in page:
            fail("the settings page does not say the indexing waits: %r" % page[:3000])

        holder.stdin.close()  # the other run ends
        wait_for("the background index", lambda: "index up to date" in lab.server_output(), 30)
        log = lab.server_log()
        if not re.search(r"calyx-dms: indexing .*\(worker \d+, 1 probing process\)", log):
            fail("no start line with the probing processes asked for in the log:\n" + log)
        if not re.search(r"calyx-dms: indexing: \d+ of \d+ files", log):
            fail("no progress line in the log:\n" + log)
        summary = re.search(r"index up to date: (\d+) files \((\d+) added", log)
        # The worker said when every row was in (the server then reads the update id
        # afresh): before the thumbnails and the summary.
        listed = log.find("indexing: every file listed, making the thumbnails of new videos")
        if listed < 0 or not summary or listed > summary.start():
            fail("no line saying every file was listed before the summary:\n" + log)
        if not summary or summary.group(2) != "5":
            fail("summary %r: the 4 files of --media and the picture expected" % (
                summary.group(0) if summary else None))
        page = admin_page(lab)
        counts = dict(re.findall(r'<dd class="count-(\w+)">(\d+)</dd>', page))
        if counts != {"music": "2", "video": "1", "photo": "2"} or "indexing:" in page:
            fail("the settings page after the index: %r %r" % (counts, page[:3000]))
        if not os.listdir(os.path.join(lab.tmp, "state", "thumbnails")):
            fail("no thumbnail in the state folder")

        # A real control point finds the server and browses to the video.
        result = client.run("/usr/bin/python3", os.path.join(HERE, "upnp_control_point.py"),
                            "eth0", check=False)
        facts = json.loads(result.stdout.splitlines()[0]) if result.stdout else {}
        if result.returncode != 0 or facts.get("status") != 206:
            fail("control point: %s %s" % (result.stdout, result.stderr))
        if facts["friendlyName"] != "Media Server" or facts["itemTitle"] != "Clip ♪ one":
            fail("control point saw %r" % facts)

        # The Folders container: the --media folder by its name, the library's by its own.
        status, folders = browse(lab, client, "folders")
        if sorted(titles(folders)) != ["Holiday pictures", "media"]:
            fail("Folders shows %r" % titles(folders))
        status, pictures = browse(lab, client, container_id(folders, "Holiday pictures"))
        if titles(pictures) != ["beach"]:
            fail("the photo folder shows %r: its song must be left out" % titles(pictures))
        status, music = browse(lab, client, "music")
        if music.get("TotalMatches") != "2" or "campfire" in titles(music):
            fail("Music holds %r" % titles(music))
        if lab.stop_server() != 0:
            fail("the server did not stop cleanly")
        print("PASS")


if __name__ == "__main__":
    main()
