// SPDX-License-Identifier: Apache-2.0
#include "convert/conversion_subcommand.h"

#include <memory>
#include <utility>

#include "dibkit/host/resolution.h"
#include "run/run_conversion.h"

namespace dibkit::tool {
namespace {

const char* const kInputNote =
    "Inputs are told by their content, not by their names. Pages come out upright, whatever their "
    "orientation tag says; channels of 16 bits are rounded to 8 bits; alpha is laid over white, "
    "but that of BMP files is dropped. CMYK becomes red, green and blue by (255 - ink) times "
    "(255 - black), divided by 255, whatever its profile says; YCbCr, CIELab and LogLuv pixels of "
    "TIFF files become what libtiff makes of them, other spaces are refused. ICC profiles and "
    "descriptive texts go along where the format of the result has a place for them.";

const char* const kMemoryNote =
    "A page is in memory whole, before and after. A pixel takes an eighth of a byte at 1 bit, half "
    "a byte at 4 bits, 1 byte at 8 bits, 2 bytes at 16, 3 at 24 and 4 at 32 bits, once in the page "
    "that is read and once in the result.";

}  // namespace

Subcommand MakeConversion(ConversionSubcommand parts, const CommonOptions& common) {
  auto options = std::make_shared<ConversionOptions>();
  Subcommand subcommand;
  subcommand.name = parts.name;
  subcommand.summary = std::move(parts.summary);
  subcommand.operands = "INPUT...";
  if (!parts.ownOptions.options.empty()) {
    subcommand.groups.push_back(std::move(parts.ownOptions));
  }
  for (OptionGroup& group : ConversionGroups(*options)) {
    subcommand.groups.push_back(std::move(group));
  }
  subcommand.notes = std::move(parts.notes);
  subcommand.notes.push_back(kInputNote);
  subcommand.notes.push_back(kMemoryNote + std::string(parts.memoryNote.empty() ? "" : " ") +
                             parts.memoryNote);
  subcommand.examples = std::move(parts.examples);
  subcommand.run = [options, &common, name = parts.name,
                    make = std::move(parts.make)](const Arguments& arguments) {
    options->quiet = common.quiet;
    return RunConversion(name, make, *options, arguments);
  };
  return subcommand;
}

PagePlan PlanAtDepth(const host::PageDescription& page, unsigned bits, DepthWay way) {
  const host::PelsPerMetre pels = host::HeaderResolution(page.resolution);
  PagePlan plan;
  plan.width = page.width;
  plan.height = page.height;
  plan.bits = bits;
  plan.fromDpiX = plan.dpiX = host::DotsPerInch(pels.x);
  plan.fromDpiY = plan.dpiY = host::DotsPerInch(pels.y);
  plan.bytes = CostAtDepth(page, bits, way);
  return plan;
}

}  // namespace dibkit::tool
