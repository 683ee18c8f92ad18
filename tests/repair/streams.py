"""Coded pictures and sound, made by ffmpeg once for each set of parameters and kept in a cache folder."""
import hashlib
import json
import os
import pathlib
import re
import subprocess
import tempfile
from dataclasses import asdict, dataclass

CACHE = pathlib.Path(__file__).resolve().parents[2] / "build" / "repair-streams"
H264_SETS, H264_SLICES, H264_KEY, H264_DELIMITER = {7, 8}, {1, 5}, {5}, 9
H265_SETS, H265_SLICES, H265_KEY, H265_DELIMITER = {32, 33, 34}, set(range(22)), set(range(16, 22)), 35


@dataclass(frozen=True)
class VideoParameters:
    codec: str  # h264, h265
    width: int
    height: int
    coded_rate: str  # what the stream itself says, as a fraction
    count: int  # pictures
    group: int  # pictures from key frame to key frame
    phase: int  # picture number of the second key frame, 0 for one whole group
    slices: int
    delimiters: bool
    profile: str  # baseline, main, high
    cabac: bool
    b_frames: int
    references: int
    set_id: int
    scene: int  # which pictures


@dataclass(frozen=True)
class SoundParameters:
    kind: str  # aac, mp3, pcm, pcmbe
    rate: int
    channels: int
    seconds: float
    scene: int


@dataclass
class Frame:
    """One coded picture. Units stand without start code or length."""
    units: list
    is_key: bool
    display: int  # place in the order of showing
    slices_md5: str
    picture_md5: str


@dataclass
class Video:
    parameters: VideoParameters
    frames: list  # in coding order
    sets: list  # parameter sets, each once

    def is_set(self, unit):
        return unit_type(self.parameters.codec, unit) in (H264_SETS if self.parameters.codec == "h264" else H265_SETS)


@dataclass
class Sound:
    parameters: SoundParameters
    frames: list  # bytes; PCM in pieces of `samples`
    samples: int  # per frame


def unit_type(codec, unit):
    return unit[0] & 31 if codec == "h264" else unit[0] >> 1 & 63


def is_slice(codec, unit):
    return unit_type(codec, unit) in (H264_SLICES if codec == "h264" else H265_SLICES)


def is_key(codec, unit):
    return unit_type(codec, unit) in (H264_KEY if codec == "h264" else H265_KEY)


def slices_md5(codec, units):
    """Tells coded pictures apart by what can't be left out or rewritten: their slices."""
    digest = hashlib.md5()
    for unit in units:
        if is_slice(codec, unit):
            digest.update(unit)
    return digest.hexdigest()


def run(command, folder=None):
    done = subprocess.run(command, cwd=folder, capture_output=True)
    if done.returncode:
        raise RuntimeError(f"{' '.join(map(str, command))}: {done.stderr.decode(errors='replace')[-2000:]}")
    return done.stdout


def cached(cache, parameters, recipe, make):
    """The folder with what `make(folder)` wrote for these parameters by this recipe."""
    text = json.dumps([type(parameters).__name__, asdict(parameters), recipe], sort_keys=True)
    folder = os.path.join(cache, hashlib.md5(text.encode()).hexdigest())
    if not os.path.isdir(folder):
        os.makedirs(cache, exist_ok=True)
        scratch = tempfile.mkdtemp(dir=cache)
        make(scratch)
        try:
            os.rename(scratch, folder)
        except OSError:  # another process was quicker
            for name in os.listdir(scratch):
                os.remove(os.path.join(scratch, name))
            os.rmdir(scratch)
    return folder


def scene_filter(p):
    """Moving pictures, no two alike, neither within a scene nor between scenes."""
    across, down = ((p.scene * 7 + 3) % 11 - 5) / 1500, ((p.scene * 5 + 2) % 7 - 3) / 2000
    return (f"testsrc2=s={p.width}x{p.height}:r={p.coded_rate},trim=start_frame={p.scene % 5 * 40},setpts=PTS-STARTPTS,"
            f"hue=h={p.scene * 67 % 360},scroll=h={across}:v={down},noise=alls=7:allf=t:all_seed={p.scene + 1},format=yuv420p")


def video_command(p):
    quality = 24 + p.scene % 5 if p.cabac else 26  # 26 is the usual start; another one can't be seen in CAVLC
    keys = f"expr:eq(n,0)+eq(mod(n-{p.phase},{p.group}),0)"
    common = ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", scene_filter(p), "-frames:v", str(p.count), "-threads", "1",
              "-g", str(p.group), "-force_key_frames", keys, "-forced-idr", "1", "-bf", str(p.b_frames), "-crf", str(quality)]
    if p.codec == "h265":
        pools = "none" if p.slices == 1 else "2"  # x265 3.5 writes beyond its memory with slices and no pool
        options = ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                   f"scenecut=0:open-gop=0:repeat-headers=1:aud={int(p.delimiters)}:slices={p.slices}:info=0:pools={pools}:"
                   f"frame-threads=1:log-level=none:ref={p.references}:min-keyint=1"]
    else:
        options = ["-c:v", "libx264", "-preset", "superfast", "-profile:v", p.profile, "-x264-params",
                   f"scenecut=0:repeat-headers=1:aud={int(p.delimiters)}:slices={p.slices}:cabac={int(p.cabac)}:"
                   f"8x8dct={int(p.profile == 'high')}:sps-id={p.set_id}:ref={p.references}:b-adapt=0:min-keyint=1"]
    form = {"h264": "h264", "h265": "hevc"}[p.codec]
    return common + options + ["-flags", "-global_header", "-f", "tee", "-map", "0:v",
                               f"[f={form}]stream|[f=framecrc]packets"]


def split_units(stream):
    return [unit.rstrip(b"\0") for unit in re.split(b"\0\0\1", stream)[1:]]


def video(cache, p):
    def make(folder):
        run(video_command(p), folder)
        form = {"h264": "h264", "h265": "hevc"}[p.codec]
        pictures = run(["ffmpeg", "-v", "error", "-threads", "1", "-f", form, "-i", "stream", "-fps_mode", "passthrough",
                        "-f", "framemd5", "-"], folder)
        with open(os.path.join(folder, "pictures"), "wb") as file:
            file.write(pictures)

    folder = cached(cache, p, video_command(p), make)
    with open(os.path.join(folder, "stream"), "rb") as file:
        stream = file.read()
    packets = framecrc_rows(os.path.join(folder, "packets"))
    pictures = [row[5] for row in framecrc_rows(os.path.join(folder, "pictures"))]
    shown = {pts: place for place, pts in enumerate(sorted(int(row[2]) for row in packets))}
    assert len(packets) == len(pictures) == p.count, (len(packets), len(pictures), p)
    frames, sets, at = [], [], 0
    for row in packets:
        size = int(row[4])
        units = [unit for unit in split_units(stream[at:at + size]) if wanted_unit(p.codec, unit)]
        at += size
        display = shown[int(row[2])]
        frames.append(Frame(units, any(is_key(p.codec, unit) for unit in units), display,
                            slices_md5(p.codec, units), pictures[display]))
    result = Video(p, frames, sets)
    for unit in frames[0].units:
        if result.is_set(unit):
            sets.append(unit)
    return result


def wanted_unit(codec, unit):
    """Cameras don't sign their pictures as software encoders do."""
    return unit_type(codec, unit) not in ({6} if codec == "h264" else {39, 40})


def framecrc_rows(path):
    with open(path) as file:
        return [[field.strip() for field in line.split(",")] for line in file if not line.startswith("#")]


def sound_source(p):
    """A tone that goes on and off five times a second by chance, so that sound tells its own time."""
    step = "floor(t*5)"
    gate = f"gt(mod({step}*{step}*0.754877666+{step}*0.569840291+{p.scene}*0.31\\,1)\\,0.5)"
    wave = f"0.02*sin(2*PI*150*t)+0.5*{gate}*sin(2*PI*{440 + 30 * (p.scene % 9)}*t)"
    return f"aevalsrc={'|'.join([wave] * p.channels)}:s={p.rate}:d={p.seconds}"


SOUND_CODERS = {"aac": ["-c:a", "aac", "-b:a", "64k", "-f", "adts"], "pcm": ["-c:a", "pcm_s16le", "-f", "s16le"],
                "pcmbe": ["-c:a", "pcm_s16be", "-f", "s16be"],
                "mp3": ["-c:a", "libmp3lame", "-b:a", "64k", "-f", "mp3", "-write_xing", "0", "-id3v2_version", "0"]}


def sound_folder(cache, p):
    source = ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", sound_source(p)]
    command = source + ["-flags", "+bitexact", *SOUND_CODERS[p.kind], "stream"]
    shape = ["-f", SOUND_CODERS[p.kind][-1], "-ar", str(p.rate), "-ac", str(p.channels)] if p.kind.startswith("pcm") else []
    decode = ["ffmpeg", "-v", "error", *shape, "-i", "stream", "-ac", "1", "-ar", "8000", "-f", "s16le", "wave"]

    def make(folder):
        run(command, folder)
        run(decode, folder)

    return cached(cache, p, command + decode, make)


def sound(cache, p):
    folder = sound_folder(cache, p)
    with open(os.path.join(folder, "stream"), "rb") as file:
        stream = file.read()
    if p.kind == "aac":
        return Sound(p, list(adts_frames(stream)), 1024)
    if p.kind == "mp3":
        return Sound(p, list(mp3_frames(stream, p.rate)), 1152 if p.rate >= 32000 else 576)
    samples = p.rate // 25
    size = samples * 2 * p.channels
    return Sound(p, [stream[at:at + size] for at in range(0, len(stream) - size + 1, size)], samples)


def wave_path(cache, p):
    """What the undamaged recording sounds like, the coder's delay included: 8000 Hz, one channel, 16 bit little endian."""
    return os.path.join(sound_folder(cache, p), "wave")


def adts_frames(stream):
    at = 0
    while at + 7 <= len(stream):
        size = (stream[at + 3] & 3) << 11 | stream[at + 4] << 3 | stream[at + 5] >> 5
        yield stream[at + 7:at + size]
        at += size


def mp3_frames(stream, rate):
    first_version = rate >= 32000
    kilobits = ([0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320] if first_version
                else [0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160])
    at = 0
    while at + 4 <= len(stream):
        size = (144 if first_version else 72) * kilobits[stream[at + 2] >> 4] * 1000 // rate + (stream[at + 2] >> 1 & 1)
        yield stream[at:at + size]
        at += size
