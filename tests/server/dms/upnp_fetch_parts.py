#!/usr/bin/python3
"""A GUPnP control point that fetches the parts of one item that are not the media: finds
the MediaServer by SSDP on one interface, browses the children of one container, takes
the first item with album art and the first `res` of a given MIME type, and downloads both
through the stack's HTTP session. Prints one JSON object.

  upnp_fetch_parts.py INTERFACE CONTAINER_ID MIME OUT_DIR [--timeout 20]
"""

import argparse
import json
import os
import sys
import time
import xml.etree.ElementTree as ET

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
gi.require_version("Soup", "3.0")
from gi.repository import GLib, GObject, GSSDP, GUPnP, Soup  # noqa: E402

DIDL = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
        "upnp": "urn:schemas-upnp-org:metadata-1-0/upnp/"}
CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"


def fail(message):
    print(json.dumps({"error": message}))
    sys.exit(1)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("interface")
    parser.add_argument("container")
    parser.add_argument("mime")
    parser.add_argument("out")
    parser.add_argument("--timeout", type=float, default=20)
    args = parser.parse_args()

    context = GUPnP.Context.new_full(args.interface, None, 0, GSSDP.UDAVersion.VERSION_1_0)
    found = []
    cp = GUPnP.ControlPoint.new(context, "urn:schemas-upnp-org:device:MediaServer:1")
    cp.connect("device-proxy-available", lambda _cp, proxy: found.append(proxy))
    cp.set_active(True)
    loop = GLib.MainContext.default()
    deadline = time.monotonic() + args.timeout
    while not found and time.monotonic() < deadline:
        loop.iteration(False)
        time.sleep(0.01)
    if not found:
        fail("no MediaServer answered within %.0f s" % args.timeout)
    service = found[0].get_service(CDS)
    action = GUPnP.ServiceProxyAction.new_from_list(
        "Browse", ["ObjectID", "BrowseFlag", "Filter", "StartingIndex", "RequestedCount",
                   "SortCriteria"],
        [args.container, "BrowseDirectChildren", "*", 0, 0, ""])
    service.call_action(action, None)
    ok, values = action.get_result_list(["Result"], [GObject.TYPE_STRING])
    if not ok:
        fail("Browse of %s returned no result" % args.container)
    didl = ET.fromstring(values[0])
    art = res = None
    for item in didl.findall("d:item", DIDL):
        art = art or item.findtext("upnp:albumArtURI", None, DIDL)
        for r in item.findall("d:res", DIDL):
            if res is None and (":%s:" % args.mime) in r.get("protocolInfo", ""):
                res = r.text
    if art is None or res is None:
        fail("no album art (%r) or no %s res (%r) in %s" % (art, args.mime, res,
                                                            args.container))
    facts = {}
    session = context.get_session()
    for name, url in (("art", art), ("res", res)):
        message = Soup.Message.new("GET", url)
        body = session.send_and_read(message, None).get_data()
        path = os.path.join(args.out, "fetched-" + name)
        with open(path, "wb") as f:
            f.write(body)
        facts[name] = {"url": url, "status": message.get_status(), "path": path,
                       "type": message.get_response_headers().get_one("Content-Type")}
    print(json.dumps(facts), flush=True)


if __name__ == "__main__":
    main()
