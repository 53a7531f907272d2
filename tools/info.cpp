// SPDX-License-Identifier: Apache-2.0
//
// dibkit info: what a bitmap file holds.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/output_file.h"
#include "failure.h"
#include "json.h"
#include "resolution.h"
#include "signals.h"

namespace dibkit::tool {
namespace {

using host::BitmapDescription;

struct InfoOptions {
  std::vector<std::string> inputs;
  bool json = false;
};

// Empty when the image can be converted.
std::string WhyNotConvertible(const host::BitmapFile& file) {
  try {
    file.CheckConvertible();
    return "";
  } catch (const host::ImageError& error) {
    return error.what();
  }
}

std::string ResolutionText(const BitmapDescription& bitmap) {
  const unsigned x = DotsPerInch(bitmap.xPelsPerMeter);
  const unsigned y = DotsPerInch(bitmap.yPelsPerMeter);
  const std::string dots =
      x == 0 || y == 0 ? "none" : std::to_string(x) + " x " + std::to_string(y) + " dpi";
  return dots + " (" + std::to_string(bitmap.xPelsPerMeter) + " x " +
         std::to_string(bitmap.yPelsPerMeter) + " pixels per metre)";
}

std::string PlainText(const std::string& name, const BitmapDescription& bitmap,
                      const std::string& obstacle) {
  const auto line = [](const char* label, const std::string& value) {
    return "  " + std::string(label) + ": " + value + "\n";
  };
  return name + "\n" +
         line("size", std::to_string(bitmap.width) + " x " + std::to_string(bitmap.height)) +
         line("depth", std::to_string(bitmap.bitCount) + " bits") +
         line("resolution", ResolutionText(bitmap)) +
         line("header", std::to_string(bitmap.headerBytes) + " bytes") +
         line("compression", CompressionName(bitmap.compression)) +
         line("first row", bitmap.topDown ? "top" : "bottom") +
         line("colour table", std::to_string(bitmap.tableEntries) + " entries") +
         line("resample", obstacle.empty() ? "yes" : "no, " + obstacle);
}

std::string JsonText(const std::string& name, const BitmapDescription& bitmap,
                     const std::string& obstacle) {
  JsonLine line;
  line.AddText("file", name);
  line.AddNumber("width", bitmap.width);
  line.AddNumber("height", bitmap.height);
  line.AddNumber("bits", bitmap.bitCount);
  line.AddNumber("dpi_x", DotsPerInch(bitmap.xPelsPerMeter));
  line.AddNumber("dpi_y", DotsPerInch(bitmap.yPelsPerMeter));
  line.AddNumber("pixels_per_metre_x", bitmap.xPelsPerMeter);
  line.AddNumber("pixels_per_metre_y", bitmap.yPelsPerMeter);
  line.AddNumber("header_bytes", bitmap.headerBytes);
  line.AddText("compression", CompressionName(bitmap.compression));
  line.AddFlag("top_down", bitmap.topDown);
  line.AddNumber("table_entries", bitmap.tableEntries);
  line.AddNumber("pixel_offset", static_cast<int64_t>(bitmap.pixelOffset));
  line.AddNumber("pixel_bytes", static_cast<int64_t>(bitmap.pixelBytes));
  line.AddFlag("resample", obstacle.empty());
  if (!obstacle.empty()) {
    line.AddText("obstacle", obstacle);
  }
  return line.Text();
}

void Describe(const std::string& name, bool json) {
  const auto file = host::BitmapFile::Open(name, Interrupted);
  const std::string obstacle = WhyNotConvertible(file);
  const std::string text = json ? JsonText(name, file.Description(), obstacle)
                                : PlainText(name, file.Description(), obstacle);
  host::OutputFile output("-", Interrupted);
  output.Write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  output.Commit();
}

// Every input gets its turn, unless a signal ends it all; the most urgent exit code wins.
int RunInfo(const InfoOptions& options) {
  int worst = EXIT_CODE_DONE;
  for (const std::string& name : options.inputs) {
    const int code = Guard(name, [&] {
      Describe(name, options.json);
      return EXIT_CODE_DONE;
    });
    worst = std::max(worst, code);
    if (Interrupted()) {
      break;
    }
  }
  return worst;
}

}  // namespace

void AddInfo(CLI::App& app, const CommonOptions& /*common*/, Work& work) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* command = app.add_subcommand("info", "Tell what a bitmap file holds");
  command->add_option("IN.bmp", options->inputs, "Bitmap files; - is standard input")->required();
  command->add_flag("--json", options->json, "One JSON object per line");
  command->callback([&work, options] { work = [options] { return RunInfo(*options); }; });
}

}  // namespace dibkit::tool
