#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
#
# Writes ruled pages, whose lines are counted after a reduction: one-pixel lines on white
# ("lines-..."), and one-pixel gaps in black ("gaps-..."), that run across or down, each SPACING
# pixels from the next. Beside each page KIND-DIRECTION.tif stands KIND-DIRECTION.lines with the
# places of its lines, one a line of text.
import argparse
import pathlib

import numpy
from PIL import Image


def _arguments():
    parser = argparse.ArgumentParser(description="Writes ruled pages.")
    parser.add_argument("directory", type=pathlib.Path)
    parser.add_argument("--dpi", type=int, default=300)
    parser.add_argument("--lines", type=int, default=60)
    # Odd, and no multiple of 3: the lines meet every phase of the usual ratios.
    parser.add_argument("--spacing", type=int, default=37)
    parser.add_argument("--grey", action="store_true", help="in 8 bits instead of 1")
    return parser.parse_args()


def _write(arguments, kind, direction):
    places = [(number + 1) * arguments.spacing for number in range(arguments.lines)]
    side = (arguments.lines + 1) * arguments.spacing
    paper, ink = (255, 0) if kind == "lines" else (0, 255)
    pixels = numpy.full((side, side), paper, numpy.uint8)
    pixels[places, :] = ink
    image = Image.fromarray(pixels if direction == "across" else pixels.T.copy(), "L")
    if not arguments.grey:
        image = image.point(lambda level: level, mode="1")
    path = arguments.directory / f"{kind}-{direction}.tif"
    image.save(path, compression="tiff_lzw", dpi=(arguments.dpi, arguments.dpi))
    path.with_suffix(".lines").write_text("".join(f"{place}\n" for place in places))


def main():
    arguments = _arguments()
    arguments.directory.mkdir(parents=True, exist_ok=True)
    for kind in ("lines", "gaps"):
        for direction in ("across", "down"):
            _write(arguments, kind, direction)


if __name__ == "__main__":
    main()
