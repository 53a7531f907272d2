# SPDX-License-Identifier: Apache-2.0
"""Images to test with, and the command."""

import os
import subprocess

import numpy
import pytest

import dibkit


def draw_page(kind, height=97, width=75):
    """A page with edges, slopes and noise; always the same."""
    random = numpy.random.RandomState(7)
    rows, columns = numpy.mgrid[0:height, 0:width]
    grey = (rows * 3 + columns * 2) % 256
    grey[10:30, 15:40] = 0
    grey[40:60] = random.randint(0, 256, (256, width))[:len(grey[40:60])]
    grey = grey.astype(numpy.uint8)
    if kind == "bool":
        return grey >= 128
    if kind == "grey":
        return grey
    return numpy.dstack([grey, 255 - grey, grey // 2 + 60]).astype(numpy.uint8)


@pytest.fixture(params=["bool", "grey", "rgb"])
def image(request):
    return draw_page(request.param)


@pytest.fixture
def command():
    """Runs the command, where the build has it."""
    tool = os.environ.get("DIBKIT_TOOL", "")
    if not tool:
        pytest.skip("the command dibkit is not built")

    def run(*words):
        return subprocess.run([tool, *map(str, words)], check=True, capture_output=True, text=True)

    run.tool = tool
    return run


def need_format(name):
    if name not in dibkit.formats():
        pytest.skip(f"{name} files are not built in")
