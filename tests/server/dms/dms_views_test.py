#!/usr/bin/python3
"""Playlists and the views of music and photos, against one lab server.

Media made at test time (tagged songs, a folder cover, an embedded cover, a photo) and
playlists with relative, absolute, missing, URL and non-UTF-8 entries are indexed by
`calyx index`; more rows are added straight to the index so that the groups are many.
The test then browses as two clients whose profiles differ only in `musiconly` and
checks: the Playlists container and each playlist's items in the file's order; the groups
of Music by Artist, Album and Genre and of Photos by date, their titles and counts
against the index's rows (grouped here, in Python), paging through them a page at a time,
their items, album covers fetched by the URLs of the DIDL, and the search inside a
group."""

import datetime
import json
import os
import sys
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, encode_path, fail, run, soap_action, sql_literal  # noqa: E402

NS = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
      "dc": "http://purl.org/dc/elements/1.1/",
      "upnp": "urn:schemas-upnp-org:metadata-1-0/upnp/",
      "dlna": "urn:schemas-dlna-org:metadata-1-0/"}
MUSIC_ONLY, PLAIN = "02:26:00:00:09:01", "02:26:00:00:09:02"
FF = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]


def profile_list(lab):
    profiles = [{"profileName": "Lab music only", "profileID": {"macAddr": MUSIC_ONLY},
                 "dlna": "yes", "musiconly": "yes"},
                {"profileName": "Lab plain", "profileID": {"macAddr": PLAIN}, "dlna": "yes"}]
    path = os.path.join(lab.tmp, "profiles.json")
    with open(path, "w") as f:
        json.dump({"ProfileList": profiles}, f)
    return path


def song(path, title, artist=None, album=None, genre=None, track=None, picture=None):
    tags = []
    for name, value in (("title", title), ("artist", artist), ("album", album),
                        ("genre", genre), ("track", track)):
        if value is not None:
            tags += ["-metadata", "%s=%s" % (name, value)]
    inputs = ["-f", "lavfi", "-i", "sine=frequency=440:duration=1"]
    if picture:
        inputs += ["-i", picture]
        tags += ["-map", "0:a", "-map", "1:v", "-c:v", "png", "-disposition:v",
                 "attached_pic", "-id3v2_version", "3"]
    run(*FF, *inputs, *tags, "-c:a", "libmp3lame", path)


def make_media(lab):
    """Two albums (one with a cover file, one with an embedded picture), a song whose
    name is not ASCII, a photo, and playlists naming them."""
    media = os.path.join(lab.tmp, "media")
    for folder in ("album1", "album2", "loose", "lists"):
        os.makedirs(os.path.join(media, folder))
    run(*FF, "-f", "lavfi", "-i", "testsrc=size=320x240", "-frames:v", "1",
        os.path.join(media, "album1/cover.jpg"))
    run(*FF, "-f", "lavfi", "-i", "testsrc=size=64x64", "-frames:v", "1",
        os.path.join(lab.tmp, "picture.png"))
    song(os.path.join(media, "album1/one.mp3"), "One", "The Band", "First Light", "Rock", 2)
    song(os.path.join(media, "album1/two.mp3"), "Two", "The Band", "First Light", "Rock", 1)
    song(os.path.join(media, "album2/three.mp3"), "Three", "Solo", "Second", "Jazz", 1,
         picture=os.path.join(lab.tmp, "picture.png"))
    song(os.path.join(media, "loose/D\u00e9j\u00e0.mp3"), "Deja")
    run(*FF, "-f", "lavfi", "-i", "testsrc=size=160x120", "-frames:v", "1",
        os.path.join(media, "loose/photo.jpg"))
    # An m3u file in Latin-1, as players wrote them: relative, absolute, missing,
    # non-UTF-8, URL, photo and a song named twice.
    trip = (b"#EXTM3U\r\n../album1/one.mp3\r\n" +
            os.fsencode(media) + b"/album2/three.mp3\r\n"
            b"../album1/gone.mp3\r\n"
            b"#EXTINF:1,Deja\r\n../loose/D\xe9j\xe0.mp3\r\n"
            b"http://127.0.0.1:9/radio\r\n"
            b"../loose/photo.jpg\r\n..\\album1\\two.mp3\r\n../album1/one.mp3\r\n")
    with open(os.path.join(media, "lists/Trip.m3u"), "wb") as f:
        f.write(trip)
    with open(os.path.join(media, "lists/Nothing here.pls"), "w") as f:
        f.write("[playlist]\nFile1=/nowhere/x.mp3\nNumberOfEntries=1\n")
    env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
    out = run(lab.tool, "index", "--thumbnails", os.path.join(lab.tmp, "thumbnails"),
              "--workers", "1", "-q", media, env=env).stdout
    if "playlist entries: 9 (missing 2, URLs 1, not UTF-8 1)" not in out:
        fail("the index run's summary: %r" % out)
    return media


def add_rows(lab):
    """Many songs and photos straight into the index, some hidden, some without tags."""
    lab.psql("""
        INSERT INTO music (path, title, artist, album, genre, track, hidden)
        SELECT '/lab/none/m' || i || '.mp3', 'Song ' || i,
               CASE WHEN i % 8 = 0 THEN NULL ELSE 'Artist ' || (i % 5) END,
               'Album ' || (i % 7), CASE WHEN i % 3 = 0 THEN '' ELSE 'Genre ' || (i % 4) END,
               i % 11, i % 10 = 9
        FROM generate_series(1, 60) AS i;
        INSERT INTO photo (path, title, date, mdate, hidden)
        SELECT '/lab/none/p' || i || '.jpg', 'Photo ' || i,
               CASE i % 4 WHEN 0 THEN '2018-05-0' || (1 + i % 9) || ' 10:00:00'
                          WHEN 1 THEN '2018-07-11 08:00:00'
                          WHEN 2 THEN '2019-01-0' || (1 + i % 9) || ' 12:00:00'
                          ELSE '' END,
               1489536000 + i, i % 13 = 12
        FROM generate_series(1, 40) AS i;""")


def rows(lab, sql):
    out = lab.psql(sql)
    return [line.split("|") for line in out.splitlines() if line]


def browse(lab, client, object_id, flag="BrowseDirectChildren", start=0, count=0, sort=""):
    status, result = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", flag), ("Filter", "*"),
        ("StartingIndex", str(start)), ("RequestedCount", str(count)), ("SortCriteria", sort)])
    return status, result


def children(lab, client, object_id, **kw):
    status, result = browse(lab, client, object_id, **kw)
    if status != 200:
        fail("Browse %s: %d %r" % (object_id, status, result))
    didl = ET.fromstring(result["Result"])
    return [e for e in didl if e.tag.endswith(("item", "container"))], int(result["TotalMatches"])


def metadata(lab, client, object_id):
    got, _ = children(lab, client, object_id, flag="BrowseMetadata")
    return got[0]


def expect_error(lab, client, object_id, code, flag="BrowseDirectChildren"):
    status, result = browse(lab, client, object_id, flag=flag)
    if status != 500 or result.get("errorCode") != code:
        fail("Browse %s %s: %d %r, not error %s" % (object_id, flag, status, result, code))


def title(element):
    return element.findtext("dc:title", "", NS)


def group_id(prefix, value):
    return prefix + value.encode("utf-8").hex()


def check_playlists(lab, plain, music_only, media):
    ids = {}
    for name, table in (("album1/one.mp3", "music"), ("album1/two.mp3", "music"),
                        ("album2/three.mp3", "music"), ("loose/D\u00e9j\u00e0.mp3", "music"),
                        ("loose/photo.jpg", "photo")):
        ids[name] = table[0] + lab.psql("SELECT id FROM %s WHERE path = %s" % (
            table, sql_literal(encode_path(os.path.join(media, name))))).strip()
    lists, total = children(lab, plain, "playlists")
    if [title(e) for e in lists] != ["Nothing here", "Trip"] or total != 2:
        fail("playlists: %r" % [title(e) for e in lists])
    for element in lists:
        if element.findtext("upnp:class", "", NS) != "object.container.playlistContainer" or \
                element.get("parentID") != "playlists":
            fail("a playlist's container: %r" % ET.tostring(element))
    trip = lists[1].get("id")
    wanted = [ids["album1/one.mp3"], ids["album2/three.mp3"], ids["loose/D\u00e9j\u00e0.mp3"],
              ids["loose/photo.jpg"], ids["album1/two.mp3"], ids["album1/one.mp3"]]
    items, total = children(lab, plain, trip)
    if [e.get("id") for e in items] != wanted or total != len(wanted):
        fail("the playlist's items %r, not %r" % ([e.get("id") for e in items], wanted))
    if any(e.get("parentID") != trip for e in items):
        fail("a playlist's item has another parent")
    # Paged one at a time, the same list.
    paged = [children(lab, plain, trip, start=i, count=1)[0][0].get("id")
             for i in range(len(wanted))]
    if paged != wanted:
        fail("the playlist paged one at a time: %r" % paged)
    meta = metadata(lab, plain, trip)
    if meta.get("childCount") != str(len(wanted)) or title(meta) != "Trip":
        fail("the playlist's metadata: %r" % ET.tostring(meta))
    # A music-only client: the photo is left out, the rest stays in order.
    items, total = children(lab, music_only, trip)
    music = [w for w in wanted if w[0] == "m"]
    if [e.get("id") for e in items] != music or total != len(music):
        fail("music only: the playlist's items %r" % [e.get("id") for e in items])
    empty = lists[0].get("id")
    if children(lab, plain, empty)[1] != 0:
        fail("a playlist of missing files lists something")
    # Searched inside: the playlist's songs.
    status, result = soap_action(plain, lab, "ContentDirectory", "Search", [
        ("ContainerID", trip), ("SearchCriteria", 'upnp:class derivedfrom "object.item.audioItem"'),
        ("Filter", "*"), ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200 or result.get("TotalMatches") != "4":
        fail("search in the playlist: %d %r" % (status, result))
    print("playlists: %d items of Trip in the file's order (relative, absolute, Latin-1, "
          "photo, Windows-style, twice); missing and URL entries left out" % len(wanted))


def expected_music(lab, column, unknown):
    """Group title -> sorted row ids, from the index's rows grouped here."""
    groups = {}
    for row_id, value in rows(lab, "SELECT id, COALESCE(%s, '') FROM music WHERE NOT hidden"
                              % column):
        groups.setdefault(value or unknown, []).append("m" + row_id)
    return {k: sorted(v) for k, v in groups.items()}


def check_view(lab, client, list_id, prefix, column, unknown, cls):
    expected = expected_music(lab, column, unknown)
    groups, total = children(lab, client, list_id)
    got = {title(e): int(e.get("childCount")) for e in groups}
    if got != {k: len(v) for k, v in expected.items()} or total != len(expected):
        fail("%s: %r, not %r" % (list_id, got, {k: len(v) for k, v in expected.items()}))
    for element in groups:
        if element.findtext("upnp:class", "", NS) != cls or element.get("parentID") != list_id:
            fail("%s: a group %r" % (list_id, ET.tostring(element)))
    # Page after page of two: the same groups in the same order.
    paged = []
    for start in range(0, total, 2):
        page, page_total = children(lab, client, list_id, start=start, count=2)
        if page_total != total:
            fail("%s: TotalMatches %d on a page" % (list_id, page_total))
        paged += [e.get("id") for e in page]
    if paged != [e.get("id") for e in groups]:
        fail("%s paged: %r" % (list_id, paged))
    # Each group's items are the rows of its value.
    for element in groups:
        items, count = children(lab, client, element.get("id"))
        if sorted(e.get("id") for e in items) != expected[title(element)] or \
                count != len(expected[title(element)]):
            fail("%s %r: items %r" % (list_id, title(element), [e.get("id") for e in items]))
        if any(e.get("parentID") != element.get("id") for e in items):
            fail("%s %r: an item with another parent" % (list_id, title(element)))
    named = [v for v in expected if v != unknown][0]
    if metadata(lab, client, group_id(prefix, named)).get("parentID") != list_id:
        fail("%s: metadata of %r" % (list_id, named))
    print("%s: %d groups as the index holds them, paged by two" % (list_id, total))
    return {title(e): e for e in groups}


def check_albums(lab, plain, music_only):
    albums = check_view(lab, plain, "albums", "al", "album", "Unknown Album",
                        "object.container.album.musicAlbum")
    # An album's songs in track order.
    items, _ = children(lab, plain, albums["First Light"].get("id"))
    if [title(e) for e in items] != ["Two", "One"]:
        fail("First Light in track order: %r" % [title(e) for e in items])
    # Covers: the folder's cover file, a song's embedded picture; none for the others.
    for name in ("First Light", "Second"):
        art = albums[name].find("upnp:albumArtURI", NS)
        if art is None or art.get("{%s}profileID" % NS["dlna"]) != "JPEG_TN":
            fail("album %r: album art %r" % (name, ET.tostring(albums[name])))
        status, headers, body = plain.curl(art.text)
        if status != 200 or "image/jpeg" not in headers.lower() or not body.startswith(b"\xff\xd8"):
            fail("album %r: its cover %s answered %d" % (name, art.text, status))
    if albums["Album 1"].find("upnp:albumArtURI", NS) is not None:
        fail("an album without a cover has album art")
    meta = metadata(lab, music_only, albums["Second"].get("id"))
    if meta.find("upnp:albumArtURI", NS) is None or meta.get("childCount") != "1":
        fail("the album's metadata: %r" % ET.tostring(meta))
    status, result = soap_action(plain, lab, "ContentDirectory", "Search", [
        ("ContainerID", albums["First Light"].get("id")), ("SearchCriteria", "*"),
        ("Filter", "*"), ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200 or result.get("TotalMatches") != "2":
        fail("search in an album: %d %r" % (status, result))
    print("albums: covers as JPEG_TN album art, fetched; songs in track order")


def photo_months(lab):
    """Month -> sorted photo ids: the date taken, else the file's time (UTC)."""
    months = {}
    for row_id, date, mdate in rows(lab, "SELECT id, date, mdate FROM photo WHERE NOT hidden"):
        month = date[:7] if date else datetime.datetime.fromtimestamp(
            int(mdate), datetime.timezone.utc).strftime("%Y-%m")
        months.setdefault(month, []).append("p" + row_id)
    return {k: sorted(v) for k, v in months.items()}


def check_dates(lab, plain, music_only):
    months = photo_months(lab)
    years = sorted({m[:4] for m in months})
    got, total = children(lab, plain, "dates")
    if [title(e) for e in got] != years or total != len(years):
        fail("years %r, not %r" % ([title(e) for e in got], years))
    for element in got:
        year = title(element)
        own = sorted(m for m in months if m.startswith(year))
        if element.get("id") != "y" + year or int(element.get("childCount")) != len(own):
            fail("year %s: %r" % (year, ET.tostring(element)))
        listed, count = children(lab, plain, element.get("id"))
        if [title(e) for e in listed] != own or count != len(own):
            fail("months of %s: %r" % (year, [title(e) for e in listed]))
        for month in listed:
            if month.get("parentID") != "y" + year or \
                    int(month.get("childCount")) != len(months[title(month)]):
                fail("month %s: %r" % (title(month), ET.tostring(month)))
            items, count = children(lab, plain, month.get("id"))
            if sorted(e.get("id") for e in items) != months[title(month)] or \
                    count != len(months[title(month)]):
                fail("photos of %s: %r" % (title(month), [e.get("id") for e in items]))
    meta = metadata(lab, plain, "y201805")
    if title(meta) != "2018-05" or meta.get("parentID") != "y2018":
        fail("the month's metadata: %r" % ET.tostring(meta))
    for object_id in ("dates", "y2018", "y201805"):
        expect_error(lab, music_only, object_id, "701")
    expect_error(lab, plain, "y2000", "701", flag="BrowseMetadata")
    print("photos by date: %d years, %d months, as the index's dates say" %
          (len(years), len(months)))


def main():
    with Lab("views") as lab:
        profiles = profile_list(lab)
        lab.make_index()
        media = make_media(lab)
        add_rows(lab)
        music_only, plain = lab.add_client(MUSIC_ONLY), lab.add_client(PLAIN)
        lab.start_server(profiles=profiles)

        root, _ = children(lab, plain, "0")
        ids = [e.get("id") for e in root]
        if ids != ["music", "video", "photo", "folders", "artists", "albums", "genres", "dates",
                   "playlists"]:
            fail("root containers %r" % ids)
        if [title(e) for e in root][4:] != ["Music by Artist", "Music by Album",
                                            "Music by Genre", "Photos by Date", "Playlists"]:
            fail("root titles %r" % [title(e) for e in root])
        root, _ = children(lab, music_only, "0")
        if [e.get("id") for e in root] != ["music", "folders", "artists", "albums", "genres",
                                           "playlists"]:
            fail("music only: root containers %r" % [e.get("id") for e in root])

        check_playlists(lab, plain, music_only, media)
        check_view(lab, music_only, "artists", "ar", "artist", "Unknown Artist",
                   "object.container.person.musicArtist")
        check_view(lab, plain, "genres", "ge", "genre", "Unknown",
                   "object.container.genre.musicGenre")
        check_albums(lab, plain, music_only)
        check_dates(lab, plain, music_only)
        for bad in ("ar" + "Nobody".encode().hex(), "arzz", "al0", "y12345"):
            expect_error(lab, plain, bad, "701", flag="BrowseMetadata")
    print("PASS")


if __name__ == "__main__":
    main()
