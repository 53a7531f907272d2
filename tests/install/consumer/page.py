# SPDX-License-Identifier: Apache-2.0
"""A program over the Python package."""

import os

import dibkit
import numpy

page = dibkit.resample(numpy.array([[0, 255]], numpy.uint8), from_dpi=100, dpi=200)
place = os.path.dirname(dibkit.__file__)
print(f"{dibkit.__version__}: {page.shape[1]} x {page.shape[0]} at 200 dpi, from {place}")
