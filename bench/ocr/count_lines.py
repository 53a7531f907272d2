#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
#
# count_lines.py RULED RESULTS: how many lines and gaps of the pages of make_ruled.py can still be
# seen on those pages at another resolution. Prints for each page, separated by tabs: its name, what
# is left, of how many. A line is seen where a row or column that it may have become differs from
# the paper by a tenth of the range or more in the mean.
import pathlib
import sys

import numpy
from PIL import Image

_SEEN = 0.1


def _profile(path, direction):
    """Mean levels, 0 black to 1 white, of the rows (across) or columns (down)."""
    with Image.open(path) as image:
        pixels = numpy.asarray(image.convert("L"), dtype=numpy.float64) / 255.0
    return pixels.mean(axis=1 if direction == "across" else 0)


def _seen(profile, paper, place, ratio):
    """Whether the pixel at `place` has left something, a pixel to either side allowed."""
    begin = max(int(place * ratio) - 1, 0)
    end = int((place + 1) * ratio) + 2
    return numpy.abs(profile[begin:end] - paper).max(initial=0.0) >= _SEEN


def _count(ruled, result):
    kind, direction = ruled.stem.split("-")
    places = [int(line) for line in ruled.with_suffix(".lines").read_text().split()]
    before, after = _profile(ruled, direction), _profile(result, direction)
    ratio = len(after) / len(before)
    paper = 1.0 if kind == "lines" else 0.0
    return sum(_seen(after, paper, place, ratio) for place in places), len(places)


def main():
    ruled, results = (pathlib.Path(argument) for argument in sys.argv[1:3])
    for page in sorted(ruled.glob("*.tif")):
        left, lines = _count(page, results / page.name)
        print(f"{page.stem}\t{left}\t{lines}")


if __name__ == "__main__":
    main()
