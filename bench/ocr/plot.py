# SPDX-License-Identifier: Apache-2.0
#
# The error rates over the resolution as SVG, one panel for each depth and kind; both axes are
# logarithmic.
import math

_CURVES = {
    "asis": "#888888", "resample": "#c9a227", "prepare": "#0b6e4f", "leptonica": "#c8553d",
    "opencv-linear": "#3d5a80",
}
_PANELS = (("grey", "clean"), ("grey", "degraded"), ("1bit", "clean"), ("1bit", "degraded"))
_RESOLUTIONS = (75, 100, 150, 200, 300)
_RATES = (0.1, 1, 10, 100)
_LEAST = 0.03  # where a rate of 0 is drawn
_WIDTH, _HEIGHT = 360, 200
_LEFT, _TOP, _APART = 55, 60, 70


class _Panel:
    def __init__(self, column, row):
        self.left = _LEFT + column * (_WIDTH + _APART)
        self.top = _TOP + row * (_HEIGHT + _APART)

    def x(self, dpi):
        span = math.log(_RESOLUTIONS[-1] / _RESOLUTIONS[0])
        return self.left + _WIDTH * math.log(dpi / _RESOLUTIONS[0]) / span

    def y(self, rate):
        span = math.log(_RATES[-1] / _LEAST)
        part = math.log(max(rate, _LEAST) / _LEAST) / span
        return self.top + _HEIGHT * (1 - part)

    def axes(self, title):
        yield (f'<text x="{self.left}" y="{self.top - 8}" font-weight="bold">{title}</text>')
        for rate in _RATES:
            y = self.y(rate)
            yield (f'<line stroke="#ccc" x1="{self.left}" x2="{self.left + _WIDTH}" '
                   f'y1="{y:.1f}" y2="{y:.1f}"/>')
            yield f'<text x="{self.left - 6}" y="{y + 4:.1f}" text-anchor="end">{rate}</text>'
        for dpi in _RESOLUTIONS:
            yield (f'<text x="{self.x(dpi):.1f}" y="{self.top + _HEIGHT + 16}" '
                   f'text-anchor="middle">{dpi}</text>')

    def curve(self, points, colour):
        places = " ".join(f"{self.x(dpi):.1f},{self.y(rate):.1f}" for dpi, rate in points)
        return f'<polyline fill="none" stroke-width="2" stroke="{colour}" points="{places}"/>'


def _legend(methods):
    x = _LEFT
    for method in methods:
        title = method.title.strip("`")
        yield (f'<text x="{x}" y="24" font-weight="bold" fill="{_CURVES[method.name]}">'
               f'{title}</text>')
        x += 30 + 8 * len(title)
    yield f'<text x="{x}" y="24">characters wrong, percent, over dots per inch of the scan</text>'


def _drawing(results):
    methods = [method for method in results.methods if method.name in _CURVES]
    width = _LEFT + 2 * _WIDTH + _APART + 20
    height = _TOP + 2 * _HEIGHT + _APART + 30
    yield "<!-- SPDX-License-Identifier: Apache-2.0 -->"
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
           'font-family="sans-serif" font-size="12">')
    yield '<rect width="100%" height="100%" fill="white"/>'
    yield from _legend(methods)
    for number, (depth, kind) in enumerate(_PANELS):
        panel = _Panel(number % 2, number // 2)
        yield from panel.axes(f"{depth.replace('1bit', '1 bit')}, {kind}")
        rows = [row for row in results.rows if (row.depth, row.kind) == (depth, kind)]
        for method in methods:
            yield panel.curve([(row.dpi, results.mean(row, method.name)) for row in rows],
                              _CURVES[method.name])
    yield "</svg>"


def draw(results, path):
    """Writes an SVG file, of the generated pages only."""
    path.write_text("\n".join(_drawing(results)) + "\n", encoding="utf-8")
