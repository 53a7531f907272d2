// SPDX-License-Identifier: Apache-2.0
//
// Of a page, for people.
#include <array>
#include <string>

#include "batch/terminal/escaped_name.h"
#include "convert/resampling.h"
#include "info/page_info.h"

namespace dibkit::tool {
namespace {

std::string Line(const char* label, const std::string& value) {
  return "  " + std::string(label) + ": " + EscapedName(value) + "\n";
}

std::string DpiText(const host::Resolution& resolution) {
  const host::PelsPerMetre pels = host::HeaderResolution(resolution);
  const unsigned x = host::DotsPerInch(pels.x);
  const unsigned y = host::DotsPerInch(pels.y);
  return x == 0 || y == 0 ? "none" : std::to_string(x) + " x " + std::to_string(y) + " dpi";
}

// Whole dots per inch, and what the file really says.
std::string ResolutionText(const PageInfo& info) {
  const host::Resolution& resolution = info.description.resolution;
  if (info.bitmap) {
    return DpiText(resolution) + " (" + std::to_string(info.bitmap->xPelsPerMeter) + " x " +
           std::to_string(info.bitmap->yPelsPerMeter) + " pixels per metre)";
  }
  if (resolution.unit == host::ResolutionUnit::kNone) {
    return "none";
  }
  return DpiText(resolution) + " (" + ExactText(resolution) + ")";
}

std::string OrientationText(unsigned orientation) {
  constexpr std::array kMeanings{"upright",
                                 "mirrored",
                                 "upside down",
                                 "upside down and mirrored",
                                 "mirrored and turned left",
                                 "turned left",
                                 "mirrored and turned right",
                                 "turned right"};
  return std::to_string(orientation) + ", " + kMeanings.at(orientation - 1);
}

std::string BitmapText(const host::BitmapDescription& bitmap) {
  return Line("header", std::to_string(bitmap.headerBytes) + " bytes") +
         Line("first row", bitmap.topDown ? "top" : "bottom") +
         Line("colour table", std::to_string(bitmap.tableEntries) + " entries");
}

std::string DescriptionText(const PageInfo& info) {
  const host::PageDescription& page = info.description;
  return Line("size", std::to_string(page.width) + " x " + std::to_string(page.height)) +
         Line("depth",
              std::to_string(page.storedBits) + (page.storedBits == 1 ? " bit" : " bits")) +
         Line("colour", page.colour) + Line("compression", page.compressionText) +
         Line("resolution", ResolutionText(info)) +
         Line("orientation", OrientationText(page.orientation)) +
         Line("profile", page.hasProfile ? "ICC" : "none") +
         (info.bitmap ? BitmapText(*info.bitmap) : std::string());
}

}  // namespace

std::string TextOf(const PageInfo& info) {
  const std::string which =
      info.pages == 1 ? std::string()
                      : ", page " + std::to_string(info.page) + " of " + std::to_string(info.pages);
  return EscapedName(info.file) + which + "\n" + Line("format", host::FormatName(info.format)) +
         Line("pages", std::to_string(info.pages)) +
         (info.description.width != 0 ? DescriptionText(info) : std::string()) +
         Line("resample", info.obstacle.empty() ? "yes" : "no, " + info.obstacle);
}

}  // namespace dibkit::tool
