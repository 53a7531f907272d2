// SPDX-License-Identifier: Apache-2.0
//
// The options that all conversions share.
#ifndef DIBKIT_TOOLS_CONVERT_CONVERSION_OPTIONS_H
#define DIBKIT_TOOLS_CONVERT_CONVERSION_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "batch/files/inputs.h"
#include "batch/files/plan.h"
#include "command_line/option.h"
#include "convert/page_selection.h"
#include "dibkit/host/image_format.h"
#include "dibkit/host/pixel_limit.h"

namespace dibkit::tool {

struct ConversionOptions {
  InputOptions inputs{};
  PageSelection pages{};
  OutputOptions outputs{};
  std::optional<host::Compression> compression{};
  int quality = 90;
  uint64_t maxPixels = host::kUsualMaxPixels;
  unsigned jobs = 0;    // 0: as many as there are CPUs
  uint64_t memory = 0;  // bytes; 0: DefaultMemoryLimit()
  bool dryRun = false;
  bool failFast = false;
  bool noSync = false;
  bool raw = false;
  std::string report;  // empty: none
  bool quiet = false;
};

// The jobs and the memory of a run, whether told or not.
unsigned JobsOf(const ConversionOptions& options);
uint64_t MemoryOf(const ConversionOptions& options);

// What names inputs; for info too.
OptionGroup InputGroup(InputOptions& inputs);

// The groups of options, which fill `options` and must not outlive it.
std::vector<OptionGroup> ConversionGroups(ConversionOptions& options);

// --max-pixels; `what` is held to it.
Option MaxPixelsOption(uint64_t& maxPixels, const std::string& what);

// Throws UsageError when a file of `format` can never be packed so.
void CheckCompression(std::optional<host::ImageFormat> format,
                      std::optional<host::Compression> compression);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_CONVERSION_OPTIONS_H
