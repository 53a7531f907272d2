// SPDX-License-Identifier: Apache-2.0
#include "convert.h"

#include <pybind11/stl.h>

#include <optional>
#include <utility>

#include "arrays.h"
#include "work.h"

namespace dibkit::python {
namespace {

using host::Page;

py::array Resample(const py::array& image, const DpiPair& fromDpi, unsigned dpi,
                   std::optional<int> threshold, bool grey, bool raw, uint64_t maxPixels,
                   py::object progress) {
  Work work("", std::move(progress));
  Page page = PageOf(image, fromDpi, maxPixels, work);
  host::ResampleOptions options;
  options.dpi = dpi;
  if (threshold) {
    options.threshold = *threshold;
  }
  options.grey = grey;
  options.raw = raw;
  options.maxPixels = maxPixels;
  work.Run([&] { page.Resample(options, work.Progress()); });
  return ArrayOf(std::move(page), work);
}

std::pair<py::array, DpiPair> Prepare(const py::array& image, const DpiPair& fromDpi, unsigned dpi,
                                      uint64_t maxPixels, py::object progress) {
  Work work("", std::move(progress));
  Page page = PageOf(image, fromDpi, maxPixels, work);
  host::PrepareOptions options;
  options.dpi = dpi;
  options.maxPixels = maxPixels;
  work.Run([&] { page.Prepare(options, work.Progress()); });
  const DpiPair dpiLeft{page.DpiX(), page.DpiY()};
  return {ArrayOf(std::move(page), work), dpiLeft};
}

std::pair<py::array, py::array> Quantize(const py::array& image, unsigned colors, bool raw,
                                         uint64_t maxPixels, py::object progress) {
  Work work("", std::move(progress));
  Page page = PageOf(image, {}, maxPixels, work);
  host::QuantizeOptions options;
  options.colors = colors;
  options.raw = raw;
  work.Run([&] { page.Quantize(options, work.Progress()); });
  return IndicesAndPaletteOf(page, work);
}

py::array ToGrey(const py::array& image, host::GreyRule rule, host::GreyLevels levels,
                 uint64_t maxPixels, py::object progress) {
  Work work("", std::move(progress));
  Page page = PageOf(image, {}, maxPixels, work);
  work.Run([&] { page.ToGrey({rule, levels}, work.Progress()); });
  return ArrayOf(std::move(page), work);
}

}  // namespace

void DefineConversions(py::module_& module) {
  py::enum_<host::GreyRule>(module, "GreyRule")
      .value("easy", host::GreyRule::kEasy)
      .value("minmax", host::GreyRule::kMinMax)
      .value("luminance", host::GreyRule::kLuminance);
  py::enum_<host::GreyLevels>(module, "GreyLevels")
      .value("few", host::GreyLevels::k16)
      .value("all", host::GreyLevels::k256);
  module.def("resample", Resample);
  module.def("prepare", Prepare);
  module.def("quantize", Quantize);
  module.def("to_grey", ToGrey);
}

}  // namespace dibkit::python
