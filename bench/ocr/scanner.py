# SPDX-License-Identifier: Apache-2.0
#
# What a scanner makes of a printed page: averages of small squares of paper, on request with skew,
# blur, grey paper and noise, in 256 levels or, by one threshold for the page, in two.
import numpy
from PIL import Image, ImageFilter

from typeset import DPI

_SKEW = (0.3, 0.6)        # degrees, to either side
_BLUR = 0.45              # of an output pixel, standard deviation
_PAPER = (222.0, 240.0)   # level of the paper
_INK = (20.0, 50.0)
_SHADE = 10.0             # how much darker one side of the page is
_NOISE = 6.0              # levels, standard deviation
_THRESHOLD = 128


def _averaged(page, side):
    """Means of side x side pixels, as floating-point numbers; what is left over is cut off."""
    rows, columns = page.height // side, page.width // side
    pixels = numpy.asarray(page)[: rows * side, : columns * side]
    return pixels.reshape(rows, side, columns, side).mean(axis=(1, 3), dtype=numpy.float32)


def _skewed(page, rng):
    angle = rng.uniform(*_SKEW) * rng.choice((-1, 1))
    return page.rotate(angle, resample=Image.Resampling.BICUBIC, fillcolor=255)


def _with_paper_and_noise(levels, rng):
    noise = numpy.random.default_rng(rng.getrandbits(64))
    paper, ink = rng.uniform(*_PAPER), rng.uniform(*_INK)
    shade = numpy.linspace(0.0, _SHADE, levels.shape[1], dtype=numpy.float32)
    shaded = ink + levels * ((paper - ink - shade) / 255.0)
    return shaded + noise.normal(0.0, _NOISE, levels.shape)


def scan(page, dpi, degraded, rng):
    """The page at `dpi`, a divisor of typeset.DPI, as an image of mode L."""
    side = DPI // dpi
    if degraded:
        page = _skewed(page, rng).filter(ImageFilter.GaussianBlur(_BLUR * side))
    levels = _averaged(page, side)
    if degraded:
        levels = _with_paper_and_noise(levels, rng)
    return Image.fromarray(numpy.clip(numpy.rint(levels), 0, 255).astype(numpy.uint8), "L")


def in_two_levels(image):
    """Mode 1, without dither."""
    return image.point(lambda level: 255 if level >= _THRESHOLD else 0, mode="1")
