#!/usr/bin/python3
"""A GUPnP control point that subscribes to a MediaServer's ContentDirectory events, as
a media player does to learn that the library changed. Finds the server by SSDP on one
interface, subscribes, and prints one JSON line per evented variable received:

  {"var": "SystemUpdateID", "value": 12, "t": 1732550000.25}

  upnp_event_listener.py INTERFACE [--timeout 20] [--seconds 60]
A first line {"subscribed": true, ...} says that the subscription was made. Runs for
--seconds (bounded), then exits 0; 1 with {"error": ...} when no server was found.
"""

import argparse
import json
import sys
import time

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
from gi.repository import GLib, GObject, GSSDP, GUPnP  # noqa: E402

CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"


def emit(**facts):
    print(json.dumps(facts), flush=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("interface")
    parser.add_argument("--timeout", type=float, default=20)
    parser.add_argument("--seconds", type=float, default=60)
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
        emit(error="no MediaServer answered within %.0f s" % args.timeout)
        sys.exit(1)
    service = found[0].get_service(CDS)
    if service is None:
        emit(error="the server has no ContentDirectory")
        sys.exit(1)

    def heard(_proxy, variable, value, _data=None):
        emit(var=variable, value=value, t=time.time())

    service.add_notify("SystemUpdateID", GObject.TYPE_UINT, heard, None)
    service.add_notify("ContainerUpdateIDs", GObject.TYPE_STRING, heard, None)
    lost = []
    service.connect("subscription-lost", lambda _proxy, error: lost.append(str(error)))
    service.set_subscribed(True)
    emit(subscribed=True, udn=found[0].get_udn(), t=time.time())
    # A blocking main loop, never iterations with sleeps in between: GUPnP drops an event
    # that it reads before it has handled the SUBSCRIBE answer, and then sees every later
    # event as one missed and subscribes again.
    main = GLib.MainLoop()
    GLib.timeout_add(int(args.seconds * 1000), main.quit)
    service.connect("subscription-lost", lambda *_: main.quit())
    main.run()
    if lost:
        emit(error="subscription lost: " + lost[0])
        sys.exit(1)


if __name__ == "__main__":
    main()
