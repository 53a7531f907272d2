// SPDX-License-Identifier: Apache-2.0
//
// What a page is, and its pixels.
#include "call.h"
#include "dibkit/host/pixels.h"
#include "handles.h"
#include "options.h"
#include "sized.h"

using namespace dibkit::page_library;
namespace host = dibkit::host;

extern "C" {

dibkit_status dibkit_page_get_info(const dibkit_page* page, dibkit_page_info* info,
                                   dibkit_error* error) {
  return Call(error, [&] {
    const host::Page& looked = Required(page).page;
    dibkit_page_info known{};
    known.width = looked.Width();
    known.height = looked.Height();
    known.bit_count = looked.BitCount();
    known.dpi_x = looked.DpiX();
    known.dpi_y = looked.DpiY();
    known.plain_kind = looked.IsPlain() ? NumberOf(host::PlainKind(looked.Rows())) : 0;
    WriteSized(known, &Required(info));
  });
}

dibkit_status dibkit_page_set_dpi(dibkit_page* page, uint32_t dpi, dibkit_error* error) {
  return Call(error, [&] { Required(page).ToChange().SetDpi(dpi); });
}

dibkit_status dibkit_page_rows(const dibkit_page* page, dibkit_rows* given, dibkit_error* error) {
  return Call(error, [&] {
    constexpr size_t kEntryBytes = 4;
    auto& rows = Required(page).rows;
    Required(given);
    if (!rows) {
      rows.reset(new host::PageRows(page->page.Rows()));
    }
    const auto top = rows->Row(0);
    dibkit_rows known{};
    known.top = top.data();
    known.stride = -static_cast<std::ptrdiff_t>(top.size());
    known.palette = rows->Table().empty() ? nullptr : rows->Table().data();
    known.palette_entries = static_cast<uint32_t>(rows->Table().size() / kEntryBytes);
    known.width = rows->Width();
    known.height = rows->Height();
    known.bit_count = rows->BitCount();
    WriteSized(known, given);
  });
}

dibkit_status dibkit_page_copy_pixels(const dibkit_page* page, dibkit_pixel_kind kind, void* top,
                                      ptrdiff_t stride, dibkit_error* error) {
  return Call(error, [&] {
    const host::PageRows rows = Required(page).page.Rows();
    RequireArgument(top != nullptr, "a pointer is null that must not be");
    host::CopyPixels(rows, KindOf(kind), static_cast<unsigned char*>(top), stride);
  });
}

}  // extern "C"
