"""Leaves a recording as a crash, a worn-out card or a lost battery leaves it."""
import random
import struct

import container
import recording as layout
import streams

SECTOR = 512
FOREVER = 1 << 62


class Damaged:
    """Bytes of a recording, and which stretches of them aren't those of the recording any more."""

    def __init__(self, data):
        self.data = bytearray(data)
        self.harmed = []
        self.media_end = len(data)

    def overwrite(self, offset, data):
        self.data[offset:offset + len(data)] = data
        self.harmed.append((offset, offset + len(data)))

    def cut(self, end):
        del self.data[end:]
        self.media_end = end

    def is_complete(self, sample):
        begin, end = sample.offset, sample.offset + len(sample.data)
        return end <= self.media_end and not any(first < end and begin < last for first, last in self.harmed)


def damage(cache, recording, seed):
    """(Damaged, samples of the older recording that stand behind: their slices' MD5)"""
    form = recording.form
    dice = random.Random(f"damage {form.name} {seed}")
    result = Damaged(recording.head + recording.media)
    if form.ending == "nothing":
        result.overwrite(0, dice.randbytes(len(result.data)))
    elif form.tail.startswith("old"):
        cut_inside_frame(result, recording, dice.uniform(0.5, 0.8), dice)
    elif form.ending == "cut":
        cut_inside_frame(result, recording, dice.uniform(0.85, 0.98), dice)
    bad_sectors(result, recording, dice)
    if form.ending in ("whole", "bad sets", "bad first sets"):
        result.data += recording.index
    elif form.ending == "short index":
        result.data += container.index(layout.tracks_of(form, recording.channels, recording.sound, recording.samples, 0.3))
    if form.ending.startswith("bad"):
        spoil_sets(result, recording, only_first=form.ending == "bad first sets")
    set_media_size(result, recording)
    return result, tail(cache, result, recording, seed, dice)


def cut_inside_frame(result, recording, part, dice):
    pictures = [s for s in recording.samples if s.track < len(recording.channels)]
    last = pictures[int(len(pictures) * part)]
    end = last.offset + dice.randint(1, len(last.data) - 1)
    result.cut(end if dice.random() < 0.5 else end - end % 4096)


def spoil_sets(result, recording, only_first):
    """Parameter sets with ids beyond what the standard allows, in the index and in the samples. No slice is touched, so the
    frames remain complete."""
    for video in recording.channels:
        for unit in video.sets:
            at = result.data.find(unit, result.media_end)
            while at >= 0:
                spoil_set(result.data, at)
                at = result.data.find(unit, at + 1)
    for sample in recording.samples:
        if sample.track == len(recording.channels) or (only_first and sample.number > 0):
            continue
        video = recording.channels[sample.track]
        at = sample.offset
        for unit in video.frames[sample.number].units:
            if video.is_set(unit):
                spoil_set(result.data, at + 4)
            at += 4 + len(unit)


def spoil_set(data, at):
    if streams.unit_type("h264", data[at:at + 1]) == 7:
        data[at + 4] = 2  # behind type, profile, constraints and level: an id above 31
    else:
        data[at + 1:at + 3] = b"\0\xff"  # an id above 255


def set_media_size(result, recording):
    kind, at = recording.form.media_size, recording.media_start
    value = {"right": None, "zero": 0, "eight": 8, "half": len(recording.media) // 2, "large": len(recording.media) * 3 + 12345,
             "64-bit zero": 0, "64-bit unset": 16}[kind]
    if kind.startswith("64-bit"):
        result.data[at + 8:at + 16] = struct.pack(">Q", value)
    elif value is not None:
        result.data[at:at + 4] = struct.pack(">I", value)


def bad_sectors(result, recording, dice):
    first, end = recording.media_start // SECTOR + 2, result.media_end // SECTOR
    for kind, size, count in recording.form.bad:
        if kind == "head":
            result.overwrite(0, bytes(size))
            continue
        sectors = min(size // SECTOR, (end - first) // 8)
        for _ in range(count):
            at = dice.randrange(first, end - sectors) * SECTOR
            result.overwrite(at, bytes(sectors * SECTOR) if kind == "zeros" else dice.randbytes(sectors * SECTOR))


def tail(cache, result, recording, seed, dice):
    """What was allocated before and never written: zeros, or what an older recording left there."""
    kind, end = recording.form.tail, len(result.data)
    if kind == "zeros":
        result.data += bytes(dice.randint(1, 300) * 4096 - end % 4096)
    if not kind.startswith("old"):
        return []
    older = layout.record(cache, recording.form, seed, scene_offset=3, days_before=2)
    result.data += (older.whole() if kind == "old with index" else older.head + older.media)[end:]
    return [older.channels[s.track].frames[s.number].slices_md5 for s in older.samples
            if s.track < len(older.channels) and s.offset >= end]
