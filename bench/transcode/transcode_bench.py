#!/usr/bin/python3
"""Transcoding figures of calyx-transcode, the worker calyx-dms starts for each transcoded
stream, run exactly as the server runs it (the server's encoder arguments, output on a
pipe read as fast as it comes):

    transcode_bench.py WORKER [SECONDS] [--json FILE]

For 1080p H.264 -> H.264 MPEG-TS, 1080p HEVC -> H.264, 720p H.264 -> H.264 (one, and two
at once), FLAC -> LPCM: frames per second, real-time factor (media seconds per second),
CPU (user + system seconds per second of wall time: 2.0 is both cores) and peak memory of
the worker; the time to the first media byte from the start of the worker and from a
seek to the middle. Sources (SECONDS long, default 20) are made with ffmpeg first: a
moving test picture with grain, 25 frames per second, stereo AAC. The machine is shared
with whatever else runs: figures are medians of 3 runs and say how busy it was. --json
writes the figures to FILE too (compare_transcodes.py reads it)."""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

FF = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
FPS = 25


def video_args(box, rate):
    return ("-f mpegts -vcodec libx264 -preset superfast -b %dk -bufsize %dk -s %s -acodec aac "
            "-ab 64k -ac 2 -ar 48000" % (rate, 2 * rate, box))


CASES = [
    # name, source, encoder arguments (as calyx-dms makes them for that frame), frames?
    ("1080p H.264 -> H.264 TS", "h264-1080", video_args("1920x1080", 8000), True),
    ("1080p HEVC -> H.264 TS", "hevc-1080", video_args("1920x1080", 8000), True),
    ("720p H.264 -> H.264 TS", "h264-720", video_args("1280x720", 4000), True),
    ("FLAC 44.1 kHz -> LPCM", "flac", "-f s16be -acodec pcm_s16be -b 0 -ab 689 -ac 2 -ar 44100",
     False),
]


def make_sources(folder, seconds):
    grain = "testsrc2=size=%s:rate=%d,noise=alls=12:allf=t"
    audio = ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000", "-ac", "2"]
    sources = {}
    for name, size, codec in (("h264-1080", "1920x1080", ["-c:v", "libx264", "-preset",
                                                          "veryfast", "-b:v", "8M"]),
                              ("h264-720", "1280x720", ["-c:v", "libx264", "-preset", "veryfast",
                                                        "-b:v", "4M"]),
                              ("hevc-1080", "1920x1080", ["-c:v", "libx265", "-preset",
                                                          "ultrafast", "-x265-params",
                                                          "log-level=error", "-b:v", "6M"])):
        path = os.path.join(folder, name + ".mkv")
        subprocess.run(FF + ["-f", "lavfi", "-i", grain % (size, FPS)] + audio +
                       ["-t", str(seconds), "-pix_fmt", "yuv420p"] + codec +
                       ["-c:a", "aac", path], check=True)
        sources[name] = path
    path = os.path.join(folder, "song.flac")
    subprocess.run(FF + ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100", "-f", "lavfi",
                         "-i", "sine=frequency=660:sample_rate=44100", "-filter_complex", "amerge",
                         "-t", str(seconds * 3), "-c:a", "flac", "-sample_fmt", "s16", path],
                   check=True)
    sources["flac"] = path
    return sources


def run_worker(worker, source, args, start=None):
    """One transcode read to its end. Returns wall seconds, seconds to the first media byte,
    CPU seconds and peak memory (KiB)."""
    command = [worker, "--input", source, "--args", args]
    if start is not None:
        command += ["--start", str(start)]
    began = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.PIPE)
    process.stdout.readline()
    first = None
    while True:
        data = process.stdout.read1(65536)
        if not data:
            break
        if first is None:
            first = time.monotonic() - began
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - began
    if status != 0:
        raise RuntimeError("worker failed on %s" % source)
    return wall, first, usage.ru_utime + usage.ru_stime, usage.ru_maxrss


def first_byte_only(worker, source, args, start):
    """Seconds from the start of a worker to its first media byte; the worker is then
    stopped, as a client that only probes would."""
    command = [worker, "--input", source, "--args", args]
    if start:
        command += ["--start", str(start)]
    began = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.PIPE)
    process.stdout.readline()
    process.stdout.read1(1)
    took = time.monotonic() - began
    process.kill()
    process.wait()
    return took


def load():
    return os.getloadavg()[0]


def main():
    args = sys.argv[1:]
    json_path = None
    if "--json" in args:
        i = args.index("--json")
        json_path = args[i + 1]
        del args[i:i + 2]
    worker = os.path.realpath(args[0])
    seconds = int(args[1]) if len(args) > 1 else 20
    report = {"server": "calyx-transcode", "seconds": seconds, "load_before": load(),
              "cases": []}
    folder = tempfile.mkdtemp(prefix="calyx-transcode-bench-")
    try:
        print("making %d s sources..." % seconds, flush=True)
        sources = make_sources(folder, seconds)
        print("load average before: %.2f (the machine is shared: other work runs beside)"
              % load())
        print("%-26s %8s %8s %8s %9s %10s %10s" % ("case", "fps", "x real", "CPU", "memory",
                                                   "1st byte", "seek 1st"))
        for name, key, args, video in CASES:
            media = seconds * 3 if key == "flac" else seconds
            runs = [run_worker(worker, sources[key], args) for _ in range(3)]
            wall = statistics.median(r[0] for r in runs)
            cpu = statistics.median(r[2] / r[0] for r in runs)
            memory = statistics.median(r[3] for r in runs) / 1024
            first = statistics.median(first_byte_only(worker, sources[key], args, 0)
                                      for _ in range(3))
            seek = statistics.median(first_byte_only(worker, sources[key], args, media / 2)
                                     for _ in range(3))
            fps = "%.1f" % (media * FPS / wall) if video else "-"
            report["cases"].append({"case": name, "target": "MPEG-TS H.264" if video else "LPCM",
                                    "fps": media * FPS / wall if video else None,
                                    "real": media / wall, "cpu": cpu, "memory": memory,
                                    "first": first, "seek": seek,
                                    "seek_verdict": "honoured (worker --start)"})
            print("%-26s %8s %7.2fx %8.2f %6.0f MiB %8.3f s %8.3f s" % (
                name, fps, media / wall, cpu, memory, first, seek), flush=True)
        # Two 720p transcodes at once.
        results = [None, None]

        def one(i):
            results[i] = run_worker(worker, sources["h264-720"], CASES[2][2])

        threads = [threading.Thread(target=one, args=(i,)) for i in range(2)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        print("two 720p at once: %s real time each" %
              " and ".join("%.2fx" % (seconds / r[0]) for r in results))
        print("load average after: %.2f" % load())
        report["two_720p"] = [seconds / r[0] for r in results]
        report["load_after"] = load()
        if json_path:
            with open(json_path, "w") as f:
                json.dump(report, f, indent=1)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
