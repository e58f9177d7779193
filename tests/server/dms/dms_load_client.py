#!/usr/bin/python3
"""One client of the load and fault tests, run inside its own namespace:

    dms_load_client.py CONFIG.json RESULT.json

It browses and streams in rounds until CONFIG's deadline (seconds) or round count, checking
every answer: each Browse is a well-formed SOAP answer whose DIDL-Lite parses and holds as
many objects as NumberReturned says; each stream (whole file or a range) equals the file's
bytes. RESULT gets the counts, the latencies and every problem seen.

CONFIG: {"host": ip, "port": n, "headers": ["Name: value", ...], "browse": [object id, ...],
"streams": [[url path, file path], ...], "seconds": s, "rounds": n, "page": count}
"""

import hashlib
import http.client
import json
import sys
import time
import xml.etree.ElementTree as ET

CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"
DROPPED = ("host", "content-length", "soapaction", "content-type", "connection")


def browse_body(object_id, page):
    return ('<?xml version="1.0" encoding="utf-8"?>'
            '<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:Browse xmlns:u="%s"><ObjectID>%s</ObjectID>'
            '<BrowseFlag>BrowseDirectChildren</BrowseFlag><Filter>*</Filter>'
            '<StartingIndex>0</StartingIndex><RequestedCount>%d</RequestedCount>'
            '<SortCriteria></SortCriteria></u:Browse></s:Body></s:Envelope>'
            % (CDS, object_id, page)).encode()


def check_browse(status, data):
    """None when the answer is a well-formed Browse result, else what is wrong; a UPnP
    error (status 500 with errorCode) is returned as ("upnp", code)."""
    try:
        envelope = ET.fromstring(data)
    except ET.ParseError as e:
        return "SOAP answer not well-formed (%s): %r" % (e, data[:200])
    fields = {el.tag.split("}")[-1]: el.text for el in envelope.iter() if len(el) == 0}
    if status == 500 and fields.get("errorCode"):
        return ("upnp", fields["errorCode"])
    if status != 200:
        return "status %d: %r" % (status, data[:200])
    try:
        didl = ET.fromstring(fields.get("Result") or "")
    except ET.ParseError as e:
        return "DIDL-Lite not well-formed (%s): %r" % (e, (fields.get("Result") or "")[:200])
    objects = [el for el in didl if el.tag in (DIDL + "item", DIDL + "container")]
    if str(len(objects)) != fields.get("NumberReturned"):
        return "%d objects, NumberReturned %r" % (len(objects), fields.get("NumberReturned"))
    if int(fields.get("TotalMatches") or -1) < len(objects):
        return "TotalMatches %r below %d objects" % (fields.get("TotalMatches"), len(objects))
    return None


class Runner:
    def __init__(self, config):
        self.config = config
        self.headers = {}
        for line in config.get("headers", []):
            name, _, value = line.partition(":")
            if name.strip().lower() not in DROPPED:
                self.headers[name.strip()] = value.strip()
        self.files = {}
        for url, path in config.get("streams", []):
            with open(path, "rb") as f:
                self.files[url] = f.read()
        self.current = ""
        self.result = {"browses": 0, "streams": 0, "bytes": 0, "upnp_errors": {},
                       "latencies": [], "problems": []}

    def request(self, method, path, body=None, headers=None):
        self.current = "%s %s" % (method, path)
        connection = http.client.HTTPConnection(self.config["host"], self.config["port"],
                                                timeout=self.config.get("timeout", 20))
        try:
            connection.request(method, path, body=body, headers=dict(self.headers,
                                                                     **(headers or {})))
            response = connection.getresponse()
            return response.status, dict(response.getheaders()), response.read()
        finally:
            connection.close()

    def problem(self, text):
        if len(self.result["problems"]) < 20:
            self.result["problems"].append(text)

    def browse(self, object_id):
        start = time.monotonic()
        status, _headers, data = self.request(
            "POST", "/ContentDirectory/control", browse_body(object_id, self.config["page"]),
            {"SOAPAction": '"%s#Browse"' % CDS, "Content-Type": 'text/xml; charset="utf-8"'})
        self.result["latencies"].append(time.monotonic() - start)
        wrong = check_browse(status, data)
        if isinstance(wrong, tuple):
            codes = self.result["upnp_errors"]
            codes[wrong[1]] = codes.get(wrong[1], 0) + 1
        elif wrong:
            self.problem("Browse %s: %s" % (object_id, wrong))
        else:
            self.result["browses"] += 1

    def stream(self, url, ranged):
        want = self.files[url]
        headers = {}
        if ranged and len(want) > 2:
            first, last = len(want) // 3, len(want) // 3 * 2
            headers["Range"] = "bytes=%d-%d" % (first, last)
            want = want[first:last + 1]
        status, _headers, data = self.request("GET", url, headers=headers)
        if status not in (200, 206) or data != want:
            self.problem("GET %s %r: status %d, %d bytes (sha256 %s), want %d (sha256 %s)" % (
                url, headers, status, len(data), hashlib.sha256(data).hexdigest()[:12],
                len(want), hashlib.sha256(want).hexdigest()[:12]))
        else:
            self.result["streams"] += 1
            self.result["bytes"] += len(data)

    def run(self):
        deadline = time.monotonic() + self.config["seconds"]
        streams = list(self.files)
        rounds = 0
        while rounds < self.config["rounds"] and time.monotonic() < deadline:
            try:
                for object_id in self.config["browse"]:
                    self.browse(object_id)
                if streams:
                    self.stream(streams[rounds % len(streams)], ranged=rounds % 2 == 1)
            except (OSError, http.client.HTTPException) as e:
                self.problem("round %d, %s: %s: %s" % (rounds, self.current, type(e).__name__, e))
            rounds += 1
        self.result["rounds"] = rounds
        return self.result


def main():
    with open(sys.argv[1]) as f:
        config = json.load(f)
    result = Runner(config).run()
    with open(sys.argv[2], "w") as f:
        json.dump(result, f)


if __name__ == "__main__":
    main()
