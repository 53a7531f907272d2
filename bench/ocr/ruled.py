# SPDX-License-Identifier: Apache-2.0
#
# What reductions leave of the lines of ruled pages, as bench/ocr.sh gathers it.
import pathlib


class Counts:
    """`lines`: of one kind on the pages of both directions."""

    def __init__(self, left, lines):
        self._left = left
        self.lines = lines
        self.methods = list(dict.fromkeys(method for method, _, _ in left))
        self.resolutions = list(dict.fromkeys(dpi for _, dpi, _ in left))

    def left(self, method, dpi):
        return " / ".join(str(self._left[method, dpi, kind]) for kind in ("lines", "gaps"))


def read_counts(path):
    """Lines of method, resolution, KIND-DIRECTION, lines left, lines."""
    left, lines = {}, {}
    for line in pathlib.Path(path).read_text().splitlines():
        method, dpi, page, seen, of = line.split("\t")
        key = (method, dpi, page.split("-")[0])
        left[key] = left.get(key, 0) + int(seen)
        lines[key] = lines.get(key, 0) + int(of)
    return Counts(left, max(lines.values(), default=0))
