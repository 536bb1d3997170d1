#!/usr/bin/env python3
"""Makes one film with quarn-record and with ffmpeg, in turns, and tells what each took.

Four layers in 1280x720: a clip that fills the canvas, a half-transparent band of one colour, a second clip scaled down,
and a picture with alpha. Both decode with FFmpeg's decoders and encode with the same encoder and the same settings.
"""

import argparse
import os
import re
import resource
import statistics
import subprocess
import sys
import tempfile
import time

FPS = 30
FILMS = ("x264", "y4m")
GOALS = {"x264": 1.15, "y4m": 2.0}
LEAST_PSNR = 32.0  # Chroma is blended at half the size by one of them: edges of the layers differ.


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *arguments], check=True)


def make_media(folder, seconds):
    """Clips with much that moves, as films have."""
    encode = ["-c:v", "libx264", "-preset", "fast", "-crf", "18", "-pix_fmt", "yuv420p", "-color_range", "tv",
              "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709"]
    bt709 = "scale=out_color_matrix=bt709:out_range=tv"
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=s=1280x720:r={FPS}:d={seconds},{bt709}", *encode, f"{folder}/back.mp4")
    ffmpeg("-f", "lavfi", "-i", f"mandelbrot=s=640x360:r={FPS},{bt709}", "-t", str(seconds), *encode,
           f"{folder}/inset.mp4")
    ffmpeg("-f", "lavfi", "-i", "color=white:s=320x320,format=rgba,geq=r=X*0.8:g=Y*0.8:b=128:"
           "a=255*clip(80-abs(hypot(X-160\\,Y-160)-100)\\,0\\,20)/20", "-frames:v", "1", f"{folder}/ring.png")


def commands(recorder, folder, seconds):
    """What is run for each film, by contestant."""
    quarn = [recorder, "--offline", "--canvas", "1280x720", "--fps", str(FPS), "--duration", str(seconds),
             "--video", f"{folder}/back.mp4,volume=0", "--color", "#203040,size=1280x120,pos=0:280,opacity=0.5",
             "--video", f"{folder}/inset.mp4,size=480x270,pos=-360:-195,volume=0",
             "--picture", f"{folder}/ring.png,pos=420:-160"]
    graph = ("color=0x203040:s=1280x120:r=30,format=yuva420p,colorchannelmixer=aa=0.5[band];"
             "[1:v]scale=480:270[inset];[0:v][band]overlay=0:580:shortest=1[a];[a][inset]overlay=40:30[b];"
             "[b][2:v]overlay=900:40,format=yuv420p")
    peer = ["ffmpeg", "-v", "error", "-nostdin", "-y", "-i", f"{folder}/back.mp4", "-i", f"{folder}/inset.mp4",
            "-i", f"{folder}/ring.png", "-filter_complex", graph, "-t", str(seconds), "-an"]
    x264 = ["-c:v", "libx264", "-preset", "medium", "-crf", "20", "-g", str(2 * FPS), "-threads", "2"]
    return {
        "x264": {"quarn": quarn + ["-o", f"{folder}/quarn.mp4"], "ffmpeg": peer + x264 + [f"{folder}/ffmpeg.mp4"]},
        "y4m": {"quarn": quarn + ["-o", f"{folder}/quarn.y4m"], "ffmpeg": peer + [f"{folder}/ffmpeg.y4m"]},
    }


def run(command):
    """Returns the seconds that passed and those of the processor."""
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    after, end = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    return end - start, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def compare_pictures(folder, suffix):
    """Fails where the films differ in length or in what they show."""
    names = [f"{folder}/{name}.{suffix}" for name in ("quarn", "ffmpeg")]
    counts = [subprocess.run(["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v", "-show_entries",
                              "stream=nb_read_packets", "-of", "csv=p=0", name], check=True, capture_output=True,
                             text=True).stdout.strip() for name in names]
    told = subprocess.run(["ffmpeg", "-v", "info", "-nostdin", "-i", names[0], "-i", names[1], "-lavfi", "psnr", "-f",
                           "null", "-"], check=True, capture_output=True, text=True).stderr
    psnr = re.search(r"PSNR .*average:(\S+)", told).group(1)
    if counts[0] != counts[1] or float(psnr) < LEAST_PSNR:
        sys.exit(f"compare.py: not the same film as {suffix}: {counts[0]} and {counts[1]} frames, PSNR {psnr} dB")
    return float(psnr)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("recorder", help="the quarn-record to measure")
    parser.add_argument("--seconds", type=int, default=20, help="the length of the film (20)")
    parser.add_argument("--rounds", type=int, default=5, help="how often each makes it (5)")
    options = parser.parse_args()
    os.environ.setdefault("LIBGL_ALWAYS_SOFTWARE", "1")

    with tempfile.TemporaryDirectory() as folder:
        make_media(folder, options.seconds)
        print("| film | quarn-record s | ffmpeg s | ratio | processor s | ffmpeg's | ratio | PSNR dB | goal |")
        print("|---|---|---|---|---|---|---|---|---|")
        for film in FILMS:
            contestants = commands(os.path.abspath(options.recorder), folder, options.seconds)[film]
            for command in contestants.values():
                run(command)  # Once for the caches of files, and to have what is compared.
            psnr = compare_pictures(folder, "mp4" if film == "x264" else "y4m")
            rounds = [{name: run(command) for name, command in contestants.items()} for _ in range(options.rounds)]
            row = [film]
            for kind in range(2):
                row += [f"{statistics.median(r[name][kind] for r in rounds):.2f}" for name in ("quarn", "ffmpeg")]
                row.append(f"{statistics.median(r['quarn'][kind] / r['ffmpeg'][kind] for r in rounds):.2f}")
            print(f"| {' | '.join(row)} | {psnr:.1f} | {GOALS[film]} |", flush=True)


if __name__ == "__main__":
    main()
