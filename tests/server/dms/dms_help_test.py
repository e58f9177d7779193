#!/usr/bin/python3
"""calyx-dms --help lists every setting; a missing profile list and a bad value are
refused with a clear message and a non-zero status, before any network is touched."""

import os
import subprocess
import sys


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
                   "--follow-links", "--admin-allow-remote", "--admin-login-interval"):
        if option not in result.stdout:
            fail("--help does not mention " + option)
    # --hash-password needs no other setting; an empty password is refused.
    for password, status in (("pw 1\n", 0), ("\n", 1)):
        result = subprocess.run([os.environ["CALYX_DMS"], "--hash-password"], input=password,
                                capture_output=True, text=True, timeout=30)
        if result.returncode != status or (status == 0) != result.stdout.startswith("$6$"):
            fail("--hash-password of %r: status %d, %r %r"
                 % (password, result.returncode, result.stdout, result.stderr))
    result = run()
    if result.returncode == 0 or "--profiles" not in result.stderr:
        fail("no profile list: status %d, %r" % (result.returncode, result.stderr))
    result = run("--profiles", "x.json", "--port", "70000")
    if result.returncode == 0 or "port" not in result.stderr:
        fail("port 70000: status %d, %r" % (result.returncode, result.stderr))
    result = run("--config", "/nonexistent/calyx-dms.conf", "--profiles", "x.json")
    if result.returncode == 0 or "calyx-dms.conf" not in result.stderr:
        fail("missing configuration file: status %d, %r" % (result.returncode, result.stderr))
    for setting in ("dbname=other", "user=root", "host='unterminated"):
        result = run("--profiles", "x.json", "--database", setting)
        if result.returncode == 0 or "--database" not in result.stderr:
            fail("--database %s: status %d, %r" % (setting, result.returncode, result.stderr))
    print("PASS")


if __name__ == "__main__":
    main()
