#!/usr/bin/python3
"""A UPnP root device that announces a recorded device description (a renderer as a
television would announce itself) on one interface until it is terminated.

  upnp_renderer.py INTERFACE DESCRIPTION_XML
Prints "announced" once the device is available.
"""

import os
import signal
import sys

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
from gi.repository import GLib, GSSDP, GUPnP  # noqa: E402


def main():
    interface, description = sys.argv[1], os.path.abspath(sys.argv[2])
    context = GUPnP.Context.new_full(interface, None, 0, GSSDP.UDAVersion.VERSION_1_0)
    device = GUPnP.RootDevice.new(context, os.path.basename(description),
                                  os.path.dirname(description))
    device.set_available(True)
    loop = GLib.MainLoop()
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGTERM, loop.quit)
    GLib.timeout_add_seconds(120, loop.quit)  # never outlive a test
    print("announced", flush=True)
    loop.run()
    device.set_available(False)


if __name__ == "__main__":
    main()
