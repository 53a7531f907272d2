// SPDX-License-Identifier: Apache-2.0
//
// dibkit quantize: a palette for a bitmap file.
#include <CLI/CLI.hpp>
#include <memory>

#include "conversion.h"
#include "dibkit/host/conversion.h"

namespace dibkit::tool {

void AddQuantize(CLI::App& app, Work& work) {
  constexpr uint16_t kMostColors = 256;
  auto colors = std::make_shared<uint16_t>(kMostColors);
  AddConversion(app, work, "quantize", "Reduce a bitmap file to 8 bits with a palette of its own",
                [colors](host::BitmapFile& file, const ConversionOptions&) {
                  return host::Quantized(file.ReadDib(), *colors);
                })
      ->add_option("--colors", *colors, "Most colours that the palette may have")
      ->check(CLI::Range(uint16_t{1}, kMostColors))
      ->capture_default_str();
}

}  // namespace dibkit::tool
