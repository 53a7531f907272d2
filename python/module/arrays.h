// SPDX-License-Identifier: Apache-2.0
//
// numpy arrays as pages, and pages as numpy arrays.
#ifndef DIBKIT_PYTHON_ARRAYS_H
#define DIBKIT_PYTHON_ARRAYS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <optional>
#include <utility>

#include "dibkit/host/page.h"
#include "dibkit/host/pixels.h"
#include "work.h"

namespace dibkit::python {

namespace py = pybind11;

// Dots per inch of both axes; 0 for none.
using DpiPair = std::pair<unsigned, unsigned>;

host::Resolution ResolutionOf(const DpiPair& dpi);

// A copy of the array's pixels: bool H x W (true is white) as 1 bit, uint8 H x W as grey, uint8 H x
// W x 3 as red, green, blue; with a palette, uint8 n x 3, uint8 H x W is its indices. Rows may lie
// anyhow. Raises TypeError for another dtype, ValueError for another shape.
host::Page PageOf(const py::array& image, const DpiPair& dpi, uint64_t maxPixels, Work& work,
                  const std::optional<py::array>& palette = std::nullopt);

// The page's pixels in the plainest of these kinds; those of 24 bits stay where they are.
py::array ArrayOf(host::Page page, Work& work);

// Of a page with a palette: uint8 H x W, and uint8 n x 3, which ends with the last entry that is
// used.
std::pair<py::array, py::array> IndicesAndPaletteOf(const host::Page& page, Work& work);

}  // namespace dibkit::python

#endif  // DIBKIT_PYTHON_ARRAYS_H
