// SPDX-License-Identifier: Apache-2.0
//
// Of a page, for programs.
#include "convert/resampling.h"
#include "info/json.h"
#include "info/page_info.h"

namespace dibkit::tool {
namespace {

void AddResolution(JsonLine& line, const host::Resolution& resolution) {
  const host::PelsPerMetre pels = host::HeaderResolution(resolution);
  line.AddNumber("dpi_x", host::DotsPerInch(pels.x));
  line.AddNumber("dpi_y", host::DotsPerInch(pels.y));
  line.AddText("resolution_unit", UnitName(resolution.unit));
  line.AddText("resolution_x", ExactText(resolution.x));
  line.AddText("resolution_y", ExactText(resolution.y));
}

void AddDescription(JsonLine& line, const host::PageDescription& page) {
  line.AddNumber("width", page.width);
  line.AddNumber("height", page.height);
  line.AddNumber("bits", page.storedBits);
  line.AddText("colour", page.colour);
  line.AddText("compression", page.compressionText);
  AddResolution(line, page.resolution);
  line.AddNumber("orientation", page.orientation);
  line.AddFlag("profile", page.hasProfile);
}

void AddBitmap(JsonLine& line, const host::BitmapDescription& bitmap) {
  line.AddNumber("pixels_per_metre_x", bitmap.xPelsPerMeter);
  line.AddNumber("pixels_per_metre_y", bitmap.yPelsPerMeter);
  line.AddNumber("header_bytes", bitmap.headerBytes);
  line.AddFlag("top_down", bitmap.topDown);
  line.AddNumber("table_entries", bitmap.tableEntries);
  line.AddNumber("pixel_offset", static_cast<int64_t>(bitmap.pixelOffset));
  line.AddNumber("pixel_bytes", static_cast<int64_t>(bitmap.pixelBytes));
}

}  // namespace

std::string JsonOf(const PageInfo& info) {
  JsonLine line;
  line.AddText("file", info.file);
  line.AddText("format", host::FormatName(info.format));
  line.AddNumber("page", info.page);
  line.AddNumber("pages", info.pages);
  if (info.description.width != 0) {
    AddDescription(line, info.description);
  }
  if (info.bitmap) {
    AddBitmap(line, *info.bitmap);
  }
  line.AddFlag("resample", info.obstacle.empty());
  if (!info.obstacle.empty()) {
    line.AddText("obstacle", info.obstacle);
  }
  return line.Text();
}

std::string JsonOfFailure(const std::string& file, uint32_t page, const std::string& error) {
  JsonLine line;
  line.AddText("file", file);
  if (page != 0) {
    line.AddNumber("page", page);
  }
  line.AddText("error", error);
  return line.Text();
}

}  // namespace dibkit::tool
