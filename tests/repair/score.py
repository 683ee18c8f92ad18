#!/usr/bin/env python3
"""Runs mp4recover on a damaged recording and compares what comes back with the recording's manifest.

Usage: score.py --mp4recover PROGRAM MANIFEST...
Frames are compared twice: all complete ones by the bytes of their slices, and those that can be decoded exactly by their
decoded pictures. Exit status: 0 if every recording meets its target.
"""
import argparse
import bisect
import json
import mmap
import os
import resource
import statistics
import struct
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from fractions import Fraction

import container
import envelope
import streams

LONGEST_RUN_SECONDS = 300
SOUND_TOLERANCE_SECONDS = 0.1


@dataclass
class Packet:
    pts: float
    duration: float
    is_key: bool
    slices: str


@dataclass
class Score:
    form: str
    seed: int
    target: float
    status: int = -1
    wall: float = 0
    cpu: float = 0
    expected: int = 0  # complete frames
    found: int = 0  # of these, on the right channel and in order
    decodable: int = 0
    exact: int = 0  # of these, decoded to the very same picture, in order
    elsewhere: int = 0  # complete frames on another channel
    old: int = 0
    unknown: int = 0  # samples that are no complete frame: damaged ones, or none at all
    wrong_keys: int = 0
    length_error: float = 0  # frames, of the worst channel
    time_error: float = 0  # frames, of the worst frame
    sound_error: float = None  # seconds
    sound_lag: float = None  # seconds by which the sound is late
    faults: list = field(default_factory=list)
    told: str = ""


def longest_rise(numbers):
    """The length of the longest rising subsequence: as many frames are in order."""
    ends = []
    for number in numbers:
        place = bisect.bisect_left(ends, number)
        ends[place:place + 1] = [number]
    return len(ends)


def read_tracks(path, codec):
    """The packets of each video track."""
    output = streams.run(["ffprobe", "-v", "error", "-select_streams", "v", "-of", "json", "-show_entries",
                          "stream=index:packet=stream_index,pts_time,dts_time,duration_time,pos,size", path])
    told = json.loads(output)
    tracks = {stream["index"]: [] for stream in told.get("streams", [])}
    with open(path, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as data:
        keys = dict(zip(sorted(tracks), container.key_numbers(data)))
        for packet in told.get("packets", []):
            index, at = packet["stream_index"], int(packet["pos"])
            units = split_sample(data[at:at + int(packet["size"])])
            tracks[index].append(Packet(
                float(packet.get("pts_time", packet.get("dts_time", 0))), float(packet.get("duration_time", 0)),
                keys[index] is None or len(tracks[index]) in keys[index], streams.slices_md5(codec, units)))
    return [tracks[index] for index in sorted(tracks)]


def split_sample(data):
    units, at = [], 0
    while at + 4 < len(data):
        size = struct.unpack_from(">I", data, at)[0]
        units.append(data[at + 4:at + 4 + size])
        at += 4 + size
    return [unit for unit in units if unit]


def decoded_pictures(path, count):
    """MD5 of the pictures of each video track."""
    pictures = []
    for track in range(count):
        done = subprocess.run(["ffmpeg", "-v", "quiet", "-threads", "1", "-i", path, "-map", f"0:v:{track}", "-fps_mode",
                               "passthrough", "-f", "framemd5", "-"], capture_output=True)
        lines = done.stdout.decode().splitlines()
        pictures.append([line.split(",")[5].strip() for line in lines if line and not line.startswith("#")])
    return pictures


def score_bytes(score, manifest, tracks):
    known = {frame["slices"]: (channel, number) for channel, truth in enumerate(manifest["channels"])
             for number, frame in enumerate(truth["frames"])}
    old = set(manifest["old_frames"])
    time_errors = []
    for channel, packets in enumerate(tracks):
        truth = manifest["channels"][channel] if channel < len(manifest["channels"]) else None
        rate = Fraction(truth["rate"]) if truth else Fraction(30)
        numbers = []
        for packet in packets:
            where = known.get(packet.slices)
            if where is None:
                score.old += packet.slices in old
                score.unknown += packet.slices not in old
            elif where[0] != channel:
                score.elsewhere += 1
            else:
                frame = truth["frames"][where[1]]
                score.wrong_keys += packet.is_key != frame["key"]
                time_errors.append(((packet.pts - truth["begin"]) * float(rate) - frame["display"], rate))
                if frame["complete"]:
                    numbers.append(where[1])
        score.found += longest_rise(numbers)
        if truth:
            score.length_error = max(score.length_error, length_error(truth, packets, rate))
    for channel in range(len(tracks), len(manifest["channels"])):
        if any(frame["complete"] for frame in manifest["channels"][channel]["frames"]):
            score.length_error = float("inf")
    middle = statistics.median(error for error, _ in time_errors) if time_errors else 0
    score.time_error = max((abs(error - middle) for error, _ in time_errors), default=0)
    return middle / float(time_errors[0][1]) if time_errors else 0


def length_error(truth, packets, rate):
    """Frames by which the track is shorter than the complete frames' span, or longer than that of all that was begun."""
    complete = [number for number, frame in enumerate(truth["frames"]) if frame["complete"]]
    if not complete:
        return 0
    if not packets:
        return float("inf")
    length = (max(p.pts + p.duration for p in packets) - min(p.pts for p in packets)) * float(rate)
    longest = max(frame["display"] for frame in truth["frames"] if frame["begun"]) + 1 + truth["begin"] * float(rate)
    return max(complete[-1] - complete[0] + 1 - length, length - longest, 0)


def score_pictures(score, manifest, pictures):
    for channel, truth in enumerate(manifest["channels"]):
        number_of = {frame["picture"]: frame["display"] for frame in truth["frames"] if frame["decodable"]}
        shown = pictures[channel] if channel < len(pictures) else []
        score.exact += longest_rise([number_of[md5] for md5 in shown if md5 in number_of])


def score_sound(score, truth, path, pictures_late):
    exists = os.path.exists(path) and os.path.getsize(path) > 0
    if not truth:
        if exists:
            score.faults.append("sound where there was none")
        return
    if not exists:
        score.sound_error = float("inf")
        return
    rate = streams.run(["ffprobe", "-v", "error", "-show_entries", "stream=sample_rate", "-of", "default=nk=1:nw=1", path])
    if int(rate) != truth["rate"]:
        score.faults.append(f"sound at {int(rate)} Hz, not {truth['rate']}")
    got = streams.run(["ffmpeg", "-v", "error", "-i", path, "-ac", "1", "-ar", str(envelope.RATE), "-f", "s16le", "-"])
    length = len(got) / 2 / envelope.RATE
    score.sound_error = max(truth["end"] - truth["begin"] - length, length - truth["end"], 0)
    with open(truth["wave"], "rb") as file:
        lag, likeness = envelope.compare(file.read(), got)
    score.sound_lag = lag - pictures_late
    if likeness < 0.7:
        score.faults.append(f"another sound (likeness {likeness:.2f})")


def judge(score):
    """Adds what falls short of the targets to the score's faults."""
    allowed = max(1, (1 - score.target) * score.expected)
    faults = score.faults
    if score.status != 0:
        faults.append(f"status {score.status}")
    if score.expected - score.found > allowed:
        faults.append(f"{score.expected - score.found} of {score.expected} frames lost")
    if score.decodable - score.exact > max(1, (1 - score.target) * score.decodable):
        faults.append(f"{score.decodable - score.exact} of {score.decodable} pictures not exact")
    if score.old:
        faults.append(f"{score.old} frames of an older recording")
    if score.wrong_keys:
        faults.append(f"{score.wrong_keys} key flags wrong")
    if score.length_error > 1.001:
        faults.append(f"a track's length {score.length_error:.1f} frames off")
    if score.sound_error is not None and score.sound_error > SOUND_TOLERANCE_SECONDS:
        faults.append(f"sound's length {score.sound_error:.2f} s off")
    if score.sound_lag is not None and abs(score.sound_lag) > SOUND_TOLERANCE_SECONDS:
        faults.append(f"sound {score.sound_lag:+.2f} s late")


def run_timed(command, score):
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.perf_counter()
    try:
        done = subprocess.run(command, capture_output=True, timeout=LONGEST_RUN_SECONDS)
        score.status, score.told = done.returncode, done.stderr.decode(errors="replace")
    except subprocess.TimeoutExpired:
        score.faults.append("hangs")
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    score.wall = time.perf_counter() - start
    score.cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def score_recording(program, manifest_path):
    with open(manifest_path) as file:
        manifest = json.load(file)
    score = Score(manifest["form"], manifest["seed"], manifest["target"])
    frames = [frame for truth in manifest["channels"] for frame in truth["frames"]]
    score.expected = sum(frame["complete"] for frame in frames)
    score.decodable = sum(frame["decodable"] for frame in frames)
    before = os.stat(manifest["file"])
    with tempfile.TemporaryDirectory() as folder:
        target = os.path.join(folder, "back.mp4")
        run_timed([program, manifest["file"], target, *manifest["arguments"]], score)
        if score.expected:
            compare(score, manifest, target)
        elif os.path.exists(target):
            score.faults.append("a file though no frame is left")
    after = os.stat(manifest["file"])
    if (before.st_size, before.st_mtime_ns) != (after.st_size, after.st_mtime_ns):
        score.faults.append("the source was changed")
    if score.expected:
        judge(score)
    return score


def compare(score, manifest, target):
    if not os.path.exists(target):
        score.faults.append("nothing came back")
        return
    try:
        tracks = read_tracks(target, manifest["codec"])
    except RuntimeError as error:
        score.faults.append(f"can't be read: {error}")
        return
    pictures_late = score_bytes(score, manifest, tracks)
    score_pictures(score, manifest, decoded_pictures(target, len(tracks)))
    score_sound(score, manifest["sound"], target[:-4] + ".mp3", pictures_late)


def line(score):
    sound = "-" if score.sound_error is None else f"{score.sound_error:.2f} {score.sound_lag or 0:+.2f}"
    return (f"{score.form} {score.seed}: {score.found}/{score.expected} bytes, {score.exact}/{score.decodable} pictures, "
            f"{score.elsewhere} elsewhere, {score.old} old, {score.unknown} unknown, length {score.length_error:.1f}, "
            f"time {score.time_error:.1f}, sound {sound}, {score.cpu:.2f} s"
            + (f" | {'; '.join(score.faults)}" if score.faults else ""))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("manifests", nargs="+")
    parser.add_argument("--mp4recover", required=True)
    arguments = parser.parse_args()
    failed = 0
    for manifest in arguments.manifests:
        score = score_recording(arguments.mp4recover, manifest)
        print(line(score), flush=True)
        failed += bool(score.faults)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
