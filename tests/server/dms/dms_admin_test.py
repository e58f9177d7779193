#!/usr/bin/python3
"""The settings page of calyx-dms, in a real browser and from curl.

The page listens on the server namespace's loopback address. Headless Chromium, started
inside that namespace, logs in, sees the clients that real requests created, chooses a
profile for one and denies another; the next Browse of the first follows the new profile
(a music-only profile hides the Video container) and the denied one gets 403 with no
body. A device that calls itself with markup is shown as text, and the page carries a
Content-Security-Policy that allows no inline script. A wrong password, a change without
the form token and a connection to the client-side address are refused with nothing
changed. The switch for new clients is saved in the configuration and applies at start;
the page speaks the configured language."""

import html
import json
import os
import re
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import SERVER_IP, Lab, fail, run, skip_or_fail, soap_action, wait_for  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
ADMIN_PORT = 8201
ADMIN_URL = "http://127.0.0.1:%d/" % ADMIN_PORT
PASSWORD = "correct horse 42"
MARKUP = "<img src=x onerror=alert(1)>"
MUSIC_ONLY = "foobar2000"  # a profile of data/profiles.json that hides the Video container
BROWSE_ROOT = [("ObjectID", "0"), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
               ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")]


def admin_curl(lab, *args, jar=None):
    """curl to the page from the server namespace; returns (status, headers, body text)."""
    out = os.path.join(lab.tmp, "admin.body")
    hdr = os.path.join(lab.tmp, "admin.headers")
    cookies = ["-b", jar, "-c", jar] if jar else []
    result = subprocess.run(["ip", "netns", "exec", lab.server_ns, "curl", "-s", "--max-time",
                             "10", "-o", out, "-D", hdr, "-w", "%{http_code}", *cookies, *args],
                            capture_output=True, timeout=30)
    status = int(result.stdout.decode() or "0")
    read = lambda p: open(p, errors="replace").read() if os.path.exists(p) else ""  # noqa: E731
    headers, body = read(hdr), read(out)
    for f in (out, hdr):
        if os.path.exists(f):
            os.unlink(f)
    return status, headers, body


def header(headers, name):
    for line in headers.splitlines():
        if line.lower().startswith(name.lower() + ":"):
            return line.split(":", 1)[1].strip()
    return None


def log_in(lab, jar, password=PASSWORD):
    """Logs in with curl; returns (status, headers, the form token of the list page)."""
    status, headers, _ = admin_curl(lab, "--data-urlencode", "password=" + password,
                                    ADMIN_URL + "login", jar=jar)
    _, _, page = admin_curl(lab, ADMIN_URL, jar=jar)
    token = re.search(r'name="csrf" value="([0-9a-f]+)"', page)
    return status, headers, token.group(1) if token else None


def post(lab, jar, path, **fields):
    args = []
    for name, value in fields.items():
        args += ["--data-urlencode", "%s=%s" % (name, value)]
    return admin_curl(lab, *args, ADMIN_URL + path, jar=jar)


def browse(lab, client):
    return soap_action(client, lab, "ContentDirectory", "Browse", BROWSE_ROOT)


def shows_video(result):
    return "<dc:title>Video</dc:title>" in result.get("Result", "")


def check_csp(headers, where):
    csp = header(headers, "Content-Security-Policy")
    if not csp:
        fail("%s: no Content-Security-Policy header" % where)
    scripts = re.search(r"script-src ([^;]*)", csp) or re.search(r"default-src ([^;]*)", csp)
    if not scripts or "'unsafe-inline'" in scripts.group(1):
        fail("%s: the policy allows inline scripts: %r" % (where, csp))


def decisions(lab):
    """What the page may change in the saved list: the entries and the user's decisions
    (the server itself keeps recording request headers meanwhile)."""
    return {e.get("macAddr"): (e.get("isAccess"), e.get("profileName_UserSelected"))
            for e in (lab.client_list() or {}).get("ClientList", [])}


def output_folder():
    folder = os.environ.get("CALYX_TEST_OUTPUT")
    if not folder:
        fail("CALYX_TEST_OUTPUT is not set: the test command names the screenshot folder")
    os.makedirs(folder, exist_ok=True)
    return folder


def profiles_with_a_numeric_name(lab):
    """The shipped profile list plus an entry whose name is a JSON number, which the
    library loads (as "2024"). Returns its path and the names the library loads from it,
    in order, each once: what the settings page's drop-down must offer."""
    with open(os.path.join(lab.source, "data/profiles.json")) as f:
        # The shipped list opens with comments, which the library's reader allows.
        profile_list = json.loads(re.sub(r"^\s*//.*$", "", f.read(), flags=re.M))
    profile_list["ProfileList"].append({"profileName": 2024, "dlna": "yes"})
    path = os.path.join(lab.tmp, "profiles.json")
    with open(path, "w") as f:
        json.dump(profile_list, f)
    loaded = []
    for entry in profile_list["ProfileList"]:
        name = entry.get("profileName") if isinstance(entry, dict) else None
        if isinstance(name, (str, int)) and not isinstance(name, bool) and \
                str(name) not in loaded:
            loaded.append(str(name))
    return path, loaded


def run_browser(lab, plan):
    """Runs the browser driver inside the server namespace with a home of its own."""
    home = os.path.join(lab.tmp, "browser-home")
    os.makedirs(home)
    plan_file = os.path.join(lab.tmp, "plan.json")
    result_file = os.path.join(lab.tmp, "browser-result.json")
    with open(plan_file, "w") as f:
        json.dump(plan, f)
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=home, XDG_CACHE_HOME=home,
               SE_OFFLINE="true")
    # A session of its own, so that a driver that hangs goes with the whole browser.
    driver = subprocess.Popen(["ip", "netns", "exec", lab.server_ns, "/usr/bin/python3",
                               os.path.join(HERE, "dms_admin_browser.py"), plan_file,
                               result_file], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, env=env, start_new_session=True)
    try:
        output, _ = driver.communicate(timeout=120)
    except subprocess.TimeoutExpired:
        os.killpg(driver.pid, signal.SIGKILL)
        driver.wait()
        fail("the browser did not finish within 120 s")
    if driver.returncode != 0:
        fail("the browser driver failed:\n" + output)
    return json.load(open(result_file))


def main():
    for need in ("/usr/bin/chromium", "/usr/bin/chromedriver"):
        if not os.path.exists(need):
            skip_or_fail(need + " is not installed")
    try:
        import selenium  # noqa: F401
    except ImportError:
        skip_or_fail("python3-selenium is not installed")
    out = output_folder()
    with Lab("admin") as lab:
        lab.make_index()
        lab.insert("music", path="/lab/song.mp3", title="Song", mime_type="audio/mpeg")
        lab.insert("video", path="/lab/clip.mp4", title="Clip", mime_type="video/mp4")
        listener = lab.add_client("3c:97:0e:10:20:01")
        denied = lab.add_client("3c:97:0e:10:20:02")
        marked = lab.add_client("02:77:00:00:00:66")

        hashed = run(lab.server_binary, "--hash-password", input=PASSWORD + "\n").stdout.strip()
        if not hashed.startswith("$6$") or PASSWORD in hashed:
            fail("--hash-password printed %r" % hashed)
        config = os.path.join(lab.tmp, "calyx-dms.conf")
        with open(config, "w") as f:
            f.write("# calyx-dms settings\nadmin-password-hash = %s\nadmin-port = %d\n"
                    "database = \"host=%s port=%s\"\n"
                    % (hashed, ADMIN_PORT, os.environ["PGHOST"], os.environ.get("PGPORT", "5432")))
        profiles, loaded = profiles_with_a_numeric_name(lab)
        lab.start_server("--config", config, profiles=profiles)
        if "settings page at " + ADMIN_URL not in lab.server_output():
            fail("the server does not name its settings page:\n" + lab.server_output())

        # Real requests create the clients; a renderer names itself with markup.
        for client in (listener, denied):
            status, result = browse(lab, client)
            if status != 200 or not shows_video(result):
                fail("before any change: %d, Video container %s" % (status, shows_video(result)))
        description = os.path.join(lab.tmp, "marked.xml")
        with open(os.path.join(lab.source, "data/clients/sharp-aquos/description.xml")) as f:
            text = f.read()
        text = re.sub(r"<friendlyName>.*?</friendlyName>", "<friendlyName>%s</friendlyName>"
                      % MARKUP.replace("<", "&lt;").replace(">", "&gt;"), text)
        with open(description, "w") as f:
            f.write(text)
        lab.spawn(marked.ns, "/usr/bin/python3", os.path.join(HERE, "upnp_renderer.py"), "eth0",
                  description, stdout=subprocess.DEVNULL)
        marked_entry = wait_for("the marked renderer's entry", lambda: (
            lambda e: e if e and MARKUP in e.get("displayName", "") else None)(
                lab.client_entry(marked.mac)), 15)
        wait_for("the listeners' entries", lambda: lab.client_entry(listener.mac) and
                 lab.client_entry(denied.mac), 5)

        # The CSP on the login page and on the list page.
        status, headers, _ = admin_curl(lab, ADMIN_URL)
        check_csp(headers, "login page")
        jar = os.path.join(lab.tmp, "cookies")
        status, headers, token = log_in(lab, jar)
        cookie = header(headers, "Set-Cookie") or ""
        if status != 303 or "HttpOnly" not in cookie or "SameSite=Strict" not in cookie:
            fail("login: %d, cookie %r" % (status, cookie))
        if not token:
            fail("the list page has no form token")
        _, headers, page = admin_curl(lab, ADMIN_URL, jar=jar)
        check_csp(headers, "list page")
        select = re.search(r"<select[^>]*>(.*?)</select>", page, re.S)
        offered = [html.unescape(v) for v in re.findall(r'<option value="([^"]*)"',
                                                        select.group(1) if select else "")]
        if offered != [""] + loaded:
            fail("the profile drop-down offers %r, the library loaded %r" % (offered, loaded))
        if MARKUP in page:
            fail("the list page carries the device's markup unescaped")

        # The browser.
        profile_dir = os.path.join(lab.tmp, "chromium-profile")
        before = time.monotonic()
        shown = run_browser(lab, {"url": ADMIN_URL, "password": PASSWORD, "out": out,
                                  "profile_dir": profile_dir, "markup": marked.mac,
                                  "choose": {"mac": listener.mac, "profile": MUSIC_ONLY},
                                  "deny": denied.mac})
        print("browser session: %.1f s" % (time.monotonic() - before))
        for client in (listener, denied, marked):
            if client.mac not in shown["names"]:
                fail("the page does not list %s: %r" % (client.mac, shown["names"]))
        if shown["names"][listener.mac] != lab.client_entry(listener.mac)["displayName"].strip():
            fail("display name shown %r" % shown["names"][listener.mac])
        if shown["seen"][listener.mac] in ("", "\u2014") or shown["seen"][marked.mac] != "\u2014":
            fail("last seen: %r (the renderer only announced itself)" % shown["seen"])
        if shown["markup_text"] != marked_entry["displayName"]:
            fail("the device's name shows as %r, not as the text %r"
                 % (shown["markup_text"], marked_entry["displayName"]))
        if shown["img_elements"] or shown["alert"]:
            fail("the device's markup became an element: %d img, alert %s"
                 % (shown["img_elements"], shown["alert"]))
        if shown["choice_shown"] != MUSIC_ONLY or shown["access_shown"] != "Denied":
            fail("after the changes the page shows %r and %r"
                 % (shown["choice_shown"], shown["access_shown"]))
        if shown["filtered"] != [denied.mac]:
            fail("filtering by %s shows %r" % (denied.mac, shown["filtered"]))
        if shown["sorted_desc_by_mac"] != sorted(shown["names"], reverse=True):
            fail("sorted by MAC, descending: %r" % shown["sorted_desc_by_mac"])
        scroll_width, screen_width = shown["phone_widths"]
        if screen_width != 360 or scroll_width > screen_width or \
                "width=device-width" not in shown["phone_viewport"]:
            fail("on a 360 px phone the page is %d px wide (screen %d, viewport %r)"
                 % (scroll_width, screen_width, shown["phone_viewport"]))
        for name in ("desktop", "phone"):
            if os.path.getsize(shown[name]) < 1000:
                fail("the %s screenshot is empty" % name)
        print("screenshots: %s, %s" % (shown["desktop"], shown["phone"]))

        # From the client side: the next requests follow the page's changes.
        status, result = browse(lab, listener)
        if status != 200 or shows_video(result):
            fail("after choosing %s: %d, Video container %s" % (MUSIC_ONLY, status,
                                                                shows_video(result)))
        status, headers, body = denied.curl("-X", "POST", "-H", 'SOAPAction: "urn:schemas-upnp-'
                                            'org:service:ContentDirectory:1#Browse"',
                                            "--data-binary", "x",
                                            lab.url("/ContentDirectory/control"))
        if status != 403 or body:
            fail("the denied client got %d with %d bytes" % (status, len(body)))
        saved = lab.client_entry(listener.mac)
        if saved.get("profileName_UserSelected") != MUSIC_ONLY or \
                lab.client_entry(denied.mac).get("isAccess") is not False:
            fail("the saved list lacks the changes: %r" % lab.client_list())

        # Refusals, each leaving the list as it was.
        unchanged = decisions(lab)
        other_jar = os.path.join(lab.tmp, "wrong-cookies")
        status, headers, token_wrong = log_in(lab, other_jar, password="wrong password")
        if status != 403 or header(headers, "Set-Cookie") or token_wrong:
            fail("a wrong password: %d, cookie %r" % (status, header(headers, "Set-Cookie")))
        for fields in ({}, {"csrf": "0" * 64}):
            status, _, _ = post(lab, jar, "client", mac=denied.mac, action="allow", **fields)
            if status != 403:
                fail("a change with form token %r answered %d" % (fields.get("csrf"), status))
        status, _, _ = post(lab, other_jar, "client", mac=denied.mac, action="allow", csrf=token)
        if status != 403:
            fail("a change without a session answered %d" % status)
        status, _, _ = marked.curl("http://%s:%d/" % (SERVER_IP, ADMIN_PORT))
        if status != 0:
            fail("the page answered %d on the client side's address" % status)
        if browse(lab, denied)[0] != 403 or \
                decisions(lab) != unchanged:
            fail("a refused change changed something: %r" % lab.client_list())

        # With its token the same change goes through; then a removal.
        status, _, _ = post(lab, jar, "client", mac=denied.mac, action="allow", csrf=token)
        if status != 303 or browse(lab, denied)[0] != 200:
            fail("allowing with the form token: %d" % status)
        status, _, _ = post(lab, jar, "client", mac=marked.mac, action="remove", csrf=token)
        if status != 303 or lab.client_entry(marked.mac) is not None:
            fail("removing: %d, entry %r" % (status, lab.client_entry(marked.mac)))

        # Denying new clients: saved in the configuration and applied at the next start.
        status, _, _ = post(lab, jar, "settings", deny_new="1", csrf=token)
        if status != 303 or "deny-new-clients = true" not in open(config).read():
            fail("the switch for new clients: %d, configuration %r" % (status, open(config).read()))
        newcomer = lab.add_client("02:77:00:00:00:77")
        if browse(lab, newcomer)[0] != 403:
            fail("a new client was served with new clients denied")
        if lab.stop_server() != 0:
            fail("the server did not stop cleanly")
        with open(config, "a") as f:
            f.write("language = ger\n")
        lab.start_server("--config", config, profiles=profiles)
        _, headers, page = admin_curl(lab, ADMIN_URL)
        if '<html lang="de">' not in page or "Passwort" not in page:
            fail("the page is not in the configured language:\n" + page)
        late = lab.add_client("02:77:00:00:00:78")
        if browse(lab, late)[0] != 403 or browse(lab, listener)[0] != 200:
            fail("after a restart new clients are not denied, or a known client lost access")
    print("PASS")


if __name__ == "__main__":
    main()
