# SPDX-License-Identifier: Apache-2.0
#
# The error rates over the resolution, one panel for each depth and kind, drawn by gnuplot.
import subprocess

_SHOWN = ("asis", "resample", "prepare", "leptonica", "opencv-linear")
_COLOURS = ("#888888", "#c9a227", "#0b6e4f", "#c8553d", "#3d5a80")
_LEAST = 0.02  # a logarithmic axis has no 0

_HEAD = """set terminal svg size 880,640 font 'sans-serif,12' background '#ffffff'
set output '{path}'
set multiplot layout 2,2
set logscale y
set yrange [{least}:100]
set xrange [65:310]
set xtics (75,100,150,200,300)
set grid ytics lc rgb '#dddddd'
set key top right samplen 2
set xlabel 'dots per inch of the scan'
set ylabel 'characters wrong, percent'
"""


def _panel(results, methods, rows, title):
    lines = [f"$data{number} << END\n" + "".join(
        f"{row.dpi} {max(results.mean(row, method.name), _LEAST)}\n" for row in rows) + "END\n"
        for number, method in enumerate(methods)]
    curves = ", ".join(
        f"$data{number} with linespoints lw 2 pt 7 ps 0.4 "
        f"lc rgb '{_COLOURS[_SHOWN.index(method.name)]}' title '{method.title.strip('`')}'"
        for number, method in enumerate(methods))
    return "".join(lines) + f"set title '{title}'\nplot {curves}\n"


def draw(results, path):
    """Writes an SVG file; generated pages only."""
    methods = [method for method in results.methods if method.name in _SHOWN]
    script = _HEAD.format(path=path, least=_LEAST)
    for depth, kind in (("grey", "clean"), ("grey", "degraded"),
                        ("1bit", "clean"), ("1bit", "degraded")):
        rows = [row for row in results.rows if (row.depth, row.kind) == (depth, kind)]
        if rows:
            script += _panel(results, methods, rows, f"{depth.replace('1bit', '1 bit')}, {kind}")
    subprocess.run(["gnuplot"], input=script, text=True, check=True)
