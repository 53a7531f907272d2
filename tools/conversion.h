// SPDX-License-Identifier: Apache-2.0
//
// What the subcommands share that make one bitmap file from another: options, reading, writing,
// failures.
#ifndef DIBKIT_TOOLS_CONVERSION_H
#define DIBKIT_TOOLS_CONVERSION_H

#include <cstdint>
#include <functional>
#include <string>

#include "command.h"
#include "dibkit/host/bitmap_file.h"

namespace dibkit::tool {

struct ConversionOptions {
  uint64_t maxPixels = 1'000'000'000;
  std::string input;
  std::string output;
};

// Makes a plain DIB of a file that can be read and has no more pixels than allowed.
using Conversion = std::function<host::OwnedBlock(host::BitmapFile&, const ConversionOptions&)>;

// Adds a subcommand with the options of all conversions; the caller adds its own.
CLI::App* AddConversion(CLI::App& app, Work& work, const std::string& name,
                        const std::string& description, const Conversion& convert);

// Throws Failure when `width` x `height` is more than `maxPixels`; `what` is the image or the
// result.
void CheckPixels(const char* what, uint64_t width, uint64_t height, uint64_t maxPixels);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERSION_H
