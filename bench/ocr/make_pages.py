#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
#
# Writes scanned pages whose text is known, for recognisers: DEPTH-DPI-KIND-FACE-POINTS.tif, with
# the resolution in it, and the text beside it in a file of the same name that ends in .txt; with
# --words the words and the pixels of their boxes (left, top, right, bottom) in one that ends in
# .words, for clean pages. The same options give the same bytes. The status is 3 when Pillow, NumPy
# or a font is not there.
import argparse
import itertools
import multiprocessing
import pathlib
import random
import sys

_NOT_HERE = 3
try:
    import scanner
    import text
    import typeset
except ImportError as error:
    print(f"{error}: the Debian package is python3-{'numpy' if error.name == 'numpy' else 'pil'}",
          file=sys.stderr)
    sys.exit(_NOT_HERE)

DEPTHS = ("grey", "1bit")
KINDS = ("clean", "degraded")
RESOLUTIONS = (75, 100, 150, 200, 300)


def _arguments():
    parser = argparse.ArgumentParser(description="Writes scanned pages whose text is known.")
    parser.add_argument("directory", type=pathlib.Path)
    parser.add_argument("--dpi", type=int, nargs="+", default=RESOLUTIONS)
    parser.add_argument("--depth", nargs="+", choices=DEPTHS, default=DEPTHS)
    parser.add_argument("--kind", nargs="+", choices=KINDS, default=KINDS)
    parser.add_argument("--face", nargs="+", choices=tuple(typeset.FACES), default=tuple(typeset.FACES))
    parser.add_argument("--points", type=int, nargs="+", default=typeset.POINTS)
    parser.add_argument("--words", action="store_true")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    for dpi in arguments.dpi:
        if typeset.DPI % dpi:
            parser.error(f"{typeset.DPI} dpi is no whole multiple of {dpi}")
    return arguments


def _require_faces():
    missing = typeset.missing_faces()
    if missing:
        print(f"no font {missing[0]}: the Debian packages are fonts-liberation and fonts-texgyre",
              file=sys.stderr)
        sys.exit(_NOT_HERE)


def _write_page(path, image, dpi, text):
    compression = "group4" if image.mode == "1" else "tiff_lzw"
    image.save(path.with_suffix(".tif"), compression=compression, dpi=(dpi, dpi))
    path.with_suffix(".txt").write_text(text, encoding="utf-8")


def _write_words(path, words, dpi):
    lines = ("\t".join([word.text] + [f"{edge * dpi / typeset.DPI:.2f}" for edge in word.box])
             for word in words)
    path.with_suffix(".words").write_text("\n".join(lines) + "\n", encoding="utf-8")


def _scan_all(arguments, page, name):
    for dpi, kind in itertools.product(arguments.dpi, arguments.kind):
        rng = random.Random(f"{arguments.seed} {name} {dpi} {kind}")
        grey = scanner.scan(page.image, dpi, kind == "degraded", rng)
        images = {"grey": grey, "1bit": scanner.in_two_levels(grey)}
        for depth in arguments.depth:
            path = arguments.directory / f"{depth}-{dpi:03}-{kind}-{name}"
            _write_page(path, images[depth], dpi, page.text)
            if arguments.words and kind == "clean":
                _write_words(path, page.words, dpi)


def _make(arguments, face, points):
    name = f"{face}-{points:02}"
    paragraphs = text.paragraphs(random.Random(f"{arguments.seed} {name}"))
    _scan_all(arguments, typeset.typeset(paragraphs, face, points), name)


def main():
    arguments = _arguments()
    _require_faces()
    arguments.directory.mkdir(parents=True, exist_ok=True)
    with multiprocessing.Pool() as pool:
        pool.starmap(_make, itertools.product([arguments], arguments.face, arguments.points),
                     chunksize=1)


if __name__ == "__main__":
    main()
