#!/usr/bin/python3
"""The client side of the peer comparison, run inside the client namespace. Speaks only
UPnP (SSDP, SOAP Browse, HTTP GET), so it measures every server the same way.

    probe.py discover [EVERY [SECONDS]]       -> {"location": url, "searches": n, "seconds": s}
    probe.py watch LIMIT count|total TITLE N [TITLE N ...]
                                  -> "ready", then {"location": url, "ids": {...}, "listed": b}
    probe.py find LOCATION TITLE              -> {"id": container id or null}
    probe.py path LOCATION TITLE/TITLE...     -> {"id": container id or null}
    probe.py total LOCATION ID                -> {"total": n}  (TotalMatches of its children)
    probe.py count LOCATION ID                -> {"items": n}  (recursive)
    probe.py latency LOCATION ID PAGE CLIENTS REQUESTS   -> {"seconds": [...], "returned": [...]}
    probe.py page LOCATION ID START COUNT REQUESTS       -> {"seconds": [...], "returned": [...]}
    probe.py search LOCATION ID CRITERIA REQUESTS        -> {"seconds": [...], "returned": [...]}
    probe.py walk LOCATION ID PAGE            -> {"seconds": s, "items": n}  (in order, page by page)
    probe.py mixed LOCATION ID CLIENTS SECONDS           -> {"requests": n, "rps": r}
    probe.py stream LOCATION ID               -> {"bytes": n, "seconds": s, "total_bytes": n}
Each prints one JSON line.
"""

import json
import select
import socket
import struct
import sys
import threading
import time
import urllib.parse
import urllib.request
import xml.etree.ElementTree as ET

CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"
DC = "{http://purl.org/dc/elements/1.1/}"
DEVICE = "{urn:schemas-upnp-org:device-1-0}"
SERVICE_TYPE = [CDS]  # the ContentDirectory version the server offers


MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
SSDP = ("239.255.255.250", 1900)
SEARCH = ("M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
          "MX: 1\r\nST: %s\r\n\r\n" % MEDIA_SERVER).encode()


def media_server_location(data):
    """The LOCATION of an SSDP message announcing a MediaServer (an answer to the search,
    or a NOTIFY ssdp:alive of its device type); None for any other message."""
    lines = data.decode(errors="replace").split("\r\n")
    fields = dict((line.split(":", 1)[0].strip().lower(), line.split(":", 1)[1].strip())
                  for line in lines[1:] if ":" in line)
    if lines[0].startswith("NOTIFY"):
        if fields.get("nts") != "ssdp:alive" or fields.get("nt") != MEDIA_SERVER:
            return None
    elif not lines[0].startswith("HTTP/1.1 200"):
        return None
    return fields.get("location")


class Discovery:
    """Finds a MediaServer the way a control point already on the network does: it
    listens for NOTIFY ssdp:alive (every server announces itself as it starts), and it
    sends an M-SEARCH (MX 1) every `every` seconds until a server answers (a server may
    wait up to MX before it answers each search, and a search sent before the server
    listens goes unanswered)."""

    def __init__(self, every=0.25):
        self.every, self.searches, self.next_search = every, 0, time.monotonic()
        self.heard = None
        self.notify = socket.socket(socket.AF_INET, socket.SOCK_DGRAM, socket.IPPROTO_UDP)
        self.notify.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.notify.bind(("", SSDP[1]))
        self.notify.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, struct.pack(
            "4s4s", socket.inet_aton(SSDP[0]), socket.inet_aton("0.0.0.0")))
        self.search = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)

    def location(self, until):
        """The first MediaServer's description URL heard before monotonic time `until`,
        or None; `heard` says how ("notify" or "search")."""
        while True:
            now = time.monotonic()
            if now >= until:
                return None
            if now >= self.next_search:
                self.search.sendto(SEARCH, SSDP)
                self.searches += 1
                self.next_search = now + self.every
            ready = select.select([self.notify, self.search], [], [],
                                  min(self.next_search, until) - now)[0]
            for sock in ready:
                found = media_server_location(sock.recvfrom(4096)[0])
                if found:
                    self.heard = "notify" if sock is self.notify else "search"
                    return found


def discover(every=0.25, seconds=3):
    """{"location", "searches", "seconds"} of the first MediaServer heard within `seconds`."""
    started = time.monotonic()
    finder = Discovery(every)
    location = finder.location(started + seconds)
    return {"location": location, "searches": finder.searches,
            "seconds": time.monotonic() - started}


def watch(limit, mode, wanted, every=0.1):
    """Started before the server: prints "ready", then looks every `every` seconds (a
    coarse step would round every server's start up to the same step) until
    the first MediaServer heard lists, for each title of `wanted` ({title: n}), a
    container with at least n items (`mode` "count": items anywhere below it; "total":
    its children's TotalMatches), at most `limit` seconds. What it found: {"location",
    "ids", "listed", "found_s": seconds until it heard of the server, "heard": how}; why a
    look failed goes to standard error."""
    started = time.monotonic()
    finder = Discovery()
    print("ready", flush=True)
    location, ids, found = None, {title: None for title in wanted}, None
    while time.monotonic() - started < limit:
        if not location:
            location = finder.location(started + limit)
            if not location:
                break
            found = time.monotonic() - started
            tick = time.monotonic()
        try:
            for title in wanted:
                ids[title] = ids[title] or find(location, title)["id"]
            if all(ids.values()) and all(
                    (count(location, ids[t])["items"] if mode == "count"
                     else total(location, ids[t])["total"]) >= n for t, n in wanted.items()):
                return {"location": location, "ids": ids, "listed": True, "found_s": found,
                        "heard": finder.heard}
        except (OSError, RuntimeError, ET.ParseError, KeyError, ValueError) as e:
            reason = (str(e).splitlines() or [type(e).__name__])[-1][:120]
            print("  (not ready: %s)" % reason, file=sys.stderr, flush=True)
        tick += every
        time.sleep(max(0.0, tick - time.monotonic()))
    return {"location": location, "ids": ids, "listed": False, "found_s": found,
            "heard": finder.heard}


def control_url(location):
    root = ET.fromstring(urllib.request.urlopen(location, timeout=10).read())
    base = root.findtext(DEVICE + "URLBase") or location
    for service in root.iter(DEVICE + "service"):
        kind = service.findtext(DEVICE + "serviceType") or ""
        # Any version: Browse is the same in each, and a server may offer only a later one.
        if kind.startswith(CDS[:-1]):
            SERVICE_TYPE[0] = kind
            return urllib.parse.urljoin(base, service.findtext(DEVICE + "controlURL"))
    raise RuntimeError("no ContentDirectory at " + location)


def xml_text(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def exchange(url, name, arguments):
    """The raw reply to one ContentDirectory action: the request sent and the whole answer
    read, nothing parsed (what the latencies time: the server's part, not the probe's)."""
    body = ('<?xml version="1.0" encoding="utf-8"?><s:Envelope '
            'xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:%s xmlns:u="%s">%s</u:%s></s:Body></s:Envelope>' % (
                name, SERVICE_TYPE[0],
                "".join("<%s>%s</%s>" % (k, xml_text(str(v)), k) for k, v in arguments),
                name)).encode()
    request = urllib.request.Request(url, data=body, headers={
        "SOAPAction": '"%s#%s"' % (SERVICE_TYPE[0], name),
        "Content-Type": 'text/xml; charset="utf-8"'})
    return urllib.request.urlopen(request, timeout=60).read()


def parse_reply(reply):
    """(DIDL root, TotalMatches) of a reply answering a Result."""
    envelope = ET.fromstring(reply)
    fields = {el.tag.split("}")[-1]: el.text for el in envelope.iter() if len(el) == 0}
    return ET.fromstring(fields["Result"]), int(fields.get("TotalMatches") or 0)


def action(url, name, arguments):
    """(DIDL root, TotalMatches) of one ContentDirectory action answering a Result."""
    return parse_reply(exchange(url, name, arguments))


def browse_arguments(object_id, flag="BrowseDirectChildren", start=0, count=0):
    return [("ObjectID", object_id), ("BrowseFlag", flag), ("Filter", "*"),
            ("StartingIndex", start), ("RequestedCount", count), ("SortCriteria", "")]


def search_arguments(object_id, criteria, count):
    return [("ContainerID", object_id), ("SearchCriteria", criteria), ("Filter", "*"),
            ("StartingIndex", 0), ("RequestedCount", count), ("SortCriteria", "")]


def browse(url, object_id, flag="BrowseDirectChildren", start=0, count=0):
    """(DIDL root, TotalMatches) of one Browse."""
    return action(url, "Browse", browse_arguments(object_id, flag, start, count))


def search(url, object_id, criteria, count):
    """(DIDL root, TotalMatches) of one Search."""
    return action(url, "Search", search_arguments(object_id, criteria, count))


def objects(didl):
    return [el for el in didl if el.tag in (DIDL + "item", DIDL + "container")]


def children(url, object_id, page=500):
    """Every child of a container, page by page."""
    start, found = 0, []
    while True:
        didl, total = browse(url, object_id, start=start, count=page)
        got = [el for el in didl if el.tag in (DIDL + "item", DIDL + "container")]
        found += got
        start += len(got)
        if not got or start >= total:
            return found


def find(location, title):
    """Breadth-first search for a container titled `title`, folders first. Only the first
    page of each container is looked at: the media tree's folders hold few folders each,
    while a server's views (all songs, all videos) may hold the whole library."""
    url = control_url(location)
    queue, seen = ["0"], 0
    while queue and seen < 400:
        object_id = queue.pop(0)
        seen += 1
        for el in objects(browse(url, object_id, count=200)[0]):
            if el.tag != DIDL + "container":
                continue
            name = el.findtext(DC + "title") or ""
            if name == title:
                return {"id": el.get("id")}
            # Folder views lead to the media tree: look there first.
            folderish = any(w in name.lower() for w in ("folder", "director", "pc ", "bench",
                                                        "media", "tmp"))
            (queue.insert(0, el.get("id")) if folderish else queue.append(el.get("id")))
    return {"id": None}


def path(location, choices):
    """The container reached from the root through containers titled as one of `choices`
    says (alternatives joined by "|", each a list of titles joined by "/"; the first that
    leads somewhere counts), each among the first 200 children of the one before."""
    url = control_url(location)
    for titles in choices.split("|"):
        object_id = "0"
        for title in titles.split("/"):
            found = [el.get("id") for el in objects(browse(url, object_id, count=200)[0])
                     if el.tag == DIDL + "container" and el.findtext(DC + "title") == title]
            if not found:
                break
            object_id = found[0]
        else:
            return {"id": object_id}
    return {"id": None}


def total(location, object_id):
    """TotalMatches of a container's children (one Browse of one child)."""
    return {"total": browse(control_url(location), object_id, count=1)[1]}


def count(location, object_id):
    url = control_url(location)
    items, queue = 0, [object_id]
    while queue:
        for el in children(url, queue.pop()):
            if el.tag == DIDL + "item":
                items += 1
            else:
                queue.append(el.get("id"))
    return {"items": items}


def in_threads(clients, work):
    threads = [threading.Thread(target=work, args=(n,)) for n in range(clients)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()


def latency(location, object_id, page, clients, requests):
    """Browse pages of `page` from `clients` threads: the seconds of each exchange, the
    seconds the probe then took to parse each reply, and the object counts. The replies are
    parsed after the load: parsing in one thread would hold Python's interpreter lock while
    the others wait for their replies, and count the probe's own work against the server
    (the more so, the larger its answers)."""
    url = control_url(location)
    seconds, replies = [], []
    lock = threading.Lock()

    def work(_n):
        for _ in range(requests):
            start = time.monotonic()
            reply = exchange(url, "Browse", browse_arguments(object_id, count=page))
            took = time.monotonic() - start
            with lock:
                seconds.append(took)
                replies.append(reply)
    in_threads(clients, work)
    parse_seconds, returned = [], set()
    for reply in replies:
        start = time.monotonic()
        didl, _total = parse_reply(reply)
        parse_seconds.append(time.monotonic() - start)
        returned.add(len(objects(didl)))
    # How many objects the answers held: a server may return fewer than asked for.
    return {"seconds": seconds, "parse_seconds": parse_seconds, "returned": sorted(returned)}


def timed(url, requests, name, arguments):
    """`requests` exchanges of one action one after the other: their seconds (the replies
    parsed afterwards, untimed) and the distinct object counts of their answers."""
    seconds, returned = [], set()
    for _ in range(requests):
        start = time.monotonic()
        reply = exchange(url, name, arguments)
        seconds.append(time.monotonic() - start)
        returned.add(len(objects(parse_reply(reply)[0])))
    return {"seconds": seconds, "returned": sorted(returned)}


def page(location, object_id, start, count_, requests):
    url = control_url(location)
    return timed(url, requests, "Browse", browse_arguments(object_id, start=start, count=count_))


def walk(location, object_id, size):
    """A client walking a container in order, one page after another, to its end: the
    seconds of the exchanges together (each reply parsed afterwards, untimed)."""
    url = control_url(location)
    start, items, seconds = 0, 0, 0.0
    while True:
        began = time.monotonic()
        reply = exchange(url, "Browse", browse_arguments(object_id, start=start, count=size))
        seconds += time.monotonic() - began
        didl, total = parse_reply(reply)
        got = len(objects(didl))
        items += got
        start += got
        if not got or start >= total:
            return {"seconds": seconds, "items": items}


def search_load(location, object_id, criteria, requests):
    url = control_url(location)
    return timed(url, requests, "Search", search_arguments(object_id, criteria, 100))


def mixed(location, object_id, clients, seconds):
    """Browse pages of 100 at varying offsets and BrowseMetadata of single items; the
    replies are read whole but not parsed (the probe's parsing would be the limit)."""
    url = control_url(location)
    ids = [el.get("id") for el in children(url, object_id)]
    done = [0] * clients
    deadline = time.monotonic() + seconds

    def work(n):
        i = n
        while time.monotonic() < deadline:
            if i % 2:
                arguments = browse_arguments(
                    object_id, start=(i * 37) % max(1, len(ids) - 100), count=100)
            else:
                arguments = browse_arguments(ids[(i * 7919) % len(ids)], flag="BrowseMetadata")
            if b"Result" not in exchange(url, "Browse", arguments):
                raise RuntimeError("a Browse of the mixed load answered no Result")
            done[n] += 1
            i += clients
    in_threads(clients, work)
    return {"requests": sum(done), "rps": sum(done) / seconds}


def stream(location, object_id):
    url = control_url(location)
    item = [el for el in children(url, object_id) if el.tag == DIDL + "item"][0]
    media = item.find(DIDL + "res").text
    best = None
    for _ in range(3):
        start, size = time.monotonic(), 0
        with urllib.request.urlopen(media, timeout=60) as response:
            while True:
                chunk = response.read(1 << 20)
                if not chunk:
                    break
                size += len(chunk)
        elapsed = time.monotonic() - start
        best = min(best or elapsed, elapsed)
    return {"bytes": size, "seconds": best, "total_bytes": 3 * size}


def main():
    command, args = sys.argv[1], sys.argv[2:]
    if command == "discover":
        result = discover(*[float(a) for a in args])
    elif command == "watch":
        result = watch(float(args[0]), args[1],
                       {args[i]: int(args[i + 1]) for i in range(2, len(args), 2)})
    elif command == "find":
        result = find(*args)
    elif command == "total":
        result = total(*args)
    elif command == "path":
        result = path(*args)
    elif command == "page":
        result = page(args[0], args[1], int(args[2]), int(args[3]), int(args[4]))
    elif command == "walk":
        result = walk(args[0], args[1], int(args[2]))
    elif command == "search":
        result = search_load(args[0], args[1], args[2], int(args[3]))
    elif command == "count":
        result = count(*args)
    elif command == "latency":
        result = latency(args[0], args[1], int(args[2]), int(args[3]), int(args[4]))
    elif command == "mixed":
        result = mixed(args[0], args[1], int(args[2]), float(args[3]))
    elif command == "stream":
        result = stream(*args)
    else:
        raise SystemExit("unknown command " + command)
    print(json.dumps(result))


if __name__ == "__main__":
    main()
