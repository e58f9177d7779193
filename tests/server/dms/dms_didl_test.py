#!/usr/bin/python3
"""What a client reads in calyx-dms's answers: the DIDL-Lite of a tagged song, a video and a
photo (made with ffmpeg and exiv2 at test time, values compared with ffprobe's), the device
icons (fetched and decoded by ffprobe at their announced sizes), and the order of titles
with case, accents and numbers, containers first, whatever the cluster's locale."""

import json
import os
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, encode_path, fail, run, skip_or_fail, soap_action  # noqa: E402

NS = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
      "dc": "http://purl.org/dc/elements/1.1/",
      "upnp": "urn:schemas-upnp-org:metadata-1-0/upnp/",
      "dev": "urn:schemas-upnp-org:device-1-0"}
# A video's file time when it has no date tag: 2021-03-04 05:06:07 UTC.
VIDEO_MTIME = 1614834367
SORTED = ["eta", "Été à Paris", "Etz", "H264 AAC clip", "hevc_1080p", "track 2", "Track 10"]


def ffprobe(path):
    out = run("ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json",
              path).stdout
    return json.loads(out)


def make_files(lab):
    media = os.path.join(lab.tmp, "didl")
    os.makedirs(media)
    ff = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
    song = os.path.join(media, "song.flac")
    run(*ff, "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000", "-ac", "2", "-t", "3",
        "-c:a", "flac", "-sample_fmt", "s16", "-metadata", "title=Été à Paris",
        "-metadata", "artist=Les Calices", "-metadata", "album=Fleurs & Tiges",
        "-metadata", "genre=Chanson", "-metadata", "track=7/12", "-metadata", "date=1998",
        song)
    video = os.path.join(media, "clip.mkv")
    run(*ff, "-f", "lavfi", "-i", "testsrc=size=640x360:rate=25", "-f", "lavfi", "-i",
        "sine=frequency=330:sample_rate=44100", "-t", "4", "-c:v", "libx264", "-preset",
        "ultrafast", "-pix_fmt", "yuv420p", "-c:a", "aac", "-ac", "1", "-shortest", video)
    os.utime(video, (VIDEO_MTIME, VIDEO_MTIME))
    photo = os.path.join(media, "photo.jpg")
    run(*ff, "-f", "lavfi", "-i", "testsrc=size=800x600", "-frames:v", "1", photo)
    run("exiv2", "-M", "set Exif.Photo.DateTimeOriginal 2019:05:06 07:08:09", photo)
    return media, {"song": song, "video": video, "photo": photo}


def browse_metadata(lab, client, object_id):
    status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseMetadata"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200:
        fail("Browse of %s answered %d %r" % (object_id, status, result))
    return ET.fromstring(result["Result"]).find("d:item", NS)


def browse_children(lab, client, object_id, sort=""):
    status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", sort)])
    if status != 200:
        fail("Browse of %s (%r) answered %d %r" % (object_id, sort, status, result))
    return [(child.tag.split("}")[1], child.findtext("dc:title", "", NS))
            for child in ET.fromstring(result["Result"])]


def expect(what, got, wanted):
    if got != wanted:
        fail("%s: %r, expected %r" % (what, got, wanted))


def check_song(item, path):
    probe = ffprobe(path)
    stream = probe["streams"][0]
    res = item.find("d:res", NS)
    expect("song dc:title", item.findtext("dc:title", None, NS), "Été à Paris")
    expect("song upnp:artist", item.findtext("upnp:artist", None, NS), "Les Calices")
    expect("song dc:creator", item.findtext("dc:creator", None, NS), "Les Calices")
    expect("song upnp:album", item.findtext("upnp:album", None, NS), "Fleurs & Tiges")
    expect("song upnp:genre", item.findtext("upnp:genre", None, NS), "Chanson")
    expect("song upnp:originalTrackNumber",
           item.findtext("upnp:originalTrackNumber", None, NS), "7")
    expect("song dc:date (a year only)", item.findtext("dc:date", None, NS), "1998-01-01")
    expect("song res@duration", res.get("duration"), "0:00:03.000")
    expect("song res@size", res.get("size"), str(os.path.getsize(path)))
    expect("song res@sampleFrequency", res.get("sampleFrequency"), stream["sample_rate"])
    expect("song res@nrAudioChannels", res.get("nrAudioChannels"), str(stream["channels"]))
    expect("song res@bitsPerSample", res.get("bitsPerSample"),
           str(stream["bits_per_raw_sample"]))
    expect("song res@bitrate (bytes per second)", res.get("bitrate"),
           str(int(probe["format"]["bit_rate"]) // 8))


def check_video(item, path):
    probe = ffprobe(path)
    video = [s for s in probe["streams"] if s["codec_type"] == "video"][0]
    res = item.find("d:res", NS)
    expect("video dc:date (the file's time, no tag)", item.findtext("dc:date", None, NS),
           time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(VIDEO_MTIME)))
    expect("video res@resolution", res.get("resolution"),
           "%dx%d" % (video["width"], video["height"]))
    expect("video res@duration", res.get("duration"), "0:00:04.000")
    expect("video res@size", res.get("size"), str(os.path.getsize(path)))
    expect("video res@bitrate (bytes per second)", res.get("bitrate"),
           str(int(probe["format"]["bit_rate"]) // 8))
    if item.find("upnp:originalTrackNumber", NS) is not None:
        fail("a video with a track number")


def check_photo(item, path):
    res = item.find("d:res", NS)
    expect("photo dc:date (EXIF)", item.findtext("dc:date", None, NS), "2019-05-06T07:08:09")
    expect("photo res@resolution", res.get("resolution"), "800x600")
    expect("photo res@size", res.get("size"), str(os.path.getsize(path)))
    for name in ("duration", "bitrate"):
        if res.get(name) is not None:
            fail("photo res@%s %r" % (name, res.get(name)))


def check_icons(lab, client):
    status, _headers, body = client.curl(lab.location())
    if status != 200:
        fail("description: %d" % status)
    icons = ET.fromstring(body).findall("dev:device/dev:iconList/dev:icon", NS)
    seen = set()
    for icon in icons:
        mime = icon.findtext("dev:mimetype", "", NS)
        width = int(icon.findtext("dev:width", "0", NS))
        height = int(icon.findtext("dev:height", "0", NS))
        url = icon.findtext("dev:url", "", NS)
        status, headers, data = client.curl(lab.url(url))
        if status != 200 or ("content-type: " + mime) not in headers.lower():
            fail("icon %s: %d %s" % (url, status, headers))
        path = os.path.join(lab.tmp, "icon")
        with open(path, "wb") as f:
            f.write(data)
        stream = ffprobe(path)["streams"][0]
        codec = {"image/png": "png", "image/jpeg": "mjpeg"}.get(mime)
        if (stream["codec_name"], stream["width"], stream["height"]) != (codec, width, height):
            fail("icon %s decodes as %s %dx%d, announced %s %dx%d" % (
                url, stream["codec_name"], stream["width"], stream["height"], mime, width,
                height))
        seen.add((mime, width))
    expect("icons", sorted(seen), [("image/jpeg", 48), ("image/jpeg", 120), ("image/png", 48),
                                   ("image/png", 120)])


def check_sort(lab, client):
    # The titles spread over the three tables of one folder, with a subfolder whose title
    # would sort among them, in an order that is not the expected one.
    folder = lab.insert("directory", path="/sort", title="sort")
    lab.insert("directory", path="/sort/Film", title="Film", parent_id=folder)
    tables = ["video", "music", "photo"]
    for n, title in enumerate(reversed(SORTED)):
        lab.insert(tables[n % 3], path="/sort/%d" % n, title=title, parent_id=folder)
    items = [("item", title) for title in SORTED]
    expect("a folder's children", browse_children(lab, client, "d%d" % folder),
           [("container", "Film")] + items)
    expect("the same by +dc:title", browse_children(lab, client, "d%d" % folder, "+dc:title"),
           [("container", "Film")] + items)
    expect("the same by -dc:title", browse_children(lab, client, "d%d" % folder, "-dc:title"),
           [("container", "Film")] + items[::-1])
    videos = [title for kind, title in browse_children(lab, client, "video")
              if title in SORTED]
    expect("the video container", videos, [t for t in SORTED if t in videos])
    # The sort is served by an index whatever the table's size.
    for table in tables:
        plan = lab.psql("SET enable_seqscan = off; SET enable_sort = off; EXPLAIN SELECT * "
                        "FROM %s ORDER BY title COLLATE calyx_title, id LIMIT 10" % table)
        if "Index Scan" not in plan:
            fail("the title order of %s needs a sort:\n%s" % (table, plan))
        plan = lab.psql("SET enable_seqscan = off; SET enable_sort = off; EXPLAIN SELECT * "
                        "FROM %s WHERE parent_id = 1 ORDER BY title COLLATE calyx_title, id "
                        "LIMIT 10" % table)
        if "Index Scan" not in plan:
            fail("a folder's title order in %s needs a sort:\n%s" % (table, plan))


def main():
    with Lab("didl") as lab:
        lab.make_index()
        folder, files = make_files(lab)
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
        run(lab.tool, "index", "--workers", "1", "-q", folder, env=env)
        ids = {}
        for name, table in (("song", "music"), ("video", "video"), ("photo", "photo")):
            ids[name] = table[0] + lab.psql("SELECT id FROM %s WHERE path = '%s'" % (
                table, encode_path(files[name]).replace("'", "''"))).strip()
        client = lab.add_client("02:77:00:00:00:29")
        lab.start_server(env_extra={"TZ": "UTC"})

        check_song(browse_metadata(lab, client, ids["song"]), files["song"])
        check_video(browse_metadata(lab, client, ids["video"]), files["video"])
        check_photo(browse_metadata(lab, client, ids["photo"]), files["photo"])
        print("DIDL of a song, a video and a photo: complete")
        check_icons(lab, client)
        print("icons: four, decoded at their announced sizes")
        check_sort(lab, client)
        print("sort: " + ", ".join(SORTED))
    print("PASS")


if __name__ == "__main__":
    main()
