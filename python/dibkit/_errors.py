# SPDX-License-Identifier: Apache-2.0
"""What the functions raise."""

from __future__ import annotations

import enum
from typing import Any


class Cause(enum.Enum):
    """Why something failed."""

    FILE = "a system call failed"
    NOT_AN_IMAGE = "of no format that is built in"
    DAMAGED = "the file is not sound"
    NO_SUCH_PAGE = "a page number beyond the last"
    UNSUPPORTED = "sound, but of a kind that is not read"
    TOO_MANY_PIXELS = "more than the caller allows"
    TOO_LARGE = "more than a block or the conversion can take"
    NO_RESOLUTION = "none, or none that can be believed"
    NOT_HELD = "the format to write has no place for the image"
    NO_IMAGE = "the page holds no sound image"
    NOT_PLAIN = "the page was opened raw"
    NO_MEMORY = "there is not enough memory"


class Error(Exception):
    """A page that cannot be read, converted or written; the text is the command's.

    >>> import dibkit, numpy
    >>> try:
    ...     dibkit.resample(numpy.zeros((9, 9), bool), None, 300)
    ... except dibkit.Error as error:
    ...     print(error.cause.name)
    NO_RESOLUTION
    """

    cause: Cause

    def __init__(self, message: str, cause: Cause) -> None:
        super().__init__(message)
        self.cause = cause

    def __str__(self) -> str:
        return str(self.args[0])

    # By default it would be made anew of its text alone, in another process.
    def __reduce__(self) -> Any:
        return type(self), (str(self), self.cause)


class FileError(Error, OSError):
    """The system says no: `errno` is its number, `filename` the file.

    >>> import dibkit
    >>> try:
    ...     dibkit.read("absent.tif")
    ... except OSError as error:
    ...     print(error)
    absent.tif: cannot open: No such file or directory
    """

    def __init__(self, message: str, cause: Cause, errno: int, filename: str) -> None:
        super().__init__(message, cause)
        self.errno = errno
        self.filename = filename

    def __reduce__(self) -> Any:
        return type(self), (str(self), self.cause, self.errno, self.filename)


class ReadWarning(UserWarning):
    """A remark about a file that is read all the same."""
