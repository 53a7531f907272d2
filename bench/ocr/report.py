#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
#
# Makes of what dibkit_ocr_measure printed a report in Markdown: printed, or put between the marks
# of a page, beside which its plot is then drawn. With --check only the goals that need no peer are
# looked at, and the status is 1 when one is missed.
import argparse
import datetime
import pathlib
import subprocess
import sys

import goals
import plot
import results as recognition
import ruled

_BEGIN = "<!-- measured: written by bench/ocr.sh; do not edit. -->\n"
_END = "<!-- end of what was measured -->\n"
_NEW_PAGE = f"""<!-- SPDX-License-Identifier: Apache-2.0 -->
# Recognition

{_BEGIN}{_END}"""

_HOW = """How it is measured:

- The pages are set from sentences written for this, 24 lines each, in two faces with serifs
  (Liberation Serif, TeX Gyre Pagella) and one without (Liberation Sans), at 8, 9, 10 and 11 points:
  the twelve pages of a row. They are drawn at 1200 dpi with soft edges and averaged down to the
  resolution of the row, in 256 levels (grey) or those cut at 128 (1 bit). *Degraded* pages are
  skewed by 0.3 to 0.6 degrees, blurred (0.45 of a pixel, standard deviation), on grey paper
  that darkens to one side, with the noise of a sensor (6 levels). The same script gives the
  same pages everywhere.
- Each way brings a page to 300 dpi, a file to a file: `dibkit resample --dpi 300`, with `--raw`, with
  `--grey`; `dibkit prepare --dpi 300`; Leptonica's `pixScale`, on 1-bit pages also after a conversion
  to 8 bits; OpenCV's `cv::resize` with `INTER_LINEAR` and `INTER_AREA` on 8 bits, for 1-bit pages
  also cut at 128 again.
- Tesseract reads each page (its English data, its LSTM engine, automatic layout), and is told the
  resolution that the file says. Nothing is kept from one page to the next.
- A page's rate is the Levenshtein distance of the two texts over characters, in percent of those of
  the true text; white space of any length counts as one blank, typographic quotes, dashes and
  ligatures as plain ones. A row's figure is the mean of its pages. It may pass 100.
"""


def _arguments():
    parser = argparse.ArgumentParser(description="Reports character error rates.")
    parser.add_argument("errors", help="what dibkit_ocr_measure printed")
    parser.add_argument("--methods", required=True, help="the list of methods.sh, in a file")
    parser.add_argument("--lines", help="what was counted on ruled pages")
    parser.add_argument("--tool", default="", help="the command dibkit, to tell its version")
    parser.add_argument("--page", type=pathlib.Path, help="the page to put the report into")
    parser.add_argument("--check", action="store_true", help="look at the goals only")
    return parser.parse_args()


def _first_line(*command):
    run = subprocess.run(command, text=True, check=True, capture_output=True)
    return run.stdout.splitlines()[0].strip()


def _versions(tool):
    packages = {"Tesseract": "libtesseract-dev", "Leptonica": "libleptonica-dev",
                "OpenCV": "libopencv-dev", "English data": "tesseract-ocr-eng"}
    told = [f"{name} {_first_line('dpkg-query', '-W', '-f', '${Version}', package)}"
            for name, package in packages.items()]
    if tool:
        told.insert(0, _first_line(tool, "--version"))
    return ", ".join(told)


def _goal_lines(list_of_goals):
    yield "| goal | reached | where not: percent, and what was wanted |"
    yield "|---|---|---|"
    for goal in list_of_goals:
        yield f"| {goal.text} | {'no' if goal.misses else 'yes'} | {'; '.join(goal.misses)} |"


def _table(results, depth):
    rows = [row for row in results.rows if row.depth == depth]
    methods = [method for method in results.methods
               if any(results.has(row, method.name) for row in rows)]
    yield "| dpi | kind | pages | " + " | ".join(method.title for method in methods) + " |"
    yield "|---|---|---|" + "---|" * len(methods)
    for row in rows:
        yield (f"| {row.dpi} | {row.kind} | {results.pages(row)} | " +
               " | ".join(_figure(results, row, method.name) for method in methods) + " |")
    yield "| *mean* | | | " + " | ".join(
        f"{results.mean_over([row for row in rows if results.has(row, method.name)], method.name):.2f}"
        for method in methods) + " |"


def _figure(results, row, name):
    return f"{results.mean(row, name):.2f}" if results.has(row, name) else ""


def _ruled(counts, results):
    titles = {method.name: method.title for method in results.methods}
    names = [name for name in counts.methods if name in titles]
    yield "## Ruled pages"
    yield ""
    yield "What is left of one-pixel lines on white, and of one-pixel gaps in black, when a 1-bit page is"
    yield f"reduced from 300 dpi: lines / gaps, of {counts.lines} each."
    yield ""
    yield "| to, dpi | " + " | ".join(titles[name] for name in names) + " |"
    yield "|---|" + "---|" * len(names)
    for dpi in counts.resolutions:
        yield f"| {dpi} | " + " | ".join(counts.left(name, dpi) for name in names) + " |"


def _report(results, arguments):
    yield "Characters that Tesseract gets wrong, in percent, when a page is given to it at the"
    yield "resolution of its scan, and when it is brought to 300 dpi first. `bench/ocr.sh` measured"
    yield f"it on {datetime.date.today().isoformat()} with {_versions(arguments.tool)}."
    yield ""
    if results.can_prepare:
        yield "## Goals"
        yield ""
        yield from _goal_lines(goals.all_goals(results))
        yield ""
    for depth, title in (("grey", "Grey pages"), ("1bit", "1-bit pages"),
                         ("colour", "Pages in colour")):
        if any(row.depth == depth for row in results.rows):
            yield f"## {title}"
            yield ""
            yield from _table(results, depth)
            yield ""
    if arguments.lines:
        yield from _ruled(ruled.read_counts(arguments.lines), results)
        yield ""
    yield _HOW


def _put_into(page, text):
    old = page.read_text(encoding="utf-8") if page.exists() else _NEW_PAGE
    before, rest = old.split(_BEGIN, 1)
    after = rest.split(_END, 1)[1]
    page.write_text(f"{before}{_BEGIN}{text}{_END}{after}", encoding="utf-8")


def _check(results):
    missed = False
    for goal in goals.own_goals(results):
        print(f"{'missed' if goal.misses else 'reached'}: {goal.text}")
        for miss in goal.misses:
            print(f"  {miss}")
        missed = missed or bool(goal.misses)
    return 1 if missed else 0


def main():
    arguments = _arguments()
    results = recognition.read_results(arguments.errors,
                                       recognition.read_methods(arguments.methods))
    if arguments.check:
        return _check(results)
    text = "\n".join(_report(results, arguments))
    if not arguments.page:
        print(text)
        return 0
    drawing = arguments.page.with_suffix(".svg")
    plot.draw(results, drawing)
    _put_into(arguments.page, f"![characters wrong over the resolution]({drawing.name})\n\n{text}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
