// SPDX-License-Identifier: Apache-2.0
//
// What dibkit info tells of a page, as text or as JSON.
#ifndef DIBKIT_TOOLS_INFO_PAGE_INFO_H
#define DIBKIT_TOOLS_INFO_PAGE_INFO_H

#include <cstdint>
#include <optional>
#include <string>

#include "dibkit/host/bitmap_description.h"
#include "dibkit/host/image_format.h"
#include "dibkit/host/image_reader.h"

namespace dibkit::tool {

struct PageInfo {
  std::string file;
  host::ImageFormat format = host::ImageFormat::kBmp;
  uint32_t page = 1;  // from 1
  uint32_t pages = 1;
  host::PageDescription description{};              // without a width for a kind that is not read
  std::optional<host::BitmapDescription> bitmap{};  // of a BMP file
  std::string obstacle;                             // why resample refuses it; empty: it does not
};

// A line for each thing, under one with the file's name.
std::string TextOf(const PageInfo& info);

// One object.
std::string JsonOf(const PageInfo& info);

// One object for a page that cannot be told of; 0 is the whole file.
std::string JsonOfFailure(const std::string& file, uint32_t page, const std::string& error);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_INFO_PAGE_INFO_H
