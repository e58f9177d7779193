#!/usr/bin/python3
"""Answers kept for clients that ask the same again, and results spliced into the reply.

A folder of songs whose titles hold every character the reply escapes (& < > " and ')
is browsed by curl. Asked again, the same Browse and the same Search are answered with the
same bytes without a statement to the index (the server's statement log); a client that
accepts gzip gets the stack's own escaping, and its decompressed reply is byte for byte the
spliced one; a client of another profile (offend chars) gets its own answer, not the one
kept for the first; once a change is recorded in the index, the kept answer gives way
within seconds and the new song is listed. A client paging through the folder has its
whole listing kept: every later page, at any offset and of any size, reads nothing from
the index, is the right slice and has the bytes of a page made afresh; another order has a
listing of its own. A client walking a folder too large for one listing has the page after
each step made ahead: the next step reads nothing from the index and is the right slice of
the whole listing; a page out of order has nothing made ahead; a step asked for while its
page is still being made ahead waits for that page (a large page, so that it is still being
made) instead of having it made twice. A server started with --answer-cache 0 keeps
nothing: the same Browse asked again reads the index again."""

import gzip
import json
import os
import sys
import tempfile
import time
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, SERVICES, fail, soap_envelope, wait_for  # noqa: E402

TITLES = ['Rock & Roll', 'a < b > c', 'say "hi"', "it's", 'Plain title', 'Tom&Jerry <3']


def post(client, lab, action, arguments, headers=()):
    """The raw reply to a ContentDirectory action: (status, headers text, body bytes)."""
    args = ["-X", "POST", "-H", "User-Agent:", "-H", "Accept:", "-H",
            'SOAPAction: "%s#%s"' % (SERVICES["ContentDirectory"], action), "-H",
            'Content-Type: text/xml; charset="utf-8"']
    for header in headers:
        args += ["-H", header]
    with tempfile.NamedTemporaryFile(dir=lab.tmp, delete=False) as f:
        f.write(soap_envelope("ContentDirectory", action, arguments).encode())
    try:
        return client.curl(*args, "--data-binary", "@" + f.name,
                           lab.url("/ContentDirectory/control"))
    finally:
        os.unlink(f.name)


def browse(client, lab, object_id, headers=(), start=0, count=0):
    status, head, body = post(client, lab, "Browse", [
        ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", str(start)), ("RequestedCount", str(count)), ("SortCriteria", "")],
        headers)
    if status != 200:
        fail("Browse %s answered %d: %r" % (object_id, status, body[:300]))
    return head, body


def search(client, lab, criteria):
    status, _head, body = post(client, lab, "Search", [
        ("ContainerID", "0"), ("SearchCriteria", criteria), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200:
        fail("Search %r answered %d: %r" % (criteria, status, body[:300]))
    return body


def objects_of(reply):
    """The DIDL-Lite objects of a Browse reply, each as XML text."""
    result = next(el.text for el in ET.fromstring(reply).iter() if el.tag == "Result")
    return [ET.tostring(el) for el in ET.fromstring(result)]


def statements(lab):
    return lab.server_log().count("SELECT ")


def statements_settled(lab):
    """The statement count once the server has stopped reading (a page made ahead)."""
    last, steady = statements(lab), 0
    for _ in range(40):
        time.sleep(0.05)
        now = statements(lab)
        steady = steady + 1 if now == last else 0
        last = now
        if steady >= 6:
            break
    return last


def profile_list(macs):
    return {"ProfileList": [
        {"profileName": "lab plain", "profileID": {"macAddr": macs[0]}, "dlna": "yes"},
        {"profileName": "lab offend", "profileID": {"macAddr": macs[1]}, "dlna": "yes",
         "offendchars": "&"}]}


def main():
    macs = ["02:77:00:00:00:41", "02:77:00:00:00:42"]
    with Lab("kept") as lab:
        lab.make_index()
        folder = lab.insert("directory", path="/lab/songs", title="songs")
        for n, title in enumerate(TITLES):
            lab.insert("music", parent_id=folder, path="/lab/songs/%d.mp3" % n, title=title,
                       mime_type="audio/mpeg")
        many = lab.insert("directory", path="/lab/many", title="many")
        lab.psql("INSERT INTO music (parent_id, path, title, mime_type) SELECT %d, "
                 "'/lab/many/' || n || '.mp3', 'Song ' || n, 'audio/mpeg' "
                 "FROM generate_series(1, 3000) AS n" % many)
        plain, offend = lab.add_client(macs[0]), lab.add_client(macs[1])
        profiles = os.path.join(lab.tmp, "profiles.json")
        with open(profiles, "w") as f:
            json.dump(profile_list(macs), f)
        lab.start_server(profiles=profiles)
        target = "d%d" % folder

        head, first = browse(plain, lab, target)
        if b"Rock &amp;amp; Roll" not in first or b"say &amp;quot;hi&amp;quot;" not in first:
            fail("the titles are not escaped twice (DIDL-Lite inside the reply): %r" % first)
        before = statements(lab)
        _head, again = browse(plain, lab, target)
        if again != first:
            fail("the same Browse answered other bytes:\n%r\n%r" % (first, again))
        if statements(lab) != before:
            fail("the Browse asked again read the index again")
        found = search(plain, lab, 'dc:title contains "&"')
        before = statements(lab)
        if search(plain, lab, 'dc:title contains "&"') != found:
            fail("the same Search answered other bytes")
        if statements(lab) != before:
            fail("the Search asked again read the index again")

        # The stack's own escaping, compressed: the same text once decompressed.
        zipped_head, zipped = browse(plain, lab, target, ["Accept-Encoding: gzip"])
        if "content-encoding: gzip" not in zipped_head.lower():
            fail("a client accepting gzip got an uncompressed reply:\n" + zipped_head)
        if gzip.decompress(zipped) != first:
            fail("the spliced reply differs from the stack's own:\n%r\n%r" % (
                first, gzip.decompress(zipped)))
        if "content-length: %d" % len(first) not in head.lower():
            fail("the spliced reply's Content-Length is not its size:\n" + head)

        # Another profile: its own answer (its offend char taken out of the titles).
        _head, other = browse(offend, lab, target)
        if other == first or b"Rock  Roll" not in other:
            fail("the client with offend chars got the kept answer: %r" % other)

        # A client paging through the folder: its whole listing is made and kept, and
        # every later page, at any offset and of any size, is cut from it without the
        # index, with the bytes of a page made afresh (the gzip client's, never kept).
        def page(object_id, start, count, sort="", headers=()):
            status, head, body = post(plain, lab, "Browse", [
                ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"),
                ("Filter", "*"), ("StartingIndex", str(start)), ("RequestedCount", str(count)),
                ("SortCriteria", sort)], headers)
            if status != 200:
                fail("Browse %s from %d answered %d: %r" % (object_id, start, status, body))
            # The stack compresses only replies large enough to gain from it.
            return gzip.decompress(body) if "content-encoding: gzip" in head.lower() else body
        whole = objects_of(browse(plain, lab, target)[1])
        page(target, 0, 2)
        settled = statements_settled(lab)
        for start, count in ((4, 2), (1, 3), (5, 10), (0, 6), (6, 1), (3, 1), (9, 2)):
            cut = page(target, start, count)
            if objects_of(cut) != whole[start:start + count]:
                fail("the page from %d of %d is not that slice of the listing" % (start, count))
            if statements(lab) != settled:
                fail("the page from %d of %d read the index: no listing was kept" % (
                    start, count))
            if cut != page(target, start, count, headers=["Accept-Encoding: gzip"]):
                fail("the page from %d of %d cut from the listing differs from one made "
                     "afresh" % (start, count))
            settled = statements(lab)
        # Another order is a listing of its own.
        page(target, 0, 2, "-dc:title")
        settled = statements_settled(lab)
        backwards = page(target, 2, 3, "-dc:title")
        if statements(lab) != settled:
            fail("a page in the other order read the index: its listing was not kept")
        if objects_of(backwards) != list(reversed(whole))[2:5]:
            fail("the page in the other order is not that slice of the reversed listing")

        # A folder too large for one listing is walked page by page: from its second step
        # on, the next page is made ahead (here the last, after which nothing is).
        big = "d%d" % many
        whole = objects_of(browse(plain, lab, big, start=0, count=2000)[1])
        whole += objects_of(browse(plain, lab, big, start=2000, count=2000)[1])
        page(big, 2700, 100)
        page(big, 2800, 100)
        settled = statements_settled(lab)
        if objects_of(page(big, 2900, 100)) != whole[2900:3000]:
            fail("the page made ahead is not that slice of the whole listing")
        if statements(lab) != settled:
            fail("the walk's next step read the index: it was not made ahead")
        # Out of order (the walk ended at 3000): nothing is made ahead of 2750, so 2850 is
        # read.
        page(big, 2750, 100)
        settled = statements_settled(lab)
        page(big, 2850, 100)
        if statements(lab) == settled:
            fail("a page after one out of order was made ahead")

        # Large pages: the step at 2000 comes while its page is being made ahead.
        browse(plain, lab, big, start=0, count=1000)
        mark = len(lab.server_log())
        browse(plain, lab, big, start=1000, count=1000)
        step = objects_of(browse(plain, lab, big, start=2000, count=1000)[1])
        statements_settled(lab)
        if len(step) != 1000:
            fail("the step at 2000 answered %d objects" % len(step))
        pages = lab.server_log()[mark:].count("LIMIT 1000")
        if pages != 2:
            fail("the steps at 1000 and 2000 took %d page statements, not 2 (one made "
                 "twice?)" % pages)

        # A change recorded in the index: the kept answer gives way.
        lab.insert("music", parent_id=folder, path="/lab/songs/new.mp3", title="Newcomer",
                   mime_type="audio/mpeg")
        lab.psql("SELECT calyx_index_changed(ARRAY['%s'])" % target)
        wait_for("the new song in the answer",
                 lambda: b"Newcomer" in browse(plain, lab, target)[1], 10)

        lab.stop_server()
        lab.start_server("--answer-cache", "0", profiles=profiles)
        browse(plain, lab, target)
        before = statements(lab)
        browse(plain, lab, target)
        if statements(lab) == before:
            fail("with --answer-cache 0 the Browse asked again did not read the index")
    print("PASS")


if __name__ == "__main__":
    main()
