#!/usr/bin/env python3
"""mp4recover on an unfinished recording of over 100 MB against ffmpeg's copy of the same recording with its index.

Usage: repair_bench.py [--bin BUILD/bin] [--runs N] [--folder FOLDER] [--seconds N]
Prints rows: name | ours | theirs | ratio | target; medians of runs taken in turn, the files in the page cache. Processor
time is steadier than wall time where the machine is shared. Making the recordings takes minutes the first time; their coded
streams are kept in build/repair-streams.
"""
import argparse
import os
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "repair"))
import forms  # noqa: E402
import generate  # noqa: E402
import streams  # noqa: E402

SIZES = ((1920, 1080), (1280, 720))
SEED = 1


def memory(process):
    """(own, file-mapped) bytes resident now."""
    try:
        with open(f"/proc/{process.pid}/status") as file:
            values = dict(line.split(":", 1) for line in file)
        return tuple(int(values[name].split()[0]) * 1024 for name in ("RssAnon", "RssFile"))
    except (OSError, KeyError):  # it has ended
        return 0, 0


def run(command, target):
    """(wall seconds, processor seconds, most own memory, most file-mapped memory)"""
    pathlib.Path(target).unlink(missing_ok=True)
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.perf_counter()
    most = (0, 0)
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL) as process:
        while process.poll() is None:
            most = tuple(map(max, most, memory(process)))
            time.sleep(0.002)
    wall, after = time.perf_counter() - start, resource.getrusage(resource.RUSAGE_CHILDREN)
    assert process.returncode == 0, (command, process.returncode)
    return wall, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, *most


def compare(program, folder, form, runs):
    """Medians of both, and the recording's megabytes."""
    manifest = generate.make(str(streams.CACHE), folder, form, SEED, twins=True)
    base = manifest.removesuffix(".json")
    target = os.path.join(folder, "back.mp4")
    arguments = [word for n, (w, h) in enumerate(form.sizes, 1) for word in (f"--ch{n}", f"{w}x{h}@{form.told_rate_of(n - 1)}")]
    commands = ([program, base + ".mp4", target, *arguments],
                ["ffmpeg", "-v", "error", "-i", base + ".whole.mp4", "-map", "0", "-c", "copy", target])
    results = ([], [])
    for number in range(runs + 1):
        for command, values in zip(commands, results):
            figures = run(command, target)
            if number:  # the first turn fills the page cache
                values.append(figures)
    megabytes = os.path.getsize(base + ".mp4") / 1e6
    os.remove(base + ".mp4")
    os.remove(base + ".whole.mp4")
    return [[statistics.median(column) for column in zip(*values)] for values in results], megabytes


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, default=ROOT / "build/bin")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--folder")
    parser.add_argument("--seconds", type=int, default=20)
    arguments = parser.parse_args()
    program = str(arguments.bin / "mp4recover")
    print("name | ours | theirs (ffmpeg -c copy) | ratio | target")
    with tempfile.TemporaryDirectory(dir=arguments.folder) as folder:
        for sound, target in (("none", "<= 2.0"), ("aac", "-")):
            form = forms.Form("bench", sizes=SIZES, seconds=arguments.seconds, sound=sound)
            (ours, theirs), megabytes = compare(program, folder, form, arguments.runs)
            name = f"{megabytes:.0f} MB, " + ("no sound" if sound == "none" else "with sound, its MP3 included")
            for column, kind in enumerate(("wall", "cpu")):
                print(f"{name}, {kind} | {ours[column]:.2f} s | {theirs[column]:.2f} s | {ours[column] / theirs[column]:.2f} | {target}")
            print(f"{name}, speed | {megabytes / ours[0]:.0f} MB/s | {megabytes / theirs[0]:.0f} MB/s | - | -")
            print(f"{name}, own memory | {ours[2] / 1e6:.0f} MB | {theirs[2] / 1e6:.0f} MB | - | -")
            print(f"{name}, file-mapped memory | {ours[3] / 1e6:.0f} MB | {theirs[3] / 1e6:.0f} MB | - | -")


if __name__ == "__main__":
    main()
