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
       {"Channels of other than 8 bits, which only BMP files have, are brought to their full "
        "range, "
        "rounded to the nearest level: white is 255 whatever the masks. With --raw they are what "
        "the library makes of them: those of files with channel masks stand in the top bits of "
        "their byte, cut there, and white may read 192 to 252; other 16-bit pixels get their low "
        "bits set."},
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
