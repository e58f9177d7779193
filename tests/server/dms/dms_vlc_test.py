#!/usr/bin/python3
"""Debian's VLC (vlc-bin with vlc-plugin-base), run as an unprivileged user in a client
namespace through its command-line interface: its UPnP services discovery finds
calyx-dms, it lists the server's tree, plays a video with a seek and a song to its end, and
the saved client list shows it with the VLC profile (found by its media requests: its
control requests carry only its UPnP stack's generic user agent)."""

import os
import pwd
import queue
import re
import shutil
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, skip_or_fail, wait_for  # noqa: E402

USER = "calyx-test"
VLC_PROFILE = "VLC media player"


class Vlc:
    """VLC's command-line interface on a pipe: commands in, lines out."""

    def __init__(self, lab, client, home):
        self.log = open(os.path.join(lab.tmp, "vlc.log"), "w")
        self.process = lab.spawn(
            client.ns, "runuser", "-u", USER, "--", "env", "HOME=" + home, "vlc", "-I", "rc",
            "--rc-fake-tty", "--no-video", "--aout", "dummy", "--no-playlist-autostart",
            "--services-discovery", "upnp", "--verbose", "2",
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.log, text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))

    def send(self, command, wait=1.0):
        """The lines VLC prints within `wait` seconds of `command`."""
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        out, deadline = [], time.monotonic() + wait
        while time.monotonic() < deadline:
            try:
                out.append(self.lines.get(timeout=max(0.01, deadline - time.monotonic())))
            except queue.Empty:
                break
        return out

    def playlist(self):
        """{title: id} of the playlist tree, and its lines."""
        lines = self.send("playlist", 0.5)
        items = {}
        for line in lines:
            m = re.match(r"\|\s*\*?(\d+) - (.*?)(?: \(\d\d:\d\d:\d\d\))?(?: \[played \d+ times?\])?$",
                         line)
            if m:
                items[m.group(2)] = int(m.group(1))
        return items, lines

    def find(self, title, timeout=10):
        def look():
            items, _ = self.playlist()
            return items.get(title)
        return wait_for("VLC to list %r" % title, look, timeout)

    def number(self, command):
        for line in self.send(command, 0.5):
            m = re.search(r"(-?\d+)\s*$", line.replace(">", " "))
            if m:
                return int(m.group(1))
        return None

    def state(self):
        for line in self.send("status", 0.5):
            m = re.search(r"\( state (\w+) \)", line)
            if m:
                return m.group(1)
        return None


def main():
    for tool in ("vlc", "runuser"):
        if not shutil.which(tool):
            skip_or_fail(tool + " is not installed (Debian's vlc-bin and vlc-plugin-base)")
    if not os.path.exists("/usr/lib/x86_64-linux-gnu/vlc/plugins/services_discovery/"
                          "libupnp_plugin.so") and not any(
            os.path.exists(os.path.join(root, "libupnp_plugin.so"))
            for root, _dirs, _files in os.walk("/usr/lib") if root.endswith("services_discovery")):
        skip_or_fail("VLC's UPnP plugin (vlc-plugin-base) is not installed")
    try:
        user = pwd.getpwnam(USER)
    except KeyError:
        skip_or_fail("the unprivileged user %s does not exist" % USER)
    with Lab("vlc") as lab:
        lab.make_index()
        media = os.path.join(lab.tmp, "media")
        os.makedirs(media)
        ff = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
        video = os.path.join(media, "Lab video.mp4")
        run(*ff, "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10", "-f", "lavfi", "-i",
            "sine=frequency=440", "-t", "8", "-c:v", "libx264", "-preset", "ultrafast",
            "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", video)
        song = os.path.join(media, "Lab song.mp3")
        run(*ff, "-f", "lavfi", "-i", "sine=frequency=660", "-t", "2", "-c:a", "libmp3lame",
            "-metadata", "title=Lab song", song)
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
        run(lab.tool, "index", "--workers", "1", "-q", media, env=env)
        client = lab.add_client("02:77:00:00:00:56")
        # VLC's UPnP stack binds to the first interface with an address, and IPv6 link-local
        # addresses are still tentative when it starts: IPv4 only, with a default route.
        client.run("sysctl", "-qw", "net.ipv6.conf.all.disable_ipv6=1")
        client.run("ip", "route", "add", "default", "dev", "eth0")
        lab.start_server()
        home = os.path.join(lab.tmp, "vlc-home")
        os.makedirs(home)
        os.chown(home, user.pw_uid, user.pw_gid)

        vlc = Vlc(lab, client, home)
        server = vlc.find("Media Server", 20)
        vlc.send("goto %d" % server)
        containers = {name: vlc.find(name) for name in ("Music", "Video", "Photo", "Folder")}
        vlc.send("goto %d" % containers["Video"])
        clip = vlc.find("Lab video")
        vlc.send("goto %d" % containers["Music"])
        tune = vlc.find("Lab song")
        _items, tree = vlc.playlist()
        print("VLC's tree:\n" + "\n".join(tree))

        # The video, with a seek to 5 s.
        vlc.send("goto %d" % clip, 1.5)
        wait_for("the video to play", lambda: vlc.state() == "playing", 10)
        if vlc.number("get_length") != 8:
            fail("VLC reads the video's length as %r" % vlc.number("get_length"))
        vlc.send("seek 5", 1.0)
        position = vlc.number("get_time")
        if position is None or position < 5:
            fail("after seek 5 VLC is at %r" % position)
        vlc.send("stop", 0.5)

        # The song, to its end.
        vlc.send("goto %d" % tune, 0.5)
        wait_for("the song to play", lambda: vlc.state() == "playing", 10)
        wait_for("the song to end", lambda: vlc.state() == "stopped", 15)
        log = open(os.path.join(lab.tmp, "vlc.log"), errors="replace").read()
        if "EOF reached" not in log:
            fail("VLC did not read the song to its end")
        vlc.send("quit", 0.5)

        mac = "02:77:00:00:00:56"

        def identified():
            entry = lab.client_entry(mac)
            return entry if entry and entry.get("profileName") == VLC_PROFILE else None
        entry = wait_for("VLC with its profile in the client list", identified, 10)
        if "Portable SDK for UPnP devices" not in entry.get("browse_user-agent", ""):
            fail("VLC's control requests recorded as %r" % entry.get("browse_user-agent"))
        print("client list: %s, %r / %r" % (entry["profileName"], entry["browse_user-agent"],
                                             entry.get("open_user-agent")))
    print("PASS")


if __name__ == "__main__":
    main()
