// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/page_list.h"

#include <tiff.h>

#include <utility>

namespace dibkit::host::tiff {
namespace {

constexpr size_t kMostDirectories = 65535;

}  // namespace

PageList::PageList(ReadBytes read, const Header& header)
    : read_(std::move(read)), form_(header.form), next_(header.first) {}

uint32_t PageList::Count() {
  while (!complete_) {
    Advance();
  }
  return static_cast<uint32_t>(pages_.size());
}

std::optional<ListedPage> PageList::At(uint32_t page) {
  while (!complete_ && pages_.size() <= page) {
    Advance();
  }
  return page < pages_.size() ? std::optional(pages_[page]) : std::nullopt;
}

void PageList::Advance() {
  if (next_ == 0) {
    End(nullptr);
  } else if (!seen_.insert(next_).second) {
    End("the list of pages comes back to a page before");
  } else if (seen_.size() > kMostDirectories) {
    End("the file has more than 65535 pages");
  } else if (const auto directory = ReadDirectory(read_, form_, next_)) {
    (IsPage(*directory) ? pages_ : others_).push_back({next_, nullptr});
    next_ = directory->next;
  } else {
    End("the file ends before the directory of the page, or it is damaged there");
  }
}

void PageList::End(const char* fault) {
  complete_ = true;
  if (pages_.empty() && !others_.empty()) {
    pages_ = std::move(others_);
  }
  if (fault != nullptr || pages_.empty()) {
    pages_.push_back({next_, fault != nullptr ? fault : "the file has no pages"});
  }
}

bool PageList::IsPage(const Directory& directory) const {
  if (const auto type = ReadInteger(read_, form_, directory.Find(TIFFTAG_SUBFILETYPE))) {
    return (*type & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0;
  }
  const auto oldType = ReadInteger(read_, form_, directory.Find(TIFFTAG_OSUBFILETYPE));
  return !oldType || *oldType != OFILETYPE_REDUCEDIMAGE;
}

}  // namespace dibkit::host::tiff
