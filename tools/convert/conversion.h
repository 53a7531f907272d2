// SPDX-License-Identifier: Apache-2.0
//
// What a subcommand makes of a page.
#ifndef DIBKIT_TOOLS_CONVERT_CONVERSION_H
#define DIBKIT_TOOLS_CONVERT_CONVERSION_H

#include <cstdint>
#include <functional>
#include <optional>

#include "dibkit/host/image_format.h"
#include "dibkit/host/image_reader.h"
#include "dibkit/host/page.h"

namespace dibkit::tool {

// A page that is not made yet.
struct PagePlan {
  uint32_t width = 0;
  uint32_t height = 0;
  unsigned bits = 0;
  bool keepsDepth = false;  // nobody asked for these bits: 16 become 24 in a format without them
  unsigned fromDpiX = 0;    // what it is converted from; 0: not known
  unsigned fromDpiY = 0;
  unsigned dpiX = 0;  // of the result; 0: not known
  unsigned dpiY = 0;
  uint64_t bytes = 0;  // most memory that is taken at once from reading to writing, roughly
};

// Called for several pages at once, on several threads.
struct Conversion {
  // By what the headers of a page tell. Throws for a page that cannot be converted.
  std::function<PagePlan(const host::PageDescription& page)> plan;
  std::function<void(host::Page& page, const host::ProgressHook& progress)> convert;
  // What results are kept in where neither a name nor an option tells; none: as the input.
  std::optional<host::ImageFormat> usualFormat{};
};

// The plan for a page. Throws also for one of a kind that is not read or with more than
// `maxPixels`.
PagePlan PlanOf(const Conversion& conversion, const host::PageDescription& page,
                uint64_t maxPixels);

// The plan for a result in a file of `format`.
PagePlan InFormat(PagePlan plan, host::ImageFormat format);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_CONVERSION_H
