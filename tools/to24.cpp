// SPDX-License-Identifier: Apache-2.0
//
// dibkit to24: any bitmap file at 24 bits.
#include <CLI/CLI.hpp>

#include "conversion.h"
#include "dibkit/host/conversion.h"

namespace dibkit::tool {

void AddTo24(CLI::App& app, Work& work) {
  AddConversion(app, work, "to24", "Convert a bitmap file to 24 bits",
                [](host::BitmapFile& file, const ConversionOptions&) {
                  return host::To24Bits(file.ReadDib());
                })
      ->footer(
          "Channels of fewer than 8 bits go to the top bits of their byte and are not rescaled:\n"
          "where the file has channel masks, white may read 192 to 252 (128 in a channel of one\n"
          "bit). 16-bit pixels without masks get their low bits set, and white reads 255. Alpha\n"
          "is dropped.");
}

}  // namespace dibkit::tool
