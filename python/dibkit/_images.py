# SPDX-License-Identifier: Apache-2.0
"""Arrays into arrays."""

from __future__ import annotations

from typing import Any, Callable, Optional, Tuple, Union

import numpy
import numpy.typing

from . import _dibkit
from ._arguments import Dpi, count_of, dpi_from, dpi_of, dpi_pair, max_pixels_of, member_of

# bool H x W, uint8 H x W or uint8 H x W x 3.
Image = Union[numpy.typing.NDArray[numpy.bool_], numpy.typing.NDArray[numpy.uint8]]

# Told the percentage that is done, 0 to 100, on the calling thread. What it raises stops the work
# and comes out of the function.
Progress = Callable[[int], Any]


def resample(
    image: Image,
    from_dpi: Optional[Dpi],
    dpi: float,
    threshold: Optional[int] = None,
    grey: bool = False,
    raw: bool = False,
    progress: Optional[Progress] = None,
    *,
    max_pixels: Optional[int] = None,
) -> Image:
    """Brings an image to another resolution; its physical size stays.

    image       bool H x W, uint8 H x W, or uint8 H x W x 3
    from_dpi    its resolution in dots per inch, 1 to 65535, or that of x and y as a pair
    dpi         of the result, on both axes, 1 to 65535
    threshold   bool images: the darkness, 0 to 256, from which on a pixel is black; None follows
                from the two resolutions
    grey        makes uint8 H x W of any image
    raw         gives the library's own bytes, for those who check another program against them
    progress    is called with the percentage that is done
    max_pixels  most pixels of the image and of the result; None is 250 million

    Returns a new array of the same kind, about H * dpi / from_dpi rows high.

    >>> import dibkit, numpy
    >>> page = numpy.full((100, 80, 3), 255, numpy.uint8)
    >>> dibkit.resample(page, from_dpi=100, dpi=300).shape
    (300, 240, 3)
    """
    return _dibkit.resample(
        numpy.asarray(image),
        dpi_pair(from_dpi, "from_dpi"),
        dpi_of(dpi, "dpi"),
        None if threshold is None else count_of(threshold, "threshold", 0, 256),
        bool(grey),
        bool(raw),
        max_pixels_of(max_pixels),
        progress,
    )


def prepare(
    image: Image,
    from_dpi: Optional[Dpi],
    dpi: float = 300,
    progress: Optional[Progress] = None,
    *,
    max_pixels: Optional[int] = None,
) -> Tuple[Image, Optional[Dpi]]:
    """Makes of an image what text recognition reads best.

    image       bool H x W, uint8 H x W, or uint8 H x W x 3
    from_dpi    its resolution in dots per inch, 1 to 65535, or that of x and y as a pair
    dpi         what is wanted, 1 to 65535
    progress    is called with the percentage that is done
    max_pixels  most pixels of the image and of the result; None is 250 million

    Returns a new array and its dots per inch: the image at `dpi`, in grey where that reads better,
    or at its own resolution where nothing would be won.

    >>> import dibkit, numpy
    >>> page = numpy.full((110, 85), 255, numpy.uint8)   # a letter page at 10 dots per inch
    >>> image, dpi = dibkit.prepare(page, 10)
    >>> image.shape, dpi
    ((3300, 2550), 300)
    """
    prepared, pair = _dibkit.prepare(
        numpy.asarray(image),
        dpi_pair(from_dpi, "from_dpi"),
        dpi_of(dpi, "dpi"),
        max_pixels_of(max_pixels),
        progress,
    )
    return prepared, dpi_from(pair)


def quantize(
    image: Image,
    colors: int = 256,
    raw: bool = False,
    progress: Optional[Progress] = None,
    *,
    max_pixels: Optional[int] = None,
) -> Tuple[numpy.typing.NDArray[numpy.uint8], numpy.typing.NDArray[numpy.uint8]]:
    """Reduces an image to a palette of its own.

    image       bool H x W, uint8 H x W, or uint8 H x W x 3
    colors      most colours that the palette may have, 1 to 256
    raw         gives the library's own reduction as it is
    progress    is called with the percentage that is done
    max_pixels  most pixels of the image; None is 250 million

    Returns indices, uint8 H x W, and the palette, uint8 n x 3 in red, green, blue; `palette[indices]`
    is the picture.

    >>> import dibkit, numpy
    >>> red = numpy.full((4, 6, 3), (255, 0, 0), numpy.uint8)
    >>> indices, palette = dibkit.quantize(red, colors=16)
    >>> indices.shape, palette[indices].shape
    ((4, 6), (4, 6, 3))
    """
    return _dibkit.quantize(
        numpy.asarray(image),
        count_of(colors, "colors", 1, 256),
        bool(raw),
        max_pixels_of(max_pixels),
        progress,
    )


def to_grey(
    image: Image,
    rule: str = "luminance",
    levels: int = 256,
    progress: Optional[Progress] = None,
    *,
    max_pixels: Optional[int] = None,
) -> numpy.typing.NDArray[numpy.uint8]:
    """Takes the colours out of an image.

    image       bool H x W, uint8 H x W, or uint8 H x W x 3
    rule        "luminance" weighs the channels as the eye does, "easy" is the mean of all three,
                "minmax" that of the largest and the smallest
    levels      256, or 16
    progress    is called with the percentage that is done
    max_pixels  most pixels of the image; None is 250 million

    Returns greys, uint8 H x W.

    >>> import dibkit, numpy
    >>> dibkit.to_grey(numpy.array([[[30, 60, 90]]], numpy.uint8), rule="easy")
    array([[60]], dtype=uint8)
    """
    if levels not in (16, 256):
        raise ValueError("levels is not 16 or 256")
    return _dibkit.to_grey(
        numpy.asarray(image),
        member_of(_dibkit.GreyRule, rule, "rule"),
        _dibkit.GreyLevels.few if levels == 16 else _dibkit.GreyLevels.all,
        max_pixels_of(max_pixels),
        progress,
    )
