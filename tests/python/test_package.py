# SPDX-License-Identifier: Apache-2.0
"""The package: its examples and its types."""

import doctest
import os
import subprocess
import sys

import pytest

import dibkit

USE = """
import numpy
import numpy.typing
import dibkit

scan = dibkit.read("page.tif", page=1)
image, dpi = scan
small: dibkit.Image = dibkit.resample(image, dpi, 100, progress=print)
indices, palette = dibkit.quantize(small, colors=16)
prepared, dpi = dibkit.prepare(small, (100, 200))
greys: numpy.typing.NDArray[numpy.uint8] = dibkit.to_grey(prepared)
dibkit.write(b"out.png", indices, 100, palette=palette, texts=scan.texts)
count: int = scan.pages
"""


def test_the_examples_of_the_documentation_are_true():
    assert doctest.testmod(dibkit).attempted > 20
    assert doctest.testmod(dibkit).failed == 0


def test_the_version_is_the_librarys():
    assert dibkit.__version__.count(".") == 2


def mypy(*words):
    run = subprocess.run([sys.executable, "-m", "mypy", "--strict", *words], capture_output=True,
                         text=True)
    if "No module named mypy" in run.stderr:
        pytest.skip("mypy is not there")
    return run


def test_the_types_are_sound(tmp_path):
    package = os.path.dirname(dibkit.__file__)
    run = mypy("--cache-dir", tmp_path, package)
    assert run.returncode == 0, run.stdout


def test_users_have_the_types(tmp_path):
    (tmp_path / "use.py").write_text(USE)
    (tmp_path / "misuse.py").write_text("import dibkit\ndibkit.resample('page.tif', 300)\n")
    assert mypy("--cache-dir", tmp_path, tmp_path / "use.py").returncode == 0
    assert mypy("--cache-dir", tmp_path, tmp_path / "misuse.py").returncode == 1
