"""Lays a recording out as the camera writes it: samples, padding and telemetry in the order of writing."""
import datetime
import random
import struct
from dataclasses import dataclass

import container
import streams
import telemetry

LEFT_OUT = {"positions": (b"SHO",), "accelerations": (b"GPS",)}


@dataclass
class Placed:
    """A sample and where it stands in the file."""
    track: int  # channel from 0; the sound comes last
    number: int  # in the track, from 0
    data: bytes
    offset: int = 0


@dataclass
class Recording:
    form: object
    channels: list  # streams.Video
    sound: object  # streams.Sound or none
    head: bytes
    media: bytes
    samples: list  # Placed, in file order
    index: bytes
    start: datetime.datetime
    media_start: int = 0  # of the media box's header

    def whole(self):
        return self.head + self.media + self.index


@dataclass
class Item:
    key: tuple  # order of writing
    data: bytes
    sample: object = None


def sample_bytes(video, number):
    """The frame as a sample, with those parameter sets that the form leaves in the stream."""
    return container.prefixed(video.frames[number].units, ">I")


def first_slice(video, frame):
    return next(place for place, unit in enumerate(frame.units) if streams.is_slice(video.parameters.codec, unit))


def message(codec, number):
    """User data: type 5, its size, 16 bytes that say whose, then ours."""
    text = b"frame %06d" % number
    return (b"\6" if codec == "h264" else b"\x4e\1") + bytes([5, 16 + len(text)]) + b"camera messages!" + text + b"\x80"


def with_units_of(form, video):
    """The frames with those units before their slices that the form asks for."""
    for number, frame in enumerate(video.frames):
        if form.messages:
            frame.units.insert(first_slice(video, frame), message(form.codec, number))
        if form.sets == "index" or (form.sets == "first" and number > 0):
            frame.units = [unit for unit in frame.units if not video.is_set(unit)]
    return video


def begin_of(form, channel):
    """Seconds from the start of the recording to the channel's first frame."""
    return form.late if channel == len(form.sizes) - 1 else 0.0


def make_channels(cache, form, scene, shift):
    channels = []
    for number, (width, height) in enumerate(form.sizes):
        rate = form.rate_of(number)
        count = int((form.seconds - begin_of(form, number)) * rate)
        phase = (number * form.group // len(form.sizes) + shift) % form.group if form.phases else 0
        parameters = streams.VideoParameters(
            form.codec, width, height, form.coded_rate or str(rate), count, form.group, phase, form.slices, form.delimiters,
            form.profile, form.cabac, form.b_frames, form.references, number if form.set_ids == "different" else 0,
            scene * 5 + number)
        channels.append(with_units_of(form, streams.video(cache, parameters)))
    return channels


def make_sound(cache, form, scene):
    if form.sound == "none":
        return None
    return streams.sound(cache, streams.SoundParameters(form.sound, form.sound_rate, form.sound_channels, form.seconds, scene))


def lags(form, dice):
    """For "overtake": how many seconds late the channel's writer is, changing by chance; not at first, since nothing but the
    first frames' order tells which of equal channels is which."""
    steps = [(0.0, 0.0)]
    time = dice.uniform(0.2, 0.8)
    while time < form.seconds + 1:
        steps.append((time, dice.uniform(0, form.lag) / float(form.rate_of(0))))
        time += dice.uniform(0.2, 0.8)
    return steps


def writing_times(form, times, dice):
    """When each sample of a track is written, given when it was recorded."""
    if form.order == "frame":
        return times
    if form.order == "chunk":
        length = form.group / float(form.rate_of(0)) if form.chunk == "group" else float(form.chunk)
        return [(int(time / length + 1e-6) + 1) * length for time in times]
    steps = lags(form, dice)
    late = []
    for time in times:
        lag = [lag for since, lag in steps if since <= time][-1]
        late.append(max(time + lag, late[-1] if late else 0))
    return late


def items_of(form, channels, sound, start, dice):
    items = []
    for track, video in enumerate(channels):
        times = [begin_of(form, track) + number / float(form.rate_of(track)) for number in range(len(video.frames))]
        for number, written in enumerate(writing_times(form, times, dice)):
            items.append(Item((written, 1, track, number), b"", Placed(track, number, sample_bytes(video, number))))
    if sound:
        times = [number * sound.samples / sound.parameters.rate for number in range(len(sound.frames))]
        last = len(channels)
        for number, written in enumerate(writing_times(form, times, dice)):
            items.append(Item((written, 1, last, number), b"", Placed(last, number, sound.frames[number])))
    if form.blocks != "none":
        phase = dice.choice([0.0, 0.3, 0.7])
        for number, (time, data) in enumerate(telemetry.blocks(form.seconds, start, dice, phase)):
            if data[:3] not in LEFT_OUT.get(form.blocks, ()):
                items.append(Item((time, 0, 0, number), data))
        if form.blocks != "no channels":
            described = [(*size, form.told_rate_of(track)) for track, size in enumerate(form.sizes)]
            items.append(Item((-1,), telemetry.channel_block(described)))
    return sorted(items, key=lambda item: item.key)


def tracks_of(form, channels, sound, samples, part=1.0):
    """What the index tells of the first `part` of every track."""
    tracks = []
    for track, video in enumerate(channels):
        rate = form.rate_of(track)
        entries = [container.IndexSample(p.offset, len(p.data), rate.denominator * 100) for p in samples if p.track == track]
        delay = max(number - frame.display for number, frame in enumerate(video.frames))
        for number, (entry, frame) in enumerate(zip(entries, video.frames)):
            entry.shown_later = (frame.display - number + delay) * rate.denominator * 100
            entry.is_key = frame.is_key
        kept = entries[:max(1, int(len(entries) * part))]
        tracks.append(container.Track(container.video_entry(video), rate.numerator * 100, kept, form.sizes[track]))
    if sound:
        duration, count = (1, sound.samples) if sound.parameters.kind.startswith("pcm") else (sound.samples, 1)
        entries = [container.IndexSample(p.offset, len(p.data), duration, count=count)
                   for p in samples if p.track == len(channels)]
        kept = entries[:max(1, int(len(entries) * part))]
        tracks.append(container.Track(container.sound_entry(sound), sound.parameters.rate, kept))
    return tracks


def record(cache, form, seed, scene_offset=0, days_before=0):
    """The undamaged recording."""
    dice = random.Random(f"{form.name} {seed} {days_before}")
    scene = seed % 3 + scene_offset
    channels = make_channels(cache, form, scene, seed % 3)
    sound = make_sound(cache, form, scene)
    start = datetime.datetime(2024, 3, 9, 17, 5, 31) + datetime.timedelta(minutes=seed * 7, days=-days_before)
    head = container.file_type(form.quicktime)
    for name in form.boxes_before:
        head += container.box(name.encode(), bytes(0 if name == "wide" else dice.randint(0, 600)))
    media_start = len(head)
    wide = form.media_size.startswith("64-bit")
    header_size = 16 if wide else 8

    media, samples = bytearray(), []
    begin = media_start + header_size
    for item in items_of(form, channels, sound, start, dice):
        if item.sample is None:
            media += item.data
            continue
        if form.padding and (form.sound_padded or item.sample.track < len(channels)):
            media += bytes(-(begin + len(media)) % form.padding)
        item.sample.offset = begin + len(media)
        media += item.sample.data
        samples.append(item.sample)
    if form.padding:
        media += bytes(-(begin + len(media)) % form.padding)
    size = header_size + len(media)
    header = struct.pack(">I4sQ", 1, b"mdat", size) if wide else struct.pack(">I4s", size, b"mdat")
    return Recording(form, channels, sound, head, header + bytes(media), samples,
                     container.index(tracks_of(form, channels, sound, samples)), start, media_start)
