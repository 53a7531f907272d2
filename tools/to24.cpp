// SPDX-License-Identifier: Apache-2.0
//
// dibkit to24: pages at 24 bits.
#include "convert/conversion_subcommand.h"

namespace dibkit::tool {

Subcommand MakeTo24(const CommonOptions& common) {
  return MakeConversion(
      {"to24",
       "Converts pages to 24 bits: 8 each for red, green and blue.",
       {},
       {"Channels of fewer than 8 bits, which only BMP files have, go to the top bits of their "
        "byte "
        "and are not rescaled: where the file has channel masks, white may read 192 to 252, and "
        "128 "
        "in a channel of one bit. 16-bit pixels without masks get their low bits set, and white "
        "reads 255."},
       "",
       {"dibkit to24 -o page.png form.bmp", "dibkit to24 --output-dir out *.tif"},
       [](const ConversionOptions&) {
         return Conversion{
             [](const host::PageDescription& page) { return PlanAtDepth(page, 24); },
             [](host::Page& page, const host::ProgressHook& progress) { page.To24(progress); }};
       }},
      common);
}

}  // namespace dibkit::tool
