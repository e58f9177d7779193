#!/usr/bin/python3
"""make demo, as root: calyx-dms on generated sample media in one network namespace,
browsed from another by a GUPnP control point; then the client list with the control
point's real MAC. Needs CALYX_SOURCE_DIR, CALYX_DMS, CALYX_TOOL and a PostgreSQL server
(PGHOST, PGPORT)."""

import json
import os
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "tests", "server", "dms"))
from dms_lab import Lab, wait_for  # noqa: E402


def main():
    with Lab("demo") as lab:
        lab.make_index()
        files = lab.make_media()
        lab.index_media(files)
        player = lab.add_client("02:77:de:30:00:01")
        lab.start_server()
        print("server:  namespace %s, %s" % (lab.server_ns, lab.server_output().strip()))
        print("player:  namespace %s, %s, MAC %s" % (player.ns, player.ip, player.mac))
        result = player.run("/usr/bin/python3",
                            os.path.join(here, "..", "tests/server/dms/upnp_control_point.py"),
                            "eth0", check=False)
        if result.returncode != 0:
            print("control point failed: " + result.stdout + result.stderr, file=sys.stderr)
            return 1
        facts = json.loads(result.stdout)
        print("\nThe GUPnP control point found %r (%s, UDN %s) after %.2f s" % (
            facts["friendlyName"], facts["modelName"], facts["udn"], facts["discoverySeconds"]))
        print("  root containers: %s" % ", ".join(facts["rootTitles"]))
        print("  browsed %s to %r" % (" > ".join(facts["browsePath"]), facts["itemTitle"]))
        print("  %s  %s" % (facts["url"], facts["protocolInfo"]))
        print("  Range request: HTTP %d, %d bytes, %s" % (facts["status"], facts["bytes"],
                                                         facts["contentRange"]))
        wait_for("the saved client list", lambda: lab.client_entry(player.mac), 5)
        print("\nThe client list the server saved (calyx clients list):")
        sys.stdout.flush()
        subprocess.run([lab.tool, "clients", "--root", lab.root, "list"], check=True)
        lab.stop_server()
    return 0


if __name__ == "__main__":
    sys.exit(main())
