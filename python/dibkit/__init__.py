# SPDX-License-Identifier: Apache-2.0
"""Scanned pages as numpy arrays: at another resolution, in fewer colours, in grey, ready for text
recognition; and their files, TIFF, PNG, JPEG and BMP.

An image is an array whose first row is the top of the page:

    bool  H x W      black and white; True is white, as paper is
    uint8 H x W      grey, from 0, black, to 255, white
    uint8 H x W x 3  red, green, blue

Any such array is taken as it lies: slices, views turned upside down, arrays that are read-only.
Nothing is changed in place. Results are the same bytes as the command `dibkit` makes of the same
page, on every machine.

    >>> import dibkit, numpy
    >>> page = numpy.full((100, 80), 255, numpy.uint8)   # 100 rows of 80 pixels at 150 dots per inch
    >>> dibkit.resample(page, 150, 300).shape
    (200, 160)

Functions release the interpreter's lock while they work, so that threads run side by side, and
Ctrl-C stops them. They raise TypeError and ValueError for arguments that are none, and Error for
all else.
"""

from ._dibkit import version as __version__
from ._errors import Cause, Error, FileError, ReadWarning
from ._files import Scan, formats, read, write
from ._images import Image, Progress, prepare, quantize, resample, to_grey

__all__ = [
    "Cause",
    "Error",
    "FileError",
    "Image",
    "Progress",
    "ReadWarning",
    "Scan",
    "__version__",
    "formats",
    "prepare",
    "quantize",
    "read",
    "resample",
    "to_grey",
    "write",
]

# Where users find them, in tracebacks and in help.
for _public in (Cause, Error, FileError, ReadWarning, Scan, formats, prepare, quantize, read,
                resample, to_grey, write):
    _public.__module__ = __name__
del _public
