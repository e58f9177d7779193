#!/usr/bin/env python3
"""clang-tidy over the library, the tool, the indexer and the server (src/, tools/,
indexer/, server/; not the tests), with the checks of .clang-tidy: any warning fails.

    scripts/tidy.py BUILD_DIR [-j JOBS]

BUILD_DIR is a built tree (the release build): its compile_commands.json says how each
file is compiled and ninja's dependency log which headers it includes. A file that passed
is remembered under BUILD_DIR/tidy/, keyed by the contents of the file, of every header it
includes, of the .clang-tidy files, of its compile command and of the clang-tidy version,
so a later run checks only what changed. Run it on a finished build, never beside one:
ninja cuts a dependency log it finds half written.
"""
import argparse
import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys

SOURCE_ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CHECKED_FOLDERS = ("src", "tools", "indexer", "transcoder", "server")
CLANG_TIDY = "clang-tidy"


def included_headers(build):
    """Object file -> headers it includes, from ninja's dependency log."""
    out = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True,
                         capture_output=True, text=True).stdout
    deps, current = {}, None
    for line in out.splitlines():
        if not line.strip():
            current = None
        elif not line.startswith(" "):
            current = os.path.normpath(os.path.join(build, line.split(":", 1)[0]))
            deps[current] = []
        elif current is not None:
            deps[current].append(os.path.normpath(os.path.join(build, line.strip())))
    return deps


def object_of(unit):
    """The object file a compile command writes ("output", or the argument of -o)."""
    if "output" in unit:
        return unit["output"]
    args = unit.get("arguments") or shlex.split(unit["command"])
    for i, arg in enumerate(args[:-1]):
        if arg == "-o":
            return args[i + 1]
    return ""


def file_digest(path, cache):
    if path not in cache:
        try:
            with open(path, "rb") as f:
                cache[path] = hashlib.sha256(f.read()).hexdigest()
        except OSError:
            cache[path] = "missing"
    return cache[path]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build")
    parser.add_argument("-j", "--jobs", type=int, default=os.cpu_count() or 1)
    args = parser.parse_args()
    build = os.path.abspath(args.build)

    with open(os.path.join(build, "compile_commands.json")) as f:
        commands = json.load(f)
    folders = tuple(os.path.join(SOURCE_ROOT, d) + os.sep for d in CHECKED_FOLDERS)
    units = [c for c in commands if os.path.normpath(c["file"]).startswith(folders)]
    if not units:
        sys.exit("tidy: no file of src/, tools/, indexer/ or server/ in " + build)

    version = subprocess.run([CLANG_TIDY, "--version"], check=True, capture_output=True,
                             text=True).stdout
    config = b""
    for folder in ("",) + CHECKED_FOLDERS:
        path = os.path.join(SOURCE_ROOT, folder, ".clang-tidy")
        if os.path.exists(path):
            with open(path, "rb") as f:
                config += path.encode() + f.read()
    deps = included_headers(build)
    digests = {}
    cache_dir = os.path.join(build, "tidy")
    os.makedirs(cache_dir, exist_ok=True)

    def key_of(unit):
        h = hashlib.sha256(version.encode() + config)
        h.update((unit.get("command") or " ".join(unit.get("arguments", []))).encode())
        source = os.path.normpath(os.path.join(unit["directory"], unit["file"]))
        obj = os.path.normpath(os.path.join(unit["directory"], object_of(unit)))
        for path in [source] + sorted(deps.get(obj, [])):
            h.update(path.encode() + file_digest(path, digests).encode())
        # Without the dependency log the key cannot see the headers: never reuse it.
        if obj not in deps:
            h.update(os.urandom(16))
        return source, h.hexdigest()

    todo = []
    for unit in units:
        source, key = key_of(unit)
        if not os.path.exists(os.path.join(cache_dir, key)):
            todo.append((source, key))
    print(f"tidy: {len(units)} files, {len(units) - len(todo)} unchanged since they passed, "
          f"checking {len(todo)}", flush=True)

    def check(item):
        source, key = item
        run = subprocess.run([CLANG_TIDY, "-p", build, "--quiet", source],
                             capture_output=True, text=True)
        findings = [l for l in run.stdout.splitlines()
                    if re.search(r": (warning|error): ", l)]
        return source, key, run.returncode, findings, run.stdout + run.stderr

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=args.jobs) as pool:
        for source, key, status, findings, output in pool.map(check, todo):
            if status == 0 and not findings:
                open(os.path.join(cache_dir, key), "w").close()
                continue
            failed += 1
            print(output.rstrip(), flush=True)
    if failed:
        sys.exit(f"tidy: findings in {failed} files")
    print("tidy: no findings")


if __name__ == "__main__":
    main()
