"""The media trees every server of the comparison indexes, made of hard links of one file
per kind made with ffmpeg, so that a tree costs little disk and is made in seconds.

The main tree (make_tree): benchtree/ with nested folders of songs (by default 20 artists
x 10 albums x 50 tracks = 10,000), videos1000/ with a folder of short videos (1,000) and
large/ with one large video (about 230 MB of raw video by default).

A scaling library of size N (make_library): songs/ with N songs in one folder, videos/
and photos/ with N/10 videos and N/10 photos, so that the folder and the Music view hold
N items and the Video and Photo views N/10.
"""

import os
import shutil
import subprocess

FF = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]
LINKS_PER_FILE = 50000

# The main tree's shape: (artists, albums per artist, tracks per album), videos, seconds
# of the large video.
FULL = {"artists": 20, "albums": 10, "tracks": 50, "videos": 1000, "large_s": 20}
SMOKE = {"artists": 2, "albums": 2, "tracks": 5, "videos": 30, "large_s": 1}


def tree_items(shape):
    """How many items the main tree holds (songs, videos and the large video)."""
    return shape["artists"] * shape["albums"] * shape["tracks"] + shape["videos"] + 1


def _song(path):
    subprocess.run(FF + ["-f", "lavfi", "-i", "sine=frequency=440", "-t", "1", "-c:a",
                         "libmp3lame", path], check=True)


def _clip(path):
    subprocess.run(FF + ["-f", "lavfi", "-i", "testsrc=size=160x120:rate=10", "-t", "1",
                         "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p",
                         path], check=True)


def _photo(path):
    subprocess.run(FF + ["-f", "lavfi", "-i", "testsrc=size=320x240", "-frames:v", "1",
                         path], check=True)


def make_tree(root, shape=None):
    """The main tree under root/tree; returns its path."""
    shape = shape or FULL
    os.makedirs(root)
    song, clip, big = (os.path.join(root, n) for n in ("song.mp3", "clip.mp4", "big.avi"))
    _song(song)
    _clip(clip)
    # Raw video: large, yet made without encoding.
    subprocess.run(FF + ["-f", "lavfi", "-i", "testsrc=size=640x480:rate=25", "-t",
                         str(shape["large_s"]), "-c:v", "rawvideo", "-pix_fmt", "yuv420p",
                         big], check=True)
    media = os.path.join(root, "tree")
    for artist in range(shape["artists"]):
        for album in range(shape["albums"]):
            folder = os.path.join(media, "benchtree", "artist%02d" % artist, "album%02d" % album)
            os.makedirs(folder)
            for track in range(shape["tracks"]):
                os.link(song, os.path.join(folder, "track%02d.mp3" % track))
    os.makedirs(os.path.join(media, "videos1000"))
    for n in range(shape["videos"]):
        os.link(clip, os.path.join(media, "videos1000", "video%04d.mp4" % n))
    os.makedirs(os.path.join(media, "large"))
    os.rename(big, os.path.join(media, "large", "large.avi"))
    return media


def library_counts(size):
    """{folder: items} of the scaling library of `size` items."""
    return {"songs": size, "videos": max(1, size // 10), "photos": max(1, size // 10)}


def make_library(root, size):
    """The scaling library of `size` under root/library-SIZE; returns its path."""
    os.makedirs(root, exist_ok=True)
    sources = {"songs": (os.path.join(root, "one.mp3"), _song, "song%06d.mp3"),
               "videos": (os.path.join(root, "one.mp4"), _clip, "video%06d.mp4"),
               "photos": (os.path.join(root, "one.jpg"), _photo, "photo%06d.jpg")}
    media = os.path.join(root, "library-%d" % size)
    for folder, count in library_counts(size).items():
        source, make, name = sources[folder]
        if not os.path.exists(source):
            make(source)
        os.makedirs(os.path.join(media, folder))
        for n in range(count):
            # A file system bounds the links of one file (ext4: 65,000): a copy per
            # LINKS_PER_FILE names.
            copy = "%s.%d" % (source, n // LINKS_PER_FILE)
            if not os.path.exists(copy):
                shutil.copyfile(source, copy)
            os.link(copy, os.path.join(media, folder, name % n))
    return media
