#!/usr/bin/env python3
"""From the click on an extracted recording to its first picture, against the commands that
have to be run in between (remux, sound to AAC). Prints rows: name | ours | theirs | ratio | target

Usage: click_bench.py [--seconds 60] [--rounds 5] [--recording FILE]
"""
import argparse
import json
import os
import statistics
import subprocess
import tempfile
import time

from playback_bench import make_recording

pause_seconds = 1.3 # as between the viewer's clicks


def tool_milliseconds(recording, folder):
    """The same files come and go as in the viewer: the former recording stays open while the next is made, and temp
    goes at the end. Memory that was just given back is quicker to get than other memory."""
    temp, playing = os.path.join(folder, "temp.mp4"), os.path.join(folder, "playing.mp4")
    with open(playing if os.path.exists(playing) else os.devnull, "rb"):
        start = time.monotonic()
        run(f"ffmpeg -i '{recording}' -map 0 -c copy '{temp}'")
        if os.path.exists(playing):
            os.remove(playing)
        run(f"ffmpeg -i {temp} -map 0:v -map 0:a:0 -c:v copy -c:a aac -ar 44100 -b:a 64k '{playing}'")
        milliseconds = (time.monotonic() - start) * 1000
    os.remove(temp)
    time.sleep(pause_seconds)
    return milliseconds


def run(line):
    subprocess.run(["/bin/bash", "-c", line], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def measure(programs, card, recording, folder, rounds):
    """Ours and theirs in turn, as the machine's speed changes."""
    ours, theirs = [], []
    with subprocess.Popen([os.path.join(programs, "click_bench"), card, recording], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as bench:
        for _ in range(rounds):
            theirs.append(tool_milliseconds(recording, folder))
            bench.stdin.write("click\n")
            bench.stdin.flush()
            ours.append(json.loads(next(line for line in bench.stdout if line.startswith("{"))))
        bench.stdin.close()
    return ours, theirs


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--recording")
    options = parser.parse_args()
    programs = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "build", "bin")
    with tempfile.TemporaryDirectory() as folder:
        card = os.path.join(folder, "card.img")
        subprocess.run([os.path.join(programs, "samplecard"), card, "--size", "160M", "--count", "1",
                        "--seconds", "2", "--picture", "160x96"], check=True, stderr=subprocess.DEVNULL)
        recording = options.recording or os.path.join(folder, "five.mp4")
        if not options.recording:
            make_recording(recording, options.seconds)
        ours, theirs = measure(programs, card, recording, folder, options.rounds)
    commands = statistics.median(theirs)
    print("name | ours | theirs | ratio | target")
    for name, key, target in (("click to first picture, ms (the commands)", "first", "<= 1.20"),
                              ("click to a picture of each channel, ms", "all", "")):
        milliseconds = statistics.median(row[key] for row in ours)
        print(f"{name} | {milliseconds:.0f} | {commands:.0f} | {milliseconds / commands:.2f} | {target}")


if __name__ == "__main__":
    main()
