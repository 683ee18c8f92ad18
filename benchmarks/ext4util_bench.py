#!/usr/bin/env python3
"""Measures ext4util against dd (the floor) and debugfs (for orientation) on a card image made for it.

usage: ext4util_bench.py [--bin BUILD/bin] [--runs N] [--folder FOLDER]

Prints rows "name | ours | theirs | ratio | target": medians of several runs, taken in turn in one go, image and page cache
warm. Processor time is the sum of user and system time, and steadier than wall time where the machine is shared.
"""

import argparse
import os
import pathlib
import resource
import statistics
import subprocess
import tempfile
import time

OFFSET = 104857600
RECORDING_BYTES = 210_000_000
ENTRIES = 10_000


def run(command):
    """Runs one command; gives its wall and processor time in seconds."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wall = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def make_card(folder):
    """One long recording, and a folder of many entries in the order of hashes with inodes in another order."""
    source = folder / "source"
    many = source / "mov" / "normal"
    many.mkdir(parents=True)
    for number in range(ENTRIES):
        (many / f"N_{number:05}.mp4").touch()
    with open(source / "recording.mp4", "wb") as recording:
        for _ in range(RECORDING_BYTES // 1_000_000):
            recording.write(os.urandom(1_000_000))
    image = folder / "card.img"
    with open(image, "wb") as file:
        file.truncate(OFFSET + 420 * 1048576)
    subprocess.run(["mke2fs", "-qF", "-t", "ext4", "-b", "4096", "-E", f"offset={OFFSET},lazy_itable_init=1",
                    "-d", source, image, str(420 * 256)], check=True)
    # The checker's rebuilt folders are sorted by hash, as the kernel's are.
    part = folder / "part.img"
    subprocess.run(["dd", f"if={image}", f"of={part}", "bs=1M", "skip=100", "conv=sparse"], check=True, capture_output=True)
    subprocess.run(["e2fsck", "-fyD", part], check=False, capture_output=True)
    subprocess.run(["dd", f"if={part}", f"of={image}", "bs=1M", "seek=100", "conv=notrunc,sparse"], check=True,
                   capture_output=True)
    part.unlink()
    return image


def compare(ours, theirs, target, runs):
    """Median wall and processor times of two commands that run in turn; each makes the file `target` anew, if any."""
    times = {0: [], 1: []}
    for _ in range(runs):
        for index, command in enumerate((ours, theirs)):
            if target:
                target.unlink(missing_ok=True)
            times[index].append(run(command))
    return [[statistics.median(column) for column in zip(*times[index])] for index in (0, 1)]


def print_rows(name, medians, limit):
    for what, ours, theirs in zip(("wall", "cpu"), *medians):
        ratio = ours / theirs if theirs else float("nan")
        print(f"{name}, {what} | {ours * 1000:.1f} ms | {theirs * 1000:.1f} ms | {ratio:.2f} | {limit}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parent.parent / "build/bin")
    parser.add_argument("--runs", type=int, default=9)
    parser.add_argument("--folder", help="where to make the image (1 GB)")
    arguments = parser.parse_args()
    tool = str(arguments.bin / "ext4util")
    with tempfile.TemporaryDirectory(dir=arguments.folder) as name:
        folder = pathlib.Path(name)
        image = make_card(folder)
        target = folder / "target"
        at = f"{image}?offset={OFFSET}"
        blocks = RECORDING_BYTES // 1048576 + 1
        read = [tool, "read", image, str(OFFSET), "recording.mp4", target]
        copy = ["dd", f"if={image}", f"of={target}", "bs=1M", "skip=120", f"count={blocks}"]
        run(read)
        assert target.read_bytes() == (folder / "source" / "recording.mp4").read_bytes()
        print("name | ours | theirs | ratio | target")
        print_rows("ext4util read 210 MB : dd bs=1M", compare(read, copy, target, arguments.runs), "<= 1.15")
        dump = ["debugfs", "-R", f"dump /recording.mp4 {target}", at]
        print_rows("ext4util read 210 MB : debugfs dump", compare(read, dump, target, arguments.runs), "-")
        ours = [tool, "ls", image, str(OFFSET), "mov/normal"]
        theirs = ["debugfs", "-R", "ls -l /mov/normal", at]
        print_rows("ext4util ls 10,000 : debugfs ls -l", compare(ours, theirs, None, arguments.runs), "ours <= 60 ms")


if __name__ == "__main__":
    main()
