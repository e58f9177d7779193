#!/usr/bin/python3
"""The agent types of the profile list, against one lab server.

Each type is given to one client of a pair whose profiles (matched by MAC address) differ
only in that type; the test asserts the exact difference the type makes. Also: the media
receiver registrar every client finds in the device, the description with another model
name that Windows Media Player and the Xbox are served by their user agent, their recorded
requests (headers as recorded, bodies in the shapes these clients send) answered from the
well-known container ids, and an Xbox 360 announcing itself as a media center extender
identified from its description before it sends a request."""

import json
import os
import subprocess
import sys
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, encode_path, fail, soap_action, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
DIDL = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
        "dc": "http://purl.org/dc/elements/1.1/"}
DEVICE = {"u": "urn:schemas-upnp-org:device-1-0"}
REGISTRAR = "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1"
XBOX_AGENT = "User-Agent: Xbox/2.0.17559.0 UPnP/1.0 Xbox/2.0.17559.0"
WMP_AGENT = "User-Agent: Windows-Media-Player-DMS/12.0.7601.17514"
XBOX_360 = ("xbox-360", "00:25:ae:99:a0:01")

# Pairs of clients: (type, MAC with the type, MAC without it).
PAIRS = [("musiconly", "02:26:00:00:01:01", "02:26:00:00:01:02"),
         ("xbox", "02:26:00:00:02:01", "02:26:00:00:02:02"),
         ("wmp", "02:26:00:00:03:01", "02:26:00:00:03:02"),
         ("msclient", "02:26:00:00:04:01", "02:26:00:00:04:02"),
         ("samsungtv", "02:26:00:00:05:01", "02:26:00:00:05:02")]


def profile_list(lab):
    """One profile per client of PAIRS, then the shipped profiles."""
    profiles = []
    for kind, with_mac, without_mac in PAIRS:
        for mac, typed in ((with_mac, True), (without_mac, False)):
            profile = {"profileName": "Lab %s %s" % (kind, "with" if typed else "without"),
                       "profileID": {"macAddr": mac}, "dlna": "yes"}
            if typed:
                profile[kind] = "yes"
            profiles.append(profile)
    with open(os.path.join(lab.source, "data/profiles.json")) as f:
        text = "".join(line for line in f if not line.lstrip().startswith("//"))
    profiles += json.loads(text)["ProfileList"]
    path = os.path.join(lab.tmp, "profiles.json")
    with open(path, "w") as f:
        json.dump({"ProfileList": profiles}, f)
    return path


def arguments(object_id, flag="BrowseDirectChildren", id_name="ObjectID"):
    return [(id_name, object_id), ("BrowseFlag", flag), ("Filter", "*"),
            ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")]


def browse(lab, client, object_id, headers=()):
    """Children of a container, metadata of an item."""
    flag = "BrowseMetadata" if object_id[0] in "mvp" and object_id[1:].isdigit() \
        else "BrowseDirectChildren"
    return soap_action(client, lab, "ContentDirectory", "Browse", arguments(object_id, flag),
                       headers=headers)


def search(lab, client, container, criteria, sort="", headers=()):
    return soap_action(client, lab, "ContentDirectory", "Search", [
        ("ContainerID", container), ("SearchCriteria", criteria), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", sort)],
        headers=headers)


def ids_of(result):
    didl = ET.fromstring(result["Result"])
    return sorted(e.get("id") for e in didl if e.tag.endswith(("item", "container")))


def answered(what, status, result):
    if status != 200:
        fail("%s: %d %r" % (what, status, result))
    return result


def check_descriptions(lab, client):
    """Every client finds the registrar; the Xbox and Windows Media Player agents get the
    model name they look for, at the same address."""
    plain = ET.fromstring(client.curl("-H", "User-Agent: curl", lab.location())[2])
    services = [s.findtext("u:serviceType", "", DEVICE)
                for s in plain.iterfind(".//u:service", DEVICE)]
    if REGISTRAR not in services or len(services) != 3:
        fail("services of the device: %r" % services)
    if plain.findtext(".//u:modelName", "", DEVICE) != "LabBox":
        fail("model name %r, not the library's" % plain.findtext(".//u:modelName", "", DEVICE))
    for agent in (XBOX_AGENT, WMP_AGENT):
        ms = ET.fromstring(client.curl("-H", agent, lab.location())[2])
        if ms.findtext(".//u:modelName", "", DEVICE) != "Windows Media Player Sharing":
            fail("%s: model name %r" % (agent, ms.findtext(".//u:modelName", "", DEVICE)))
        if ":" not in ms.findtext(".//u:friendlyName", "", DEVICE):
            fail("%s: friendly name without a colon" % agent)
        if ms.findtext(".//u:UDN", "", DEVICE) != plain.findtext(".//u:UDN", "", DEVICE):
            fail("%s: another device" % agent)
        ms_services = [s.findtext("u:serviceType", "", DEVICE)
                       for s in ms.iterfind(".//u:service", DEVICE)]
        if ms_services != services:
            fail("%s: services %r" % (agent, ms_services))
    scpd = ET.fromstring(client.curl(lab.url("/X_MS_MediaReceiverRegistrar.xml"))[2])
    actions = sorted(a.findtext("{urn:schemas-upnp-org:service-1-0}name")
                     for a in scpd.iter("{urn:schemas-upnp-org:service-1-0}action"))
    if actions != ["IsAuthorized", "IsValidated", "RegisterDevice"]:
        fail("registrar actions %r" % actions)
    print("description: registrar offered; model %r for the Xbox and Windows Media Player" %
          "Windows Media Player Sharing")


def registrar_answers(lab, client):
    answers = {}
    for action, argument in (("IsAuthorized", "DeviceID"), ("IsValidated", "DeviceID"),
                             ("RegisterDevice", "RegistrationReqMsg")):
        status, result = soap_action(client, lab, "X_MS_MediaReceiverRegistrar", action,
                                     [(argument, "")])
        answers[action] = (status, result.get("Result"))
    return answers


def check_musiconly(lab, typed, plain, rows):
    """A music-only client sees neither videos nor photos, anywhere."""
    root_typed = ids_of(answered("root", *browse(lab, typed, "0")))
    root_plain = ids_of(answered("root", *browse(lab, plain, "0")))
    if root_plain != ["albums", "artists", "dates", "folders", "genres", "music", "photo",
                      "playlists", "video"] or \
            root_typed != ["albums", "artists", "folders", "genres", "music", "playlists"]:
        fail("root children: music only %r, other %r" % (root_typed, root_plain))
    for container in ("photo", "video", "p%d" % rows["photo"], "v%d" % rows["video"]):
        status, result = browse(lab, typed, container)
        if status != 500 or result.get("errorCode") != "701":
            fail("music only browsed %s: %d %r" % (container, status, result))
        if browse(lab, plain, container)[0] != 200:
            fail("the other client cannot browse %s" % container)
    folder = "d%d" % rows["folder"]
    got_typed = ids_of(answered("folder", *browse(lab, typed, folder)))
    got_plain = ids_of(answered("folder", *browse(lab, plain, folder)))
    if got_typed != ["m%d" % rows["music"]] or len(got_plain) != 3:
        fail("folder: music only %r, other %r" % (got_typed, got_plain))
    found_typed = ids_of(answered("search", *search(lab, typed, "0", "*")))
    found_plain = ids_of(answered("search", *search(lab, plain, "0", "*")))
    if found_typed != ["m%d" % rows["music"]] or len(found_plain) != 3:
        fail("search: music only %r, other %r" % (found_typed, found_plain))
    status, result = search(lab, typed, "photo", "*")
    if status != 500 or result.get("errorCode") != "710":
        fail("music only searched the photos: %d %r" % (status, result))
    photo_url = lab.url("/media/p/%d.jpg" % rows["photo"])
    if typed.curl(photo_url)[0] != 404 or plain.curl(photo_url)[0] != 200:
        fail("the photo file: music only %d, other %d" % (typed.curl(photo_url)[0],
                                                           plain.curl(photo_url)[0]))
    print("musiconly: no video and no photo containers, items or files")


def check_ms_requests(lab, client, rows, kind):
    """The recorded client's requests: headers as recorded, bodies as these clients send."""
    agent = XBOX_AGENT if kind == "xbox" else WMP_AGENT
    music, video, photo = "m%d" % rows["music"], "v%d" % rows["video"], "p%d" % rows["photo"]
    # All music, searched in "4" (the Xbox) and "1" (Windows Media Player).
    for container in ("4", "1"):
        result = answered("search %s" % container, *search(
            lab, client, container,
            'upnp:class derivedfrom "object.item.audioItem" and @refID exists false',
            "+upnp:class,+dc:title", headers=[agent]))
        if ids_of(result) != [music] or result["TotalMatches"] != "1":
            fail("search in %s: %r" % (container, result))
    # Albums, artists, genres and playlists are searched for by their container class (the
    # Xbox asks "derivedfrom"): answered with the server's lists of them, as Browse gives
    # them; the song's album, artist and genre each make one.
    for container, own, cls, least in (
            ("7", "albums", "object.container.album.musicAlbum", 1),
            ("6", "artists", "object.container.person.musicArtist", 1),
            ("5", "genres", "object.container.genre.musicGenre", 1),
            ("F", "playlists", "object.container.playlistContainer", 0)):
        listed = answered("browse %s" % own, *browse(lab, client, own, headers=[agent]))
        for relation in ("=", "derivedfrom"):
            result = answered("search %s" % container, *search(
                lab, client, container, 'upnp:class %s "%s"' % (relation, cls), "+dc:title",
                headers=[agent]))
            if ids_of(result) != ids_of(listed) or len(ids_of(result)) < least or \
                    result["TotalMatches"] != listed["TotalMatches"]:
                fail("search for %s in %s: %r, the list %r" % (cls, container, result, listed))
            classes = {e.findtext("{urn:schemas-upnp-org:metadata-1-0/upnp/}class")
                       for e in ET.fromstring(result["Result"])}
            if classes - {cls}:
                fail("search for %s in %s gave classes %r" % (cls, container, classes))
    # Videos ("15") and pictures ("16") browsed, the object named ContainerID by the Xbox.
    for container, expected in (("15", [video]), ("16", [photo]), ("8", [video]),
                                ("B", [photo])):
        id_name = "ContainerID" if kind == "xbox" else "ObjectID"
        status, result = soap_action(client, lab, "ContentDirectory", "Browse",
                                     arguments(container, id_name=id_name), headers=[agent])
        if ids_of(answered("browse %s" % container, status, result)) != expected:
            fail("browse %s: %r" % (container, result))
    print("%s: well-known containers and searches answered" % kind)


def feature_list(lab, client):
    status, result = soap_action(client, lab, "ContentDirectory", "X_GetFeatureList", [])
    return status, result


def set_bookmark(lab, client, object_id, seconds):
    return soap_action(client, lab, "ContentDirectory", "X_SetBookmark", [
        ("CategoryType", "0"), ("RID", "0"), ("ObjectID", object_id),
        ("PosSecond", str(seconds))])[0]


def resume_positions(lab, client, object_id):
    """The `sec:dcmInfo` texts of the item in its metadata and in its container's page."""
    texts = []
    for status, result in (browse(lab, client, object_id),
                           soap_action(client, lab, "ContentDirectory", "Browse",
                                       arguments("video"))):
        didl = ET.fromstring(answered("browse", status, result)["Result"])
        item = [e for e in didl if e.get("id") == object_id][0]
        texts.append(item.findtext("{http://www.sec.co.kr/}dcmInfo"))
    return texts


def check_samsung_features(lab, typed, plain):
    """X_GetFeatureList names containers that exist, for Samsung televisions only."""
    status, result = feature_list(lab, typed)
    features = ET.fromstring(answered("X_GetFeatureList", status, result)["FeatureList"])
    avs = "{urn:schemas-upnp-org:av:avs}"
    named = [(c.get("id"), c.get("type")) for c in features.iter(avs + "container")]
    if named != [("music", "object.item.audioItem"), ("video", "object.item.videoItem"),
                 ("photo", "object.item.imageItem")]:
        fail("feature list containers %r" % named)
    for container, _type in named:
        status, result = soap_action(typed, lab, "ContentDirectory", "Browse",
                                     arguments(container, "BrowseMetadata"))
        if ids_of(answered("feature container", status, result)) != [container]:
            fail("the feature list's container %s: %r" % (container, result))
    status, result = feature_list(lab, plain)
    if status != 500 or result.get("errorCode") != "401":
        fail("X_GetFeatureList for a client that is no Samsung television: %d %r" %
             (status, result))
    print("samsungtv: X_GetFeatureList names music, video and photo")


def check_bookmarks(lab, typed, plain, rows, profiles):
    """A bookmark set by the television comes back as BM=<seconds> on its next Browse,
    after a restart too; other clients neither set nor see one."""
    video = "v%d" % rows["video"]
    if set_bookmark(lab, typed, video, 754) != 200:
        fail("X_SetBookmark was not answered")
    if set_bookmark(lab, plain, video, 99) != 500:
        fail("X_SetBookmark answered a client that is no Samsung television")
    for bad, status_wanted in (("v999999", 500), ("m%d" % rows["music"], 500)):
        if set_bookmark(lab, typed, bad, 10) != status_wanted:
            fail("X_SetBookmark of %s answered" % bad)
    if resume_positions(lab, typed, video) != ["BM=754", "BM=754"]:
        fail("resume position %r" % resume_positions(lab, typed, video))
    if resume_positions(lab, plain, video) != [None, None]:
        fail("another client sees a resume position: %r" % resume_positions(lab, plain, video))
    if lab.stop_server() != 0:
        fail("the server did not stop cleanly")
    lab.start_server(profiles=profiles)
    if resume_positions(lab, typed, video) != ["BM=754", "BM=754"]:
        fail("after a restart: %r" % resume_positions(lab, typed, video))
    if set_bookmark(lab, typed, video, 0) != 200 or \
            resume_positions(lab, typed, video) != [None, None]:
        fail("a position of 0 still resumes: %r" % resume_positions(lab, typed, video))
    # A bookmark goes with its video's row.
    other = lab.insert("video", path="/lab/gone.mp4", title="Gone", mime_type="video/mp4")
    if set_bookmark(lab, typed, "v%d" % other, 30) != 200:
        fail("X_SetBookmark of a second video")
    lab.psql("DELETE FROM video WHERE id = %d" % other)
    if lab.psql("SELECT count(*) FROM bookmark WHERE video_id = %d" % other).strip() != "0":
        fail("the bookmark of a removed video stayed")
    print("samsungtv: X_SetBookmark kept per MAC and video, BM=754 after a restart")


def main():
    with Lab("families") as lab:
        profiles = profile_list(lab)
        lab.make_index()
        media = os.path.join(lab.tmp, "media")
        os.makedirs(media)
        photo_file = os.path.join(media, "p.jpg")
        with open(photo_file, "wb") as f:
            f.write(b"\xff\xd8\xff\xe0 not really a picture \xff\xd9")
        rows = {"folder": lab.insert("directory", path=encode_path(media), title="media",
                                     parent_id=0)}
        rows["music"] = lab.insert("music", path=encode_path(media + "/a.mp3"), title="Tune",
                                   mime_type="audio/mpeg", parent_id=rows["folder"])
        rows["video"] = lab.insert("video", path=encode_path(media + "/v.mp4"), title="Film",
                                   mime_type="video/mp4", parent_id=rows["folder"])
        rows["photo"] = lab.insert("photo", path=encode_path(photo_file), title="Picture",
                                   mime_type="image/jpeg", parent_id=rows["folder"],
                                   filesize=os.path.getsize(photo_file))
        pairs = {kind: (lab.add_client(a), lab.add_client(b)) for kind, a, b in PAIRS}
        extender = lab.add_client(XBOX_360[1])
        lab.start_server(profiles=profiles)

        # The Xbox 360 announces a media center extender, not a renderer.
        description = os.path.join(lab.source, "data/clients", XBOX_360[0], "description.xml")
        announcer = lab.spawn(extender.ns, "/usr/bin/python3",
                              os.path.join(HERE, "upnp_renderer.py"), "eth0", description,
                              stdout=subprocess.PIPE, text=True)
        if announcer.stdout.readline().strip() != "announced":
            fail("the Xbox 360's device did not start")

        check_descriptions(lab, pairs["musiconly"][1])
        check_musiconly(lab, *pairs["musiconly"], rows)
        for kind in ("xbox", "wmp", "msclient"):
            typed, plain = pairs[kind]
            # The registrar is offered to every client alike: both of the pair get the
            # same answers, authorized and validated.
            answers = registrar_answers(lab, typed)
            if answers != registrar_answers(lab, plain) or answers != {
                    "IsAuthorized": (200, "1"), "IsValidated": (200, "1"),
                    "RegisterDevice": (200, None)}:
                fail("%s: registrar answers %r" % (kind, answers))
            if kind != "msclient":
                check_ms_requests(lab, typed, rows, kind)
        print("registrar: authorized and validated for every client")

        entry = wait_for("the Xbox 360 identified from its description", lambda: (
            lambda e: e if e and e.get("profileName") == "Xbox 360" else None)(
                lab.client_entry(XBOX_360[1])), 10)
        if any(k.startswith(("browse_", "open_")) for k in entry):
            fail("the extender sent no request, yet: %r" % entry)
        print("media center extender identified as %r" % entry["profileName"])

        check_samsung_features(lab, *pairs["samsungtv"])
        check_bookmarks(lab, *pairs["samsungtv"], rows, profiles)
    print("PASS")


if __name__ == "__main__":
    main()
