"""A throw-away network for calyx-dms tests: namespaces joined by veth pairs, a media
index in a PostgreSQL schema of its own, sample media made with ffmpeg, and the server.

Everything is created under names unique to the process and removed again by close()
(also on failure: use the Lab as a context manager). SSDP multicast and every other
packet stay inside the lab's namespaces: the server's namespace holds a bridge, each
client namespace one end of a veth pair whose other end is a bridge port.
"""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request

SUBNET = "10.77.0"
SERVER_IP = SUBNET + ".1"
PORT = 8200


def fail(message):
    print("FAIL: " + message, file=sys.stderr)
    sys.exit(1)


def skip_or_fail(message):
    """A test that cannot run: a failure in the privileged pass, a skip (77) otherwise."""
    if os.environ.get("CALYX_PRIVILEGED_PASS") == "1":
        fail(message + " (the privileged pass needs it)")
    print("SKIP: " + message)
    sys.exit(77)


def run(*args, check=True, **kw):
    result = subprocess.run(list(args), capture_output=True, text=True, timeout=60, **kw)
    if check and result.returncode != 0:
        raise RuntimeError("%s failed (%d): %s" % (" ".join(args), result.returncode,
                                                     result.stderr.strip()))
    return result


def wait_for(what, predicate, timeout):
    """Polls `predicate` every 0.1 s until it returns something true, at most `timeout` s."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(0.1)
    fail("timed out after %.1f s waiting for %s" % (timeout, what))


class Client:
    def __init__(self, lab, ns, ip, mac):
        self.lab, self.ns, self.ip, self.mac = lab, ns, ip, mac

    def run(self, *args, check=True, timeout=60):
        return run("ip", "netns", "exec", self.ns, *args, check=check)

    def curl(self, *args):
        """curl in this namespace; returns (status, headers text, body bytes)."""
        out = tempfile.mktemp(dir=self.lab.tmp)
        hdr = tempfile.mktemp(dir=self.lab.tmp)
        result = subprocess.run(
            ["ip", "netns", "exec", self.ns, "curl", "-s", "--max-time", "10", "-o", out,
             "-D", hdr, "-w", "%{http_code}", *args], capture_output=True, timeout=30)
        status = int(result.stdout.decode() or "0")
        body = open(out, "rb").read() if os.path.exists(out) else b""
        headers = open(hdr, encoding="latin-1").read() if os.path.exists(hdr) else ""
        for f in (out, hdr):
            if os.path.exists(f):
                os.unlink(f)
        return status, headers, body


class Lab:
    def __init__(self, name, needs_database=True):
        """`needs_database`: the lab's index lives on the server PGHOST names (make
        test's); a lab whose server runs its private cluster (make demo) needs none."""
        if os.geteuid() != 0:
            skip_or_fail("network namespaces need root")
        for tool in ("ip", "curl", "ffmpeg", "ffprobe", "psql"):
            if not shutil.which(tool):
                skip_or_fail(tool + " is not installed")
        if needs_database and not os.environ.get("PGHOST"):
            fail("PGHOST is not set: the test command starts the PostgreSQL server")
        self.source = os.environ["CALYX_SOURCE_DIR"]
        self.server_binary = os.environ["CALYX_DMS"]
        self.tool = os.environ["CALYX_TOOL"]
        self.tag = "%s%d" % (name[:4], os.getpid() % 100000)
        self.tmp = tempfile.mkdtemp(prefix="calyx-dms-%s-" % name)
        os.chmod(self.tmp, 0o755)
        self.namespaces = []
        self.clients = []
        self.processes = []
        self.schema = "dms_" + self.tag.lower()
        self.schema_made = False
        self.server = None
        self.root = os.path.join(self.tmp, "root")
        self.server_ns = self._namespace("s")
        # A fixed address: a bridge would otherwise take the lowest of its ports' addresses,
        # and a client added later could change it under the others' ARP caches.
        self.ns_run(self.server_ns, "ip", "link", "add", "br0", "address", "02:77:00:00:00:01",
                    "type", "bridge", "mcast_snooping", "0")
        self.ns_run(self.server_ns, "ip", "addr", "add", SERVER_IP + "/24", "dev", "br0")
        self.ns_run(self.server_ns, "ip", "link", "set", "br0", "up")
        self.ns_run(self.server_ns, "ip", "route", "add", "224.0.0.0/4", "dev", "br0")
        self._make_root()

    # --- network ---------------------------------------------------------------------
    def ns_run(self, ns, *args, check=True):
        return run("ip", "netns", "exec", ns, *args, check=check)

    def _namespace(self, suffix):
        ns = "calyx-%s-%s" % (self.tag, suffix)
        run("ip", "netns", "add", ns)
        self.namespaces.append(ns)
        self.ns_run(ns, "ip", "link", "set", "lo", "up")
        return ns

    def add_client(self, mac):
        """A namespace with one interface of hardware address `mac` on the lab's bridge."""
        index = len(self.clients)
        ns = self._namespace("c%d" % index)
        port = "p%d" % index
        ip = "%s.%d" % (SUBNET, 10 + index)
        self.ns_run(self.server_ns, "ip", "link", "add", port, "type", "veth", "peer",
                    "name", "eth0", "netns", ns)
        self.ns_run(self.server_ns, "ip", "link", "set", port, "master", "br0", "up")
        self.ns_run(ns, "ip", "link", "set", "eth0", "address", mac)
        self.ns_run(ns, "ip", "addr", "add", ip + "/24", "dev", "eth0")
        self.ns_run(ns, "ip", "link", "set", "eth0", "up")
        self.ns_run(ns, "ip", "route", "add", "224.0.0.0/4", "dev", "eth0")
        client = Client(self, ns, ip, mac)
        self.clients.append(client)
        return client

    # --- the server's root tree ----------------------------------------------------------
    def _make_root(self):
        os.makedirs(os.path.join(self.root, "proc/net"))
        # The namespace's own kernel ARP table, not a copy.
        os.symlink("/proc/net/arp", os.path.join(self.root, "proc/net/arp"))
        os.makedirs(os.path.join(self.root, "sys/class"))
        os.symlink("/sys/class/net", os.path.join(self.root, "sys/class/net"))
        texts = os.path.join(self.root, "var/packages/Calyx/target/app/texts")
        os.makedirs(texts)
        for language in ("enu", "ger"):
            os.symlink(os.path.join(self.source, "data/texts", language),
                       os.path.join(texts, language))
        os.makedirs(os.path.join(self.root, "var/packages/Calyx/etc"))
        os.makedirs(os.path.join(self.root, "etc.defaults"))
        with open(os.path.join(self.root, "etc.defaults/zevoinfo.conf"), "w") as f:
            f.write("upnpmodelname=LabBox\ncustom_serial=LAB0001\n")

    def client_list_path(self):
        return os.path.join(self.root, "var/packages/Calyx/etc/client_list.json")

    def client_list(self):
        try:
            with open(self.client_list_path()) as f:
                return json.load(f)
        except (OSError, ValueError):
            return None

    def client_entry(self, mac):
        document = self.client_list() or {}
        for entry in document.get("ClientList") or []:
            if entry.get("macAddr") == mac:
                return entry
        return None

    # --- the media index ---------------------------------------------------------------
    def psql(self, sql):
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % self.schema)
        return run("psql", "-X", "-q", "-tA", "-v", "ON_ERROR_STOP=1", "-U", "admin", "-d",
                   "calyx", "-c", sql, env=env).stdout

    def make_schema(self):
        """The lab's database schema, empty: the server applies the index schema itself."""
        run("psql", "-X", "-q", "-v", "ON_ERROR_STOP=1", "-U", "admin", "-d", "calyx", "-c",
            "CREATE SCHEMA %s" % self.schema)
        self.schema_made = True

    def make_index(self):
        self.make_schema()
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % self.schema)
        run("psql", "-X", "-q", "-v", "ON_ERROR_STOP=1", "-U", "admin", "-d", "calyx", "-f",
            os.path.join(self.source, "sql/media_index.sql"), env=env)

    def insert(self, table, **columns):
        """Inserts one row and returns its id. A row naming a file of the lab records the
        file's folder as a media folder, as the indexer records the folders it was given:
        the server serves only files inside them."""
        names = ", ".join(columns)
        values = ", ".join(sql_literal(v) for v in columns.values())
        out = self.psql("INSERT INTO %s (%s) VALUES (%s) RETURNING id" % (table, names, values))
        path = columns.get("path")
        if path and path.startswith(self.tmp + "/"):
            self.psql("INSERT INTO media_folder (path) VALUES (%s) ON CONFLICT (path) DO NOTHING"
                      % sql_literal(encode_path(os.path.dirname(path))))
        return int(out.split()[0])

    def make_media(self):
        """A short H.264/AAC MP4, two MP3s (one whose name is not valid UTF-8) and a JPEG
        photo, made with ffmpeg; returns their paths."""
        media = os.path.join(self.tmp, "media")
        os.makedirs(media)
        files = {
            "clip": os.path.join(media, "Clip ♪ one.mp4"),
            "song": os.path.join(media, "song.mp3"),
            "latin": os.path.join(media, os.fsdecode(b"Latin\xe9.mp3")),
            "photo": os.path.join(media, "photo.jpg"),
        }
        ff = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
        run(*ff, "-f", "lavfi", "-i", "testsrc=size=320x240:rate=25", "-f", "lavfi", "-i",
            "sine=frequency=440", "-t", "2", "-c:v", "libx264", "-preset", "ultrafast",
            "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", files["clip"])
        run(*ff, "-f", "lavfi", "-i", "sine=frequency=440", "-t", "2", "-c:a", "libmp3lame",
            files["song"])
        run(*ff, "-f", "lavfi", "-i", "sine=frequency=880", "-t", "1", "-c:a", "libmp3lame",
            files["latin"])
        run(*ff, "-f", "lavfi", "-i", "testsrc=size=640x480", "-frames:v", "1", files["photo"])
        return files

    def index_media(self, files):
        """Indexes the folder of make_media's files with `calyx index` (thumbnails
        included); returns the row ids of the files and of their folder, and "thumb", the
        clip's thumbnail as the indexer made it."""
        folder = os.path.dirname(files["clip"])
        env = dict(os.environ, PGOPTIONS="-c search_path=%s" % self.schema)
        run(self.tool, "index", "--thumbnails", os.path.join(self.tmp, "thumbnails"),
            "--workers", "1", "-q", folder, env=env)
        tables = {"clip": "video", "song": "music", "latin": "music", "photo": "photo"}
        ids = {}
        for name, table in tables.items():
            ids[name] = int(self.psql("SELECT id FROM %s WHERE path = %s" % (
                table, sql_literal(encode_path(files[name])))).strip())
        ids["folder"] = int(self.psql("SELECT id FROM directory WHERE path = %s" %
                                      sql_literal(encode_path(folder))).strip())
        files["thumb"] = self.psql("SELECT thumbnail FROM video WHERE id = %d" %
                                   ids["clip"]).strip()
        return ids

    # --- the server --------------------------------------------------------------------
    def start_server(self, *extra, drop_env=(), log_level=2, profiles=None, env_extra=None):
        """Starts calyx-dms in the server namespace (environment variables in `drop_env`
        left out, those of `env_extra` added; the shipped profile list unless `profiles`
        names another) and waits until it serves."""
        log = os.path.join(self.tmp, "server.out")
        # TMPDIR: the server's own temporary folder stays in the lab's, even after a kill.
        env = dict(os.environ, CALYX_ROOT=self.root, TMPDIR=self.tmp,
                   PGOPTIONS="-c search_path=%s" % self.schema)
        for name in drop_env:
            env.pop(name, None)
        env.update(env_extra or {})
        args = ["ip", "netns", "exec", self.server_ns, self.server_binary, "--interface",
                "br0", "--port", str(PORT), "--profiles",
                profiles or os.path.join(self.source, "data/profiles.json"), "--log",
                os.path.join(self.tmp, "calyx-dms.log"), "--log-level", str(log_level),
                # The state folder (thumbnails of the background indexing) stays in the lab's.
                "--state-dir", os.path.join(self.tmp, "state"), *extra]
        self.server_out = open(log, "w")
        self.server = subprocess.Popen(args, stdout=self.server_out, stderr=subprocess.STDOUT,
                                       env=env)
        self.processes.append(self.server)
        wait_for("the server to serve", lambda: self._serving(), 15)

    def _serving(self):
        if self.server.poll() is not None:
            fail("the server exited with %d:\n%s" % (self.server.returncode, self.server_output()))
        return "serving" in self.server_output()

    def location(self):
        """The device description URL the server announces."""
        return re.search(r"serving .* at (\S+)", self.server_output()).group(1)

    def server_output(self):
        with open(os.path.join(self.tmp, "server.out"), errors="replace") as f:
            return f.read()

    def server_log(self):
        try:
            with open(os.path.join(self.tmp, "calyx-dms.log"), errors="replace") as f:
                return f.read()
        except OSError:
            return ""

    def stop_server(self):
        """SIGTERM, then waits (at most 10 s) for a clean exit; returns the exit status."""
        if not self.server or self.server.poll() is not None:
            return self.server.returncode if self.server else None
        self.server.send_signal(signal.SIGTERM)
        try:
            return self.server.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.server.kill()
            self.server.wait()
            fail("the server did not stop within 10 s of SIGTERM")

    def spawn(self, ns, *args, **kw):
        """A background process in namespace `ns`, stopped by close()."""
        process = subprocess.Popen(["ip", "netns", "exec", ns, *args], **kw)
        self.processes.append(process)
        return process

    def url(self, path):
        return "http://%s:%d%s" % (SERVER_IP, PORT, path)

    # --- clean-up ----------------------------------------------------------------------
    def close(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(timeout=10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        for ns in reversed(self.namespaces):
            run("ip", "netns", "delete", ns, check=False)
        if self.schema_made:
            run("psql", "-X", "-q", "-U", "admin", "-d", "calyx", "-c",
                "DROP SCHEMA IF EXISTS %s CASCADE" % self.schema, check=False)
        shutil.rmtree(self.tmp, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, kind, value, traceback):
        if kind is not None and self.server is not None:
            print("--- server output ---\n" + self.server_output(), file=sys.stderr)
            print("--- server log (tail) ---\n" + self.server_log()[-4000:], file=sys.stderr)
        self.close()
        return False


def sql_literal(value):
    if isinstance(value, int):
        return str(value)
    return "'" + str(value).replace("'", "''") + "'"


def encode_path(path):
    """A path as the indexer stores it: valid UTF-8 kept, "%" as %25, other bytes as %XX."""
    data, out, i = os.fsencode(path), [], 0
    while i < len(data):
        for n in (1, 2, 3, 4):
            try:
                text = data[i:i + n].decode("utf-8")
            except UnicodeDecodeError:
                continue
            out.append("%25" if text == "%" else text)
            i += n
            break
        else:
            out.append("%%%02X" % data[i])
            i += 1
    return "".join(out)


SERVICES = {"ContentDirectory": "urn:schemas-upnp-org:service:ContentDirectory:1",
            "ConnectionManager": "urn:schemas-upnp-org:service:ConnectionManager:1",
            "X_MS_MediaReceiverRegistrar":
                "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1"}


def soap_envelope(service, action, arguments):
    body = "".join("<%s>%s</%s>" % (name, xml_escape(value), name) for name, value in arguments)
    return ('<?xml version="1.0" encoding="utf-8"?>'
            '<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:%s xmlns:u="%s">%s</u:%s></s:Body></s:Envelope>'
            % (action, SERVICES[service], body, action))


def xml_escape(text):
    return (str(text).replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
            .replace('"', "&quot;"))


def soap_action(client, lab, service, action, arguments, headers=(), body=None,
                own_headers=True):
    """POSTs a SOAP action with curl from `client`; returns (status, {out argument: text}).
    `headers` are extra "Name: value" texts (with own_headers False, the only SOAPAction
    and Content-Type sent besides curl's own); `body` replaces the envelope."""
    import xml.etree.ElementTree as ET
    args = ["-X", "POST", "-H", "User-Agent:", "-H", "Accept:"]
    if own_headers:
        args += ["-H", 'SOAPAction: "%s#%s"' % (SERVICES[service], action),
                 "-H", 'Content-Type: text/xml; charset="utf-8"']
    for header in headers:
        args += ["-H", header]
    payload = body if body is not None else soap_envelope(service, action, arguments)
    with tempfile.NamedTemporaryFile(dir=lab.tmp, delete=False) as f:
        f.write(payload.encode("utf-8", "surrogateescape"))
    args += ["--data-binary", "@" + f.name, lab.url("/%s/control" % service)]
    try:
        status, _headers, data = client.curl(*args)
    finally:
        os.unlink(f.name)
    result = {}
    try:
        root = ET.fromstring(data)
        for element in root.iter():
            if len(element) == 0 and element.text is not None:
                result[element.tag.split("}")[-1]] = element.text
    except ET.ParseError:
        pass
    return status, result
