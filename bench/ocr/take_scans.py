#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
#
# take_scans.py FOLDER PAGES: links the scans of a folder that have their text beside them, and that
# text, into PAGES under the names of generated pages: DEPTH-DPI-scan-NAME. Scans without a
# resolution are told and left out.
import pathlib
import sys

from PIL import Image

_DEPTHS = {"1": "1bit", "L": "grey", "I;16": "grey"}
_SUFFIXES = {"TIFF": ".tif", "PNG": ".png", "JPEG": ".jpg"}


def _take(scan, pages):
    truth = scan.with_suffix(".txt")
    with Image.open(scan) as image:
        dpi = round(float(image.info.get("dpi", (0, 0))[0]))
        suffix = _SUFFIXES.get(image.format)
        depth = _DEPTHS.get(image.mode, "colour")
    if dpi <= 1 or not suffix:
        print(f"{scan}: left out, {'no resolution' if suffix else 'no format that peers read'}",
              file=sys.stderr)
        return
    name = f"{depth}-{dpi:03}-scan-{scan.stem}"
    (pages / (name + suffix)).symlink_to(scan)
    (pages / (name + ".txt")).symlink_to(truth)


def main():
    folder, pages = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    for scan in sorted(folder.iterdir()):
        if scan.suffix != ".txt" and scan.with_suffix(".txt").exists():
            _take(scan, pages)


if __name__ == "__main__":
    main()
