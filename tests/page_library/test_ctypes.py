#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The page library by its name alone, as any language loads it: test_ctypes.py LIBRARY"""

import ctypes
import sys
import threading
import unittest
from ctypes import byref

LIBRARY = ctypes.CDLL(sys.argv.pop())

OK, NOT_AN_IMAGE, NO_RESOLUTION, CANCELLED = 0, 2, 8, 14
BMP = 1
GREY = 3

PROGRESS = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_uint)
WRITE = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t)


class Sized(ctypes.Structure):
    """A struct that says its size."""

    def __init__(self, **fields):
        super().__init__(**fields)
        self.size = ctypes.sizeof(self)


class Error(Sized):
    _fields_ = [
        ("size", ctypes.c_size_t),
        ("status", ctypes.c_int32),
        ("system_error", ctypes.c_int32),
        ("message", ctypes.c_char * 496),
    ]


class Pixels(Sized):
    _fields_ = [
        ("size", ctypes.c_size_t),
        ("kind", ctypes.c_uint32),
        ("width", ctypes.c_uint32),
        ("height", ctypes.c_uint32),
        ("palette_entries", ctypes.c_uint32),
        ("top", ctypes.c_char_p),
        ("stride", ctypes.c_ssize_t),
        ("palette", ctypes.c_void_p),
    ]


class ResampleOptions(Sized):
    _fields_ = [("size", ctypes.c_size_t), ("dpi", ctypes.c_uint32)]  # as an earlier header had it


class SaveOptions(Sized):
    _fields_ = [("size", ctypes.c_size_t), ("format", ctypes.c_uint32)]


class Info(Sized):
    _fields_ = [("size", ctypes.c_size_t)] + [
        (name, ctypes.c_uint32)
        for name in ("width", "height", "bit_count", "dpi_x", "dpi_y", "plain_kind")
    ]


def grey_page(width, height, dpi):
    page = ctypes.c_void_p()
    pixels = Pixels(kind=GREY, width=width, height=height, top=bytes(range(256)) * (width * height))
    assert LIBRARY.dibkit_page_from_pixels(byref(pixels), dpi, byref(page), None) == OK
    return page


def info_of(page):
    info = Info()
    assert LIBRARY.dibkit_page_get_info(page, byref(info), None) == OK
    return info


class PageLibrary(unittest.TestCase):
    def test_it_brings_everything_along(self):
        LIBRARY.dibkit_version.restype = ctypes.c_char_p
        self.assertRegex(LIBRARY.dibkit_version().decode(), r"^\d+\.\d+\.\d+$")

    def test_a_page_goes_through(self):
        page = grey_page(20, 10, 100)
        options = ResampleOptions(dpi=200)
        status = LIBRARY.dibkit_page_resample(page, byref(options), None, None, None)
        self.assertEqual(status, OK)
        info = info_of(page)
        self.assertEqual((info.width, info.height, info.dpi_x), (40, 20, 200))
        LIBRARY.dibkit_page_free(page)

    def test_errors_have_a_code_and_a_text(self):
        page = ctypes.c_void_p(1)
        error = Error()
        status = LIBRARY.dibkit_page_open_bytes(b"nothing", 7, None, byref(page), byref(error))
        self.assertEqual((status, error.status), (NOT_AN_IMAGE, NOT_AN_IMAGE))
        self.assertEqual(error.message, b"not a BMP, TIFF, PNG or JPEG file")
        self.assertIsNone(page.value)

    def test_a_file_is_made_in_memory_and_read_again(self):
        page = grey_page(20, 10, 100)
        file = bytearray()

        @WRITE
        def write(_, data, count):
            file.extend(ctypes.string_at(data, count))
            return 0

        options = SaveOptions(format=BMP)
        self.assertEqual(LIBRARY.dibkit_page_write(page, write, None, byref(options), None), OK)
        self.assertEqual(file[:2], b"BM")
        again = ctypes.c_void_p()
        status = LIBRARY.dibkit_page_open_bytes(bytes(file), len(file), None, byref(again), None)
        self.assertEqual(status, OK)
        self.assertEqual(info_of(again).width, 20)
        LIBRARY.dibkit_page_free(again)
        LIBRARY.dibkit_page_free(page)

    def test_progress_counts_up_and_stops(self):
        page = grey_page(200, 100, 100)
        seen = []

        @PROGRESS
        def progress(_, percent):
            seen.append(percent)
            return percent >= 50

        status = LIBRARY.dibkit_page_resample(page, None, progress, None, None)
        self.assertEqual(status, CANCELLED)
        self.assertEqual(seen, sorted(seen))
        self.assertEqual(info_of(page).width, 200)
        LIBRARY.dibkit_page_free(page)

    def test_threads_have_errors_of_their_own(self):
        told = {}

        def work(name, call, wanted):
            error = Error()
            for _ in range(200):
                self.assertEqual(call(byref(error)), wanted)
                told.setdefault(name, set()).add(error.message)

        def no_resolution(error):
            page = grey_page(4, 4, 0)
            status = LIBRARY.dibkit_page_resample(page, None, None, None, error)
            LIBRARY.dibkit_page_free(page)
            return status

        def no_image(error):
            page = ctypes.c_void_p()
            return LIBRARY.dibkit_page_open_bytes(b"nothing", 7, None, byref(page), error)

        threads = [
            threading.Thread(target=work, args=("resolution", no_resolution, NO_RESOLUTION)),
            threading.Thread(target=work, args=("image", no_image, NOT_AN_IMAGE)),
        ]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual([len(texts) for texts in told.values()], [1, 1])


if __name__ == "__main__":
    unittest.main()
