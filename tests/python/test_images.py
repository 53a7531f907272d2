# SPDX-License-Identifier: Apache-2.0
"""Conversions of arrays, whatever form they have."""

import inspect

import numpy
import pytest
from conftest import draw_page
from numpy.testing import assert_array_equal

import dibkit

CONVERSIONS = [
    lambda image: dibkit.resample(image, 150, 200),
    lambda image: dibkit.prepare(image, 150)[0],
    lambda image: dibkit.quantize(image)[0],
    lambda image: dibkit.to_grey(image),
]


def test_resampling_keeps_the_kind_of_an_image(image):
    result = dibkit.resample(image, 150, 300)
    assert result.dtype == image.dtype
    assert result.shape == (2 * image.shape[0], 2 * image.shape[1], *image.shape[2:])


def test_white_stays_white(image):
    white = numpy.full_like(image, True if image.dtype == bool else 255)
    assert dibkit.resample(white, 100, 250).all()
    black = numpy.zeros_like(image)
    assert not dibkit.resample(black, 250, 100).any()


def test_the_top_row_is_the_first():
    page = numpy.full((40, 30), 255, numpy.uint8)
    page[:10] = 0
    result = dibkit.resample(page, 100, 200)
    assert not result[:18].any() and (result[22:] == 255).all()


def test_channels_are_red_green_blue():
    page = numpy.zeros((8, 8, 3), numpy.uint8)
    page[..., 0] = 200
    assert_array_equal(dibkit.resample(page, 100, 200)[4, 4], [200, 0, 0])


@pytest.mark.parametrize("conversion", CONVERSIONS)
def test_any_layout_gives_the_same(image, conversion):
    wanted = conversion(image)
    wide = numpy.repeat(numpy.repeat(image, 2, axis=0), 3, axis=1)
    views = {
        "every other row and third column": wide[::2, ::3],
        "every other row": numpy.repeat(image, 2, axis=0)[::2],
        "a window": numpy.pad(image, [(3, 4), (5, 6)] + [(0, 0)] * (image.ndim - 2))[3:-4, 5:-6],
        "bottom row first": image[::-1].copy()[::-1],
        "mirrored": image[:, ::-1].copy()[:, ::-1],
        "column by column": numpy.asfortranarray(image),
        "channels turned": image[..., ::-1].copy()[..., ::-1],
    }
    for name, view in views.items():
        assert_array_equal(view, image)
        assert_array_equal(conversion(view), wanted, name)


def test_one_row_that_stands_for_all_is_taken():
    row = numpy.arange(50, dtype=numpy.uint8)
    page = numpy.broadcast_to(row, (30, 50))
    assert_array_equal(dibkit.resample(page, 100, 200), dibkit.resample(page.copy(), 100, 200))


def test_sides_of_one_pixel_are_taken():
    for shape in [(1, 1), (1, 9), (9, 1)]:
        assert dibkit.resample(numpy.ones(shape, bool), 100, 200).all()


def test_an_image_is_left_alone(image):
    image.flags.writeable = False
    before = image.copy()
    for conversion in CONVERSIONS:
        result = conversion(image)
        assert result.flags.writeable
        assert not numpy.shares_memory(result, image)
    assert_array_equal(image, before)


def test_bools_that_are_no_plain_ones_are_true():
    odd = numpy.array([[0, 1, 2, 255, 128, 0, 16, 64, 7]], numpy.uint8)
    assert_array_equal(dibkit.resample(odd.view(bool), 100, 200),
                       dibkit.resample(odd != 0, 100, 200))


@pytest.mark.parametrize("width", range(1, 34))
def test_every_width_of_bits_goes_through_a_file(width, tmp_path):
    page = draw_page("bool", 5, width)
    dibkit.write(tmp_path / "page.bmp", page, 100)
    assert_array_equal(dibkit.read(tmp_path / "page.bmp").image, page)


def test_lists_and_other_holders_of_images_are_taken():
    class Holder:
        def __array__(self, dtype=None):
            return numpy.full((4, 4), 9, numpy.uint8)

    assert (dibkit.resample(Holder(), 100, 200) == 9).all()


def test_a_threshold_makes_strokes_thicker_or_thinner():
    page = draw_page("bool")
    black = [(~dibkit.resample(page, 200, 300, threshold=t)).sum() for t in (40, 128, 220)]
    assert black == sorted(black, reverse=True) and black[0] > black[2]


def test_grey_is_made_of_anything(image):
    result = dibkit.resample(image, 100, 200, grey=True)
    assert result.dtype == numpy.uint8 and result.ndim == 2


def test_both_axes_may_have_a_resolution_of_their_own():
    page = draw_page("grey")
    assert dibkit.resample(page, (100, 200), 200).shape == (97, 150)
    assert_array_equal(dibkit.resample(page, (150, 150), 200), dibkit.resample(page, 150, 200))


def test_resolutions_are_rounded_to_whole_ones():
    page = draw_page("grey")
    wanted = dibkit.resample(page, 300, 200)
    for dpi in (299.9994, numpy.float64(300), numpy.int32(300)):
        assert_array_equal(dibkit.resample(page, dpi, 200), wanted)


def test_quantizing_gives_indices_and_their_palette():
    page = draw_page("rgb")
    indices, palette = dibkit.quantize(page, colors=20)
    assert indices.shape == page.shape[:2] and indices.dtype == numpy.uint8
    assert palette.dtype == numpy.uint8 and palette.shape[1] == 3
    assert len(palette) <= 20 and indices.max() == len(palette) - 1
    error = numpy.abs(palette[indices].astype(int) - page).mean()
    assert error < 30


def test_palettes_are_in_red_green_blue():
    page = numpy.zeros((6, 6, 3), numpy.uint8)
    page[..., 0], page[:3, :, 2] = 255, 255
    indices, palette = dibkit.quantize(page, raw=True)
    assert numpy.abs(palette[indices].astype(int) - page).max() < 8


def test_preparing_brings_small_pages_up():
    page = draw_page("grey")
    image, dpi = dibkit.prepare(page, 75)
    assert image.shape == (4 * 97, 4 * 75) and dpi == 300


@pytest.mark.parametrize("wrong, error, text", [
    (numpy.zeros((4, 4), float), TypeError, "bool or uint8, not of float64"),
    (numpy.zeros((4, 4), numpy.int8), TypeError, "bool or uint8, not of int8"),
    (numpy.zeros((4, 4), ">u2"), TypeError, "not of >u2"),
    ([[1, 2], [3, 4]], TypeError, "not of int64"),
    (None, TypeError, "not of object"),
    ("page.tif", TypeError, "bool or uint8"),
    (numpy.zeros(4, bool), ValueError, "not 4 of bool"),
    (numpy.uint8(4), ValueError, "not a single value of uint8"),
    (numpy.zeros((4, 5, 4), numpy.uint8), ValueError, "not 4 x 5 x 4 of uint8"),
    (numpy.zeros((4, 5, 3), bool), ValueError, "not 4 x 5 x 3 of bool"),
    (numpy.zeros((2, 4, 5, 3), numpy.uint8), ValueError, "2 x 4 x 5 x 3"),
    (numpy.zeros((0, 4), numpy.uint8), ValueError, "the image has no pixels"),
    (numpy.zeros((4, 0, 3), numpy.uint8), ValueError, "the image has no pixels"),
])
def test_what_is_no_image_is_told_in_one_line(wrong, error, text):
    for conversion in CONVERSIONS:
        with pytest.raises(error) as told:
            conversion(wrong)
        assert text in str(told.value) and "\n" not in str(told.value)


@pytest.mark.parametrize("arguments, error, text", [
    (dict(dpi=0), ValueError, "dpi is not 1 to 65535 dots per inch"),
    (dict(dpi=65536), ValueError, "dpi is not 1 to 65535 dots per inch"),
    (dict(dpi=float("nan")), ValueError, "dpi is not 1 to 65535 dots per inch"),
    (dict(dpi="300"), TypeError, "dpi is a number of dots per inch, not str"),
    (dict(from_dpi=-1), ValueError, "from_dpi is not 1 to 65535 dots per inch"),
    (dict(from_dpi=(1, 2, 3)), ValueError, "from_dpi is one number or two, not 3"),
    (dict(threshold=257), ValueError, "threshold is not 0 to 256"),
    (dict(threshold=0.5), TypeError, "threshold is a whole number, not float"),
    (dict(max_pixels=0), ValueError, "max_pixels is not 1 to"),
])
def test_arguments_out_of_range_are_told_in_one_line(arguments, error, text):
    with pytest.raises(error) as told:
        dibkit.resample(draw_page("grey"), **{"from_dpi": 100, "dpi": 200, **arguments})
    assert str(told.value).startswith(text)


def test_other_arguments_out_of_range_are_told_too():
    page = draw_page("rgb")
    for call, text in [
        (lambda: dibkit.quantize(page, colors=0), "colors is not 1 to 256"),
        (lambda: dibkit.to_grey(page, rule="red"), "rule is one of easy, minmax, luminance"),
        (lambda: dibkit.to_grey(page, levels=17), "levels is not 16 or 256"),
    ]:
        with pytest.raises(ValueError, match=text):
            call()


def test_functions_tell_their_arguments_and_have_examples():
    assert list(inspect.signature(dibkit.resample).parameters)[:7] == [
        "image", "from_dpi", "dpi", "threshold", "grey", "raw", "progress"]
    for name in ("resample", "prepare", "quantize", "to_grey", "read", "write"):
        assert ">>> " in getattr(dibkit, name).__doc__
