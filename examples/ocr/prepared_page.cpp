// SPDX-License-Identifier: Apache-2.0
#include "prepared_page.h"

#include <dibkit/Cnv_res_mem.h>
#include <dibkit/host/errors.h>

#include <algorithm>
#include <utility>

#include "handed_rows.h"

namespace ocr {
namespace {

namespace host = dibkit::host;

constexpr int kThreshold = 128;  // for 1-bit pages, of which none is converted

bool IsSmooth(const host::Page& page) {
  return page.BitCount() == 24 || (page.BitCount() == 8 && IsPlainGrey(page.Rows()));
}

// 8 bits in which every index is its own level, or 24 bits.
void MakeSmooth(host::Page& page) {
  if (IsSmooth(page)) {
    return;
  }
  const bool grey = page.BitCount() <= 8 && page.Rows().HasGreyTable();
  if (grey) {
    page.ToGrey();
  } else {
    page.To24();
  }
}

// What the exported function does not tell is asked beforehand: a result beyond what it can make.
void RequireRoom(const host::Page& page, unsigned dpi) {
  const host::LockedBlock lock(page.Handle());
  const host::DibView view(lock.Bytes());
  host::ResampledSize({view.Width(), view.Height()}, view.XPelsPerMeter(), view.YPelsPerMeter(),
                      {.dpi = dpi});
}

host::Page Converted(const host::Page& page, unsigned dpi) {
  RequireRoom(page, dpi);
  tagHANDLE* result = nullptr;
  const int status = ConvertResolution(page.Handle(), &result, nullptr,
                                       static_cast<unsigned short>(dpi), kThreshold);
  host::OwnedBlock owned(result);
  if (status == CNV_NO_MEMORY) {
    throw host::PageError(host::PageFault::kNoMemory, "there is not enough memory");
  }
  if (status != CNV_OK || !owned) {
    throw host::PageError(host::PageFault::kNoImage, "the page cannot be converted");
  }
  host::Page converted = host::Page::FromHandle(owned.get());
  static_cast<void>(owned.release());  // the page has it
  return converted;
}

}  // namespace

PreparedPage Prepare(host::Page page, unsigned dpi, unsigned fromDpi) {
  if (fromDpi != 0) {
    page.SetDpi(fromDpi);
  }
  if (page.DpiX() == 0 || page.DpiY() == 0) {
    throw host::PageError(host::PageFault::kNoResolution,
                          "the file gives no resolution; say what it is with --from-dpi N");
  }
  const host::PixelSize original{page.Width(), page.Height()};
  const bool enlarge = std::min(page.DpiX(), page.DpiY()) < dpi;
  // Letters in two levels become smooth when they grow; a page that stays as it is stays small.
  if (page.BitCount() != 1 || enlarge) {
    MakeSmooth(page);
  }
  if (enlarge) {
    page = Converted(page, dpi);
  }
  return {std::move(page), original};
}

}  // namespace ocr
