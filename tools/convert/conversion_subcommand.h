// SPDX-License-Identifier: Apache-2.0
//
// What the subcommands share that make one image file from another.
#ifndef DIBKIT_TOOLS_CONVERT_CONVERSION_SUBCOMMAND_H
#define DIBKIT_TOOLS_CONVERT_CONVERSION_SUBCOMMAND_H

#include <functional>
#include <string>
#include <vector>

#include "convert/conversion.h"
#include "convert/conversion_options.h"
#include "convert/cost.h"
#include "subcommand.h"

namespace dibkit::tool {

struct ConversionSubcommand {
  std::string name;
  std::string summary;
  OptionGroup ownOptions;          // beside those of all conversions; may be empty
  std::vector<std::string> notes;  // what is particular to it
  std::string memoryNote;          // memory that it takes beside page and result; may be empty
  std::vector<std::string> examples;
  // Called when all options are known. Throws UsageError where one of its own is missing.
  std::function<Conversion(const ConversionOptions& options)> make;
};

// `common` must live until the subcommand has run.
Subcommand MakeConversion(ConversionSubcommand parts, const CommonOptions& common);

// A plan for a result of the page's own size and resolution at `bits`; as CostAtDepth.
PagePlan PlanAtDepth(const host::PageDescription& page, unsigned bits,
                     DepthWay way = DepthWay::kIfOther);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_CONVERSION_SUBCOMMAND_H
