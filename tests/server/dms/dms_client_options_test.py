#!/usr/bin/python3
"""Every agent type and capability option that calyx-dms gives a meaning, against one lab
server: a profile list made here gives each client (its own namespace, its own MAC) one
option more than its reference client, and each case asserts the exact difference in the
DIDL-Lite or the HTTP headers. Media are made with ffmpeg at test time: a song with an
attached picture, a song in a folder with cover.jpg and folder.jpg, a video with a .srt
and a .en.srt beside it, photos. A GUPnP control point fetches a cover and a subtitle by
the DIDL's URLs, and ffprobe reads both."""

import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, encode_path, fail, run, soap_action, sql_literal, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
NS = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
      "dc": "http://purl.org/dc/elements/1.1/",
      "upnp": "urn:schemas-upnp-org:metadata-1-0/upnp/",
      "dlna": "urn:schemas-dlna-org:metadata-1-0/",
      "sec": "http://www.sec.co.kr/"}
SRT = "1\n00:00:00,000 --> 00:00:01,500\nHello from the lab\n\n"
SRT_EN = "1\n00:00:00,500 --> 00:00:01,800\nEnglish line\n\n"

# Client name -> (agent types beyond "dlna", options); every client differs from the one
# it is compared with by exactly one of them.
CLIENTS = {
    "plain": ((), ()),
    "xmres": ((), ("xmres",)),
    "xalbart": ((), ("xalbart",)),
    "origcover": ((), ("origcover",)),
    "videoalbart": ((), ("videoalbart",)),
    "xvcover": ((), ("xvcover",)),
    "videosrt": ((), ("videosrt",)),
    "samsung": (("samsungtv",), ("videosrt",)),
    "subitem": ((), ("videosubtitleitem",)),
    "xlthumb": ((), ("photowithxlthumb",)),
    "jpegpn": ((), ("photoforcejpegpn",)),
    "revimgres": ((), ("xmres", "revimgres")),
    "withext": ((), ("videowithext",)),
    "customizesymbol": ((), ("customizesymbol",)),
    "sendvsmetadata": ((), ("sendvsmetadata",)),
    "xlibdlnamodule": ((), ("xlibdlnamodule",)),
    "nodlna": (("-dlna",), ()),
    "xbox": (("xbox",), ()),
    "msclient": (("msclient",), ()),
    "wmp": (("wmp",), ()),
    "roku": (("roku",), ()),
    "wdtvlive": (("wdtvlive",), ()),
    "photoforcebgthumb": ((), ("photoforcebgthumb",)),
    # Not a comparison: the control point's client, which sees a cover and subtitles.
    "controlpoint": ((), ("videoalbart", "videosrt")),
}


def ff(*args):
    run("ffmpeg", "-nostdin", "-loglevel", "error", "-y", *args)


def make_media(root):
    """The media tree; returns {name: path}."""
    p = {}
    for folder in ("album", "art", "videos", "clips", "photos", "later", "lacking"):
        os.makedirs(os.path.join(root, folder))
    p["cover"] = os.path.join(root, "album/cover.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=300x300", "-frames:v", "1", p["cover"])
    p["folder"] = os.path.join(root, "album/folder.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=200x200", "-frames:v", "1", p["folder"])
    p["song"] = os.path.join(root, "album/song.mp3")
    ff("-f", "lavfi", "-i", "sine=frequency=440", "-t", "1", "-c:a", "libmp3lame", p["song"])
    art = os.path.join(root, "art.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=500x500", "-frames:v", "1", art)
    p["tagged"] = os.path.join(root, "art/tagged.mp3")
    ff("-f", "lavfi", "-i", "sine=frequency=660", "-i", art, "-t", "1", "-map", "0:a", "-map",
       "1:v", "-c:a", "libmp3lame", "-c:v", "copy", "-disposition:v", "attached_pic",
       "-id3v2_version", "3", p["tagged"])
    os.unlink(art)
    for name, folder in (("clip", "videos"), ("other", "clips")):
        p[name] = os.path.join(root, folder, name + ".mp4")
        ff("-f", "lavfi", "-i", "testsrc=size=320x240:rate=10", "-t", "2", "-c:v", "libx264",
           "-preset", "ultrafast", "-pix_fmt", "yuv420p", p[name])
    p["poster"] = os.path.join(root, "videos/folder.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=400x600", "-frames:v", "1", p["poster"])
    p["srt"] = os.path.join(root, "videos/clip.srt")
    p["srt_en"] = os.path.join(root, "videos/clip.en.srt")
    with open(p["srt"], "w") as f:
        f.write(SRT)
    with open(p["srt_en"], "w") as f:
        f.write(SRT_EN)
    p["big"] = os.path.join(root, "photos/big.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=2400x1600", "-frames:v", "1", p["big"])
    p["png"] = os.path.join(root, "photos/pic.png")
    ff("-f", "lavfi", "-i", "testsrc=size=800x600", "-frames:v", "1", p["png"])
    p["small"] = os.path.join(root, "photos/small.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=640x480", "-frames:v", "1", p["small"])
    # Photos and videos whose thumbnails the index will lack (photoforcebgthumb).
    for folder in ("later", "lacking"):
        p[folder + "_photo"] = os.path.join(root, folder, "shot.jpg")
        ff("-f", "lavfi", "-i", "testsrc=size=480x320", "-frames:v", "1", p[folder + "_photo"])
        p[folder + "_video"] = os.path.join(root, folder, "film.mp4")
        ff("-f", "lavfi", "-i", "testsrc=size=320x240:rate=10", "-t", "1", "-c:v", "libx264",
           "-preset", "ultrafast", "-pix_fmt", "yuv420p", p[folder + "_video"])
    # A photo whose file no longer decodes once indexed: its thumbnail is tried once.
    p["later_broken"] = os.path.join(root, "later", "broken.jpg")
    ff("-f", "lavfi", "-i", "testsrc=size=320x200", "-frames:v", "1", p["later_broken"])
    return p


def profile_list(macs):
    profiles = []
    for name, (types, options) in CLIENTS.items():
        entry = {"profileName": "lab " + name, "profileID": {"macAddr": macs[name]},
                 "dlna": "no" if "-dlna" in types else "yes", "agentopt": " ".join(options)}
        for t in types:
            if not t.startswith("-"):
                entry[t] = "yes"
        profiles.append(entry)
    return {"ProfileList": profiles}


def row_id(lab, table, path):
    return int(lab.psql("SELECT id FROM %s WHERE path = %s" % (
        table, sql_literal(encode_path(path)))).strip())


def objects(didl_text):
    """id -> facts of every object of a DIDL-Lite document."""
    out = {}
    for element in ET.fromstring(didl_text):
        facts = {
            "tag": element.tag.split("}")[1],
            "title": element.findtext("dc:title", "", NS),
            "class": element.findtext("upnp:class", "", NS),
            "art": [(a.text, a.get("{%s}profileID" % NS["dlna"]))
                    for a in element.findall("upnp:albumArtURI", NS)],
            "res": [(r.get("protocolInfo"), r.text, r.get("resolution"))
                    for r in element.findall("d:res", NS)],
            "captions": [(c.get("{%s}type" % NS["sec"]), c.text)
                         for c in element.findall("sec:CaptionInfoEx", NS)],
        }
        out[element.get("id")] = facts
    return out


def browse(lab, client, object_id):
    status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200 or "Result" not in result:
        fail("%s: Browse of %s answered %d %r" % (client.name, object_id, status, result))
    return objects(result["Result"])


def expect(what, got, wanted):
    if got != wanted:
        fail("%s:\n  got    %r\n  wanted %r" % (what, got, wanted))


def differences(view, reference):
    """{object id: {field: (reference value, value)}} for the fields that differ."""
    out = {}
    for oid in sorted(set(view) | set(reference)):
        a, b = reference.get(oid, {}), view.get(oid, {})
        fields = {k: (a.get(k), b.get(k)) for k in set(a) | set(b) if a.get(k) != b.get(k)}
        if fields:
            out[oid] = fields
    return out


def thumbnail_columns(lab, ids, folder):
    """The index's thumbnail of the folder's photo and video ('' when it has none)."""
    return [lab.psql("SELECT coalesce(thumbnail, '') FROM %s WHERE id = %d" % (
        table, ids[folder + "_" + table])).strip() for table in ("photo", "video")]


def check_background_thumbnails(lab, clients, ids, thumb, tn_info):
    """photoforcebgthumb: photos and videos whose thumbnail the index lacks are listed
    without it, and the thumbnail is made after the answer, so that a later Browse (of any
    client) lists it; a client without the option gets the same answer and has nothing
    made. later/ is browsed by the client with the option, lacking/ by the one without,
    first: the server makes thumbnails in the order asked, one worker at a time."""
    later, lacking = "d%d" % ids["later"], "d%d" % ids["lacking"]
    photo, video = "p%d" % ids["later_photo"], "v%d" % ids["later_video"]
    before = browse(lab, clients["plain"], lacking)
    expect("plain: lacking/ photo and video without thumbnail",
           [before[o]["art"] for o in sorted(before)], [[], []])
    plain_view = browse(lab, clients["plain"], later)
    forced_view = browse(lab, clients["photoforcebgthumb"], later)
    # The same answer: the thumbnails are not made while answering.
    expect("photoforcebgthumb: first answer", differences(forced_view, plain_view), {})
    expect("photoforcebgthumb: listed without thumbnail", [
        (forced_view[o]["art"], len(forced_view[o]["res"])) for o in (photo, video)],
        [([], 1), ([], 1)])
    made = wait_for("the background thumbnails of later/",
                    lambda: all(thumbnail_columns(lab, ids, "later")) and
                    thumbnail_columns(lab, ids, "later"), 30)
    folder = os.path.join(lab.tmp, "state", "thumbnails")
    for path in made:
        expect("background thumbnail folder", os.path.dirname(path), folder)
    # Asked for before later/, so it would be done by now: nothing for the client without.
    expect("plain: lacking/ still without thumbnails", thumbnail_columns(lab, ids, "lacking"),
           ["", ""])
    # The server learns of the change when it next reads the index's update id (every half
    # second); until then it may give the answer it keeps for the Browse before.
    wait_for("a later Browse to list the thumbnails", lambda: differences(
        browse(lab, clients["plain"], later), plain_view), 5)
    after = browse(lab, clients["plain"], later)
    expect("a later Browse lists the thumbnails", differences(after, plain_view), {
        photo: {"art": ([], [(thumb(photo), "JPEG_TN")])},
        video: {"art": ([], [(thumb(video), "JPEG_TN")])}})
    expect("xmres: the thumbnail res", browse(lab, clients["xmres"], later)[photo]["res"][1:],
           [(tn_info, thumb(photo), "160x106")])
    expect("photoforcebgthumb: the later answer",
           differences(browse(lab, clients["photoforcebgthumb"], later), after), {})
    # One worker made both and could not make the broken photo's; the later answers asked
    # for nothing again (that photo is tried once per server run). A worker is started on
    # the main loop right after the answer that asks for it, so before the next answer.
    browse(lab, clients["plain"], later)
    wait_for("the thumbnail worker's summary in the log",
             lambda: "thumbnails made in the background" in lab.server_log(), 10)
    expect("thumbnail workers", re.findall(r"(?:making the thumbnails of \d+ items|"
                                           r"thumbnails made in the background: .*)",
                                           lab.server_log()),
           ["making the thumbnails of 3 items",
            "thumbnails made in the background: 2 made, 1 failed, 0 not needed"])
    worker_log = open(os.path.join(lab.tmp, "state", "thumbnail-worker.log"),
                      errors="replace").read()
    expect("thumbnail worker's complaints", [line for line in worker_log.splitlines()
                                             if "thumbnail-worker" in line or "Sanitizer" in line],
           ["calyx-dms-worker --thumbnail-worker: no thumbnail for %s: no picture can be decoded" %
            encode_path(os.path.join(lab.tmp, "media", "later", "broken.jpg"))])
    status, headers, body = clients["plain"].curl(thumb(photo))
    jpeg = os.path.join(lab.tmp, "background.jpg")
    with open(jpeg, "wb") as f:
        f.write(body)
    probe = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-of", "json",
                           jpeg).stdout)["streams"][0]
    expect("background thumbnail served", (status, probe["codec_name"], probe["width"],
                                           probe["height"]), (200, "mjpeg", 160, 106))
    expect("lacking/ unchanged", browse(lab, clients["plain"], lacking), before)


def main():
    with Lab("options") as lab:
        lab.make_index()
        media_root = os.path.join(lab.tmp, "media")
        p = make_media(media_root)
        # The cover file names of the settings, as the library reads them.
        with open(os.path.join(lab.root, "var/packages/Calyx/etc/dmsinfo.conf"), "w") as f:
            f.write("albumart_mediaservice=cover.jpg;folder.jpg\n")
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema, CALYX_ROOT=lab.root)
        summary = json.loads(run(lab.tool, "index", "--thumbnails",
                                 os.path.join(lab.tmp, "thumbnails"), "--workers", "2", "-q", "--json",
                                 media_root, env=env).stdout)
        # Subtitles and covers are neither media nor failures.
        expect("index run: failed files", summary.get("failed"), 0)
        expect("index run: added files", summary.get("added"), 12)
        ids = {name: row_id(lab, table, p[name]) for name, table in (
            ("song", "music"), ("tagged", "music"), ("clip", "video"), ("other", "video"),
            ("big", "photo"), ("png", "photo"), ("small", "photo"), ("later_photo", "photo"),
            ("later_video", "video"), ("lacking_photo", "photo"), ("lacking_video", "video"),
            ("later_broken", "photo"))}
        for folder in ("album", "art", "videos", "clips", "photos", "later", "lacking"):
            ids[folder] = row_id(lab, "directory", os.path.join(media_root, folder))
        ids["root"] = row_id(lab, "directory", media_root)
        expect("cover files listed as photos", lab.psql(
            "SELECT count(*) FROM photo WHERE path LIKE '%%/cover.jpg' OR path LIKE "
            "'%%/folder.jpg'").strip(), "0")
        expect("the album's cover file", lab.psql(
            "SELECT cover_file FROM directory WHERE id = %d" % ids["album"]).strip(),
            encode_path(p["cover"]))
        subtitles = lab.psql("SELECT id, language, format, video_path = %s FROM subtitle "
                             "ORDER BY language" % sql_literal(encode_path(p["clip"])))
        rows = [line.split("|") for line in subtitles.split()]
        expect("subtitle rows", [r[1:] for r in rows], [["", "srt", "t"], ["en", "srt", "t"]])
        ids["srt"], ids["srt_en"] = int(rows[0][0]), int(rows[1][0])
        # The index lacks the thumbnails of the later/ and lacking/ folders' photo and video
        # (as when it was filled without them, or its cache lost them).
        for table in ("photo", "video"):
            for old in lab.psql("UPDATE %s SET thumbnail = NULL WHERE parent_id IN (%d, %d) "
                                "RETURNING thumbnail IS NULL" % (table, ids["later"],
                                                                 ids["lacking"])).split():
                expect("thumbnail removed", old, "t")
        with open(p["later_broken"], "wb") as f:
            f.write(b"no longer a picture")

        clients = {}
        for index, name in enumerate(CLIENTS):
            clients[name] = lab.add_client("02:77:00:00:25:%02x" % (index + 1))
            clients[name].name = name
        profiles = os.path.join(lab.tmp, "profiles.json")
        with open(profiles, "w") as f:
            json.dump(profile_list({n: c.mac for n, c in clients.items()}), f)
        lab.start_server(profiles=profiles)

        folders = ["d%d" % ids["root"]] + ["d%d" % ids[f] for f in
                                           ("album", "art", "videos", "clips", "photos")]
        views = {}
        for name, client in clients.items():
            view = {}
            for folder in folders:
                view.update(browse(lab, client, folder))
            views[name] = view
        base = lab.url("")
        plain = views["plain"]
        m, v, ph, d = ("m%d" % ids["song"], "m%d" % ids["tagged"]), ("v%d" % ids["clip"],
                                                                      "v%d" % ids["other"]), \
            {k: "p%d" % ids[k] for k in ("big", "png", "small")}, \
            {k: "d%d" % ids[k] for k in ("album", "art", "videos", "clips", "photos")}
        cover = {
            "album": base + "/cover/d/%d/" % ids["album"],
            "tagged": base + "/cover/m/%d/" % ids["tagged"],
            "videos": base + "/cover/d/%d/" % ids["videos"],
        }

        def thumb(row):
            return base + "/thumb/%s/%s.jpg" % (row[0], row[1:])

        tn_info = ("http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=0;"
                   "DLNA.ORG_FLAGS=00f00000000000000000000000000000")
        lrg_info = tn_info.replace("JPEG_TN", "JPEG_LRG")
        srt_res = [("http-get:*:text/srt:*", base + "/subtitle/%d.srt" % ids[k], None)
                   for k in ("srt", "srt_en")]

        # Every client: covers as album art (the song's from its folder's cover.jpg, the
        # tagged song's its own picture), video and photo thumbnails as album art, folders
        # with a cover file show it; one res per item, nothing else.
        expect("plain: song art", plain[m[0]]["art"], [(cover["album"] + "tn.jpg", "JPEG_TN")])
        expect("plain: tagged song art", plain[m[1]]["art"],
               [(cover["tagged"] + "tn.jpg", "JPEG_TN")])
        expect("plain: video art", plain[v[0]]["art"], [(thumb(v[0]), "JPEG_TN")])
        expect("plain: album folder art", plain[d["album"]]["art"],
               [(cover["album"] + "tn.jpg", "JPEG_TN")])
        expect("plain: clips folder art", plain[d["clips"]]["art"], [])
        for oid in list(m) + list(v) + list(ph.values()):
            expect("plain: res count of %s" % oid, len(plain[oid]["res"]), 1)
        expect("plain: video title", plain[v[0]]["title"], "clip")
        expect("plain: no subtitle items", [o for o in plain if o.startswith("s")], [])

        def diff(name, reference="plain"):
            return differences(views[name], views[reference])

        # xmres: the thumbnail and the cover are listed as res too.
        song_res = plain[m[0]]["res"]
        expect("xmres", diff("xmres"), {
            m[0]: {"res": (song_res, song_res + [(tn_info, cover["album"] + "tn.jpg", "160x160")])},
            m[1]: {"res": (plain[m[1]]["res"], plain[m[1]]["res"] +
                           [(tn_info, cover["tagged"] + "tn.jpg", "160x160")])},
            v[0]: {"res": (plain[v[0]]["res"], plain[v[0]]["res"] +
                           [(tn_info, thumb(v[0]), "160x120")])},
            v[1]: {"res": (plain[v[1]]["res"], plain[v[1]]["res"] +
                           [(tn_info, thumb(v[1]), "160x120")])},
            ph["big"]: {"res": (plain[ph["big"]]["res"], plain[ph["big"]]["res"] +
                                [(tn_info, thumb(ph["big"]), "160x106")])},
            ph["png"]: {"res": (plain[ph["png"]]["res"], plain[ph["png"]]["res"] +
                                [(tn_info, thumb(ph["png"]), "160x120")])},
            ph["small"]: {"res": (plain[ph["small"]]["res"], plain[ph["small"]]["res"] +
                                  [(tn_info, thumb(ph["small"]), "160x120")])},
        })
        # xalbart: the cover as a res of music items, without xmres.
        expect("xalbart", diff("xalbart"), {
            m[0]: {"res": (song_res, song_res + [(tn_info, cover["album"] + "tn.jpg", "160x160")])},
            m[1]: {"res": (plain[m[1]]["res"], plain[m[1]]["res"] +
                           [(tn_info, cover["tagged"] + "tn.jpg", "160x160")])},
        })
        # origcover: the original pictures as album art.
        expect("origcover", diff("origcover"), {
            m[0]: {"art": (plain[m[0]]["art"], [(cover["album"] + "orig.jpg", "JPEG_SM")])},
            m[1]: {"art": (plain[m[1]]["art"], [(cover["tagged"] + "orig.jpg", "JPEG_MED")])},
            d["album"]: {"art": (plain[d["album"]]["art"],
                                 [(cover["album"] + "orig.jpg", "JPEG_SM")])},
            d["videos"]: {"art": (plain[d["videos"]]["art"],
                                  [(cover["videos"] + "orig.jpg", "JPEG_MED")])},
        })
        # videoalbart: the video beside a cover file shows the cover, not its frame.
        expect("videoalbart", diff("videoalbart"), {
            v[0]: {"art": (plain[v[0]]["art"], [(cover["videos"] + "tn.jpg", "JPEG_TN")])}})
        # xvcover: a folder without a cover shows its first video's thumbnail.
        expect("xvcover", diff("xvcover"), {
            d["clips"]: {"art": ([], [(thumb(v[1]), "JPEG_TN")])}})
        # videosrt: both subtitles as res, whatever xmres says (this client has none).
        expect("videosrt", diff("videosrt"), {
            v[0]: {"res": (plain[v[0]]["res"], plain[v[0]]["res"] + srt_res)}})
        # samsungtv beside videosrt: the captions for Samsung's players too.
        expect("samsungtv", diff("samsung", "videosrt"), {
            v[0]: {"captions": ([], [("srt", url) for _info, url, _r in srt_res])}})
        # videosubtitleitem: the subtitles are items beside the video.
        got = diff("subitem")
        wanted = {}
        for key, language in (("srt", ""), ("srt_en", "en")):
            name = os.path.basename(p[key])
            wanted["s%d" % ids[key]] = {
                "tag": (None, "item"), "title": (None, name), "class": (None, "object.item.textItem"),
                "art": (None, []), "captions": (None, []),
                "res": (None, [("http-get:*:text/srt:*", base + "/subtitle/%d.srt" % ids[key], None)])}
        expect("videosubtitleitem", got, wanted)
        # photowithxlthumb: the large JPEG of photos bigger than 1920 or not JPEG.
        expect("photowithxlthumb", diff("xlthumb"), {
            ph["big"]: {"res": (plain[ph["big"]]["res"], plain[ph["big"]]["res"] +
                                [(lrg_info, base + "/large/p/%d.jpg" % ids["big"], "1920x1280")])},
            ph["png"]: {"res": (plain[ph["png"]]["res"], plain[ph["png"]]["res"] +
                                [(lrg_info, base + "/large/p/%d.jpg" % ids["png"], "800x600")])},
        })
        # photoforcejpegpn: the PNG is offered as its JPEG form.
        expect("photoforcejpegpn", diff("jpegpn"), {
            ph["png"]: {"res": (plain[ph["png"]]["res"],
                                [(lrg_info, base + "/large/p/%d.jpg" % ids["png"], "800x600")])}})
        # revimgres: a photo's res in reverse order.
        xm = views["xmres"]
        expect("revimgres", diff("revimgres", "xmres"), {
            oid: {"res": (xm[oid]["res"], list(reversed(xm[oid]["res"])))} for oid in ph.values()})
        # videowithext: video titles keep their extension.
        expect("videowithext", diff("withext"), {
            v[0]: {"title": ("clip", "clip.mp4")}, v[1]: {"title": ("other", "other.mp4")}})
        # Types and options without effect in calyx-dms change nothing; photoforcebgthumb
        # changes nothing where the index has every thumbnail.
        for name in ("customizesymbol", "sendvsmetadata", "xlibdlnamodule", "nodlna", "xbox",
                     "msclient", "wmp", "roku", "wdtvlive", "photoforcebgthumb"):
            expect(name, diff(name), {})

        check_background_thumbnails(lab, clients, ids, thumb, tn_info)

        # CaptionInfo.sec: asked for with the media request, answered to videosrt clients.
        clip_url = plain[v[0]]["res"][0][1]
        for name, wanted in (("videosrt", srt_res[0][1]), ("plain", None)):
            status, headers, _ = clients[name].curl("-I", "-H", "getCaptionInfo.sec: 1", clip_url)
            found = re.search(r"(?im)^CaptionInfo\.sec: *(\S+)", headers)
            expect("%s: CaptionInfo.sec (status %d)" % (name, status),
                   found.group(1) if found else None, wanted)
        status, headers, body = clients["plain"].curl(srt_res[1][1])
        expect("subtitle by id", (status, body.decode()), (200, SRT_EN))
        expect("subtitle type", re.search(r"(?im)^Content-Type: *(\S+)", headers).group(1),
               "text/srt")

        # A control point fetches the video folder's cover and a subtitle by their URLs.
        fetched = subprocess.run(
            ["ip", "netns", "exec", clients["controlpoint"].ns, "/usr/bin/python3",
             os.path.join(HERE, "upnp_fetch_parts.py"), "eth0", d["videos"], "text/srt",
             lab.tmp], capture_output=True, text=True, timeout=60)
        facts = json.loads(fetched.stdout.strip().splitlines()[-1]) if fetched.stdout else {}
        if fetched.returncode != 0 or "error" in facts:
            fail("control point: %s %s" % (fetched.stdout, fetched.stderr))
        probe = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-of", "json",
                               facts["art"]["path"]).stdout)["streams"][0]
        expect("fetched cover", (facts["art"]["type"], probe["codec_name"], probe["width"],
                                 probe["height"]), ("image/jpeg", "mjpeg", 106, 160))
        probe = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-show_format", "-of",
                               "json", facts["res"]["path"]).stdout)
        expect("fetched subtitle", (facts["res"]["type"], probe["format"]["format_name"],
                                    probe["streams"][0]["codec_type"]),
               ("text/srt", "srt", "subtitle"))
        print("%d clients, %d objects each: every option's difference as documented" %
              (len(clients), len(plain)))


if __name__ == "__main__":
    main()
