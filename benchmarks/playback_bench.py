#!/usr/bin/env python3
"""Playback against public tools, on the same recordings in one run.

Usage: playback_bench.py [--program build/bin/playback_bench] [--seconds 60] [--rounds 1] [--drawn 10]
Needs ffmpeg, mpv and Xvfb. Prints rows: name | ours | theirs | ratio | target
"""
import argparse
import json
import os
import random
import resource
import socket
import statistics
import subprocess
import tempfile
import time


def processor_seconds(command, environment=None):
    """Of a child and its children, user and system."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   env=environment)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def make_recording(path, seconds):
    """One channel of 1080p30 and four of 720p30, a key frame each second, B-frames none, as cameras write."""
    sizes = ["1920x1080"] + ["1280x720"] * 4
    command = ["ffmpeg", "-v", "error", "-y"]
    for i, size in enumerate(sizes):
        command += ["-f", "lavfi", "-i", f"testsrc2=size={size}:rate=30:duration={seconds},"
                    f"noise=alls=12:allf=t:all_seed={i + 1}"]
    command += ["-f", "lavfi", "-i", f"sine=frequency=440:sample_rate=44100:duration={seconds}"]
    for i in range(len(sizes) + 1):
        command += ["-map", str(i)]
    command += ["-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-g", "30", "-bf", "0",
                "-b:v:0", "9M"]
    for i in range(1, len(sizes)):
        command += [f"-b:v:{i}", "4M"]
    subprocess.run(command + ["-c:a", "aac", path], check=True)


class Mpv:
    """mpv without a window, commanded through its socket."""

    def __init__(self, path, arguments):
        self.folder = tempfile.TemporaryDirectory()
        address = os.path.join(self.folder.name, "socket")
        self.process = subprocess.Popen(
            ["mpv", "--no-config", "--vo=null", "--ao=null", "--pause", "--keep-open=yes", "--hwdec=no",
             "--audio=no", f"--input-ipc-server={address}", *arguments, path],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.socket = socket.socket(socket.AF_UNIX)
        while True:
            try:
                self.socket.connect(address)
                break
            except OSError:
                time.sleep(0.02)
        self.lines = self.socket.makefile()
        self.wait_for("playback-restart")

    def wait_for(self, event):
        while json.loads(self.lines.readline()).get("event") != event:
            pass

    def seek(self, seconds):
        """Milliseconds until the picture is there."""
        start = time.monotonic()
        message = {"command": ["seek", seconds, "absolute+exact"]}
        self.socket.sendall((json.dumps(message) + "\n").encode())
        self.wait_for("seek")
        self.wait_for("playback-restart")
        return (time.monotonic() - start) * 1000

    def close(self):
        self.socket.close()
        self.process.terminate()
        self.process.wait()
        self.folder.cleanup()


GRID = ("[vid1]scale=640:360[a];[vid2]scale=640:360[b];[vid3]scale=640:360[c];[vid4]scale=640:360[d];"
        "[vid5]scale=640:360[e];[a][b][c][d][e]xstack=inputs=5:layout=0_0|w0_0|0_h0|w0_h0|0_h0+h1[vo]")


def mpv_seeks(path, count, duration, arguments):
    targets = random.Random(7)
    player = Mpv(path, arguments)
    try:
        return [player.seek(targets.uniform(0, duration * 0.95)) for _ in range(count)]
    finally:
        player.close()


def our_run(program, *arguments, environment=None):
    result = subprocess.run([program, *map(str, arguments)], check=True, stdout=subprocess.PIPE,
                            env=environment)
    return json.loads(result.stdout)


def row(name, ours, theirs, target):
    print(f"{name} | {ours:.3f} | {theirs:.3f} | {ours / theirs:.2f} | {target}", flush=True)


def bench_playing(program, path, options):
    ours, theirs, lags, frames = [], [], [], []
    for _ in range(options.rounds):
        theirs.append(processor_seconds(
            ["ffmpeg", "-v", "error", "-threads", "1", "-i", path, "-map", "0:v", "-f", "null", "-"]))
        played = our_run(program, "play", path, options.seconds)
        ours.append(played["processorSeconds"])
        lags.append(played["largestLagSeconds"])
        frames.append(played["frames"])
    shown = f"{statistics.median(frames):.0f} of {options.seconds * 150} frames"
    row(f"playing 1080p30 + 4 x 720p30, {shown}, processor s (ffmpeg decoding to nothing)", statistics.median(ours),
        statistics.median(theirs), "<= 1.15")
    row("latest frame behind its siblings, s (one frame)", statistics.median(lags), 1 / 30, "<= 1.00")


class VirtualDisplay:
    """Chooses a free number; our and their windows are shown on it."""

    def __enter__(self):
        read, write = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", "1400x1200x24", "-nolisten", "tcp", "-ac",
             "-noreset"], pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as numbers:
            self.environment = dict(os.environ, DISPLAY=":" + numbers.readline().strip(), QT_QPA_PLATFORM="xcb")
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


def bench_drawing(program, path, options):
    """Processor seconds of the whole programs for the first seconds, the display's own left out on both sides."""
    ours, theirs, frames = [], [], []
    with VirtualDisplay() as display:
        for _ in range(options.rounds):
            theirs.append(processor_seconds(
                ["mpv", "--no-config", "--vo=gpu", "--gpu-sw=yes", "--hwdec=no", "--audio=no",
                 f"--length={options.drawn}", "--lavfi-complex=" + GRID, path], display.environment))
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            played = our_run(program, "draw", path, options.drawn, environment=display.environment)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            ours.append(after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime)
            frames.append(played["frames"])
    shown = f"{statistics.median(frames):.0f} of {options.drawn * 150} frames"
    row(f"the five drawn on a virtual display, {shown}, processor s (mpv, grid)", statistics.median(ours),
        statistics.median(theirs), "<= 0.85")


def bench_seeking(program, path, options):
    cases = [("exact seek of five channels, ms (mpv, grid)", 5, ["--lavfi-complex=" + GRID], "<= 0.60"),
             ("exact seek of one channel, ms (mpv)", 1, ["--vid=1"], "<= 1.00")]
    for name, count, arguments, target in cases:
        ours, theirs = [], []
        for _ in range(options.rounds):
            ours += our_run(program, "seek", path, count, options.seeks)["milliseconds"]
            theirs += mpv_seeks(path, options.seeks, options.seconds, arguments)
        row(name, statistics.median(ours), statistics.median(theirs), target)


def main():
    build = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "build", "bin")
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", default=os.path.join(build, "playback_bench"))
    parser.add_argument("--seconds", type=int, default=60, help="length of the recording")
    parser.add_argument("--rounds", type=int, default=1, help="medians of so many")
    parser.add_argument("--drawn", type=int, default=10, help="seconds of it that are drawn")
    parser.add_argument("--seeks", type=int, default=20, help="in each round")
    parser.add_argument("--recording", help="an existing one of those channels and that length")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        path = options.recording or os.path.join(folder, "five.mp4")
        if not options.recording:
            make_recording(path, options.seconds)
        print("name | ours | theirs | ratio | target")
        bench_playing(options.program, path, options)
        bench_drawing(options.program, path, options)
        bench_seeking(options.program, path, options)


if __name__ == "__main__":
    main()
