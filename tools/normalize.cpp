// SPDX-License-Identifier: Apache-2.0
//
// dibkit normalize: plain rows, bottom row first, behind a plain header.
#include <CLI/CLI.hpp>

#include "conversion.h"
#include "dibkit/host/conversion.h"

namespace dibkit::tool {

void AddNormalize(CLI::App& app, Work& work) {
  AddConversion(app, work, "normalize", "Write any bitmap file as a plain one",
                [](host::BitmapFile& file, const ConversionOptions&) {
                  return host::Normalized(file.ReadDib());
                })
      ->footer(
          "A plain file has a 40-byte header, a full colour table or none, no compression, and\n"
          "its bottom row first. The depth stays, but images of 2 bits become 4 bits and images\n"
          "with channel masks 24 bits.");
}

}  // namespace dibkit::tool
