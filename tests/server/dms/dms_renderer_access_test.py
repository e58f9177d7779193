#!/usr/bin/python3
"""Renderer discovery and access control of calyx-dms.

A renderer (a GUPnP root device serving a recorded television's description) in a client
namespace is identified through HandleDiscovery before it sends any request, as `calyx
identify --description` identifies it; so is one that announces a later version of the
renderer device type (a current Android television's MediaRenderer:3). A client denied with `calyx clients deny` gets
403 with no body within 2 s, without a restart, and is served again within 2 s of `calyx
clients allow`. With new clients denied, a new client gets 403 for every request."""

import json
import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
RENDERER = ("sharp-aquos", "00:1c:fc:66:70:01")
RENDERER_V3 = ("philips-android-tv", "1c:5a:6b:55:60:02")
BROWSE_ROOT = [("ObjectID", "0"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
               ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")]


def browse_result(lab, client):
    return soap_action(client, lab, "ContentDirectory", "Browse", BROWSE_ROOT)


def browse_status(lab, client):
    return browse_result(lab, client)[0]


def clients_tool(lab, command, mac):
    result = run(lab.tool, "clients", "--root", lab.root, command, mac, check=False)
    if result.returncode != 0:
        fail("calyx clients %s: %s" % (command, result.stderr))


def every_request_forbidden(lab, client, media_id):
    for url in (lab.location(), lab.url("/ContentDirectory.xml"),
                lab.url("/media/m/%d.mp3" % media_id)):
        status, headers, body = client.curl(url)
        if status != 403 or body:
            fail("%s for a denied client: %d with %d bytes" % (url, status, len(body)))
    status, headers, body = client.curl("-X", "POST", "-H",
                                        'SOAPAction: "urn:schemas-upnp-org:service:'
                                        'ContentDirectory:1#Browse"', "--data-binary", "x",
                                        lab.url("/ContentDirectory/control"))
    if status != 403 or body:
        fail("control request of a denied client: %d with %d bytes" % (status, len(body)))


def seconds_until(what, status_wanted, lab, client, limit):
    """Polls Browse until it answers `status_wanted`; the seconds it took (at most `limit`)."""
    start = time.monotonic()
    while time.monotonic() - start < limit:
        if browse_status(lab, client) == status_wanted:
            return time.monotonic() - start
        time.sleep(0.1)
    fail("%s: no %d within %.1f s" % (what, status_wanted, limit))


def expect_identified_renderer(lab, profiles, recorded, client):
    """Announces the recorded renderer from `client`'s namespace and waits until the server
    has recorded it with the profile and fields `calyx identify` gives its description."""
    name, mac = recorded
    description = os.path.join(lab.source, "data/clients", name, "description.xml")
    renderer = lab.spawn(client.ns, "/usr/bin/python3", os.path.join(HERE, "upnp_renderer.py"),
                         "eth0", description, stdout=subprocess.PIPE, text=True)
    if renderer.stdout.readline().strip() != "announced":
        fail("the renderer %s did not start" % name)
    result = run(lab.tool, "identify", "-p", profiles, "--mac", mac, "--ip", client.ip,
                 "--description", description, "--json")
    expected = json.loads(result.stdout)
    if expected["profileName"] == "Default Profile":
        fail("%s: the shipped list names no profile for it" % name)
    entry = wait_for("the entry of renderer %s" % name, lambda: (
        lambda e: e if e and e.get("profileName") == expected["profileName"] else None)(
            lab.client_entry(mac)), 10)
    for key in ("friendlyName", "manufacturer", "modelName", "modelNumber", "UDN"):
        if entry.get(key) != expected["entry"].get(key):
            fail("renderer %s %s: %r, the tool says %r" % (name, key, entry.get(key),
                                                          expected["entry"].get(key)))
    if entry.get("displayName") != expected["displayName"]:
        fail("display name %r, the tool says %r" % (entry.get("displayName"),
                                                    expected["displayName"]))
    requests = [k for k in entry if k.startswith(("browse_", "open_"))]
    if requests or entry.get("ipAddr") != client.ip:
        fail("the renderer sent no request, yet: %r" % entry)
    print("renderer %s identified as %r (%r) before any request" %
          (mac, entry["profileName"], entry["displayName"]))


def main():
    with Lab("access") as lab:
        profiles = os.path.join(lab.source, "data/profiles.json")
        lab.make_index()
        song = lab.insert("music", path="/lab/none.mp3", title="Song", mime_type="audio/mpeg")
        renderer_client = lab.add_client(RENDERER[1])
        renderer_v3_client = lab.add_client(RENDERER_V3[1])
        viewer = lab.add_client("3c:97:0e:10:20:03")
        lab.start_server()

        # Each renderer announces itself; the server reads its description and records it.
        for recorded, client in ((RENDERER, renderer_client), (RENDERER_V3, renderer_v3_client)):
            expect_identified_renderer(lab, profiles, recorded, client)

        # Deny and allow a client with the tool, without restarting the server.
        if browse_status(lab, viewer) != 200:
            fail("the viewer is not served")
        wait_for("the viewer's entry", lambda: lab.client_entry(viewer.mac), 5)
        clients_tool(lab, "deny", viewer.mac)
        took = seconds_until("after calyx clients deny", 403, lab, viewer, 2.0)
        print("denied with the tool: 403 after %.2f s" % took)
        every_request_forbidden(lab, viewer, song)
        clients_tool(lab, "allow", viewer.mac)
        took = seconds_until("after calyx clients allow", 200, lab, viewer, 2.0)
        print("allowed again: served after %.2f s" % took)
        # The tool forgets the renderer. The server's next saves keep the tool's decisions.
        clients_tool(lab, "remove", RENDERER[1])
        time.sleep(2.5)
        if lab.client_entry(viewer.mac).get("isAccess") is not True:
            fail("the saved list lost the allow: %r" % lab.client_entry(viewer.mac))
        if lab.client_entry(RENDERER[1]) is not None:
            fail("the server saved the removed renderer again")

        # New clients denied: a client seen for the first time gets 403 everywhere.
        if lab.stop_server() != 0:
            fail("the server did not stop cleanly")
        newcomer = lab.add_client("02:77:00:00:00:99")
        # This time from a configuration file, in German, with the database server named
        # there rather than in the environment.
        config = os.path.join(lab.tmp, "calyx-dms.conf")
        with open(config, "w") as f:
            f.write("# calyx-dms settings\ndeny-new-clients = true\nno-discovery = true\n"
                    "language = ger\ndatabase = \"host=%s port=%s\"\n"
                    % (os.environ["PGHOST"], os.environ.get("PGPORT", "5432")))
        lab.start_server("--config", config, drop_env=("PGHOST", "PGPORT"))
        status, result = browse_result(lab, viewer)
        if status != 200 or "<dc:title>Musik</dc:title>" not in result.get("Result", ""):
            fail("German container titles from the configuration file: %d %r" % (status, result))
        every_request_forbidden(lab, newcomer, song)
        if browse_status(lab, viewer) != 200:
            fail("a known, allowed client lost access when new clients are denied")
        entry = wait_for("the newcomer's entry", lambda: lab.client_entry(newcomer.mac), 5)
        if entry.get("isAccess") is not False:
            fail("newcomer entry %r" % entry)
        clients_tool(lab, "allow", newcomer.mac)
        seconds_until("the newcomer after calyx clients allow", 200, lab, newcomer, 2.0)
    print("PASS")


if __name__ == "__main__":
    main()
