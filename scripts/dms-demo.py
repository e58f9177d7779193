#!/usr/bin/python3
"""make demo, as root: the one-command start. calyx-dms runs as an unprivileged user with
`--media` on generated sample media and nothing else set up (its own private PostgreSQL
cluster in its state folder), in one network namespace; a GUPnP control point in another
discovers it and prints what it saw: the friendly name, the containers, a video's
DLNA.ORG_PN and a byte range fetched; then the client list with the control point's MAC.
Needs CALYX_SOURCE_DIR, CALYX_DMS and CALYX_TOOL."""

import json
import os
import pwd
import re
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "tests", "server", "dms"))
from dms_embedded_test import USER, Server  # noqa: E402
from dms_lab import Lab, wait_for  # noqa: E402

TELEVISION = "Samsung TV 2014+ (Tizen)"


def main():
    with Lab("demo", needs_database=False) as lab:
        files = lab.make_media()
        media = os.path.dirname(files["clip"])
        user = pwd.getpwnam(USER)
        os.chown(os.path.join(lab.root, "var/packages/Calyx/etc"), user.pw_uid, user.pw_gid)
        home = os.path.join(lab.tmp, "home")
        os.makedirs(os.path.join(home, "tmp"))
        for folder in (home, os.path.join(home, "tmp")):
            os.chown(folder, user.pw_uid, user.pw_gid)
        player = lab.add_client("02:77:de:30:00:01")
        # The player is taken for a television, as a user would choose its profile on the
        # settings page: its video then gets the DLNA profile name that television wants.
        profiles = os.path.join(lab.source, "data/profiles.json")
        subprocess.run([lab.tool, "identify", "--root", lab.root, "--profiles", profiles,
                        "--mac", player.mac, "--ip", player.ip, "-H", "User-Agent: GUPnP/1.6",
                        "--save", "--brief"],
                       check=True, stdout=subprocess.DEVNULL)
        subprocess.run([lab.tool, "clients", "--root", lab.root, "set-profile", player.mac,
                        TELEVISION, "--profiles", profiles], check=True,
                       stdout=subprocess.DEVNULL)
        print("The player's entry in the client list: profile %r, chosen by the user" %
              TELEVISION)
        server = Server(lab, home, media)
        print("$ calyx-dms --media %s     (as the user %s, no database set up)" % (media, USER))
        server.start()
        wait_for("the first index", lambda: server.output_has("index up to date"), 60)
        for line in server.output().splitlines():
            print("  " + line)
        print("\nserver:  namespace %s" % lab.server_ns)
        print("player:  namespace %s, %s, MAC %s" % (player.ns, player.ip, player.mac))
        result = player.run("/usr/bin/python3",
                            os.path.join(here, "..", "tests/server/dms/upnp_control_point.py"),
                            "eth0", "--timeout", "30", check=False)
        if result.returncode != 0:
            print("control point failed: " + result.stdout + result.stderr, file=sys.stderr)
            return 1
        facts = json.loads(result.stdout.splitlines()[0])
        pn = re.search(r"DLNA\.ORG_PN=([^;]+)", facts["protocolInfo"] or "")
        print("\nThe GUPnP control point found %r (%s) after %.2f s" % (
            facts["friendlyName"], facts["modelName"], facts["discoverySeconds"]))
        print("  containers:   %s" % ", ".join(facts["rootTitles"]))
        print("  a video:      %s  (%s)" % (facts["itemTitle"], " > ".join(facts["browsePath"])))
        print("  DLNA.ORG_PN:  %s" % (pn.group(1) if pn else "(none)"))
        print("  protocolInfo: %s" % facts["protocolInfo"])
        print("  byte range:   GET %s, Range: bytes=0-1023 -> HTTP %d, %d bytes, %s" % (
            facts["url"], facts["status"], facts["bytes"], facts["contentRange"]))
        wait_for("the saved client list", lambda: lab.client_entry(player.mac), 5)
        print("\nThe client list the server saved (calyx clients list):")
        sys.stdout.flush()
        subprocess.run([lab.tool, "clients", "--root", lab.root, "list"], check=True)
        server.stop()
    return 0


if __name__ == "__main__":
    sys.exit(main())
