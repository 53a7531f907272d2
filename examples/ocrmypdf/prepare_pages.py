# SPDX-License-Identifier: Apache-2.0
"""A plugin for OCRmyPDF: prepares the image of each page before its text is recognised.

    ocrmypdf --plugin prepare_pages.py scan.pdf searchable.pdf
"""

import logging

import numpy
from ocrmypdf import hookimpl
from ocrmypdf.exceptions import MissingDependencyError
from PIL import Image

try:
    import dibkit
except ImportError:
    dibkit = None

log = logging.getLogger(__name__)

# Tesseract passes over a page that is longer on either side.
_LONGEST_SIDE = 32767


def _places_text_by_page(options):
    """Whether the text layer's scale comes from the PDF's page, not from the image.

    The hOCR renderers divide pixels by the resolution at which the page was drawn, whatever the
    image that was recognised says of itself.
    """
    return options.pdf_renderer.startswith("hocr")


@hookimpl(trylast=True)
def check_options(options):
    if dibkit is None:
        raise MissingDependencyError("The plugin needs the Python package dibkit in PYTHONPATH")
    # The renderer "auto" becomes one of the others in the engine's own check, which is earlier.
    if _places_text_by_page(options):
        log.warning("Pages are not prepared: --pdf-renderer %s needs them as they are",
                    options.pdf_renderer)


def _as_array(image):
    return numpy.asarray(image if image.mode in ("1", "L", "RGB") else image.convert("RGB"))


def _as_image(array, original):
    """The array with the resolution that gives it the original's physical size."""
    image = Image.fromarray(array)
    image.info["dpi"] = tuple(
        dots * now / before
        for dots, now, before in zip(original.info["dpi"], image.size, original.size))
    return image


def _fits(array):
    return max(array.shape[:2]) <= _LONGEST_SIDE


@hookimpl
def filter_ocr_image(page, image):
    if _places_text_by_page(page.options):
        return image
    try:
        prepared, _ = dibkit.prepare(_as_array(image), image.info["dpi"])
    except (dibkit.Error, ValueError) as error:
        log.warning("Page %d is not prepared: %s", page.pageno + 1, error)
        return image
    if not _fits(prepared):
        log.warning("Page %d is not prepared: it would be too long for Tesseract", page.pageno + 1)
        return image
    return _as_image(prepared, image)
