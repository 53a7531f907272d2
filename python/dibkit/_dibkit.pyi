# SPDX-License-Identifier: Apache-2.0
"""The module in C++. Images are arrays already, and numbers within their ranges."""

from typing import Any, Dict, List, Optional, Tuple, Union

import numpy
import numpy.typing

Array = numpy.typing.NDArray[Any]
Bits = numpy.typing.NDArray[numpy.bool_]
Bytes = numpy.typing.NDArray[numpy.uint8]
Image = Union[Bits, Bytes]
DpiPair = Tuple[int, int]

version: str
usual_max_pixels: int
text_names: List[str]

class GreyRule:
    easy: GreyRule
    minmax: GreyRule
    luminance: GreyRule

class GreyLevels:
    few: GreyLevels
    all: GreyLevels

class Format:
    bmp: Format
    tiff: Format
    png: Format
    jpeg: Format

class Compression:
    none: Compression
    lzw: Compression
    deflate: Compression
    packbits: Compression
    g3: Compression
    g4: Compression
    jpeg: Compression

def resample(
    image: Array,
    from_dpi: DpiPair,
    dpi: int,
    threshold: Optional[int],
    grey: bool,
    raw: bool,
    max_pixels: int,
    progress: Any,
) -> Image: ...
def prepare(
    image: Array, from_dpi: DpiPair, dpi: int, max_pixels: int, progress: Any
) -> Tuple[Image, DpiPair]: ...
def quantize(
    image: Array, colors: int, raw: bool, max_pixels: int, progress: Any
) -> Tuple[Bytes, Bytes]: ...
def to_grey(
    image: Array, rule: GreyRule, levels: GreyLevels, max_pixels: int, progress: Any
) -> Bytes: ...
def read(
    path: bytes, page: int, max_pixels: int
) -> Tuple[Image, DpiPair, str, int, bytes, Dict[str, str], List[str]]: ...
def write(
    path: bytes,
    image: Array,
    dpi: DpiPair,
    palette: Optional[Array],
    format: Optional[Format],
    compression: Optional[Compression],
    quality: int,
    replace: bool,
    icc_profile: bytes,
    texts: Dict[str, bytes],
) -> None: ...
def formats() -> List[str]: ...
