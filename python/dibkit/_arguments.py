# SPDX-License-Identifier: Apache-2.0
"""What callers may give, as what the module in C++ takes."""

from __future__ import annotations

import numbers
from typing import Any, Optional, Tuple, Union

from . import _dibkit

# Dots per inch: of both axes, of each of them, or none.
Dpi = Union[float, Tuple[float, float]]

_MOST_DPI = 65535


def _whole(dpi: Any, name: str) -> int:
    if not isinstance(dpi, numbers.Real):
        raise TypeError(f"{name} is a number of dots per inch, not {type(dpi).__name__}")
    number = float(dpi)
    if not 1 <= number < _MOST_DPI + 0.5:
        raise ValueError(f"{name} is not 1 to {_MOST_DPI} dots per inch")
    return round(number)


def dpi_of(dpi: Any, name: str) -> int:
    """Whole dots per inch."""
    return _whole(dpi, name)


def dpi_pair(dpi: Optional[Dpi], name: str) -> Tuple[int, int]:
    """Whole dots per inch of both axes; 0 for none."""
    if dpi is None:
        return 0, 0
    if isinstance(dpi, (tuple, list)):
        if len(dpi) != 2:
            raise ValueError(f"{name} is one number or two, not {len(dpi)}")
        return _whole(dpi[0], name), _whole(dpi[1], name)
    both = _whole(dpi, name)
    return both, both


def dpi_from(pair: Tuple[int, int]) -> Optional[Dpi]:
    """One number where both axes have the same, None for none."""
    x, y = pair
    return (x if x == y else pair) or None


def count_of(value: Any, name: str, least: int, most: int) -> int:
    """A whole number within its range."""
    if not isinstance(value, numbers.Integral):
        raise TypeError(f"{name} is a whole number, not {type(value).__name__}")
    number = int(value)
    if not least <= number <= most:
        raise ValueError(f"{name} is not {least} to {most}")
    return number


def max_pixels_of(value: Optional[int]) -> int:
    """The limit, or the usual one."""
    if value is None:
        return _dibkit.usual_max_pixels
    return count_of(value, "max_pixels", 1, 1 << 62)


def member_of(choices: Any, value: Any, name: str) -> Any:
    """The member of an enumeration of the C++ module that has this name."""
    members = choices.__members__
    found = members.get(value.lower()) if isinstance(value, str) else None
    if found is None:
        raise ValueError(f"{name} is one of {', '.join(members)}, not {value!r}")
    return found
