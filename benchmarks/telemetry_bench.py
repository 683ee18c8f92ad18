#!/usr/bin/env python3
"""The search for telemetry in a recording against cat and rg, and what follows it, on an hour of telemetry.

Usage: telemetry_bench.py [--bin BUILD/bin] [--runs N] [--folder FOLDER] [--megabytes N]
Prints rows: name | ours | theirs | ratio | target; medians of runs taken in turn, the file in the page cache. Times are of
whole programs, their start included. Processor time is steadier than wall time where the machine is shared.
"""
import argparse
import json
import os
import pathlib
import resource
import statistics
import subprocess
import tempfile
import time


def run(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    with open(os.devnull, "wb") as nothing:
        subprocess.run(command, stdout=nothing, stderr=nothing)
    wall = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def make_recording(path, megabytes):
    """Random bytes, as compressed pictures are, with ten accelerometer blocks and a position for each 2 MB, a second's worth."""
    chunk = os.urandom(1_000_000).replace(b"GPS", b"gps").replace(b"SHO", b"sho").replace(b"DAT", b"dat")
    sentence = b"$GPRMC,080559.00,A,3730.6435,N,12704.3293,E,24.17,76.09,090324,,,A*53"
    with open(path, "wb") as file:
        for number in range(megabytes):
            file.write(chunk)
            for _ in range(5):
                file.write(b"SHO00015" + bytes([0, 130, 120, 140, 0, 0, 0, 24, 3, 9, 17, 5, 59, 0, 0]))
            if number % 2:
                file.write(b"GPS%05d" % len(sentence) + sentence)


def row(name, ours, theirs, target):
    print(f"{name} | {ours * 1000:.1f} ms | {theirs * 1000:.1f} ms | {ours / theirs if theirs else float('nan'):.2f} | {target}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    root = pathlib.Path(__file__).resolve().parent.parent
    parser.add_argument("--bin", type=pathlib.Path, default=root / "build/bin")
    parser.add_argument("--runs", type=int, default=9)
    parser.add_argument("--folder")
    parser.add_argument("--megabytes", type=int, default=1000)
    arguments = parser.parse_args()
    bench = arguments.bin / "telemetry_bench"
    with tempfile.TemporaryDirectory(dir=arguments.folder) as folder:
        recording = os.path.join(folder, "recording.mp4")
        make_recording(recording, arguments.megabytes)
        commands = {"ours": [bench, "scan", recording], "cat": ["cat", recording],
                    "rg": ["rg", "-c", "-a", "GPS", recording]}
        times = {name: [] for name in commands}
        run(commands["cat"])
        for _ in range(arguments.runs):
            for name, command in commands.items():
                times[name].append(run(command))
        median = {name: [statistics.median(column) for column in zip(*values)] for name, values in times.items()}
        told = json.loads(subprocess.run(commands["ours"], capture_output=True, check=True).stdout)
    expected = arguments.megabytes * 5 + arguments.megabytes // 2
    assert told["records"] == expected, (told, expected)
    print("name | ours | theirs | ratio | target")
    row("scan : cat, wall", median["ours"][0], median["cat"][0], "<= 1.5")
    row("scan : rg of one tag, wall", median["ours"][0], median["rg"][0], "<= 1.0")
    row("scan : cat, cpu", median["ours"][1], median["cat"][1], "-")
    row("scan : rg of one tag, cpu", median["ours"][1], median["rg"][1], "-")
    speed = arguments.megabytes / 1000 / median["ours"][0]
    print(f"scan | {speed:.2f} GB/s | {arguments.megabytes / 1000 / median['cat'][0]:.2f} GB/s (cat) | - | -")
    print(f"scan, own memory | {told['own_megabytes']:.1f} MB | - | - | < 32 MB")
    output = subprocess.run([bench, "hour"], capture_output=True, check=True).stdout
    hour = json.loads(output.splitlines()[-1])  # behind the log
    scan_of_hour = told["cpu"] * 3.6 * 1000 / arguments.megabytes  # an hour of one megabyte a second
    row("resampling of an hour : scan of 3.6 GB, cpu", hour["resample"], scan_of_hour, "<= 1.0")
    print(f"publishing of an hour, on the main thread | {hour['publish'] * 1000:.1f} ms | - | - | -")
    display = root / "tests/support/with-display.sh"
    output = subprocess.run([display, arguments.bin / "graph_bench"], capture_output=True, check=True).stdout
    graph = json.loads(output.splitlines()[-1])
    share = (graph["tick_ms"] - graph["bare_frame_ms"]) * 10 / 1000
    print(f"graph, ten samples a second to an hour of them | {share * 100:.1f} % of a core | - | - | < 2 %")
    print(f"look-up per tick, both kinds | {hour['look_up'] * 1e9:.0f} ns | - | - | -")


if __name__ == "__main__":
    main()
