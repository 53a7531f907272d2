# SPDX-License-Identifier: Apache-2.0
"""The same bytes as the command."""

import numpy
import pytest
from conftest import need_format
from numpy.testing import assert_array_equal

import dibkit

CASES = [
    (["resample", "--dpi", "200"], lambda image, dpi: dibkit.resample(image, dpi, 200)),
    (["resample", "--dpi", "75"], lambda image, dpi: dibkit.resample(image, dpi, 75)),
    (["resample", "--dpi", "300", "--threshold", "90"],
     lambda image, dpi: dibkit.resample(image, dpi, 300, threshold=90)),
    (["resample", "--dpi", "300", "--grey"],
     lambda image, dpi: dibkit.resample(image, dpi, 300, grey=True)),
    (["resample", "--dpi", "100", "--raw"],
     lambda image, dpi: dibkit.resample(image, dpi, 100, raw=True)),
    (["prepare", "--dpi", "300"], lambda image, dpi: dibkit.prepare(image, dpi, 300)[0]),
    (["grey"], lambda image, dpi: dibkit.to_grey(image)),
    (["grey", "--rule", "minmax", "--levels", "16"],
     lambda image, dpi: dibkit.to_grey(image, rule="minmax", levels=16)),
]


def file_of(path):
    """Its bytes; a bitmap's header may count the entries of a full palette, or leave them at 0."""
    file = bytearray(path.read_bytes())
    if path.suffix == ".bmp":
        file[46:54] = bytes(8)
    return file


@pytest.mark.parametrize("words, convert", CASES, ids=lambda case: "-".join(case) if
                         isinstance(case, list) else "")
@pytest.mark.parametrize("name", ["bmp", "tif", "png"])
def test_conversions_give_the_same_files(name, words, convert, image, command, tmp_path):
    need_format("tiff" if name == "tif" else name)
    source = tmp_path / f"in.{name}"
    dibkit.write(source, image, 150)
    by_command = tmp_path / f"command.{name}"
    command(*words, "-o", by_command, source)
    scan = dibkit.read(source)
    by_python = tmp_path / f"python.{name}"
    result = convert(scan.image, scan.dpi)
    dibkit.write(by_python, result, dibkit.read(by_command).dpi)
    assert_array_equal(result, dibkit.read(by_command).image)
    assert file_of(by_python) == file_of(by_command)


@pytest.mark.parametrize("colors", [256, 7])
@pytest.mark.parametrize("words, raw", [([], False), (["--raw"], True)])
def test_quantizing_gives_the_same_file(colors, words, raw, image, command, tmp_path):
    dibkit.write(tmp_path / "in.bmp", image, 150)
    command("quantize", "--colors", colors, *words, "-o", tmp_path / "command.bmp",
            tmp_path / "in.bmp")
    indices, palette = dibkit.quantize(image, colors, raw)
    dibkit.write(tmp_path / "python.bmp", indices, 150, palette=palette)
    assert file_of(tmp_path / "python.bmp") == file_of(tmp_path / "command.bmp")


def test_the_words_of_failures_are_the_same(command, tmp_path):
    import subprocess
    (tmp_path / "text.tif").write_bytes(b"nothing that is an image")
    told = subprocess.run([command.tool, "normalize", "-o", tmp_path / "out.bmp",
                           tmp_path / "text.tif"], capture_output=True, text=True)
    with pytest.raises(dibkit.Error) as error:
        dibkit.read(tmp_path / "text.tif")
    assert told.stderr == f"dibkit: {error.value}\n"


def test_resolutions_of_files_are_those_that_the_command_takes(command, tmp_path):
    page = numpy.full((60, 40), 200, numpy.uint8)
    dibkit.write(tmp_path / "in.bmp", page, (200, 100))
    command("resample", "--dpi", 150, "-o", tmp_path / "out.bmp", tmp_path / "in.bmp")
    scan = dibkit.read(tmp_path / "in.bmp")
    wanted = dibkit.read(tmp_path / "out.bmp").image
    assert_array_equal(dibkit.resample(scan.image, scan.dpi, 150), wanted)
