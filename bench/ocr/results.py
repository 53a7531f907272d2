# SPDX-License-Identifier: Apache-2.0
#
# Character error rates as dibkit_ocr_measure prints them, gathered into rows: pages of one depth,
# resolution and kind.
import dataclasses
import pathlib
import statistics


@dataclasses.dataclass(frozen=True)
class Method:
    name: str
    is_peer: bool
    title: str


@dataclasses.dataclass(frozen=True, order=True)
class Row:
    depth: str
    dpi: int
    kind: str

    def __str__(self):
        return f"{self.depth} {self.dpi} dpi {self.kind}"


class Results:
    """Percentages by row and method; `methods` are those that were measured, in their order."""

    def __init__(self, methods, percentages):
        self._percentages = percentages
        self.rows = sorted({row for row, _ in percentages})
        measured = {method for _, method in percentages}
        self.methods = [method for method in methods if method.name in measured]
        self.peers = [method for method in self.methods if method.is_peer]

    @property
    def can_prepare(self):
        """Whether `prepare` was measured, and the unconverted pages beside it."""
        return {"asis", "prepare"} <= {method.name for method in self.methods}

    def pages(self, row):
        return max(len(values) for (other, _), values in self._percentages.items() if other == row)

    def has(self, row, name):
        return (row, name) in self._percentages

    def mean(self, row, name):
        return statistics.fmean(self._percentages[row, name])

    def mean_over(self, rows, name):
        return statistics.fmean(self.mean(row, name) for row in rows)


def read_methods(path):
    """The list of methods.sh: name, pages, own or peer, title."""
    fields = (line.split("|") for line in pathlib.Path(path).read_text().splitlines())
    return [Method(name, owner == "peer", title) for name, _, owner, title in fields]


def read_results(path, methods):
    """Lines of .../METHOD/DEPTH-DPI-KIND-NAME.SUFFIX, errors, characters, percent."""
    percentages = {}
    for line in pathlib.Path(path).read_text().splitlines():
        image, _, _, percent = line.split("\t")
        page = pathlib.Path(image)
        depth, dpi, kind, _ = page.name.split("-", 3)
        key = (Row(depth, int(dpi), kind), page.parent.name)
        percentages.setdefault(key, []).append(float(percent))
    return Results(methods, percentages)
