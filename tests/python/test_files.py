# SPDX-License-Identifier: Apache-2.0
"""Files: there and back, and what they say beside their pixels."""

import os
import pickle
import warnings

import numpy
import pytest
from conftest import draw_page, need_format
from numpy.testing import assert_array_equal

import dibkit

SUFFIXES = {"bmp": ".bmp", "tiff": ".tif", "png": ".png", "jpeg": ".jpg"}


@pytest.mark.parametrize("name", ["bmp", "tiff", "png"])
def test_images_go_there_and_back(name, image, tmp_path):
    need_format(name)
    path = tmp_path / ("page" + SUFFIXES[name])
    dibkit.write(path, image, 150)
    scan = dibkit.read(path)
    assert_array_equal(scan.image, image)
    assert scan.image.dtype == image.dtype
    assert (scan.dpi, scan.format, scan.pages) == (150, name, 1)
    read_image, dpi = scan
    assert read_image is scan.image and dpi == 150


def test_jpeg_keeps_what_the_eye_sees(tmp_path):
    need_format("jpeg")
    page = numpy.full((64, 64, 3), (200, 100, 50), numpy.uint8)
    dibkit.write(tmp_path / "page.jpg", page, 300, quality=95)
    scan = dibkit.read(tmp_path / "page.jpg")
    assert scan.format == "jpeg" and scan.dpi == 300
    assert numpy.abs(scan.image.astype(int) - page).max() < 6


def test_both_axes_and_no_resolution_are_kept(tmp_path):
    page = draw_page("grey")
    for dpi in [(200, 100), None, 300]:
        dibkit.write(tmp_path / "page.bmp", page, dpi)
        assert dibkit.read(tmp_path / "page.bmp").dpi == dpi


def test_palettes_come_back_as_colours(tmp_path):
    indices, palette = dibkit.quantize(draw_page("rgb"), colors=32)
    for name in ("bmp", "tiff", "png"):
        if name in dibkit.formats():
            path = tmp_path / ("page" + SUFFIXES[name])
            dibkit.write(path, indices, 100, palette=palette)
            assert_array_equal(dibkit.read(path).image, palette[indices])


def test_grey_palettes_come_back_as_greys(tmp_path):
    indices = draw_page("grey")
    palette = numpy.repeat(numpy.arange(255, -1, -1, dtype=numpy.uint8)[:, None], 3, axis=1)
    dibkit.write(tmp_path / "page.bmp", indices, 100, palette=palette)
    assert_array_equal(dibkit.read(tmp_path / "page.bmp").image, 255 - indices)


@pytest.mark.parametrize("palette, error, text", [
    (numpy.zeros((257, 3), numpy.uint8), ValueError, "the palette has not 1 to 256 entries"),
    (numpy.zeros((0, 3), numpy.uint8), ValueError, "the palette has not 1 to 256 entries"),
    (numpy.zeros((4, 4), numpy.uint8), ValueError, "a palette is n x 3, not 4 x 4"),
    (numpy.zeros((4, 3)), TypeError, "a palette is an array of uint8, not of float64"),
])
def test_palettes_that_are_none_are_told(palette, error, text, tmp_path):
    with pytest.raises(error, match=text):
        dibkit.write(tmp_path / "page.bmp", draw_page("grey"), 100, palette=palette)
    with pytest.raises(ValueError, match="an image with a palette is H x W of uint8"):
        dibkit.write(tmp_path / "page.bmp", draw_page("rgb"), 100,
                     palette=numpy.zeros((4, 3), numpy.uint8))
    assert os.listdir(tmp_path) == []


def test_all_pages_of_a_file_are_read(command, tmp_path):
    need_format("tiff")
    names = []
    for number, kind in enumerate(["bool", "grey", "rgb"]):
        names.append(tmp_path / f"{number}.tif")
        dibkit.write(names[-1], draw_page(kind), 100 + number)
    tiffcp = next((p for p in ("/usr/bin/tiffcp",) if os.path.exists(p)), None)
    if tiffcp is None:
        pytest.skip("tiffcp is not there to make a file of several pages")
    import subprocess
    subprocess.run([tiffcp, *names, tmp_path / "book.tif"], check=True)
    for number, kind in enumerate(["bool", "grey", "rgb"]):
        scan = dibkit.read(tmp_path / "book.tif", page=number)
        assert scan.pages == 3 and scan.dpi == 100 + number
        assert_array_equal(scan.image, draw_page(kind))
    with pytest.raises(dibkit.Error) as told:
        dibkit.read(tmp_path / "book.tif", page=3)
    assert told.value.cause is dibkit.Cause.NO_SUCH_PAGE


def test_profiles_and_texts_are_kept(tmp_path):
    need_format("tiff")
    profile = bytearray(132)
    profile[16:20] = b"GRAY"
    profile[36:40] = b"acsp"
    profile[3] = 132
    texts = {"document_name": "Ledger", "artist": "B\u00e9la", "page_name": "12"}
    dibkit.write(tmp_path / "page.tif", draw_page("grey"), 300, icc_profile=bytes(profile),
                 texts=texts)
    scan = dibkit.read(tmp_path / "page.tif")
    assert scan.icc_profile == bytes(profile) and scan.texts == texts
    dibkit.write(tmp_path / "plain.tif", draw_page("grey"), 300)
    assert dibkit.read(tmp_path / "plain.tif").icc_profile is None
    with pytest.raises(ValueError, match="not 'title'"):
        dibkit.write(tmp_path / "page.tif", draw_page("grey"), 300, texts={"title": "x"})


def test_compression_and_quality_are_chosen(tmp_path):
    need_format("tiff")
    page = draw_page("bool", 500, 500)
    sizes = {}
    for compression in ("none", "g3", "G4", "lzw"):
        dibkit.write(tmp_path / "page.tif", page, 200, compression=compression)
        sizes[compression] = os.path.getsize(tmp_path / "page.tif")
        assert_array_equal(dibkit.read(tmp_path / "page.tif").image, page)
    assert len(set(sizes.values())) == 4
    dibkit.write(tmp_path / "page.tif", page, 200)
    assert os.path.getsize(tmp_path / "page.tif") == sizes["G4"]
    for arguments, text in [(dict(compression="zip"), "compression is one of none, lzw"),
                            (dict(format="gif"), "format is one of bmp, tiff, png, jpeg"),
                            (dict(quality=0), "quality is not 1 to 100")]:
        with pytest.raises(ValueError, match=text):
            dibkit.write(tmp_path / "page.tif", page, 200, **arguments)


def test_the_suffix_or_the_format_decides(tmp_path):
    page = draw_page("grey")
    dibkit.write(tmp_path / "page.dat", page, 100, format="bmp")
    assert dibkit.read(tmp_path / "page.dat").format == "bmp"
    with pytest.raises(ValueError, match="the name does not tell the format"):
        dibkit.write(tmp_path / "page.xyz", page, 100)


def test_paths_of_every_kind_are_taken(tmp_path):
    page = draw_page("bool")
    os.chdir(tmp_path)
    for path in ["str.bmp", b"bytes.bmp", tmp_path / "path.bmp", b"not utf-8 \xff.bmp",
                 "gr\u00fcn.bmp"]:
        dibkit.write(path, page, 100)
        assert os.path.exists(path)
        assert_array_equal(dibkit.read(path).image, page)
    dibkit.write("-", page, 100, format="bmp")
    assert os.path.exists("./-") and dibkit.read("-").dpi == 100
    with pytest.raises(dibkit.FileError, match="absent"):
        dibkit.read(b"absent \xff")
    with pytest.raises(TypeError):
        dibkit.read(7)


def test_an_existing_file_is_replaced_whole_or_not_at_all(tmp_path):
    path = tmp_path / "page.bmp"
    dibkit.write(path, draw_page("grey"), 100)
    before = path.read_bytes()
    with pytest.raises(dibkit.Error):
        dibkit.write(path, draw_page("rgb"), 100, compression="jpeg")
    assert path.read_bytes() == before and os.listdir(tmp_path) == ["page.bmp"]
    dibkit.write(path, draw_page("rgb"), 100)
    assert path.read_bytes() != before


def test_remarks_about_files_are_warnings(tmp_path):
    page = draw_page("grey")
    dibkit.write(tmp_path / "page.bmp", page, 100)
    file = bytearray((tmp_path / "page.bmp").read_bytes())
    file[10:14] = bytes(4)  # where the pixels begin
    (tmp_path / "page.bmp").write_bytes(file)
    with pytest.warns(dibkit.ReadWarning, match="page.bmp: ") as told:
        assert_array_equal(dibkit.read(tmp_path / "page.bmp").image, page)
    assert told[0].filename == __file__
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        dibkit.write(tmp_path / "sound.bmp", page, 100)
        dibkit.read(tmp_path / "sound.bmp")


def test_scans_go_to_other_processes(tmp_path):
    dibkit.write(tmp_path / "page.bmp", draw_page("grey"), 100)
    scan = dibkit.read(tmp_path / "page.bmp")
    again = pickle.loads(pickle.dumps(scan))
    assert_array_equal(again.image, scan.image)
    assert (again.dpi, again.format, again.texts) == (100, "bmp", {})
