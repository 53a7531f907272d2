// SPDX-License-Identifier: Apache-2.0
//
// dibkit resample: pages at another resolution.
#include <memory>

#include "batch/usage_error.h"
#include "command_line/numbers.h"
#include "convert/conversion_subcommand.h"
#include "convert/resampling.h"

namespace dibkit::tool {
namespace {

constexpr unsigned kMostDpi = 65535;
constexpr unsigned kMostThreshold = 256;

OptionGroup ResampleGroup(host::ResampleOptions& options) {
  return {
      "Resolution",
      {Counted("--dpi", "Dots per inch of the result, 1 to 65535. Must be given.", 1, kMostDpi,
               options.dpi),
       Counted("--from-dpi",
               "Dots per inch of the input, whatever it says. By default what it says; one that "
               "says nothing, or what cannot be, fails.",
               1, kMostDpi, options.fromDpi),
       Counted("--threshold",
               "Pages of 1 bit: the darkness, 0 to 256, from which on a pixel is black. The "
               "default 128 is half way.",
               0, kMostThreshold, options.threshold)}};
}

Conversion Resampling(host::ResampleOptions own, uint64_t maxPixels) {
  if (own.dpi == 0) {
    throw UsageError("resample wants --dpi N, the resolution of the result");
  }
  own.maxPixels = maxPixels;
  return {[own](const host::PageDescription& page) { return PlanResampling(page, own); },
          [own](host::Page& page, const host::ProgressHook& progress) {
            page.Resample(own, progress);
          }};
}

}  // namespace

Subcommand MakeResample(const CommonOptions& common) {
  auto own = std::make_shared<host::ResampleOptions>();
  own->dpi = 0;  // not given
  return MakeConversion(
      {"resample",
       "Converts pages to another resolution; their physical size stays the same.",
       ResampleGroup(*own),
       {"Pages keep their depth, but those of 16 and 32 bits become 24 bits, and those of 4 bits 8 "
        "bits. No page and no result may be wider or higher than 65535 pixels, and no palette page "
        "in colour wider than 21844."},
       "A palette page in colour takes 3 bytes more for each of its pixels and for each of the "
       "result's, and a page of 16 or 32 bits 3 bytes more for each of its own.",
       {"dibkit resample --dpi 300 -o page-300.tif page.tif",
        "dibkit resample --dpi 300 --format png --output-dir out --recursive scans",
        "dibkit resample --dpi 200 -o page-%03d.png book.tif"},
       [own](const ConversionOptions& options) { return Resampling(*own, options.maxPixels); }},
      common);
}

}  // namespace dibkit::tool
