// SPDX-License-Identifier: Apache-2.0
//
// dibkit quantize: pages with a palette of their own.
#include <memory>

#include "command_line/numbers.h"
#include "convert/conversion_subcommand.h"

namespace dibkit::tool {

Subcommand MakeQuantize(const CommonOptions& common) {
  constexpr unsigned kMostColors = 256;
  auto own = std::make_shared<host::QuantizeOptions>();
  return MakeConversion(
      {"quantize",
       "Reduces pages to 8 bits with a palette of their own.",
       {"Colours",
        {Counted("--colors",
                 "Most colours that the palette may have. The default 256 is what 8 bits can tell "
                 "apart.",
                 1, kMostColors, own->colors)}},
       {"A page with no more colours than that keeps them all, exactly. The colours of others are "
        "gathered by an octree whose cells are 8 levels wide on each channel, so that nearer "
        "colours fall together, and their means are the palette. With --raw that is done with "
        "few colours too."},
       "On the way, 3 bytes more are taken for each pixel of a page that has not 24 bits.",
       {"dibkit quantize --colors 16 -o small.png picture.tif"},
       [own](const ConversionOptions& options) {
         return Conversion{
             [own, raw = options.raw](const host::PageDescription& page) {
               const bool keeps = page.bitCount <= 8 && own->colors >= 1U << page.bitCount;
               return PlanAtDepth(page, 8, keeps && !raw ? DepthWay::kAlways : DepthWay::kBy24);
             },
             [own](host::Page& page, const host::ProgressHook& progress) {
               page.Quantize(*own, progress);
             }};
       }},
      common);
}

}  // namespace dibkit::tool
