// SPDX-License-Identifier: Apache-2.0
//
// dibkit normalize: plain rows, upright, at the depth that the page has.
#include "convert/conversion_subcommand.h"

namespace dibkit::tool {

Subcommand MakeNormalize(const CommonOptions& common) {
  return MakeConversion(
      {"normalize",
       "Writes pages as plain images, at the depth that they have.",
       {},
       {"A plain BMP file has a 40-byte header, a full colour table or none, no compression, and "
        "its bottom row first. Images of 2 bits become 4 bits and images with channel masks 24 "
        "bits, and so do those of 16 bits in a format that has no place for them. With another "
        "suffix or --format this is the way from one file format to another."},
       "",
       {"dibkit normalize -o plain.bmp odd.bmp", "dibkit normalize -o page-%03d.png book.tif"},
       [](const ConversionOptions&) {
         return Conversion{[](const host::PageDescription& page) {
                             PagePlan plan = PlanAtDepth(page, page.bitCount);
                             plan.keepsDepth = true;
                             return plan;
                           },
                           [](host::Page& page, const host::ProgressHook& progress) {
                             page.Normalize(progress);
                           }};
       }},
      common);
}

}  // namespace dibkit::tool
