#!/usr/bin/python3
"""The one-command start: an unprivileged user runs `calyx-dms --media DIR` with no
database configured (no --database, no PG* variables), in the server namespace. The server
runs a private PostgreSQL cluster in its default state folder (~/.local/state/calyx), and
a GUPnP control point in a client namespace discovers it and browses to the files within
30 s. The friendly name and container titles are the translated texts, read from the source
tree's data/texts (the root prefix holds none). Nothing is written on standard error. A
restart reuses the cluster and its index; after kill -9 of the server a new start works
and exactly one postmaster runs on the cluster; after the last stop, none."""

import json
import os
import pwd
import re
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import PORT, Lab, fail, skip_or_fail, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
USER = "calyx-test"


def postmasters(data):
    """Pids of the postgres postmasters whose data folder is `data`."""
    found = []
    for pid in os.listdir("/proc"):
        if not pid.isdigit():
            continue
        try:
            with open("/proc/%s/cmdline" % pid, "rb") as f:
                args = f.read().split(b"\0")
        except OSError:
            continue
        if args and args[0].endswith(b"/postgres") and b"-D" in args and \
                args[args.index(b"-D") + 1] == data.encode():
            found.append(int(pid))
    return found


class Server:
    """calyx-dms as the unprivileged user, with a clean environment."""

    def __init__(self, lab, home, media):
        self.lab, self.home, self.media = lab, home, media
        self.process = None
        self.runs = 0

    def start(self):
        self.runs += 1
        self.out = os.path.join(self.lab.tmp, "embedded-%d.out" % self.runs)
        self.err = os.path.join(self.lab.tmp, "embedded-%d.err" % self.runs)
        user = pwd.getpwnam(USER)
        env = ["PATH=/usr/bin:/bin", "HOME=" + self.home, "LANG=C.UTF-8",
               "CALYX_ROOT=" + self.lab.root, "TMPDIR=" + os.path.join(self.home, "tmp")]
        env += ["%s=%s" % (k, v) for k, v in os.environ.items()
                if k in ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")]
        # setpriv and env replace themselves: the process is the server itself.
        args = ["ip", "netns", "exec", self.lab.server_ns, "setpriv",
                "--reuid=%d" % user.pw_uid, "--regid=%d" % user.pw_gid, "--clear-groups",
                "env", "-i", *env, self.lab.server_binary, "--interface", "br0", "--port",
                str(PORT), "--media", self.media]
        self.started = time.monotonic()
        with open(self.out, "w") as out, open(self.err, "w") as err:
            self.process = subprocess.Popen(args, stdout=out, stderr=err)
        self.lab.processes.append(self.process)
        wait_for("the server to serve", lambda: self.output_has("serving"), 60)

    def output(self):
        with open(self.out, errors="replace") as f:
            return f.read()

    def errors(self):
        with open(self.err, errors="replace") as f:
            return f.read()

    def output_has(self, text):
        if self.process.poll() is not None:
            fail("the server exited with %d:\n%s%s" % (self.process.returncode, self.output(),
                                                      self.errors()))
        return text in self.output()

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout=30)
        if status != 0:
            fail("the server stopped with %d:\n%s" % (status, self.errors()))


def main():
    try:
        pwd.getpwnam(USER)
    except KeyError:
        skip_or_fail("the user %s is missing (make test makes it)" % USER)
    if not shutil.which("setpriv"):
        skip_or_fail("setpriv is not installed")
    with Lab("embedded") as lab:
        files = lab.make_media()
        media = os.path.dirname(files["clip"])
        # No texts in the root prefix: the server run from its build tree reads data/texts.
        shutil.rmtree(os.path.join(lab.root, "var/packages/Calyx/target"))
        user = pwd.getpwnam(USER)
        os.chown(os.path.join(lab.root, "var/packages/Calyx/etc"), user.pw_uid, user.pw_gid)
        home = os.path.join(lab.tmp, "home")
        os.makedirs(os.path.join(home, "tmp"))
        for folder in (home, os.path.join(home, "tmp")):
            os.chown(folder, user.pw_uid, user.pw_gid)
        client = lab.add_client("02:77:00:00:00:41")
        server = Server(lab, home, media)

        server.start()
        state = os.path.join(home, ".local/state/calyx")
        if "private PostgreSQL cluster %s/postgresql/" % state not in server.output() or \
                "(created;" not in server.output():
            fail("no private cluster created in the default state folder:\n" + server.output())
        data = re.search(r"private PostgreSQL cluster (\S+) ", server.output()).group(1)
        wait_for("the first index", lambda: server.output_has("index up to date"), 30)
        result = client.run("/usr/bin/python3", os.path.join(HERE, "upnp_control_point.py"),
                            "eth0", "--timeout", "30", check=False)
        seconds = time.monotonic() - server.started
        facts = json.loads(result.stdout.splitlines()[0]) if result.stdout else {}
        if result.returncode != 0 or facts.get("status") != 206:
            fail("control point: %s %s\n%s" % (result.stdout, result.stderr, server.output()))
        print("browsed to %r %.1f s after the start" % (facts["itemTitle"], seconds))
        if seconds > 30:
            fail("discovered and browsed only after %.1f s" % seconds)
        if facts["friendlyName"] != "Media Server" or \
                facts["rootTitles"][:4] != ["Music", "Video", "Photo", "Folder"] or \
                facts["rootTitles"][-1] != "Playlists":
            fail("untranslated texts: %r %r" % (facts["friendlyName"], facts["rootTitles"]))
        for sub in ("postgresql", "thumbnails", "calyx-dms.log"):
            if not os.path.exists(os.path.join(state, sub)):
                fail("no %s in the state folder" % sub)
        # By default the index probes with every processor (at a lower priority).
        processors = os.sysconf("SC_NPROCESSORS_ONLN")
        with open(os.path.join(state, "calyx-dms.log"), errors="replace") as f:
            if not re.search(r"indexing .*\(worker \d+, %d probing process(es)?\)" % processors,
                             f.read()):
                fail("the first index did not probe with %d processes" % processors)
        server.stop()
        if server.errors():
            fail("the server wrote on standard error:\n" + server.errors())
        if postmasters(data):
            fail("the cluster outlived its server: %r" % postmasters(data))

        # A restart reuses the cluster and the index in it.
        server.start()
        wait_for("the index check", lambda: server.output_has("index up to date"), 30)
        if "(reused;" not in server.output() or "(0 added" not in server.output():
            fail("the restart did not reuse the cluster and its index:\n" + server.output())

        # kill -9: the next start works, on one postmaster.
        first = postmasters(data)
        server.process.kill()
        server.process.wait()
        server.start()
        wait_for("the index check", lambda: server.output_has("index up to date"), 30)
        running = postmasters(data)
        if len(running) != 1 or running == first:
            fail("after kill -9 and a new start: postmasters %r (before: %r)" % (running, first))
        server.stop()
        wait_for("the cluster to stop", lambda: not postmasters(data), 10)
        print("PASS")


if __name__ == "__main__":
    main()
