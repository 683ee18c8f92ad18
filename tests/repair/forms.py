"""The forms in which damaged recordings are made: one value for each way in which they differ."""
import math
import random
from dataclasses import dataclass, replace
from fractions import Fraction


@dataclass(frozen=True)
class Form:
    name: str = ""
    # pictures
    codec: str = "h264"
    sizes: tuple = ((640, 360), (480, 270))
    rate: str = "30"  # one for all channels, or one for each with blanks between; the last one holds for the rest
    told_up: bool = False  # the rate in the channel description and the arguments is rounded up, not down
    coded_rate: str = ""  # in the streams' own headers; empty: the true one
    seconds: float = 3.0
    group: int = 30
    phases: bool = False  # groups begin at different times in the channels
    slices: int = 1
    delimiters: bool = False
    messages: bool = False  # supplemental enhancement information in every frame
    profile: str = "high"
    cabac: bool = True
    b_frames: int = 0
    references: int = 1
    sets: str = "key"  # before each key frame, "first": before the first one, "index": only in the index
    set_ids: str = "equal"  # or "different"
    # sound
    sound: str = "aac"  # mp3, pcm, pcmbe, none
    sound_rate: int = 44100
    sound_channels: int = 1
    # order in the file
    order: str = "frame"  # "chunk", "overtake"
    chunk: str = "0.5"  # seconds, or "group"
    lag: int = 4  # "overtake": a channel is at most so many frames late
    padding: int = 0  # frames start at multiples of this
    sound_padded: bool = False  # and so does sound
    late: float = 0.0  # seconds by which the last channel begins later
    blocks: str = "all"  # "no channels", "positions", "accelerations", "none"
    arguments: bool = True  # whether --ch is passed
    quicktime: bool = False
    boxes_before: tuple = ()
    # damage
    ending: str = "no index"  # "cut", "bad sets", "bad first sets", "short index", "whole", "nothing"
    media_size: str = "right"  # "zero", "eight", "half", "large", "64-bit zero", "64-bit unset"
    tail: str = "none"  # "zeros", "old", "old with index"
    rare: bool = False  # may fall short of its target; docs/repair.md says why
    bad: tuple = ()  # (kind, bytes, how many), kind "zeros" or "garbage", or "head" for the file's beginning

    def rate_of(self, channel):
        rates = self.rate.split()
        return Fraction(rates[min(channel, len(rates) - 1)])

    def told_rate_of(self, channel):
        return math.ceil(self.rate_of(channel)) if self.told_up else int(self.rate_of(channel))

    @property
    def target(self):
        """The part of the complete frames that has to come back."""
        if self.order == "overtake" and len(set(self.sizes)) < len(self.sizes):
            return 0.90
        harmed = self.bad or self.tail != "none"
        return 0.99 if harmed else 0.998

    def enlarged(self):
        """The same form with the pictures of real cameras, and longer."""
        larger = {640: (1920, 1080), 480: (1280, 720), 320: (1280, 720)}
        return replace(self, sizes=tuple(larger.get(width, (width, height)) for width, height in self.sizes),
                       seconds=self.seconds * 5)


FRONT, REAR, SMALL = (640, 360), (480, 270), (320, 180)

TABLE = [
    # what is left of the container
    Form("no index"),
    Form("no index, one channel", sizes=(FRONT,)),
    Form("cut inside a frame", ending="cut"),
    Form("media size 0", media_size="zero"),
    Form("media size 8", media_size="eight", ending="cut"),
    Form("media size half", media_size="half"),
    Form("media size too large", media_size="large"),
    Form("media size 64 bit, 0", media_size="64-bit zero"),
    Form("media size 64 bit, 16", media_size="64-bit unset"),
    Form("boxes before the media", boxes_before=("free", "wide", "skip"), quicktime=True),
    Form("short index behind", ending="short index"),
    Form("index good, media size 0", ending="whole", media_size="zero"),
    Form("all sets damaged", ending="bad sets"),
    Form("first sets damaged", ending="bad first sets"),
    Form("all sets damaged, five channels", ending="bad sets", sizes=(FRONT,) + (SMALL,) * 4, seconds=2.0),
    Form("zeros behind", tail="zeros", ending="cut"),
    Form("old recording behind", tail="old", ending="cut"),
    Form("old recording and its index behind", tail="old with index", ending="cut"),
    # bad sectors
    Form("sectors of zeros", bad=(("zeros", 512, 3),)),
    Form("sectors of garbage", bad=(("garbage", 512, 3),)),
    Form("64 KiB of zeros", bad=(("zeros", 65536, 1),)),
    Form("64 KiB of garbage", rare=True, bad=(("garbage", 65536, 1),), sets="index"),
    Form("first sector lost", bad=(("head", 512, 1),)),
    Form("nothing left", ending="nothing"),
    # channels
    Form("two equal channels", sizes=(SMALL, SMALL)),
    Form("three channels", sizes=(FRONT, SMALL, SMALL)),
    Form("five channels", sizes=(FRONT,) + (SMALL,) * 4),
    Form("five equal channels, no sets", sizes=(SMALL,) * 5, sets="index"),
    Form("different ids, no sets", sizes=(SMALL, SMALL), set_ids="different", sets="index"),
    Form("no sets", sets="index"),
    Form("sets at the first key frame", sets="first"),
    # order
    Form("chunks of 0.2 s", order="chunk", chunk="0.2"),
    Form("chunks of 0.5 s", order="chunk"),
    Form("chunks of 0.5 s, equal channels", order="chunk", sizes=(SMALL, SMALL)),
    Form("chunks of a group", order="chunk", chunk="group", sizes=(SMALL, SMALL)),
    Form("overtaking, different sizes", order="overtake"),
    Form("overtaking, equal channels", order="overtake", sizes=(SMALL, SMALL)),
    Form("groups out of phase", phases=True, sizes=(SMALL, SMALL)),
    Form("groups out of phase, no sets", phases=True, sizes=(FRONT, SMALL, SMALL), sets="index"),
    # coding
    Form("groups of 15", group=15),
    Form("groups of 60, 4 s", group=60, seconds=4.0),
    Form("four slices", slices=4),
    Form("four slices, no sets", slices=4, sets="index", delimiters=True),
    Form("delimiters", delimiters=True),
    Form("messages in every frame", messages=True),
    Form("frames at sectors", padding=512),
    Form("frames at 4 KiB, no sets", padding=4096, sets="index"),
    Form("frames and sound at sectors", padding=512, sound_padded=True, sizes=(SMALL, SMALL)),
    Form("B-frames", b_frames=2, references=2),
    Form("B-frames, no sets", b_frames=2, references=2, sets="index", profile="main"),
    Form("baseline", profile="baseline", cabac=False),
    Form("baseline, no sets", profile="baseline", cabac=False, sets="index"),
    Form("CAVLC, no sets", profile="high", cabac=False, sets="index"),
    Form("main, no sets", profile="main", sets="index"),
    Form("no whole group, no sets", sets="index", group=90, bad=(("zeros", 512, 3),)),
    Form("H.265", codec="h265"),
    Form("H.265, equal channels, cut", codec="h265", sizes=(SMALL, SMALL), ending="cut"),
    Form("H.265, no sets", codec="h265", sets="index"),
    Form("H.265, one key frame, no sets", rare=True, codec="h265", sets="index", group=90),
    Form("H.265, sectors of garbage", codec="h265", bad=(("garbage", 512, 3),), b_frames=2),
    # sound
    Form("no sound", sound="none"),
    Form("MP3", sound="mp3", quicktime=True),
    Form("MP3, one channel, no sets", sound="mp3", sizes=(FRONT,), sets="index"),
    Form("PCM", sound="pcm", quicktime=True, sound_rate=16000),
    Form("PCM, big endian", sound="pcmbe", quicktime=True, sound_rate=16000, sound_channels=2),
    Form("AAC, two channels, 48 kHz", sound_rate=48000, sound_channels=2),
    Form("PCM, bad sectors", sound="pcm", quicktime=True, sound_rate=16000, bad=(("zeros", 512, 3),)),
    Form("PCM at 4 KiB in chunks, zeros behind", rare=True, sound="pcm", quicktime=True, sound_rate=32000, order="chunk", padding=4096,
         sound_padded=True, ending="cut", tail="zeros"),
    Form("AAC, 16 kHz, chunks of 0.2 s at sectors, garbage", sound_rate=16000, order="chunk", chunk="0.2", padding=512,
         sound_padded=True, bad=(("garbage", 512, 4),)),
    # rates and blocks
    Form("15 frames a second", rate="15", group=15),
    Form("25 frames a second", rate="25", group=25),
    Form("27.5 frames a second", rate="55/2"),
    Form("27.5, said to be 30 in the streams", rate="55/2", coded_rate="30", seconds=4.0),
    Form("29.97 frames a second", rate="30000/1001"),
    Form("29.97, told as 30", rate="30000/1001", told_up=True),
    Form("60 and 30 frames a second", rate="60 30", group=60),
    Form("30 and 15 frames a second, no sets", rare=True, rate="30 15", sets="index", sizes=(SMALL, SMALL)),
    Form("last channel begins late", late=0.7),
    Form("positions only", blocks="positions"),
    Form("accelerations only", blocks="accelerations"),
    Form("no blocks", blocks="none"),
    Form("no blocks, no arguments", blocks="none", arguments=False),
    Form("no arguments", arguments=False),
]


def chance(seed):
    """A mixture that stands in no table."""
    dice = random.Random(f"form {seed}")
    pick = dice.choice
    codec = pick(["h264"] * 4 + ["h265"])
    count = pick([1, 2, 2, 2, 3, 4, 5])
    order = pick(["frame", "frame", "frame", "chunk", "chunk", "overtake"])
    arguments = pick([True, True, True, True, False])
    blocks = pick(["all"] * 4 + ["no channels", "positions", "accelerations", "none"])
    sizes = pick([(FRONT,) + (SMALL,) * (count - 1), (FRONT, REAR, SMALL, SMALL, REAR)[:count], (SMALL,) * count])
    is_described = arguments or blocks not in ("none", "no channels")
    if order == "overtake" or not is_described:  # more equal channels than that can't be told apart by anybody
        sizes = (FRONT, SMALL, REAR, REAR, SMALL)[:count if is_described else min(count, 3)]
    sets = pick(["key", "key", "first", "index"] if is_described else ["key"])
    profile = pick(["baseline", "main", "high"])
    sound = pick(["aac", "aac", "mp3", "pcm", "pcmbe", "none"])
    tails = ["none", "none", "none", "zeros", "old", "old with index"] if blocks != "none" else ["none", "zeros"]
    return Form(
        f"chance {seed}", codec=codec, sizes=sizes, order=order, blocks=blocks, arguments=arguments, sets=sets, sound=sound,
        profile=profile, cabac=profile != "baseline" and pick([False, True]),
        b_frames=0 if profile == "baseline" else pick([0, 0, 2]), references=pick([1, 1, 2, 3]), slices=pick([1, 1, 1, 2, 4]),
        rate=pick(["15", "25", "55/2", "30000/1001", "30", "30", "30 15", "30 25"]), told_up=pick([False, True]),
        coded_rate=pick(["", "", "30"]) if blocks != "none" else "", seconds=pick([2.0, 3.0, 4.3]),
        group=pick([12, 15, 25, 30, 60]), phases=pick([False, True]), delimiters=pick([False, True]),
        messages=pick([False, False, True]), set_ids=pick(["equal", "different"]),
        sound_rate=16000 if sound.startswith("pcm") else pick([44100, 48000, 16000]), sound_channels=pick([1, 1, 2]),
        chunk=pick(["0.2", "0.5", "group"]), padding=pick([0, 0, 0, 512, 4096]), sound_padded=pick([False, False, True]),
        quicktime=sound.startswith("pcm") or pick([False, True]), boxes_before=pick([(), ("free",), ("wide", "skip")]),
        ending=pick(["no index", "cut", "cut", "short index"]), tail=pick(tails),
        media_size=pick(["right", "zero", "eight", "half", "large", "64-bit zero", "64-bit unset"]),
        bad=pick([(), (), (("zeros", 512, 3),), (("garbage", 512, 4),), (("zeros", 65536, 1),), (("garbage", 65536, 1),)]))
