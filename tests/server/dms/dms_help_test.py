#!/usr/bin/python3
"""calyx-dms --help lists every setting and --version names the program; a missing
profile list and a bad value are refused with a clear message before any network is
touched, usage errors with status 2; the configuration file's "media" lines add up and
--media replaces them."""

import os
import re
import subprocess
import sys
import tempfile


def fail(message):
    print("FAIL: " + message, file=sys.stderr)
    sys.exit(1)


def run(*args):
    return subprocess.run([os.environ["CALYX_DMS"], *args], capture_output=True, text=True,
                          timeout=30)


def main():
    result = run("--help")
    if result.returncode != 0:
        fail("--help exited with %d" % result.returncode)
    for option in ("--config", "--interface", "--port", "--friendly-name", "--language",
                   "--profiles", "--database", "--log", "--log-level", "--deny-new-clients", "--no-discovery",
                   "--save-interval", "--admin-address", "--admin-port", "--admin-password-hash",
                   "--hash-password", "--transcodes", "--transcoder", "--host-name",
                   "--max-clients", "--log-collapse-interval", "--statement-timeout",
                   "--follow-links", "--admin-allow-remote", "--admin-login-interval", "--media",
                   "--state-dir", "--index-workers", "--pg-bindir", "--version",
                   "/etc/calyx/calyx-dms.conf", "calyx db init"):
        if option not in result.stdout:
            fail("--help does not mention " + option)
    # --hash-password needs no other setting; an empty password is refused.
    for password, status in (("pw 1\n", 0), ("\n", 1)):
        result = subprocess.run([os.environ["CALYX_DMS"], "--hash-password"], input=password,
                                capture_output=True, text=True, timeout=30)
        if result.returncode != status or (status == 0) != result.stdout.startswith("$6$"):
            fail("--hash-password of %r: status %d, %r %r"
                 % (password, result.returncode, result.stdout, result.stderr))
    result = run("--version")
    if result.returncode != 0 or not re.fullmatch(r"calyx-dms \d+\.\d+\.\d+\n", result.stdout):
        fail("--version: status %d, %r" % (result.returncode, result.stdout))
    with tempfile.TemporaryDirectory() as tmp:
        state = ["--state-dir", os.path.join(tmp, "state")]
        # A profile list that cannot be loaded stops the start before any network.
        result = run(*state, "--profiles", os.path.join(tmp, "missing.json"))
        if result.returncode != 1 or "profile list" not in result.stderr:
            fail("no profile list: status %d, %r" % (result.returncode, result.stderr))
        # Usage errors exit 2, as the calyx tool's do.
        for args, word in ((["--port", "70000"], "port"), (["--bogus"], "--bogus"),
                           (["--media"], "--media"),
                           (["--config", "/nonexistent/calyx-dms.conf"], "calyx-dms.conf")):
            result = run(*state, "--profiles", "x.json", *args)
            if result.returncode != 2 or word not in result.stderr:
                fail("%s: status %d, %r" % (args, result.returncode, result.stderr))
        for setting in ("dbname=other", "user=root", "host='unterminated"):
            result = run(*state, "--profiles", os.path.join(tmp, "missing.json"), "--database",
                         setting)
            if result.returncode == 0 or "--database" not in result.stderr:
                fail("--database %s: status %d, %r" % (setting, result.returncode, result.stderr))
        # "media" lines of a configuration file add up; --media replaces them.
        config = os.path.join(tmp, "calyx-dms.conf")
        with open(config, "w") as f:
            f.write("media = %s/one\nmedia = %s/two\n" % (tmp, tmp))
        result = run(*state, "--config", config, "--profiles", os.path.join(tmp, "missing.json"))
        for folder in ("one", "two"):
            if "media folder %s/%s (--media) does not exist" % (tmp, folder) not in result.stderr:
                fail("media line %s not read: %r" % (folder, result.stderr))
        result = run(*state, "--config", config, "--media", tmp + "/three", "--profiles",
                     os.path.join(tmp, "missing.json"))
        if "/one" in result.stderr or "%s/three (--media)" % tmp not in result.stderr:
            fail("--media does not replace the file's media lines: %r" % result.stderr)
    print("PASS")


if __name__ == "__main__":
    main()
