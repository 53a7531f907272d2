// SPDX-License-Identifier: Apache-2.0
#include "arrays.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace dibkit::python {
namespace {

using host::PixelKind;

std::string ShapeText(const py::array& array) {
  std::string text;
  for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
    text += (axis == 0 ? "" : " x ") + std::to_string(array.shape(axis));
  }
  return array.ndim() == 0 ? "a single value" : text;
}

std::string TypeText(const py::array& array) { return py::str(array.dtype()); }

bool IsBytes(const py::array& array) {
  return array.dtype().kind() == 'u' && array.dtype().itemsize() == 1;
}

PixelKind KindOf(const py::array& image) {
  const bool isBool = image.dtype().kind() == 'b';
  if (!isBool && !IsBytes(image)) {
    throw py::type_error("an image is an array of bool or uint8, not of " + TypeText(image));
  }
  if (image.ndim() == 2) {
    return isBool ? PixelKind::kMask : PixelKind::kGrey;
  }
  if (image.ndim() != 3 || image.shape(2) != 3 || isBool) {
    throw py::value_error("an image is H x W of bool or uint8, or H x W x 3 of uint8, not " +
                          ShapeText(image) + " of " + TypeText(image));
  }
  return PixelKind::kRgb;
}

uint32_t SideOf(const py::array& image, py::ssize_t axis) {
  const py::ssize_t side = image.shape(axis);
  if (side > std::numeric_limits<int32_t>::max()) {
    throw py::value_error("a side of the image is more than 2147483647 pixels");
  }
  return static_cast<uint32_t>(side);
}

// Bytes that follow each other within a row, and rows of which none lies on another's place.
bool HasPlainRows(const py::array& image) {
  const py::ssize_t channels = image.ndim() == 3 ? image.shape(2) : 1;
  const bool isDense = image.ndim() == 2 || image.strides(2) == 1;
  return isDense && image.strides(1) == channels && image.strides(0) != 0;
}

py::array InPlainRows(const py::array& image) {
  return HasPlainRows(image) ? image : py::array::ensure(image, py::array::c_style);
}

std::span<const unsigned char> BytesOf(const py::array& dense) {
  return {static_cast<const unsigned char*>(dense.data()), static_cast<size_t>(dense.nbytes())};
}

py::array DensePalette(const py::array& palette) {
  if (!IsBytes(palette)) {
    throw py::type_error("a palette is an array of uint8, not of " + TypeText(palette));
  }
  if (palette.ndim() != 2 || palette.shape(1) != 3) {
    throw py::value_error("a palette is n x 3, not " + ShapeText(palette));
  }
  return py::array::ensure(palette, py::array::c_style);
}

py::array NewArray(const host::PageRows& rows, PixelKind kind) {
  std::vector<py::ssize_t> shape{rows.Height(), rows.Width()};
  if (kind == PixelKind::kRgb) {
    shape.push_back(3);
  }
  return py::array(kind == PixelKind::kMask ? py::dtype::of<bool>() : py::dtype::of<uint8_t>(),
                   shape);
}

py::array Copied(const host::PageRows& rows, PixelKind kind, Work& work) {
  py::array array = NewArray(rows, kind);
  auto* top = static_cast<unsigned char*>(array.mutable_data());
  work.Run([&] { host::CopyPixels(rows, kind, top, 0); });
  return array;
}

// The array owns what it looks at.
py::array Taken(host::Page page, Work& work) {
  auto pixels = work.Run([&] { return std::make_unique<host::TakenPixels>(std::move(page)); });
  const std::vector<py::ssize_t> shape{pixels->Height(), pixels->Width(), 3};
  const unsigned char* top = pixels->Top();
  const py::capsule owner(pixels.get(),
                          [](void* held) { delete static_cast<host::TakenPixels*>(held); });
  static_cast<void>(pixels.release());
  return py::array(py::dtype::of<uint8_t>(), shape, top, owner);
}

}  // namespace

host::Resolution ResolutionOf(const DpiPair& dpi) {
  if (dpi.first == 0) {
    return {};
  }
  return {host::ResolutionUnit::kInch, {dpi.first, 1}, {dpi.second, 1}};
}

host::Page PageOf(const py::array& image, const DpiPair& dpi, uint64_t maxPixels, Work& work,
                  const std::optional<py::array>& palette) {
  host::Pixels pixels;
  pixels.kind = KindOf(image);
  const py::array rows = InPlainRows(image);
  pixels.width = SideOf(rows, 1);
  pixels.height = SideOf(rows, 0);
  pixels.top = static_cast<const unsigned char*>(rows.data());
  pixels.step = rows.strides(0);
  py::array entries;
  if (palette) {
    if (pixels.kind != PixelKind::kGrey) {
      throw py::value_error("an image with a palette is H x W of uint8, not " + ShapeText(image) +
                            " of " + TypeText(image));
    }
    pixels.kind = PixelKind::kIndexed;
    entries = DensePalette(*palette);
    pixels.palette = BytesOf(entries);
  }
  return work.Run([&] { return host::PageOfPixels(pixels, ResolutionOf(dpi), maxPixels); });
}

py::array ArrayOf(host::Page page, Work& work) {
  if (page.BitCount() == 24) {
    return Taken(std::move(page), work);
  }
  const host::PageRows rows = work.Run([&] { return page.Rows(); });
  return Copied(rows, host::PlainKind(rows), work);
}

std::pair<py::array, py::array> IndicesAndPaletteOf(const host::Page& page, Work& work) {
  constexpr size_t kEntryBytes = 4;  // blue, green, red, 0
  const host::PageRows rows = work.Run([&] { return page.Rows(); });
  py::array indices = Copied(rows, PixelKind::kIndexed, work);
  const size_t last = work.Run([bytes = BytesOf(indices)] {
    unsigned char most = 0;
    for (const unsigned char index : bytes) {
      most = std::max(most, index);
    }
    return most;
  });
  py::array_t<uint8_t> palette({static_cast<py::ssize_t>(last + 1), py::ssize_t{3}});
  for (size_t entry = 0; entry <= last; ++entry) {
    for (size_t channel = 0; channel < 3; ++channel) {
      palette.mutable_at(entry, channel) = rows.Table()[kEntryBytes * entry + 2 - channel];
    }
  }
  return {std::move(indices), std::move(palette)};
}

}  // namespace dibkit::python
