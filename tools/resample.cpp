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

Option ThresholdOption(host::ResampleOptions& options) {
  const std::string name = "--threshold";
  return {name, 0, "N",
          "Pages of 1 bit: the darkness, 0 to 256, from which on a pixel is black. The default "
          "follows the ratio of the resolutions, see below.",
          [&options, name](const std::string& value) {
            options.threshold = static_cast<int>(NumberOption(name, value, 0, kMostThreshold));
          }};
}

OptionGroup ResampleGroup(host::ResampleOptions& options) {
  return {
      "Resolution",
      {Counted("--dpi", "Dots per inch of the result, 1 to 65535. Must be given.", 1, kMostDpi,
               options.dpi),
       Counted("--from-dpi",
               "Dots per inch of the input, whatever it says. By default what it says; one that "
               "says nothing, or what cannot be, fails.",
               1, kMostDpi, options.fromDpi),
       ThresholdOption(options),
       Flag("--grey", 0,
            "Makes results of 8 bits with a grey table, also of pages of 1 bit, whose edges then "
            "become greys, and of colours by their luminance. By default pages keep their depth.",
            options.grey)}};
}

Conversion Resampling(host::ResampleOptions own, const ConversionOptions& options) {
  if (own.dpi == 0) {
    throw UsageError("resample wants --dpi N, the resolution of the result");
  }
  if (own.grey && options.raw) {
    throw UsageError("--raw keeps the depth of a page, as the library does; leave out --grey");
  }
  own.raw = options.raw;
  own.maxPixels = options.maxPixels;
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
        "bits. No page and no result may be wider or higher than 65535 pixels.",
        "Where the resolution falls to a half or less, blocks of 2 x 2, 3 x 3 and so on are "
        "averaged first, as many pixels as the whole part of the ratio says, so that nothing of a "
        "page is passed over; what is left of the ratio is interpolated.",
        "The threshold of pages of 1 bit, where none is told, is the darkness that a line of one "
        "pixel keeps at worst, of 255, so that no such line is lost down to a quarter of the "
        "resolution; but at most 84 where the resolution falls and 127 where it rises, which "
        "recognisers read best: 300 to 200 dpi 84, 300 to 150 84, 300 to 100 84, 300 to 204 74, "
        "400 to 100 63, 200 to 300 127. With --raw there are no blocks, and it is 128."},
       "A palette page in colour takes 3 bytes more for each of its pixels and for each of the "
       "result's, a page of 16 or 32 bits 3 bytes more for each of its own, and where blocks are "
       "averaged, their means are an image of their own.",
       {"dibkit resample --dpi 300 -o page-300.tif page.tif",
        "dibkit resample --dpi 300 --format png --output-dir out --recursive scans",
        "dibkit resample --dpi 200 -o page-%03d.png book.tif"},
       [own](const ConversionOptions& options) { return Resampling(*own, options); }},
      common);
}

}  // namespace dibkit::tool
