"""Boxes of an MP4 or QuickTime file, and the index of one."""
import struct
from dataclasses import dataclass

import streams

MATRIX = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)
MOVIE_TIMESCALE = 1000


@dataclass
class IndexSample:
    offset: int
    size: int
    duration: int = 1  # in the track's timescale
    shown_later: int = 0
    is_key: bool = True
    count: int = 1  # PCM: so many samples in one piece


@dataclass
class Track:
    entry: bytes  # sample description
    timescale: int
    samples: list
    size: tuple = None  # of the picture; none: sound


def box(name, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", len(body) + 8, name) + body


def full_box(name, *parts, version=0, flags=0):
    return box(name, struct.pack(">I", version << 24 | flags), *parts)


def file_type(is_quicktime):
    return box(b"ftyp", b"qt  \0\0\2\0qt  ") if is_quicktime else box(b"ftyp", b"isom\0\0\2\0isomiso2avc1mp41")


def video_entry(video):
    p = video.parameters
    fixed = (bytes(6) + struct.pack(">H", 1) + bytes(16) + struct.pack(">HHIIIH", p.width, p.height, 0x480000, 0x480000, 0, 1)
             + bytes(32) + struct.pack(">Hh", 24, -1))
    if p.codec == "h264":
        return box(b"avc1", fixed, box(b"avcC", avc_configuration(video.sets)))
    return box(b"hvc1", fixed, box(b"hvcC", hevc_configuration(video.sets)))


def prefixed(units, prefix=">H"):
    return b"".join(struct.pack(prefix, len(unit)) + unit for unit in units)


def avc_configuration(sets):
    sequence = [unit for unit in sets if streams.unit_type("h264", unit) == 7]
    picture = [unit for unit in sets if streams.unit_type("h264", unit) == 8]
    head = bytes([1]) + sequence[0][1:4] + bytes([0xFF, 0xE0 | len(sequence)])
    extension = b"" if sequence[0][1] in (66, 77, 88) else bytes([0xFD, 0xF8, 0xF8, 0])  # 4:2:0, 8 bits
    return head + prefixed(sequence) + bytes([len(picture)]) + prefixed(picture) + extension


def hevc_configuration(sets):
    by_type = {kind: [unit for unit in sets if streams.unit_type("h265", unit) == kind] for kind in (32, 33, 34)}
    level_fields = by_type[33][0].replace(b"\0\0\3", b"\0\0")[3:15]
    head = bytes([1]) + level_fields + bytes([0xF0, 0, 0xFC, 0xFD, 0xF8, 0xF8, 0, 0, 0x0F, len(by_type)])
    return head + b"".join(bytes([0x80 | kind]) + struct.pack(">H", len(units)) + prefixed(units) for kind, units in by_type.items())


def sound_entry(sound):
    p = sound.parameters
    fixed = bytes(6) + struct.pack(">H", 1) + bytes(8) + struct.pack(">HHII", p.channels, 16, 0, p.rate << 16)
    if p.kind.startswith("pcm"):
        return box(b"twos" if p.kind == "pcmbe" else b"sowt", fixed)
    return box(b"mp4a", fixed, full_box(b"esds", descriptors(p)))


def descriptors(p):
    rates = [96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000]
    if p.kind == "aac":
        specific = tagged(5, struct.pack(">H", 2 << 11 | rates.index(p.rate) << 7 | p.channels << 3))
    else:
        specific = b""
    decoder = tagged(4, bytes([0x40 if p.kind == "aac" else 0x6B, 0x15]) + bytes(3) + struct.pack(">II", 64000, 64000) + specific)
    return tagged(3, bytes([0, 1, 0]) + decoder + tagged(6, b"\2"))


def tagged(tag, body):
    return bytes([tag, len(body)]) + body


def runs(values):
    """(count, value) for each run of equal values."""
    result = []
    for value in values:
        if result and result[-1][1] == value:
            result[-1][0] += 1
        else:
            result.append([1, value])
    return result


def sample_table(track):
    samples = track.samples
    per_chunk = [(sample.count, first) for first, sample in enumerate(samples, 1)]
    steps = [pair for n, pair in enumerate(per_chunk) if n == 0 or per_chunk[n - 1][0] != pair[0]]
    times = [[sum(s.count for s in samples), samples[0].duration]]  # every sample of a track lasts equally long
    parts = [full_box(b"stsd", struct.pack(">I", 1), track.entry),
             full_box(b"stts", struct.pack(">I", len(times)), *(struct.pack(">II", *run) for run in times))]
    if any(sample.shown_later for sample in samples):
        shifts = runs(sample.shown_later for sample in samples)
        parts.append(full_box(b"ctts", struct.pack(">I", len(shifts)), *(struct.pack(">II", *run) for run in shifts)))
    if track.size:
        keys = [number for number, sample in enumerate(samples, 1) if sample.is_key]
        parts.append(full_box(b"stss", struct.pack(f">I{len(keys)}I", len(keys), *keys)))
    parts.append(full_box(b"stsc", struct.pack(">I", len(steps)), *(struct.pack(">III", first, count, 1) for count, first in steps)))
    if samples[0].count > 1:
        total = sum(sample.count for sample in samples)
        parts.append(full_box(b"stsz", struct.pack(">II", samples[0].size // samples[0].count, total)))
    else:
        parts.append(full_box(b"stsz", struct.pack(f">II{len(samples)}I", 0, len(samples), *(s.size for s in samples))))
    parts.append(full_box(b"stco", struct.pack(f">I{len(samples)}I", len(samples), *(s.offset for s in samples))))
    return box(b"stbl", *parts)


def track_box(number, track):
    units = sum(s.duration * s.count for s in track.samples)
    length = units * MOVIE_TIMESCALE // track.timescale
    width, height = track.size or (0, 0)
    header = full_box(b"tkhd", struct.pack(">5I", 0, 0, number, 0, length), bytes(8),
                      struct.pack(">hhhH", 0, 0, 0 if track.size else 0x100, 0), MATRIX,
                      struct.pack(">II", width << 16, height << 16), flags=3)
    media_header = full_box(b"mdhd", struct.pack(">4IHH", 0, 0, track.timescale, units, 0x55C4, 0))
    handler = full_box(b"hdlr", bytes(4), b"vide" if track.size else b"soun", bytes(12), b"camera\0")
    kind = full_box(b"vmhd", bytes(8), flags=1) if track.size else full_box(b"smhd", bytes(4))
    data = box(b"dinf", full_box(b"dref", struct.pack(">I", 1), full_box(b"url ", flags=1)))
    return box(b"trak", header, box(b"mdia", media_header, handler, box(b"minf", kind, data, sample_table(track)))), length


def index(tracks):
    """The moov box for these tracks."""
    boxes = [track_box(number, track) for number, track in enumerate(tracks, 1)]
    longest = max(length for _, length in boxes)
    header = full_box(b"mvhd", struct.pack(">4I", 0, 0, MOVIE_TIMESCALE, longest), struct.pack(">IH", 0x10000, 0x100), bytes(10),
                      MATRIX, bytes(24), struct.pack(">I", len(tracks) + 1))
    return box(b"moov", header, *(track for track, _ in boxes))


def boxes(data, begin=0, end=None):
    """(name, begin and end of the contents) of each box."""
    end = len(data) if end is None else end
    while begin + 8 <= end:
        size, name = struct.unpack_from(">I4s", data, begin)
        header = 8
        if size == 1:
            size, header = struct.unpack_from(">Q", data, begin + 8)[0], 16
        size = size or end - begin
        yield name, begin + header, min(end, begin + size)
        begin += max(size, header)


def inside(data, place, *path):
    """Where the contents of each box stand that is reached by these names."""
    for name, begin, end in boxes(data, *place):
        if name == path[0]:
            yield from inside(data, (begin, end), *path[1:]) if path[1:] else [(begin, end)]


def key_numbers(data):
    """For each video track the samples, from 0, that its index calls key frames; none: all are."""
    result = []
    for track in inside(data, (0, len(data)), b"moov", b"trak"):
        handler = next(inside(data, track, b"mdia", b"hdlr"))[0]
        if data[handler + 8:handler + 12] != b"vide":
            continue
        table = next(inside(data, track, b"mdia", b"minf", b"stbl", b"stss"), None)
        count = struct.unpack_from(">I", data, table[0] + 4)[0] if table else 0
        result.append({n - 1 for n in struct.unpack_from(f">{count}I", data, table[0] + 8)} if table else None)
    return result
