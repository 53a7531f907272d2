// SPDX-License-Identifier: Apache-2.0
//
// dibkit prepare: pages as recognisers of text read them best.
#include <memory>

#include "batch/usage_error.h"
#include "command_line/numbers.h"
#include "convert/conversion_subcommand.h"
#include "convert/resampling.h"

namespace dibkit::tool {
namespace {

OptionGroup PrepareGroup(host::PrepareOptions& options) {
  constexpr unsigned kMostDpi = 65535;
  return {"Resolution",
          {Counted("--dpi",
                   "Dots per inch that the recogniser reads best, 1 to 65535. The default 300 is "
                   "what most are made for.",
                   1, kMostDpi, options.dpi),
           Counted("--from-dpi",
                   "Dots per inch of the input, whatever it says. By default what it says; one "
                   "that says nothing, or what cannot be, fails.",
                   1, kMostDpi, options.fromDpi)}};
}

Conversion Preparing(host::PrepareOptions own, const ConversionOptions& options) {
  if (options.raw) {
    throw UsageError("prepare has no --raw: the library has no function for it");
  }
  own.maxPixels = options.maxPixels;
  return {
      [own](const host::PageDescription& page) { return PlanPreparing(page, own); },
      [own](host::Page& page, const host::ProgressHook& progress) { page.Prepare(own, progress); }};
}

}  // namespace

Subcommand MakePrepare(const CommonOptions& common) {
  auto own = std::make_shared<host::PrepareOptions>();
  return MakeConversion(
      {"prepare",
       "Makes pages as recognisers of text read them best.",
       PrepareGroup(*own),
       {"Pages come out upright and in plain rows. What else is done follows from measured "
        "recognition, with R for what --dpi says:",
        "Pages below two thirds of R are enlarged to R. Those of 1 bit become grey before, each "
        "level "
        "laid over its neighbours with the weights 1, 6, 1 of 8 on either axis, which takes the "
        "steps out of their edges. Pages of twice R and more are reduced to R, and those whose "
        "axes differ by a factor of two or more are brought to R. All others stay as they are: "
        "recognisers read them as well or better so."},
       "Beside that it takes what resample does.",
       {"dibkit prepare -o page.tif scan.jpg", "dibkit prepare --output-dir out --recursive scans"},
       [own](const ConversionOptions& options) { return Preparing(*own, options); }},
      common);
}

}  // namespace dibkit::tool
