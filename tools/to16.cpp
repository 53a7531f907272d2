// SPDX-License-Identifier: Apache-2.0
//
// dibkit to16: any bitmap file at 16 bits.
#include <CLI/CLI.hpp>

#include "conversion.h"
#include "dibkit/host/conversion.h"

namespace dibkit::tool {

void AddTo16(CLI::App& app, Work& work) {
  AddConversion(app, work, "to16", "Convert a bitmap file to 16 bits",
                [](host::BitmapFile& file, const ConversionOptions&) {
                  return host::To16Bits(file.ReadDib());
                })
      ->footer(
          "The result has 5 bits each for red, green and blue and no masks; longer channels are\n"
          "cut.");
}

}  // namespace dibkit::tool
