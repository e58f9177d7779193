#!/usr/bin/python3
"""Pages are slices of the whole listing, cut from the listing kept whole and made afresh
(--answer-cache 0): a folder of songs alone (with a folder cover,
titles with quotes and backslashes, and rows without a title, which sort last), a folder
of songs, videos and photos together, and the Music view, each browsed whole and then in
pages of 7 at every offset, in title order, reverse title order and date order. The pages
put together are the whole listing in its order, each page's TotalMatches and
NumberReturned are right, and every object of a page is written exactly as in the whole
listing (a deep page's songs still carry their folder's cover). Walked in title order, a
page continues from the row the page before ended on (the server's statements show the
title comparison) rather than counting past the rows before it; a page asked for out of
order, or in date order, is found by its offset."""

import os
import sys
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, soap_action  # noqa: E402

PAGE = 7
SORTS = ("", "+dc:title", "-dc:title", "+dc:date")


def browse(client, lab, object_id, sort, start, count):
    status, out = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", str(start)), ("RequestedCount", str(count)),
        ("SortCriteria", sort)])
    if status != 200 or "Result" not in out:
        fail("Browse %s from %d (%r) answered %d: %r" % (object_id, start, sort, status, out))
    objects = [ET.tostring(el) for el in ET.fromstring(out["Result"])]
    if int(out["NumberReturned"]) != len(objects):
        fail("Browse %s: NumberReturned %s for %d objects" % (
            object_id, out["NumberReturned"], len(objects)))
    return objects, int(out["TotalMatches"])


def check_pages(client, lab, object_id, expected_total):
    for sort in SORTS:
        whole, total = browse(client, lab, object_id, sort, 0, 0)
        if total != expected_total or len(whole) != expected_total:
            fail("%s (%r): %d objects, TotalMatches %d, not %d" % (
                object_id, sort, len(whole), total, expected_total))
        pieces = []
        for start in range(0, total, PAGE):
            page, page_total = browse(client, lab, object_id, sort, start, PAGE)
            if page_total != total:
                fail("%s (%r) from %d: TotalMatches %d, not %d" % (
                    object_id, sort, start, page_total, total))
            if page != whole[start:start + PAGE]:
                fail("%s (%r): the page from %d is not that slice of the whole listing:\n"
                     "%r\n%r" % (object_id, sort, start, page, whole[start:start + PAGE]))
            pieces += page
        if pieces != whole:
            fail("%s (%r): the pages together differ from the whole listing" % (object_id, sort))


def main():
    with Lab("page") as lab:
        lab.make_index()
        songs = lab.insert("directory", path="/lab/songs", title="songs",
                           cover_original="/lab/songs/cover.jpg", cover_mime="image/jpeg",
                           cover_width=500, cover_height=500, cover_thumbnail="")
        mixed = lab.insert("directory", path="/lab/mixed", title="mixed")
        # Titles that sort by number ("Track 2" before "Track 10") and by case alone, and
        # equal titles (ordered by id); dates out of title order.
        lab.psql("INSERT INTO music (parent_id, path, title, mime_type, date) "
                 "SELECT %d, '/lab/songs/' || n || '.mp3', CASE WHEN n %% 5 = 0 THEN 'same' "
                 "WHEN n %% 2 = 0 THEN 'Track ' || n ELSE 'track ' || n END, 'audio/mpeg', "
                 "'2020-01-' || lpad((1 + (n * 7) %% 28)::text, 2, '0') || ' 00:00:00' "
                 "FROM generate_series(1, 40) AS n" % songs)
        lab.psql("INSERT INTO music (parent_id, path, title, mime_type) VALUES "
                 "(%d, '/lab/songs/q1.mp3', E'it''s \\\\ back', 'audio/mpeg'), "
                 "(%d, '/lab/songs/q2.mp3', E'it''s', 'audio/mpeg'), "
                 "(%d, '/lab/songs/n1.mp3', NULL, 'audio/mpeg'), "
                 "(%d, '/lab/songs/n2.mp3', NULL, 'audio/mpeg'), "
                 "(%d, '/lab/songs/n3.mp3', NULL, 'audio/mpeg')" % ((songs,) * 5))
        for table, kind, count in (("music", "audio/mpeg", 12), ("video", "video/mp4", 9),
                                   ("photo", "image/jpeg", 6)):
            lab.psql("INSERT INTO %s (parent_id, path, title, mime_type, date) "
                     "SELECT %d, '/lab/mixed/%s' || n, 'Item ' || (n * 3 + %d), '%s', "
                     "'2021-02-' || lpad((1 + (n * 5) %% 28)::text, 2, '0') || ' 00:00:00' "
                     "FROM generate_series(1, %d) AS n" % (table, mixed, table, len(table),
                                                          kind, count))
        client = lab.add_client("02:77:00:00:00:31")
        lab.start_server(log_level=2)
        # Answers kept (the default): the pages are cut from each container's whole listing.
        for object_id, total in (("d%d" % songs, 45), ("d%d" % mixed, 27), ("music", 57)):
            check_pages(client, lab, object_id, total)
        # Made afresh, each page by a statement of its own.
        lab.stop_server()
        lab.start_server("--answer-cache", "0", log_level=2)
        check_pages(client, lab, "d%d" % songs, 45)
        statements = lab.server_log()
        # The mark (title and id of the row before) is sent as values, not in the text.
        if "(title COLLATE calyx_title, id) > ($2 COLLATE calyx_title, $3)" not in statements:
            fail("no page of the walk in title order continued from the page before")
        if "ORDER BY date ASC, id ASC  LIMIT 7 OFFSET 14" not in statements and \
                "ORDER BY date ASC, id ASC LIMIT 7 OFFSET 14" not in statements:
            fail("a page in date order was not found by its offset")
        # Out of order: the page from 3 follows no page that ended there.
        mark = len(lab.server_log())
        page, _ = browse(client, lab, "d%d" % songs, "", 3, PAGE)
        whole, _ = browse(client, lab, "d%d" % songs, "", 0, 0)
        if page != whole[3:3 + PAGE]:
            fail("the page from 3 is not that slice of the whole listing")
        if "OFFSET 3" not in lab.server_log()[mark:]:
            fail("the page from 3 was not found by its offset")
        check_pages(client, lab, "d%d" % mixed, 27)
        check_pages(client, lab, "music", 57)
        whole, _ = browse(client, lab, "d%d" % songs, "", 0, 0)
        if not all(b"orig.jpg" in item for item in whole):
            fail("the songs do not carry their folder's cover: %r" % whole[:2])
    print("PASS")


if __name__ == "__main__":
    main()
