# SPDX-License-Identifier: Apache-2.0
"""Files into arrays and back."""

from __future__ import annotations

import os
import warnings
from typing import Any, Dict, List, Mapping, NamedTuple, Optional, Union

import numpy
import numpy.typing

from . import _dibkit
from ._arguments import Dpi, count_of, dpi_from, dpi_pair, max_pixels_of, member_of
from ._errors import ReadWarning
from ._images import Image

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


class _Pair(NamedTuple):
    image: Image
    dpi: Optional[Dpi]


class Scan(_Pair):
    """What `read` returns: a pair of the image and its dots per inch, with more beside it.

    image        bool H x W, uint8 H x W or uint8 H x W x 3
    dpi          one number, a pair for x and y where they differ, None where the file says none
    format       "bmp", "tiff", "png" or "jpeg"
    pages        how many the file has
    icc_profile  the colour profile, bytes; None where there is none
    texts        what describes the page, by name: document_name, description, make, model,
                 page_name, software, date_time, artist, host_computer, copyright
    """

    format: str
    pages: int
    icc_profile: Optional[bytes]
    texts: Dict[str, str]


def _system_path(path: Path) -> bytes:
    # A hyphen is a name here, not standard input.
    encoded = os.fsencode(path)
    return b"./-" if encoded == b"-" else encoded


def read(path: Path, page: int = 0, *, max_pixels: Optional[int] = None) -> Scan:
    """Reads one page of a TIFF, PNG, JPEG or BMP file, which is told by its content.

    path        of the file
    page        which of its pages, from 0
    max_pixels  a page with more is refused before anything is read; None is 250 million

    Returns a Scan: image and dots per inch, and what else the file says. The page is upright; files
    with a palette give grey or colours, whichever it has; channels of 16 bits are rounded to 8, and
    alpha is laid over white.

    >>> import dibkit, numpy, os, tempfile
    >>> path = os.path.join(tempfile.mkdtemp(), "page.bmp")
    >>> dibkit.write(path, numpy.zeros((20, 10), bool), 200)
    >>> image, dpi = dibkit.read(path)
    >>> image.shape, image.dtype, dpi
    ((20, 10), dtype('bool'), 200)
    """
    image, dpi, file_format, pages, profile, texts, remarks = _dibkit.read(
        _system_path(path),
        count_of(page, "page", 0, 0xFFFFFFFF),
        max_pixels_of(max_pixels),
    )
    for remark in remarks:
        warnings.warn(f"{os.fsdecode(path)}: {remark}", ReadWarning, stacklevel=2)
    scan = Scan(image, dpi_from(dpi))
    scan.format = file_format.lower()
    scan.pages = pages
    scan.icc_profile = profile or None
    scan.texts = texts
    return scan


def write(
    path: Path,
    image: Image,
    dpi: Optional[Dpi],
    *,
    palette: Optional[numpy.typing.NDArray[numpy.uint8]] = None,
    format: Optional[str] = None,
    compression: Optional[str] = None,
    quality: int = 90,
    replace: bool = True,
    icc_profile: Optional[bytes] = None,
    texts: Optional[Mapping[str, str]] = None,
) -> None:
    """Writes an image to a file, which appears whole or not at all.

    path         of the file
    image        bool H x W as 1 bit, uint8 H x W as grey, uint8 H x W x 3
    dpi          what the file says of its resolution: dots per inch, a pair for x and y, or None
    palette      uint8 n x 3, at most 256 entries of red, green, blue: the image holds its indices
    format       "bmp", "tiff", "png" or "jpeg"; None is told by the suffix
    compression  "none", "lzw", "deflate", "packbits", "g3", "g4" or "jpeg"; None is g4 for bool and
                 deflate for others in TIFF, and what the other formats always have
    quality      of JPEG pixels, 1 to 100
    replace      False refuses a file that is there
    icc_profile  the colour profile
    texts        what describes the page, by the names of Scan.texts

    >>> import dibkit, numpy, os, tempfile
    >>> path = os.path.join(tempfile.mkdtemp(), "page.bmp")
    >>> dibkit.write(path, numpy.full((20, 10, 3), 255, numpy.uint8), 300)
    >>> dibkit.read(path).dpi
    300
    """
    _dibkit.write(
        _system_path(path),
        numpy.asarray(image),
        dpi_pair(dpi, "dpi"),
        None if palette is None else numpy.asarray(palette),
        None if format is None else member_of(_dibkit.Format, format, "format"),
        None if compression is None else _compression(compression),
        count_of(quality, "quality", 1, 100),
        bool(replace),
        bytes(icc_profile or b""),
        _encoded(texts or {}),
    )


def formats() -> List[str]:
    """The formats that are built in, "bmp" always among them.

    >>> import dibkit
    >>> "bmp" in dibkit.formats()
    True
    """
    return [name.lower() for name in _dibkit.formats()]


def _compression(name: str) -> Any:
    return member_of(_dibkit.Compression, name, "compression")


def _encoded(texts: Mapping[str, str]) -> Dict[str, bytes]:
    for name in texts:
        if name not in _dibkit.text_names:
            raise ValueError(f"texts are {', '.join(_dibkit.text_names)}, not {name!r}")
    return {name: text.encode("utf-8", "surrogateescape") for name, text in texts.items()}
