#!/usr/bin/env python3
"""Makes damaged recordings in every form, has mp4recover rebuild them, and prints or writes a table of what came back.

Usage: report.py --mp4recover PROGRAM [--samplecard PROGRAM] [--out docs/repair.md] [--forms PATTERN] [--seeds N]
                 [--first-seed N] [--chance N] [--long] [--jobs N] [--keep FOLDER] [--cache FOLDER]
With --out the table takes the place of the older one in that file, between its two marks; the text around stays.
Exit status: 0 if every recording of a form that isn't rare meets its target.
"""
import argparse
import concurrent.futures
import fnmatch
import os
import sys
import tempfile
from dataclasses import replace

import cardrecording
import forms
import generate
import score

BEGIN, END = "<!-- table: tests/repair/report.py -->", "<!-- end of table -->"
CHANCE = "mixtures by chance"


def make(arguments, folder, form, seed):
    if isinstance(form, cardrecording.CardForm):
        return cardrecording.make(os.path.abspath(arguments.samplecard), folder, form, seed)
    return generate.make(arguments.cache, folder, form, seed)


def one(arguments, form, seed):
    with tempfile.TemporaryDirectory(prefix="repair-") as folder:
        return score.score_recording(os.path.abspath(arguments.mp4recover), make(arguments, folder, form, seed))


def chosen(arguments):
    """(form, seed) of the generator's recordings and of the sample card's."""
    cards = [(form, seed) for form in cardrecording.TABLE if arguments.samplecard and fnmatch.fnmatch(form.name, arguments.forms)
             for seed in range(arguments.first_seed, arguments.first_seed + arguments.seeds)]
    return generate.chosen(arguments) + [(replace(form, long=arguments.long), seed) for form, seed in cards]


def all_scores(arguments):
    with concurrent.futures.ProcessPoolExecutor(arguments.jobs) as pool:
        running = [pool.submit(one, arguments, form, seed) for form, seed in chosen(arguments)]
        for run in running:
            result = run.result()
            print(score.line(result), flush=True)
            yield result


def part(count, whole):
    return f"{100 * count / whole:.2f} %" if whole else "-"


def row(name, scores):
    expected, found = sum(s.expected for s in scores), sum(s.found for s in scores)
    decodable, exact = sum(s.decodable for s in scores), sum(s.exact for s in scores)
    sounds = [max(s.sound_error, abs(s.sound_lag or 0)) for s in scores if s.sound_error is not None]
    cells = [name, len(scores), expected, expected - found, part(found, expected), part(exact, decodable),
             sum(s.elsewhere for s in scores), sum(s.old for s in scores), f"{max(s.length_error for s in scores):.1f}",
             f"{max(sounds):.2f}" if sounds else "-", sum(bool(s.faults) for s in scores) or ""]
    return "| " + " | ".join(str(cell) for cell in cells) + " |"


def table(scores):
    groups = {}
    for one_score in scores:
        name = CHANCE if one_score.form.startswith("chance") else one_score.form
        groups.setdefault(name, []).append(one_score)
    head = ["form", "recordings", "complete frames", "lost", "back", "pictures exact", "on another channel", "of an older recording",
            "length off (frames)", "sound off (s)", "below target"]
    lines = ["| " + " | ".join(head) + " |", "|---|" + "---:|" * (len(head) - 1)]
    lines += [row(name, group) for name, group in groups.items()]
    return "\n".join(lines + [row("**all**", scores)]) + "\n"


def replace_table(path, text):
    with open(path, encoding="utf-8") as file:
        document = file.read()
    before, rest = document.split(BEGIN, 1)
    after = rest.split(END, 1)[1]
    scratch = path + ".new"
    with open(scratch, "w", encoding="utf-8") as file:
        file.write(f"{before}{BEGIN}\n\n{text}\n{END}{after}")
    os.replace(scratch, path)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--mp4recover", required=True)
    parser.add_argument("--samplecard", help="this program's recordings, too")
    parser.add_argument("--out")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--keep", help="folder in which the recordings that fall short are made again and kept")
    generate.add_arguments(parser)
    arguments = parser.parse_args()
    scores = list(all_scores(arguments))
    text = table(scores)
    print(text)
    if arguments.out:
        replace_table(arguments.out, text)
    short = {(s.form, s.seed) for s in scores if s.faults}
    if arguments.keep and short:
        os.makedirs(arguments.keep, exist_ok=True)
        for form, seed in chosen(arguments):
            if (form.name, seed) in short:
                print(make(arguments, arguments.keep, form, seed))
    rare = {form.name for form in forms.TABLE if form.rare}
    sys.exit(1 if any(name not in rare for name, _ in short) else 0)


if __name__ == "__main__":
    main()
