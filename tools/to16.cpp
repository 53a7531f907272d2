// SPDX-License-Identifier: Apache-2.0
//
// dibkit to16: pages at 16 bits.
#include "convert/conversion_subcommand.h"

namespace dibkit::tool {

Subcommand MakeTo16(const CommonOptions& common) {
  return MakeConversion(
      {"to16",
       "Converts pages to 16 bits: 5 each for red, green and blue.",
       {},
       {"The result has no masks; longer channels are cut. Only BMP files hold such images: with "
        "--output-dir, results are BMP files unless --format says otherwise."},
       "",
       {"dibkit to16 -o page-16.bmp page.tif"},
       [](const ConversionOptions&) {
         return Conversion{
             [](const host::PageDescription& page) { return PlanAtDepth(page, 16); },
             [](host::Page& page, const host::ProgressHook& progress) { page.To16(progress); },
             host::ImageFormat::kBmp};
       }},
      common);
}

}  // namespace dibkit::tool
