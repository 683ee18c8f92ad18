#!/usr/bin/env python3
"""Makes damaged recordings, each with a manifest of what is left in it.

Usage: generate.py FOLDER [--forms PATTERN] [--seeds N] [--first-seed N] [--chance N] [--long] [--twins] [--cache FOLDER]
Writes FOLDER/NAME.mp4 and FOLDER/NAME.json; with --twins also the undamaged NAME.whole.mp4.
"""
import argparse
import fnmatch
import json
import os
import re

import damage
import forms
import recording as layout
import streams


def file_name(form, seed):
    return re.sub(r"[^a-z0-9]+", "-", form.name.lower()).strip("-") + f"-{seed}"


def channel_truth(form, channel, video, places, damaged):
    """One dictionary per frame, in coding order. Decodable: everything back to the key frame is there."""
    frames = []
    chain = False
    for number, (frame, place) in enumerate(zip(video.frames, places)):
        complete = damaged.is_complete(place)
        chain = complete and (chain or frame.is_key)
        frames.append({"offset": place.offset, "size": len(place.data), "key": frame.is_key, "display": frame.display,
                       "complete": complete, "begun": place.offset < damaged.media_end, "decodable": chain,
                       "slices": frame.slices_md5, "picture": frame.picture_md5})
    return {"width": video.parameters.width, "height": video.parameters.height, "rate": str(form.rate_of(channel)),
            "begin": layout.begin_of(form, channel), "frames": frames}


def sound_truth(cache, recording, places, damaged):
    """From where to where there is sound, in seconds; lost pieces between count as silence."""
    if not recording.sound:
        return None
    complete = [place.number for place in places if damaged.is_complete(place)]
    if not complete:
        return None
    p = recording.sound.parameters
    length = recording.sound.samples / p.rate
    return {"kind": p.kind, "rate": p.rate, "begin": complete[0] * length, "end": (complete[-1] + 1) * length,
            "places": [(place.offset, len(place.data)) for place in places],
            "wave": os.path.abspath(streams.wave_path(cache, p))}


def make(cache, folder, form, seed, twins=False):
    """Writes the damaged recording and its manifest; gives the manifest's path."""
    recording = layout.record(cache, form, seed)
    damaged, old_frames = damage.damage(cache, recording, seed)
    places = [[] for _ in range(len(recording.channels) + 1)]
    for sample in recording.samples:
        places[sample.track].append(sample)
    base = os.path.join(folder, file_name(form, seed))
    arguments = []
    if form.arguments:
        for number, (width, height) in enumerate(form.sizes, 1):
            arguments += [f"--ch{number}", f"{width}x{height}@{form.told_rate_of(number - 1)}"]
    manifest = {"form": form.name, "seed": seed, "file": base + ".mp4", "arguments": arguments, "target": form.target,
                "codec": form.codec, "plan": {key: str(value) for key, value in vars(form).items()},
                "channels": [channel_truth(form, track, video, places[track], damaged)
                             for track, video in enumerate(recording.channels)],
                "sound": sound_truth(cache, recording, places[-1], damaged), "old_frames": old_frames, "media_end": damaged.media_end,
                "harmed": damaged.harmed}
    with open(base + ".mp4", "wb") as file:
        file.write(damaged.data)
    if twins:
        with open(base + ".whole.mp4", "wb") as file:
            file.write(recording.whole())
    with open(base + ".json", "w") as file:
        json.dump(manifest, file)
    return base + ".json"


def add_arguments(parser):
    parser.add_argument("--forms", default="*", help="names of forms, with * and ?")
    parser.add_argument("--seeds", type=int, default=1, help="how many of each form")
    parser.add_argument("--first-seed", type=int, default=1)
    parser.add_argument("--chance", type=int, default=0, help="so many mixtures by chance besides")
    parser.add_argument("--long", action="store_true", help="pictures up to 1920x1080, five times as long")
    parser.add_argument("--cache", default=str(streams.CACHE), help="where coded streams are kept")


def chosen(arguments):
    """(form, seed) for each recording asked for."""
    last = arguments.first_seed + max(arguments.seeds, arguments.chance)
    result = [(form, seed) for form in forms.TABLE if fnmatch.fnmatch(form.name, arguments.forms)
              for seed in range(arguments.first_seed, arguments.first_seed + arguments.seeds)]
    result += [(forms.chance(seed), seed) for seed in range(arguments.first_seed, last)][:arguments.chance]
    return [(form.enlarged(), seed) for form, seed in result] if arguments.long else result


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--twins", action="store_true")
    add_arguments(parser)
    arguments = parser.parse_args()
    os.makedirs(arguments.folder, exist_ok=True)
    for form, seed in chosen(arguments):
        print(make(arguments.cache, arguments.folder, form, seed, arguments.twins))


if __name__ == "__main__":
    main()
