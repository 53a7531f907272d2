// SPDX-License-Identifier: Apache-2.0
//
// Which directories of a file are its pages.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_PAGE_LIST_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_PAGE_LIST_H

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "formats/tiff/directory.h"

namespace dibkit::host::tiff {

struct ListedPage {
  uint64_t offset;    // of its directory
  const char* fault;  // why it cannot be read, a sentence; null for one that may be sound
};

// Follows the chain of directories once, no further than the pages that are asked for. Directories
// of reduced images (thumbnails) and of transparency masks are no pages, unless there is nothing
// else. Where the chain breaks off, comes back to itself or becomes too long, it ends with a page
// that has a fault, so that what is lost is told of.
class PageList {
 public:
  PageList(ReadBytes read, const Header& header);

  // Reads the rest of the chain. At least 1.
  uint32_t Count();
  // None behind the last page.
  std::optional<ListedPage> At(uint32_t page);

 private:
  void Advance();
  void End(const char* fault);
  bool IsPage(const Directory& directory) const;

  ReadBytes read_;
  Form form_;
  uint64_t next_;
  bool complete_ = false;
  std::unordered_set<uint64_t> seen_;
  std::vector<ListedPage> pages_;
  std::vector<ListedPage> others_;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_PAGE_LIST_H
