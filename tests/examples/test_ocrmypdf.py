# SPDX-License-Identifier: Apache-2.0
"""The plugin for OCRmyPDF: fewer errors, and words in their places."""

import html
import math
import os
import pathlib
import re
import shutil
import subprocess
import sys

import numpy
import pytest

_ROOT = pathlib.Path(__file__).resolve().parents[2]
_PLUGIN = _ROOT / "examples/ocrmypdf/prepare_pages.py"
_PLAIN = str.maketrans("‘’“”–—", "''\"\"--")
_DPI = 100
# Most points between left, right and lower edges. The text layer stretches a word over its box in
# steps, which leaves the right edge uncertain, above all where a page is too coarse to be read well.
_NEAR_THE_TRUTH = (2.0, 6.0, 2.0)
_NEAR_THE_UNPREPARED = (5.0, math.inf, 3.0)


@pytest.fixture(scope="module", autouse=True)
def tools():
    for name in ("ocrmypdf", "img2pdf", "PIL", "pikepdf", "dibkit"):
        pytest.importorskip(name)
    for name in ("tesseract", "pdftotext", "gs"):
        if shutil.which(name) is None:
            pytest.skip(f"{name} is not there")
    languages = subprocess.run(["tesseract", "--list-langs"], capture_output=True, text=True)
    if "eng" not in languages.stdout.split():
        pytest.skip("Tesseract has no data for English")


@pytest.fixture(scope="module")
def pages(tmp_path_factory):
    """Grey pages at 100 dpi, with their text and the places of their words beside them."""
    folder = tmp_path_factory.mktemp("pages")
    made = subprocess.run(
        [sys.executable, _ROOT / "bench/ocr/make_pages.py", folder, "--dpi", str(_DPI), "--depth",
         "grey", "--points", "8", "--kind", "clean", "--face", "serif", "sans", "--words"],
        stderr=subprocess.PIPE, text=True)
    if made.returncode == 3:
        pytest.skip(made.stderr.strip())
    assert made.returncode == 0, made.stderr
    return sorted(folder.glob("*.tif"))


@pytest.fixture(scope="module", params=["upright", "turned"])
def pdf(request, pages, tmp_path_factory):
    """A PDF of the pages; the images of the turned one lie on their sides and the pages say so."""
    import img2pdf
    import pikepdf
    from PIL import Image
    folder = tmp_path_factory.mktemp("pdf")
    turned = request.param == "turned"
    images = []
    for page in pages:
        images.append(folder / f"{page.stem}.png")
        with Image.open(page) as image:
            upright = image.transpose(Image.Transpose.ROTATE_90) if turned else image
            upright.save(images[-1], dpi=(_DPI, _DPI))
    path = folder / "scan.pdf"
    path.write_bytes(img2pdf.convert([str(image) for image in images]))
    if turned:
        with pikepdf.open(path, allow_overwriting_input=True) as document:
            for page in document.pages:
                page.Rotate = 90
            document.save(path)
    return path


def recognise(pdf, name, *words):
    """The recognised text, and the words of each page with their boxes in points."""
    result, text = pdf.with_name(f"{name}.pdf"), pdf.with_name(f"{name}.txt")
    environment = {**os.environ, "OMP_THREAD_LIMIT": "1"}
    ran = subprocess.run(
        [sys.executable, "-m", "ocrmypdf", "--output-type", "pdf", "--optimize", "0", "--jobs", "2",
         "--sidecar", text, *words, pdf, result],
        env=environment, stderr=subprocess.PIPE, text=True, timeout=300)
    assert ran.returncode == 0, ran.stderr
    return text.read_text(encoding="utf-8"), placed_words(result), ran.stderr


def placed_words(pdf):
    told = subprocess.run(["pdftotext", "-bbox", pdf, "-"], check=True, capture_output=True,
                          text=True).stdout
    box = re.compile(r'<word xMin="(.*)" yMin=".*" xMax="(.*)" yMax="(.*)">(.*)</word>')
    return [[(plain(html.unescape(word)), *map(float, edges))
             for *edges, word in box.findall(page)]
            for page in told.split("<page ")[1:]]


def plain(text):
    return " ".join(text.translate(_PLAIN).split())


def count_errors(truth, text):
    """Characters to insert, delete or replace."""
    letters = numpy.array(list(text))
    columns = numpy.arange(len(text) + 1)
    distances = columns
    for row, letter in enumerate(truth, 1):
        step = numpy.minimum(distances[1:] + 1, distances[:-1] + (letters != letter))
        step = numpy.concatenate([[row], step])
        distances = columns + numpy.minimum.accumulate(step - columns)
    return distances[-1]


def unique(words):
    """Where each word stands that a page has once: left, right and lower edge."""
    texts = [word for word, *_ in words]
    return {word: edges for word, *edges in words if texts.count(word) == 1}


def true_words(page):
    """As placed_words gives them, for one page."""
    words = []
    for line in page.with_suffix(".words").read_text(encoding="utf-8").splitlines():
        word, *edges = line.split("\t")
        left, _, right, bottom = (float(edge) * 72 / _DPI for edge in edges)
        words.append((plain(word), left, right, bottom))
    return words


def far_ones(some, others, near):
    """The words of both whose edges are not so near, and how many are in both."""
    some, others = unique(some), unique(others)
    shared = some.keys() & others.keys()
    far = {word: (some[word], others[word]) for word in shared
           if any(abs(a - b) > most for a, b, most in zip(some[word], others[word], near))}
    return far, len(shared)


def test_prepared_pages_have_fewer_errors_and_words_in_the_same_places(pdf, pages):
    text, words, _ = recognise(pdf, "without")
    prepared_text, prepared_words, _ = recognise(pdf, "with", "--plugin", _PLUGIN)
    truth = plain(" ".join(page.with_suffix(".txt").read_text("utf-8") for page in pages))
    errors = count_errors(truth, plain(text))
    prepared_errors = count_errors(truth, plain(prepared_text))
    print(f"{len(truth)} characters: {errors} errors without the plugin, {prepared_errors} with")
    assert 2 * prepared_errors < errors
    for page, before, after in zip(pages, words, prepared_words):
        for reference, near in ((before, _NEAR_THE_UNPREPARED),
                                (true_words(page), _NEAR_THE_TRUTH)):
            far, shared = far_ones(reference, after, near)
            assert shared > 50
            assert not far


def test_renderers_that_place_text_by_the_page_get_it_as_it_is(pdf):
    words = recognise(pdf, "hocr-without", "--pdf-renderer", "hocr")[1]
    prepared_words, told = recognise(pdf, "hocr-with", "--pdf-renderer", "hocr", "--plugin",
                                     _PLUGIN)[1:]
    assert "Pages are not prepared" in told
    assert prepared_words == words
