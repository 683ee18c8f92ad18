#!/usr/bin/env python3
"""From the click on an extracted recording to the first pictures of all its channels, against the commands that
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


def tool_milliseconds(recording, folder):
    temp, playing = os.path.join(folder, "temp.mp4"), os.path.join(folder, "playing.mp4")
    start = time.monotonic()
    for path in (temp, playing): # the viewer, too, has to remove what an earlier click made
        if os.path.exists(path):
            os.remove(path)
    for line in (f"ffmpeg -i '{recording}' -map 0 -c copy '{temp}'",
                 f"ffmpeg -i {temp} -map 0:v -map 0:a:0 -c:v copy -c:a aac -ar 44100 -b:a 64k '{playing}'"):
        subprocess.run(["/bin/bash", "-c", line], check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return (time.monotonic() - start) * 1000


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
        theirs = [tool_milliseconds(recording, folder) for _ in range(options.rounds)]
        output = subprocess.run([os.path.join(programs, "click_bench"), card, recording, str(options.rounds)],
                                check=True, capture_output=True, text=True).stdout
    ours = [json.loads(line)["milliseconds"] for line in output.splitlines() if line.startswith("{")]
    a, b = statistics.median(ours), statistics.median(theirs)
    print("name | ours | theirs | ratio | target")
    print(f"click to first pictures, ms (the commands) | {a:.0f} | {b:.0f} | {a / b:.2f} | <= 1.20")


if __name__ == "__main__":
    main()
