#!/usr/bin/python3
"""Transcoding in calyx-dms, with real clients on a namespaced network: which `res` each
kind of client gets (rules that match nothing, no rules, transpcm, transmkv), the streams
behind them read by ffprobe and ffmpeg, time seeking, byte ranges refused, HTTP/1.0, the
limit of workers, a client that leaves, and a file that is not media. Media are made with
ffmpeg at test time; the server runs with --transcodes 1."""

import os
import re
import shutil
import signal
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dms_lab import Lab, fail, run, soap_action, wait_for  # noqa: E402

FF = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"
MACS = {"rules": "02:77:00:00:27:01", "plain": "02:77:00:00:27:02",
        "pcm": "02:77:00:00:27:03", "mkv": "02:77:00:00:27:04", "wav": "02:77:00:00:27:05"}
STREAM_FLAGS = "DLNA.ORG_OP=10;DLNA.ORG_CI=1;DLNA.ORG_FLAGS=01700000000000000000000000000000"
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL: " + message, file=sys.stderr)


def write_profiles(path):
    """Four profiles, each matched by its client's hardware address."""
    import json
    profiles = [
        {"profileName": "Rules TV", "profileID": {"macAddr": MACS["rules"]}, "dlna": "yes",
         "agentopt": "xmres",
         # Sorted first and passed over: a plain MP4 is not written while it streams.
         "profile@AVC_MP4": "container_type@mp4#video_codec@h264#audio_codec@aac",
         "profile@AVC_TS_HD": "container_type@mpegts#video_codec@h264#resolutionx@1~1280"
                              "#resolutiony@1~720#audio_codec@ac3&aac#channel@1~2",
         "profile@HEVC_MP4": "container_type@mp4#video_codec@hevc"},
        {"profileName": "Plain Player", "profileID": {"macAddr": MACS["plain"]},
         "dlna": "yes", "agentopt": "xmres"},
        {"profileName": "PCM Receiver", "profileID": {"macAddr": MACS["pcm"]}, "dlna": "yes",
         "agentopt": "transpcm"},
        {"profileName": "MKV TV", "profileID": {"macAddr": MACS["mkv"]}, "dlna": "yes",
         "agentopt": "transmkv",
         "profile@AVC_TS": "container_type@mpegts#video_codec@h264#audio_codec@aac",
         "profile@MPEG_PS": "container_type@mpeg#video_codec@mpeg2video"},
        {"profileName": "WAV Receiver", "profileID": {"macAddr": MACS["wav"]}, "dlna": "yes",
         "agentopt": "xmres transwav"},
    ]
    with open(path, "w") as f:
        json.dump({"ProfileList": profiles}, f, indent=1)


def make_media(folder):
    os.makedirs(folder)
    media = {"hevc": "clip-hevc.mkv", "avc": "clip-avc.mkv", "flac": "song.flac",
             "mp3": "song.mp3", "broken": "broken.mkv"}
    media = {k: os.path.join(folder, v) for k, v in media.items()}
    source = ["-f", "lavfi", "-i", "testsrc=size=320x240:rate=5", "-f", "lavfi", "-i",
              "sine=frequency=440:sample_rate=48000", "-t", "40", "-pix_fmt", "yuv420p", "-ac", "2"]
    run(*FF, *source, "-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
        "log-level=error", "-c:a", "ac3", media["hevc"])
    run(*FF, *source, "-c:v", "libx264", "-preset", "ultrafast", "-g", "10", "-c:a", "aac",
        media["avc"])
    run(*FF, "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100", "-f", "lavfi", "-i",
        "sine=frequency=660:sample_rate=44100", "-filter_complex", "amerge", "-t", "20",
        "-c:a", "flac", "-sample_fmt", "s16", media["flac"])
    run(*FF, "-f", "lavfi", "-i", "sine=frequency=440", "-t", "2", "-c:a", "libmp3lame",
        media["mp3"])
    run(*FF, *source, "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", "-t", "4",
        media["broken"])
    return media


def index(lab, folder, media):
    env = dict(os.environ, PGOPTIONS="-c search_path=%s" % lab.schema)
    run(lab.tool, "index", "--workers", "1", "-q", folder, env=env)
    ids = {}
    for name, path in media.items():
        table = "music" if path.endswith((".flac", ".mp3")) else "video"
        ids[name] = int(lab.psql("SELECT id FROM %s WHERE path = '%s'" % (table, path)).strip())
    # Indexed as a video, then spoiled in place with its size and time kept (a file that
    # changed since it was indexed is refused before any worker starts): the server
    # learns it only when it transcodes.
    indexed = os.stat(media["broken"])
    with open(media["broken"], "r+b") as f:
        f.write(bytes(range(256)) * 64)
    os.utime(media["broken"], ns=(indexed.st_atime_ns, indexed.st_mtime_ns))
    return ids


def browse(client, lab, container):
    status, out = soap_action(client, lab, "ContentDirectory", "Browse", [
        ("ObjectID", container), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
        ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
    if status != 200:
        fail("Browse %s: HTTP %d" % (container, status))
    items = {}
    for item in ET.fromstring(out["Result"]).iter(DIDL + "item"):
        items[item.get("id")] = [(res.get("protocolInfo"), res.text, dict(res.attrib))
                                 for res in item.iter(DIDL + "res")
                                 if "JPEG_TN" not in res.get("protocolInfo")]
    return items


def workers(lab):
    """Worker processes of the server that are still running."""
    out = run("pgrep", "-P", str(lab.server.pid), "-x", "calyx-transcode", check=False).stdout
    return [int(pid) for pid in out.split()]


def wait_no_workers(lab):
    wait_for("the workers to end", lambda: not workers(lab), 15)


def get(client, lab, url, *args):
    wait_no_workers(lab)
    return client.curl(*args, url)


def probe(lab, data):
    path = os.path.join(lab.tmp, "probe.bin")
    with open(path, "wb") as f:
        f.write(data)
    out = run("ffprobe", "-v", "error", "-count_packets", "-show_entries",
              "stream=codec_name,width,height:format=duration", "-of", "flat", path).stdout
    facts = dict(line.split("=", 1) for line in out.splitlines())
    codecs = sorted(v.strip('"') for k, v in facts.items()
                    if k.startswith("streams.") and k.endswith("codec_name"))
    duration = facts.get("format.duration", '"-1"').strip('"')
    return codecs, float(duration) if duration != "N/A" else -1, facts


def header(headers, name):
    found = re.findall(r"^%s:\s*(.*?)\r?$" % re.escape(name), headers, re.I | re.M)
    return found[-1] if found else None


def check_lists(lab, clients, ids):
    """The res lists of docs/server.md's table of transcoding choices."""
    v = {name: "v%d" % ids[name] for name in ("hevc", "avc", "broken")}
    m = {name: "m%d" % ids[name] for name in ("flac", "mp3")}
    lists = {name: dict(browse(c, lab, "video"), **browse(c, lab, "music"))
             for name, c in clients.items()}

    def forms(who, item):
        return [(info.split(":")[2], info.split(":")[3], url.split("/", 3)[3])
                for info, url, _ in lists[who][item]]

    # Rules that match nothing: the original first (xmres), then the first rule a transcode
    # satisfies (AVC_MP4 is plain MP4 and passed over): H.264 in 1280x720, AC-3 first.
    rules = forms("rules", v["hevc"])
    check(len(rules) == 2 and rules[0][2].startswith("media/v/") and
          rules[1] == ("video/mpeg", "DLNA.ORG_PN=AVC_TS_HD;" + STREAM_FLAGS,
                       "transcode/v/%d/ts-h264-ac3-1280x720-2.ts" % ids["hevc"]),
          "rules TV, HEVC: %s" % rules)
    attrs = lists["rules"][v["hevc"]][1][2]
    # 800k video + 2 x 96k audio, in the estimates' kilobits, for 40 s.
    check(attrs.get("bitrate") == str((800 + 2 * 96) * 1024 // 8) and
          attrs.get("size") == str((800 + 2 * 96) * 1024 * 40 // 8) and
          attrs.get("resolution") == "320x240" and attrs.get("duration") == "0:00:40.000",
          "rules TV, HEVC: attributes %s" % attrs)
    check(forms("rules", m["flac"]) and len(forms("rules", m["flac"])) == 1,
          "rules TV without transpcm: FLAC original only %s" % forms("rules", m["flac"]))
    # No rules: nothing says what it plays, so it gets the originals only.
    for item in list(v.values()) + list(m.values()):
        check(len(forms("plain", item)) == 1 and forms("plain", item)[0][2].startswith("media/"),
              "plain player %s: %s" % (item, forms("plain", item)))
    # transpcm without xmres: LPCM in the FLAC's place; MP3 stays; no rules, no video forms.
    pcm = forms("pcm", m["flac"])
    check(pcm == [("audio/L16;rate=44100;channels=2", "DLNA.ORG_PN=LPCM;" + STREAM_FLAGS,
                   "transcode/m/%d/lpcm-44100-2.lpcm" % ids["flac"])],
          "transpcm, FLAC: %s" % pcm)
    pcm_attrs = lists["pcm"][m["flac"]][0][2]
    check(pcm_attrs.get("bitrate") == str(2 * 689 * 1024 // 8) and
          pcm_attrs.get("sampleFrequency") == "44100" and
          pcm_attrs.get("nrAudioChannels") == "2", "transpcm, FLAC: attributes %s" % pcm_attrs)
    check(len(forms("pcm", m["mp3"])) == 1 and forms("pcm", m["mp3"])[0][0] == "audio/mpeg",
          "transpcm, MP3: %s" % forms("pcm", m["mp3"]))
    check(len(forms("pcm", v["hevc"])) == 1 and forms("pcm", v["hevc"])[0][2].startswith("media/"),
          "transpcm, video: %s" % forms("pcm", v["hevc"]))
    # transmkv: the H.264/AAC MKV fits the MPEG-TS rule and is remuxed; the HEVC one is not,
    # and is transcoded as that rule asks. Without xmres each takes the original's place.
    check(forms("mkv", v["avc"]) == [("video/mpeg", "DLNA.ORG_PN=AVC_TS;" + STREAM_FLAGS,
                                      "transcode/v/%d/remux.ts" % ids["avc"])],
          "transmkv, H.264 MKV: %s" % forms("mkv", v["avc"]))
    check(forms("mkv", v["hevc"]) == [("video/mpeg", "DLNA.ORG_PN=AVC_TS;" + STREAM_FLAGS,
                                       "transcode/v/%d/ts-h264-aac-1920x1080-2.ts" % ids["hevc"])],
          "transmkv, HEVC MKV: %s" % forms("mkv", v["hevc"]))
    # transwav with xmres: the original FLAC first, then WAV; MP3 alone.
    wav = forms("wav", m["flac"])
    check(len(wav) == 2 and wav[0][0] == "audio/flac" and
          wav[1] == ("audio/wav", STREAM_FLAGS, "transcode/m/%d/wav-44100-2.wav" % ids["flac"]),
          "transwav, FLAC: %s" % wav)
    check(len(forms("wav", m["mp3"])) == 1, "transwav, MP3: %s" % forms("wav", m["mp3"]))
    return {"hevc": lists["rules"][v["hevc"]][1][1], "flac": lists["pcm"][m["flac"]][0][1],
            "wav": lists["wav"][m["flac"]][1][1],
            "remux": lists["mkv"][v["avc"]][0][1], "broken": lists["rules"][v["broken"]][1][1]}


def main():
    with Lab("transcode") as lab:
        media = make_media(os.path.join(lab.tmp, "media"))
        profiles = os.path.join(lab.tmp, "profiles.json")
        write_profiles(profiles)
        lab.make_index()
        ids = index(lab, os.path.join(lab.tmp, "media"), media)
        clients = {name: lab.add_client(mac) for name, mac in MACS.items()}
        lab.start_server("--transcodes", "1", profiles=profiles)
        urls = check_lists(lab, clients, ids)
        tv, pcm, mkv = clients["rules"], clients["pcm"], clients["mkv"]

        # The whole transcode: H.264/AC-3 in MPEG-TS, chunked, no Content-Length.
        status, headers, body = get(tv, lab, urls["hevc"])
        codecs, duration, facts = probe(lab, body)
        check(status == 200 and codecs == ["ac3", "h264"] and abs(duration - 40) < 1,
              "transcode: %d %s %.2f" % (status, codecs, duration))
        check(header(headers, "Content-Length") is None and
              header(headers, "Transfer-Encoding") == "chunked" and
              header(headers, "Content-Type") == "video/mpeg" and
              header(headers, "contentFeatures.dlna.org") ==
              "DLNA.ORG_PN=AVC_TS_HD;" + STREAM_FLAGS, "transcode headers:\n" + headers)

        # A seek to 30 s: the stream starts there and holds the last 10 s.
        status, headers, body = get(tv, lab, urls["hevc"], "-H",
                                    "TimeSeekRange.dlna.org: npt=30-")
        codecs, duration, _ = probe(lab, body)
        answer = header(headers, "TimeSeekRange.dlna.org") or ""
        start = re.match(r"npt=([\d.]+)-([\d.]+)/([\d.]+)$", answer)
        check(status == 200 and start and abs(float(start.group(1)) - 30) < 1 and
              abs(float(start.group(3)) - 40) < 1 and abs(duration - 10) < 1,
              "seek to 30 s: %d %r %.2f" % (status, answer, duration))
        status, headers, _ = get(tv, lab, urls["hevc"], "-H",
                                 "TimeSeekRange.dlna.org: npt=0:00:41.000-")
        check(status == 416, "seek past the end: %d" % status)
        status, _, _ = get(tv, lab, urls["hevc"], "-H", "TimeSeekRange.dlna.org: bytes=1-")
        check(status == 400, "malformed seek: %d" % status)
        # Byte ranges: refused on the transcode, served on the original.
        status, headers, body = get(tv, lab, urls["hevc"], "-H", "Range: bytes=0-99")
        check(status == 406 and not workers(lab), "byte range on a transcode: %d" % status)
        original = lab.url("/media/v/%d.mkv" % ids["hevc"])
        status, _, body = tv.curl("-H", "Range: bytes=0-99", original)
        check(status == 206 and len(body) == 100, "byte range on the original: %d" % status)

        # HTTP/1.0: no chunks; the end of the stream is the end of the connection.
        status, headers, body = get(tv, lab, urls["hevc"], "--http1.0", "-H",
                                    "TimeSeekRange.dlna.org: npt=35-")
        codecs, duration, _ = probe(lab, body)
        check(status == 200 and header(headers, "Transfer-Encoding") is None and
              header(headers, "Content-Length") is None and abs(duration - 5) < 1,
              "HTTP/1.0: %d %.2f\n%s" % (status, duration, headers))

        # FLAC as LPCM: the very samples ffmpeg decodes from the file.
        status, headers, body = get(pcm, lab, urls["flac"])
        reference = subprocess.run(FF + ["-i", media["flac"], "-f", "s16be", "-"],
                                   capture_output=True, check=True).stdout
        check(status == 200 and header(headers, "Content-Type") ==
              "audio/L16;rate=44100;channels=2" and body == reference,
              "LPCM: %d, %d bytes, ffmpeg %d" % (status, len(body), len(reference)))

        # FLAC as WAV from 5 s: 15 s of 16-bit PCM that ffprobe reads.
        status, headers, body = get(clients["wav"], lab, urls["wav"], "-H",
                                    "TimeSeekRange.dlna.org: npt=5-")
        codecs, duration, _ = probe(lab, body)
        check(status == 200 and header(headers, "Content-Type") == "audio/wav" and
              codecs == ["pcm_s16le"] and abs(duration - 15) < 1,
              "WAV: %d %s %.2f" % (status, codecs, duration))

        # The MKV remux: streams copied into MPEG-TS.
        status, headers, body = get(mkv, lab, urls["remux"])
        codecs, duration, _ = probe(lab, body)
        check(status == 200 and codecs == ["aac", "h264"] and abs(duration - 40) < 1,
              "remux: %d %s %.2f" % (status, codecs, duration))

        # HEAD answers the headers without starting a worker.
        status, headers, body = get(tv, lab, urls["hevc"], "-I")
        check(status == 200 and not workers(lab) and
              header(headers, "contentFeatures.dlna.org").endswith(STREAM_FLAGS),
              "HEAD: %d" % status)

        # A file that is not media (any more): an error, and the server goes on.
        status, _, _ = get(tv, lab, urls["broken"])
        check(status == 500, "broken file: %d" % status)

        # One worker at most: a second request meanwhile gets 503 with Retry-After. The
        # first client is then killed, and its worker is gone within 1 s.
        wait_no_workers(lab)
        slow = lab.spawn(tv.ns, "curl", "-s", "--limit-rate", "20k", "-o", "/dev/null",
                         urls["hevc"])
        wait_for("the first worker", lambda: workers(lab), 15)
        status, headers, _ = pcm.curl(urls["flac"])
        check(status == 503 and header(headers, "Retry-After") == "10",
              "second transcode with --transcodes 1: %d\n%s" % (status, headers))
        slow.send_signal(signal.SIGKILL)
        slow.wait()
        time.sleep(1.0)
        left = workers(lab)
        check(not left, "workers 1 s after the client was killed: %s" % left)
        status, _, body = get(pcm, lab, urls["flac"], "-H", "TimeSeekRange.dlna.org: npt=19-")
        check(status == 200 and len(body) == 44100 * 4, "after the kill: %d %d" % (status, len(body)))

        # The originals' link policy holds for transcodes: a source swapped for a link out
        # of the media folders gets 403, one changed since it was indexed 409, and neither
        # starts a worker.
        outside = os.path.join(lab.tmp, "outside.flac")
        shutil.copyfile(media["flac"], outside)
        kept = media["flac"] + ".kept"
        os.rename(media["flac"], kept)
        os.symlink(outside, media["flac"])
        status, _, _ = get(pcm, lab, urls["flac"])
        check(status == 403 and not workers(lab), "a source swapped for a link: %d" % status)
        os.remove(media["flac"])
        os.rename(kept, media["flac"])
        status, _, body = get(pcm, lab, urls["flac"], "-H", "TimeSeekRange.dlna.org: npt=19-")
        check(status == 200 and len(body) == 44100 * 4, "the source back: %d" % status)
        with open(media["flac"], "ab") as f:
            f.write(b"appended")
        status, _, _ = get(pcm, lab, urls["flac"])
        check(status == 409 and not workers(lab), "a source changed since indexed: %d" % status)

        check(lab.server.poll() is None, "the server is gone")
        check(lab.stop_server() == 0, "the server did not stop cleanly")
    if failures:
        print("%d failed" % len(failures), file=sys.stderr)
        return 1
    print("transcoding: all checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
