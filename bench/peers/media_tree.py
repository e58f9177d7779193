"""The media tree every server of the comparison indexes: benchtree/ with 10,000 songs in
nested folders (20 artists x 10 albums x 50 tracks), videos1000/ with 1,000 short videos
and large/ with one large video. The files of a kind are hard links of one file made with
ffmpeg, so the tree costs little disk and is made in seconds."""

import os
import subprocess

TREE_ITEMS = 10000
FF = ["ffmpeg", "-nostdin", "-loglevel", "error", "-y"]


def make_tree(root):
    os.makedirs(root)
    song, clip, big = (os.path.join(root, n) for n in ("song.mp3", "clip.mp4", "big.avi"))
    subprocess.run(FF + ["-f", "lavfi", "-i", "sine=frequency=440", "-t", "1", "-c:a",
                         "libmp3lame", song], check=True)
    subprocess.run(FF + ["-f", "lavfi", "-i", "testsrc=size=160x120:rate=10", "-t", "1",
                         "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p",
                         clip], check=True)
    # About 230 MB of raw video: large, yet made without encoding.
    subprocess.run(FF + ["-f", "lavfi", "-i", "testsrc=size=640x480:rate=25", "-t", "20",
                         "-c:v", "rawvideo", "-pix_fmt", "yuv420p", big], check=True)
    media = os.path.join(root, "tree")
    for artist in range(20):
        for album in range(10):
            folder = os.path.join(media, "benchtree", "artist%02d" % artist, "album%02d" % album)
            os.makedirs(folder)
            for track in range(50):
                os.link(song, os.path.join(folder, "track%02d.mp3" % track))
    os.makedirs(os.path.join(media, "videos1000"))
    for n in range(1000):
        os.link(clip, os.path.join(media, "videos1000", "video%04d.mp4" % n))
    os.makedirs(os.path.join(media, "large"))
    os.rename(big, os.path.join(media, "large", "large.avi"))
    return media
