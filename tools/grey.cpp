// SPDX-License-Identifier: Apache-2.0
//
// dibkit grey: pages without their colours.
#include <memory>

#include "command_line/choice.h"
#include "convert/conversion_subcommand.h"

namespace dibkit::tool {
namespace {

using host::GreyLevels;
using host::GreyRule;

OptionGroup GreyGroup(host::GreyOptions& options) {
  return {"Greys",
          {Choice("--rule",
                  "How a colour becomes grey. The default luminance weighs the channels as the eye "
                  "does.",
                  Choices<GreyRule>{{"easy", GreyRule::kEasy},
                                    {"minmax", GreyRule::kMinMax},
                                    {"luminance", GreyRule::kLuminance}},
                  options.rule),
           Choice("--levels", "How many greys there are. The default is 256, all of them.",
                  Choices<GreyLevels>{{"16", GreyLevels::k16}, {"256", GreyLevels::k256}},
                  options.levels)}};
}

}  // namespace

Subcommand MakeGrey(const CommonOptions& common) {
  auto own = std::make_shared<host::GreyOptions>();
  return MakeConversion(
      {"grey",
       "Converts pages to 8 bits with a grey table.",
       GreyGroup(*own),
       {"The rules: easy is the mean of red, green and blue; minmax the mean of the largest and "
        "smallest of them; luminance weighs them, by 30, 59 and 11 percent at 16 levels and by 16, "
        "38 and 8 parts of 62 at 256 levels, of 64 with --raw, which maps white to 247. 16 levels "
        "are 0, 17, 34 to 255, rounded down."},
       "On the way, 3 bytes more are taken for each pixel of a page that has not 24 bits, but "
       "for luminance at 256 levels.",
       {"dibkit grey -o grey.tif colour.tif", "dibkit grey --rule easy --output-dir out *.jpg"},
       [own](const ConversionOptions& options) {
         const bool isRight =
             !options.raw && own->rule == GreyRule::kLuminance && own->levels == GreyLevels::k256;
         return Conversion{
             [isRight](const host::PageDescription& page) {
               return PlanAtDepth(
                   page, 8, isRight && page.bitCount <= 8 ? DepthWay::kAlways : DepthWay::kBy24);
             },
             [own](host::Page& page, const host::ProgressHook& progress) {
               page.ToGrey(*own, progress);
             }};
       }},
      common);
}

}  // namespace dibkit::tool
