"""How each server of the comparison is configured and started: everything it writes
(configuration, database, log, cache) under its own folder of the run's temporary folder,
and it runs only inside the server namespace."""

import os
import pwd
import shutil
import subprocess
import time

PEER_PORT = 50200  # gerbera takes ports of 49152 and up only; all peers use this one


class Server:
    """A started server: its process (the server itself: `ip netns exec` execs it).
    VIEWS: the title paths (probe.py path) of its containers of all songs, all videos and
    all photos."""

    name = ""
    VIEWS = {}

    def __init__(self, lab, run_dir, media):
        self.lab, self.media = lab, media
        self.dir = os.path.join(run_dir, self.name)
        os.makedirs(self.dir)
        self.process = None
        self.log = open(os.path.join(self.dir, "stdout.log"), "w")

    def spawn(self, args, env=None):
        self.process = self.lab.spawn(self.lab.server_ns, *args, stdout=self.log,
                                      stderr=subprocess.STDOUT, env=env)

    def prepare(self):
        """What the benchmark readies before the clock of the start runs (nothing: a peer
        starts with no database)."""

    def pids(self):
        """The processes whose memory counts as this server's, by role."""
        return {"server": [self.process.pid]}

    def indexing(self):
        """True while the server still works on the media it listed (its scan or index run,
        thumbnails included); the loads wait for it (settle)."""
        return False

    def settle(self, limit):
        """Seconds waited, after the clock of the start stopped, until the server's indexing
        finished (at most `limit`), so that no leftover work of the start falls into the
        loads measured next; None when it did not finish in time."""
        started = time.monotonic()
        while self.indexing():
            if self.process.poll() is not None:
                raise RuntimeError("%s exited with %d" % (self.name, self.process.returncode))
            if time.monotonic() - started > limit:
                return None
            time.sleep(0.1)
        return time.monotonic() - started

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


class Minidlna(Server):
    name = "minidlna"
    VIEWS = {"music": "Music/All Music", "video": "Video/All Video",
             "photo": "Pictures/All Pictures"}

    def start(self):
        conf = os.path.join(self.dir, "minidlna.conf")
        with open(conf, "w") as f:
            f.write("media_dir=%s\nport=%d\nnetwork_interface=br0\ndb_dir=%s\nlog_dir=%s\n"
                    "friendly_name=bench-minidlna\ninotify=no\nlog_level=general,scanner=warn\n"
                    % (self.media, PEER_PORT, os.path.join(self.dir, "db"),
                       os.path.join(self.dir, "log")))
        self.spawn(["/usr/sbin/minidlnad", "-f", conf, "-P", os.path.join(self.dir, "pid"),
                    "-d", "-R"])

    def indexing(self):
        # minidlna scans in a child process of its own, which exits when the scan is done.
        return bool(child_pids(self.process.pid))


class Gerbera(Server):
    name = "gerbera"
    VIEWS = {"music": "Audio/All Audio", "video": "Video/All Video",
             "photo": "Photos/All Photos"}

    def start(self):
        self.spawn(["/usr/bin/gerbera", "-m", self.dir, "-f", "gerbera", "-e", "br0", "-p",
                    str(PEER_PORT), "-a", self.media],
                   env=dict(os.environ, HOME=self.dir))


class Rygel(Server):
    name = "rygel"
    VIEWS = {"music": "bench-rygel/Music/All|Music/All", "video": "bench-rygel/Videos|Videos",
             "photo": "bench-rygel/Pictures/All|Pictures/All"}

    def start(self):
        config = os.path.join(self.dir, "config")
        os.makedirs(config)
        with open(os.path.join(config, "rygel.conf"), "w") as f:
            f.write("[general]\ninterface=br0\nport=%d\nenable-transcoding=false\n"
                    "upnp-enabled=true\nlog-level=*:3\n\n"
                    "[MediaExport]\nenabled=true\ntitle=bench-rygel\nuris=%s\n"
                    "monitor-changes=false\n\n"
                    "[Tracker]\nenabled=false\n[Tracker3]\nenabled=false\n"
                    "[LMS]\nenabled=false\n[Playbin]\nenabled=false\n"
                    "[GstLaunch]\nenabled=false\n[MPRIS]\nenabled=false\n"
                    "[External]\nenabled=false\n[Ruih]\nenabled=false\n"
                    % (PEER_PORT, self.media))
        env = dict(os.environ, XDG_CONFIG_HOME=config,
                   XDG_CACHE_HOME=os.path.join(self.dir, "cache"),
                   XDG_DATA_HOME=os.path.join(self.dir, "data"), HOME=self.dir)
        env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        self.spawn(["/usr/bin/rygel", "-c", os.path.join(config, "rygel.conf")], env=env)


class CalyxDms(Server):
    """calyx-dms on the lab's existing PostgreSQL server, its index schema emptied first,
    started with --media on the tree: it applies the index schema, serves and indexes the
    tree in the background, as a user starts it. Its index run has ended (thumbnails of new
    videos, made after their rows, included) when it says "index up to date" on standard
    output."""
    name = "calyx-dms"
    VIEWS = {"music": "Music/All Music|Music", "video": "Video/All Videos|Video",
             "photo": "Photo/All Photos|Photo"}
    SAID = "calyx-dms: "

    def prepare(self):
        # An empty schema on the existing server, and a fresh state folder (thumbnails,
        # the worker's log): as a peer's empty database folder, made before the clock.
        self.lab.psql("DROP SCHEMA IF EXISTS %s CASCADE" % self.lab.schema)
        self.lab.make_schema()
        shutil.rmtree(os.path.join(self.lab.tmp, "state"), ignore_errors=True)

    def start(self):
        # CALYX_DMS_BENCH_ARGS: flags of the server for this run (--answer-cache 0 measures
        # every answer made afresh).
        self.lab.start_server("--media", self.media,
                              *os.environ.get("CALYX_DMS_BENCH_ARGS", "").split(), log_level=1)
        self.process = self.lab.server

    def index_summary(self):
        """What the server said when its index run ended ("" before)."""
        for line in self.lab.server_output().splitlines():
            if line.startswith(self.SAID + "index up to date:"):
                return line[len(self.SAID):]
            if line.startswith(self.SAID + "indexing failed"):
                raise RuntimeError(line[len(self.SAID):])
        return ""

    def indexing(self):
        return not self.index_summary()

    def stop(self):
        super().stop()
        # What the server said goes where the other servers' output goes.
        if self.lab.server is not None:
            self.log.write(self.lab.server_output())
            self.log.flush()

    def pids(self):
        postmaster = int(open(os.path.join(os.environ["PGHOST"], "data",
                                           "postmaster.pid")).readline())
        return {"server": [self.process.pid],
                "postgresql": [postmaster] + child_pids(postmaster)}


class CalyxDmsEmbedded(Server):
    """calyx-dms started the way one command starts it: `calyx-dms --media DIR` as an
    unprivileged user with no database configured, so that it makes its own PostgreSQL
    cluster in a fresh home folder and indexes the media itself (its first start)."""
    name = "calyx-dms-embedded"
    USER = "calyx-test"

    def start(self):
        user = pwd.getpwnam(self.USER)
        home = os.path.join(self.dir, "home")
        os.makedirs(os.path.join(home, "tmp"))
        for folder in (self.dir, home, os.path.join(home, "tmp")):
            os.chown(folder, user.pw_uid, user.pw_gid)
        etc = os.path.join(self.lab.root, "var/packages/Calyx/etc")
        os.chown(etc, user.pw_uid, user.pw_gid)
        env = ["PATH=/usr/bin:/bin", "HOME=" + home, "LANG=C.UTF-8",
               "CALYX_ROOT=" + self.lab.root, "TMPDIR=" + os.path.join(home, "tmp")]
        env += ["%s=%s" % (k, v) for k, v in os.environ.items()
                if k in ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")]
        # setpriv and env replace themselves: the process is the server itself.
        self.spawn(["setpriv", "--reuid=%d" % user.pw_uid, "--regid=%d" % user.pw_gid,
                    "--clear-groups", "env", "-i", *env, self.lab.server_binary, "--interface",
                    "br0", "--port", str(PEER_PORT), "--media", self.media])


def child_pids(parent):
    """The processes whose parent is `parent`."""
    children = []
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open("/proc/%s/stat" % entry) as f:
                    fields = f.read().rsplit(")", 1)[1].split()
            except OSError:
                continue
            if int(fields[1]) == parent:
                children.append(int(entry))
    return children


PEERS = [Minidlna, Gerbera, Rygel]
