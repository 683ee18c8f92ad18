"""Unfinished recordings of the sample card, with a manifest read from the finished one: coded and laid out by others than ours."""
import json
import os
import random
from dataclasses import dataclass
from fractions import Fraction

import container
import damage
import envelope
import score
import streams


@dataclass(frozen=True)
class CardForm:
    channels: int
    fps: int
    cut: bool  # inside a frame; else right behind the media
    long: bool = False

    @property
    def name(self):
        return f"sample card, {self.channels} channel{'s' * (self.channels > 1)}, {'cut' if self.cut else 'no index'}"


TABLE = [CardForm(1, 30, True), CardForm(2, 25, False), CardForm(4, 30, True), CardForm(5, 30, False)]


def probed(path, kind):
    """Streams of that kind, each with its packets in file order."""
    told = json.loads(streams.run(["ffprobe", "-v", "error", "-select_streams", kind, "-of", "json", "-show_entries",
                                   "stream=index,width,height,sample_rate,channels:packet=stream_index,pts_time,duration_time,"
                                   "pos,size,flags", path]))
    for stream in told["streams"]:
        stream["packets"] = [packet for packet in told["packets"] if packet["stream_index"] == stream["index"]]
    return told["streams"]


def samples_of(stream, data):
    return [damage.layout.Placed(stream["index"], number, data[int(p["pos"]):int(p["pos"]) + int(p["size"])], int(p["pos"]))
            for number, p in enumerate(stream["packets"])]


def channel_truth(form, stream, samples, pictures, damaged):
    frames, chain = [], False
    for sample, packet, picture in zip(samples, stream["packets"], pictures):
        complete, key = damaged.is_complete(sample), "K" in packet["flags"]
        chain = complete and (chain or key)
        frames.append({"offset": sample.offset, "size": len(sample.data), "key": key,
                       "display": round(Fraction(packet["pts_time"]) * form.fps), "complete": complete,
                       "begun": sample.offset < damaged.media_end, "decodable": chain,
                       "slices": streams.slices_md5("h264", score.split_sample(sample.data)), "picture": picture})
    return {"width": stream["width"], "height": stream["height"], "rate": str(form.fps), "begin": 0.0, "frames": frames}


def sound_truth(stream, samples, damaged, wave):
    complete = [p for p, sample in zip(stream["packets"], samples) if damaged.is_complete(sample)]
    return {"kind": "aac", "rate": int(stream["sample_rate"]), "begin": max(0.0, float(complete[0]["pts_time"])),
            "end": float(complete[-1]["pts_time"]) + float(complete[-1]["duration_time"]), "wave": wave}


def make(program, folder, form, seed):
    """Writes the unfinished recording and its manifest; gives the manifest's path."""
    base = os.path.join(folder, f"card-{form.channels}-{'cut' if form.cut else 'whole'}-{seed}")
    whole = base + ".whole.mp4"
    picture, seconds = ("1920x1080", 20) if form.long else ("480x270", 3)
    streams.run([program, "--recording", whole, "--channels", str(form.channels), "--fps", str(form.fps), "--seconds", str(seconds),
                 "--picture", picture, "--seed", str(seed)])
    with open(whole, "rb") as file:
        data = file.read()
    begin, end = next((begin, end) for name, begin, end in container.boxes(data) if name == b"mdat")
    videos, sounds = probed(whole, "v"), probed(whole, "a")
    placed = {stream["index"]: samples_of(stream, data) for stream in videos + sounds}
    damaged = damage.Damaged(data[:begin - 8] + bytes(4) + data[begin - 4:end])
    if form.cut:
        last = placed[videos[-1]["index"]][-3]
        damaged.cut(last.offset + random.Random(seed).randint(1, len(last.data) - 1))
    pictures = score.decoded_pictures(whole, len(videos))
    wave = base + ".wave"
    streams.run(["ffmpeg", "-v", "error", "-y", "-i", whole, "-ac", "1", "-ar", str(envelope.RATE), "-f", "s16le", wave])
    truths = [channel_truth(form, stream, placed[stream["index"]], shown, damaged) for stream, shown in zip(videos, pictures)]
    arguments = [word for number, truth in enumerate(truths, 1)
                 for word in (f"--ch{number}", f"{truth['width']}x{truth['height']}@{form.fps}")]
    manifest = {"form": form.name, "seed": seed, "file": base + ".mp4", "arguments": arguments, "target": 0.998, "codec": "h264",
                "channels": truths, "sound": sound_truth(sounds[0], placed[sounds[0]["index"]], damaged, wave), "old_frames": [],
                "media_end": damaged.media_end}
    with open(base + ".mp4", "wb") as file:
        file.write(damaged.data)
    with open(base + ".json", "w") as file:
        json.dump(manifest, file)
    return base + ".json"
