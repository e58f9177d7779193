#!/usr/bin/python3
"""calyx-transcode, the transcoding worker of calyx-dms, run as the server runs it: media
made with ffmpeg at test time, the stream read from the worker's standard output (a pipe)
and checked with ffprobe and ffmpeg."""

import os
import shutil
import subprocess
import sys
import tempfile
import time

WORKER = os.environ["CALYX_TRANSCODE"]
FF = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
VIDEO_ARGS = ("-f mpegts -vcodec libx264 -preset superfast -b 800k -bufsize 1600k "
              "-s 1920x1080 -acodec %s -ab 64k -ac 2 -ar 48000")
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL: " + message, file=sys.stderr)


def make_media(folder):
    """A 40 s 320x240 clip at 5 frames/s in three forms, a 16-bit 44.1 kHz stereo FLAC and
    a file that is no media at all."""
    media = {k: os.path.join(folder, v) for k, v in {
        "hevc": "clip-hevc.mkv", "avc": "clip-avc.mkv", "flac": "song.flac",
        "corrupt": "corrupt.mkv"}.items()}
    source = ["-f", "lavfi", "-i", "testsrc=size=320x240:rate=5", "-f", "lavfi", "-i",
              "sine=frequency=440:sample_rate=48000", "-t", "40", "-pix_fmt", "yuv420p"]
    subprocess.run(FF + source + ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                                  "log-level=error", "-c:a", "ac3", media["hevc"]], check=True)
    subprocess.run(FF + source + ["-c:v", "libx264", "-preset", "ultrafast", "-g", "10",
                                  "-c:a", "aac", media["avc"]], check=True)
    subprocess.run(FF + ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100", "-f",
                         "lavfi", "-i", "sine=frequency=660:sample_rate=44100",
                         "-filter_complex", "amerge", "-t", "20", "-c:a", "flac",
                         "-sample_fmt", "s16", media["flac"]], check=True)
    with open(media["corrupt"], "wb") as f:
        f.write(b"\x1a\x45\xdf\xa3" + bytes(range(256)) * 64)
    return media


def transcode(source, args, *extra):
    """Runs the worker; returns (status line, stream bytes, exit status, error output)."""
    result = subprocess.run([WORKER, "--input", source, "--args", args, *extra],
                            capture_output=True, timeout=120)
    status, _, stream = result.stdout.partition(b"\n")
    return status.decode(), stream, result.returncode, result.stderr.decode(errors="replace")


def probe(data, folder):
    path = os.path.join(folder, "probe.bin")
    with open(path, "wb") as f:
        f.write(data)
    out = subprocess.run(["ffprobe", "-v", "error", "-show_entries",
                          "stream=codec_type,codec_name,width,height,channels,sample_rate:"
                          "format=duration,format_name", "-of", "flat", path],
                         capture_output=True, text=True, timeout=60).stdout
    facts = {}
    for line in out.splitlines():
        key, _, value = line.partition("=")
        facts[key] = value.strip('"')
    return facts


def duration_of(data, folder):
    """Playing time of a stream as ffmpeg decodes it (whole, so it needs no index)."""
    path = os.path.join(folder, "decode.bin")
    with open(path, "wb") as f:
        f.write(data)
    out = subprocess.run(["ffprobe", "-v", "error", "-count_packets", "-show_entries",
                          "format=duration", "-of", "csv=p=0", path], capture_output=True,
                         text=True, timeout=60).stdout.strip()
    return float(out) if out and out != "N/A" else -1


def codecs(facts):
    return sorted(v for k, v in facts.items()
                  if k.startswith("streams.") and k.endswith(".codec_name"))


def main():
    folder = tempfile.mkdtemp(prefix="calyx-transcode-test-")
    try:
        media = make_media(folder)

        # HEVC/AC-3 in MKV -> H.264/AAC in MPEG-TS, whole.
        status, stream, rc, err = transcode(media["hevc"], VIDEO_ARGS % "aac")
        check(rc == 0 and status.startswith("ok start=0.000 duration=40."),
              "HEVC to H.264: %r %d %s" % (status, rc, err))
        facts = probe(stream, folder)
        check(codecs(facts) == ["aac", "h264"] and facts.get("format.format_name") == "mpegts",
              "HEVC to H.264: streams %s" % facts)
        check(abs(duration_of(stream, folder) - 40) < 1, "HEVC to H.264: duration %s" %
              duration_of(stream, folder))

        # A frame limit smaller than the picture scales it into the box; AC-3 audio.
        status, stream, rc, err = transcode(media["avc"], (VIDEO_ARGS % "ac3").replace(
            "1920x1080", "160x160"))
        facts = probe(stream, folder)
        check(rc == 0 and codecs(facts) == ["ac3", "h264"] and
              facts.get("streams.stream.0.width") == "160" and
              facts.get("streams.stream.0.height") == "120",
              "scaled with AC-3: %s %d %s" % (facts, rc, err))

        # MP2 audio, the third audio encoder of the video targets.
        status, stream, rc, err = transcode(media["avc"], VIDEO_ARGS % "mp2", "--end", "8")
        facts = probe(stream, folder)
        check(rc == 0 and codecs(facts) == ["h264", "mp2"] and
              abs(duration_of(stream, folder) - 8) < 1, "MP2: %s %d %s" % (facts, rc, err))

        # A seek to 30 s starts there: 10 s of the 40 remain.
        status, stream, rc, err = transcode(media["hevc"], VIDEO_ARGS % "aac", "--start", "30")
        check(rc == 0 and status.startswith("ok start=30.000"), "seek: %r %s" % (status, err))
        check(abs(duration_of(stream, folder) - 10) < 1,
              "seek: %.2f s sent" % duration_of(stream, folder))
        # ... and an end cuts it.
        status, stream, rc, err = transcode(media["hevc"], VIDEO_ARGS % "aac", "--start", "10",
                                            "--end", "15")
        check(rc == 0 and abs(duration_of(stream, folder) - 5) < 1,
              "window 10-15: %.2f s" % duration_of(stream, folder))

        # The MKV remux copies the streams from the key frame at or before the start.
        status, stream, rc, err = transcode(
            media["avc"], "-f mpegts -vcodec copy -b 200k -acodec copy -ab 64k -ac 2",
            "--start", "21")
        facts = probe(stream, folder)
        start = float(status.split("start=")[1].split()[0]) if "start=" in status else -1
        check(rc == 0 and codecs(facts) == ["aac", "h264"] and 19 <= start <= 21,
              "remux: %r %s %s" % (status, facts, err))
        check(abs(duration_of(stream, folder) - (40 - start)) < 1,
              "remux: %.2f s sent from %.3f" % (duration_of(stream, folder), start))

        # FLAC -> LPCM: the very samples ffmpeg decodes.
        status, stream, rc, err = transcode(
            media["flac"], "-f s16be -acodec pcm_s16be -b 0 -ab 689 -ac 2 -ar 44100")
        reference = subprocess.run(FF + ["-i", media["flac"], "-f", "s16be", "-"],
                                   capture_output=True, check=True).stdout
        check(rc == 0 and status.startswith("ok start=0.000 duration=20.000"),
              "LPCM: %r %s" % (status, err))
        check(len(stream) == len(reference) == 20 * 44100 * 4 and stream == reference,
              "LPCM: %d bytes, ffmpeg %d, same: %s" % (len(stream), len(reference),
                                                       stream == reference))

        # FLAC -> WAV at 48 kHz from 5 s: a WAV stream of 15 s.
        status, stream, rc, err = transcode(
            media["flac"], "-f wav -acodec pcm_s16le -b 0 -ab 750 -ac 2 -ar 48000",
            "--start", "5")
        facts = probe(stream, folder)
        check(rc == 0 and stream[:4] == b"RIFF" and codecs(facts) == ["pcm_s16le"] and
              facts.get("streams.stream.0.sample_rate") == "48000",
              "WAV: %r %s %s" % (status, facts, err))
        check(abs(duration_of(stream, folder) - 15) < 0.1,
              "WAV: %.2f s" % duration_of(stream, folder))

        # A file that is no media: an error line, exit status 1, nothing else.
        status, stream, rc, err = transcode(media["corrupt"], VIDEO_ARGS % "aac")
        check(rc == 1 and status.startswith("error ") and stream == b"",
              "corrupt file: %r %d %d bytes" % (status, rc, len(stream)))
        # A start past the end is refused the same way.
        status, stream, rc, err = transcode(media["flac"],
                                            "-f wav -acodec pcm_s16le -b 0 -ab 750 -ac 2",
                                            "--start", "25")
        check(rc == 1 and status.startswith("error "), "start past the end: %r" % status)
        # Arguments outside the grammar are refused before anything is opened.
        status, stream, rc, err = transcode(media["flac"], "-f wav -acodec vorbis")
        check(rc == 2 and status == "" and "vorbis" in err, "bad arguments: %d %s" % (rc, err))

        # The reader going away ends the worker (no file is left anywhere: it has none).
        worker = subprocess.Popen([WORKER, "--input", media["hevc"], "--args",
                                   VIDEO_ARGS % "aac"], stdout=subprocess.PIPE)
        worker.stdout.readline()
        worker.stdout.read(188)
        worker.stdout.close()
        try:
            rc = worker.wait(timeout=5)
        except subprocess.TimeoutExpired:
            worker.kill()
            rc = None
        check(rc == 1, "a worker whose reader left ended with %s" % rc)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    if failures:
        print("%d failed" % len(failures), file=sys.stderr)
        return 1
    print("transcode worker: all checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
