#!/usr/bin/python3
"""A GUPnP control point, as a media player would use it: finds a MediaServer by SSDP on
one interface, reads its description, browses from the root to the first item of the
wanted class and downloads part of it with a Range request. Prints one JSON object.

  upnp_control_point.py INTERFACE [--class object.item.videoItem] [--range 0-1023]
                        [--timeout 20] [--await-byebye SECONDS]
Exit status 0 when every step worked; 1 with {"error": ...} otherwise. With
--await-byebye it then waits that long for the server's bye-bye and prints a second line,
{"byebye": true|false}.
"""

import argparse
import hashlib
import json
import sys
import time
import xml.etree.ElementTree as ET

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
gi.require_version("Soup", "3.0")
from gi.repository import GLib, GObject, GSSDP, GUPnP, Soup  # noqa: E402

DIDL = {"d": "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
        "dc": "http://purl.org/dc/elements/1.1/",
        "upnp": "urn:schemas-upnp-org:metadata-1-0/upnp/"}
CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"


def fail(message, **facts):
    print(json.dumps(dict(facts, error=message)))
    sys.exit(1)


def discover(context, timeout):
    """The first MediaServer proxy announced, or None after `timeout` seconds."""
    found = []
    cp = GUPnP.ControlPoint.new(context, "urn:schemas-upnp-org:device:MediaServer:1")
    cp.connect("device-proxy-available", lambda _cp, proxy: found.append(proxy))
    cp.gone = []
    cp.connect("device-proxy-unavailable", lambda _cp, proxy: cp.gone.append(proxy.get_udn()))
    cp.set_active(True)
    loop = GLib.MainContext.default()
    deadline = time.monotonic() + timeout
    while not found and time.monotonic() < deadline:
        loop.iteration(False)
        time.sleep(0.01)
    return found[0] if found else None, cp


def browse(service, object_id, start=0, count=0):
    action = GUPnP.ServiceProxyAction.new_from_list(
        "Browse", ["ObjectID", "BrowseFlag", "Filter", "StartingIndex", "RequestedCount",
                   "SortCriteria"],
        [object_id, "BrowseDirectChildren", "*", start, count, ""])
    service.call_action(action, None)
    ok, values = action.get_result_list(
        ["Result", "NumberReturned", "TotalMatches", "UpdateID"],
        [GObject.TYPE_STRING, GObject.TYPE_UINT, GObject.TYPE_UINT, GObject.TYPE_UINT])
    if not ok:
        raise RuntimeError("Browse of %s returned no result" % object_id)
    return ET.fromstring(values[0]), values[1], values[2]


def find_item(service, wanted_class, depth=0):
    """Depth-first from the root to the first item of `wanted_class`; returns (item, path)."""
    stack = [("0", [])]
    visited = 0
    while stack and visited < 50:
        object_id, path = stack.pop(0)
        visited += 1
        didl, _, _ = browse(service, object_id)
        for item in didl.findall("d:item", DIDL):
            if item.findtext("upnp:class", "", DIDL).startswith(wanted_class):
                return item, path + [object_id]
        for container in didl.findall("d:container", DIDL):
            stack.append((container.get("id"), path + [object_id]))
    return None, []


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("interface")
    parser.add_argument("--class", dest="wanted", default="object.item.videoItem")
    parser.add_argument("--range", default="0-1023")
    parser.add_argument("--timeout", type=float, default=20)
    parser.add_argument("--await-byebye", type=float, default=0)
    args = parser.parse_args()

    context = GUPnP.Context.new_full(args.interface, None, 0, GSSDP.UDAVersion.VERSION_1_0)
    started = time.monotonic()
    proxy, cp = discover(context, args.timeout)
    if proxy is None:
        fail("no MediaServer answered within %.0f s" % args.timeout)
    facts = {
        "discoverySeconds": round(time.monotonic() - started, 2),
        "location": proxy.get_location(),
        "friendlyName": proxy.get_friendly_name(),
        "modelName": proxy.get_model_name(),
        "serialNumber": proxy.get_serial_number(),
        "udn": proxy.get_udn(),
    }
    service = proxy.get_service(CDS)
    if service is None:
        fail("the server has no ContentDirectory", **facts)
    root, returned, total = browse(service, "0")
    facts["rootTitles"] = [c.findtext("dc:title", "", DIDL) for c in root.findall("d:container", DIDL)]
    item, path = find_item(service, args.wanted)
    if item is None:
        fail("no %s found" % args.wanted, **facts)
    res = item.find("d:res", DIDL)
    facts.update(itemTitle=item.findtext("dc:title", "", DIDL), browsePath=path,
                 url=res.text, protocolInfo=res.get("protocolInfo"),
                 duration=res.get("duration"), size=int(res.get("size", "0")))
    # The download, through the stack's own HTTP client.
    session = context.get_session()
    message = Soup.Message.new("GET", res.text)
    message.get_request_headers().append("Range", "bytes=" + args.range)
    body = session.send_and_read(message, None).get_data()
    facts.update(status=message.get_status(), bytes=len(body),
                 sha256=hashlib.sha256(body).hexdigest(),
                 contentRange=message.get_response_headers().get_one("Content-Range"),
                 contentFeatures=message.get_response_headers().get_one("contentFeatures.dlna.org"))
    print(json.dumps(facts), flush=True)
    if args.await_byebye > 0:
        loop = GLib.MainContext.default()
        deadline = time.monotonic() + args.await_byebye
        while facts["udn"] not in cp.gone and time.monotonic() < deadline:
            loop.iteration(False)
            time.sleep(0.01)
        print(json.dumps({"byebye": facts["udn"] in cp.gone}), flush=True)


if __name__ == "__main__":
    main()
