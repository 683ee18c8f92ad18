#!/usr/bin/env python3
"""Tests of the generator and of the scorer: undamaged recordings score full marks, and each kind of mistake is seen.

Usage: selftest.py [--cache FOLDER] [unittest's arguments]
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import unittest

import container
import forms
import generate
import recording as layout
import score
import streams

CACHE = str(streams.CACHE)
SEED = 2


def write_movie(path, recording, change=None, sound_late=0.0):
    """The recording with an index, both changed as `change(tracks)` likes, and its sound beside it as MP3."""
    tracks = layout.tracks_of(recording.form, recording.channels, recording.sound, recording.samples)
    if change:
        change(tracks)
    with open(path, "wb") as file:
        file.write(recording.head + recording.media + container.index(tracks))
    if recording.sound:
        streams.run(["ffmpeg", "-v", "error", "-y", "-i", path, "-vn", "-af", f"adelay={int(sound_late * 1000)}:all=1", "-c:a",
                     "libmp3lame", path[:-4] + ".mp3"])


def swap_channels(tracks):
    tracks[0], tracks[1] = tracks[1], tracks[0]


def swap_some_frames_between_channels(tracks):
    for number in range(10, 16):
        first, second = tracks[0].samples[number], tracks[1].samples[number]
        tracks[0].samples[number], tracks[1].samples[number] = second, first


def drop_every_tenth(tracks):
    del tracks[1].samples[5::10]


def drop_last_two(tracks):
    del tracks[0].samples[-2:]


def swap_neighbours(tracks):
    samples = tracks[0].samples
    for number in range(3, len(samples) - 1, 6):
        samples[number], samples[number + 1] = samples[number + 1], samples[number]


def run_too_fast(tracks):
    for track in tracks[:2]:
        track.timescale = int(track.timescale * 1.03)


def call_all_keys(tracks):
    for sample in tracks[0].samples:
        sample.is_key = True


def lose_a_channel(tracks):
    del tracks[1]


def lose_sound_half(tracks):
    del tracks[2].samples[len(tracks[2].samples) // 2:]


class Twins(unittest.TestCase):
    def test_undamaged_recordings_get_full_marks(self):
        for name in ("index good, media size 0", "H.265", "B-frames", "four slices", "frames at sectors", "PCM", "PCM, big endian",
                     "MP3", "chunks of 0.5 s", "overtaking, equal channels", "29.97 frames a second", "boxes before the media"):
            form = next(form for form in forms.TABLE if form.name == name)
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                given = marks(folder, form)
                self.assertEqual(given.faults, [])
                self.assertEqual((given.found, given.exact), (given.expected, given.decodable))
                self.assertEqual((given.unknown, given.elsewhere), (0, 0))
                self.assertLess(given.time_error, 0.1)

    def test_ffmpeg_names_damaged_sets(self):
        for name, codes in (("all sets damaged", ("sps_id", "pps_id")), ("first sets damaged", ("sps_id", "pps_id"))):
            form = next(form for form in forms.TABLE if form.name == name)
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                path = json_of(generate.make(CACHE, folder, form, SEED))["file"]
                told = subprocess.run(["ffmpeg", "-i", path, "-map", "0", "-c", "copy", os.path.join(folder, "copy.mp4")],
                                      capture_output=True).stderr.decode()
                self.assertRegex(told, rf"({'|'.join(codes)}) \d+ out of range")


class Mistakes(unittest.TestCase):
    def test_each_is_seen(self):
        form = next(form for form in forms.TABLE if form.name == "two equal channels")
        for change, fault in ((swap_channels, "frames lost"), (swap_some_frames_between_channels, "frames lost"),
                              (drop_every_tenth, "frames lost"), (drop_last_two, "length"), (swap_neighbours, "frames lost"),
                              (run_too_fast, "length"), (call_all_keys, "key flags"), (lose_a_channel, "frames lost"),
                              (lose_sound_half, "sound's length")):
            with self.subTest(change.__name__), tempfile.TemporaryDirectory() as folder:
                self.assertIn(fault, "; ".join(marks(folder, form, change).faults))

    def test_late_sound_is_seen(self):
        form = next(form for form in forms.TABLE if form.name == "two equal channels")
        with tempfile.TemporaryDirectory() as folder:
            self.assertIn("late", "; ".join(marks(folder, form, sound_late=0.3).faults))

    def test_frames_behind_the_end_are_seen(self):
        form = next(form for form in forms.TABLE if form.name == "old recording behind")
        with tempfile.TemporaryDirectory() as folder:
            manifest = json_of(generate.make(CACHE, folder, form, SEED))
            older = layout.record(CACHE, form, SEED, scene_offset=3, days_before=2)
            self.assertIn("older", "; ".join(marks_of(folder, manifest, older).faults))

    def test_wrong_pictures_are_seen(self):
        """The right slices under another channel's sets."""
        form = next(form for form in forms.TABLE if form.name == "no sets")

        def swap_sets(tracks):
            tracks[0].entry, tracks[1].entry = tracks[1].entry, tracks[0].entry

        with tempfile.TemporaryDirectory() as folder:
            given = marks(folder, form, swap_sets)
            self.assertEqual(given.found, given.expected)
            self.assertIn("not exact", "; ".join(given.faults))


def json_of(path):
    with open(path) as file:
        return json.load(file)


def marks(folder, form, change=None, sound_late=0.0):
    undamaged = forms.replace(form, ending="whole", media_size="right", tail="none", bad=())
    manifest = json_of(generate.make(CACHE, folder, undamaged, SEED))
    return marks_of(folder, manifest, layout.record(CACHE, undamaged, SEED), change, sound_late)


def marks_of(folder, manifest, recording, change=None, sound_late=0.0):
    target = os.path.join(folder, "back.mp4")
    write_movie(target, recording, change, sound_late)
    frames = [frame for truth in manifest["channels"] for frame in truth["frames"]]
    given = score.Score(manifest["form"], SEED, 0.998, status=0, expected=sum(frame["complete"] for frame in frames),
                        decodable=sum(frame["decodable"] for frame in frames))
    score.compare(given, manifest, target)
    score.judge(given)
    return given


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--cache", default=CACHE)
    arguments, rest = parser.parse_known_args()
    CACHE = arguments.cache
    unittest.main(argv=[sys.argv[0], *rest])
