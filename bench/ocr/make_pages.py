#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
#
# Writes scanned pages whose text is known, for recognisers: DEPTH-DPI-KIND-FACE-POINTS.tif, with
# the resolution in it, and the text beside it in a file of the same name that ends in .txt. The
# same options give the same bytes.
import argparse
import itertools
import pathlib
import random

import scanner
import text
import typeset

DEPTHS = ("grey", "1bit")
KINDS = ("clean", "degraded")
RESOLUTIONS = (75, 100, 150, 200, 300)


def _arguments():
    parser = argparse.ArgumentParser(description="Writes scanned pages whose text is known.")
    parser.add_argument("directory", type=pathlib.Path)
    parser.add_argument("--dpi", type=int, nargs="+", default=RESOLUTIONS)
    parser.add_argument("--depth", nargs="+", choices=DEPTHS, default=DEPTHS)
    parser.add_argument("--kind", nargs="+", choices=KINDS, default=KINDS)
    parser.add_argument("--face", nargs="+", choices=tuple(typeset.FACES), default=typeset.FACES)
    parser.add_argument("--points", type=int, nargs="+", default=typeset.POINTS)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    for dpi in arguments.dpi:
        if typeset.DPI % dpi:
            parser.error(f"{typeset.DPI} dpi is no whole multiple of {dpi}")
    missing = typeset.missing_faces()
    if missing:
        parser.error(f"no font {missing[0]}")
    return arguments


def _write(directory, name, image, dpi, words):
    compression = "group4" if image.mode == "1" else "tiff_lzw"
    image.save(directory / f"{name}.tif", compression=compression, dpi=(dpi, dpi))
    (directory / f"{name}.txt").write_text(words, encoding="utf-8")


def _scan_all(arguments, page, words, name):
    for dpi, kind in itertools.product(arguments.dpi, arguments.kind):
        rng = random.Random(f"{arguments.seed} {name} {dpi} {kind}")
        grey = scanner.scan(page, dpi, kind == "degraded", rng)
        images = {"grey": grey, "1bit": scanner.in_two_levels(grey)}
        for depth in arguments.depth:
            _write(arguments.directory, f"{depth}-{dpi:03}-{kind}-{name}", images[depth], dpi, words)


def main():
    arguments = _arguments()
    arguments.directory.mkdir(parents=True, exist_ok=True)
    for face, points in itertools.product(arguments.face, arguments.points):
        name = f"{face}-{points:02}"
        words = text.paragraphs(random.Random(f"{arguments.seed} {name}"))
        page, truth = typeset.typeset(words, face, points)
        _scan_all(arguments, page, truth, name)


if __name__ == "__main__":
    main()
