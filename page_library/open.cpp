// SPDX-License-Identifier: Apache-2.0
//
// Where pages come from: files, bytes and pixels; and documents.
#include <span>

#include "call.h"
#include "handles.h"
#include "options.h"
#include "sized.h"

namespace dibkit::page_library {
namespace {

using host::Document;
using host::Page;

std::span<const unsigned char> BytesOf(const void* bytes, size_t count) {
  RequireArgument(bytes != nullptr || count == 0, "a pointer is null that must not be");
  return {static_cast<const unsigned char*>(bytes), count};
}

Page PageOf(const dibkit_pixels* given, uint32_t dpi) {
  constexpr uint32_t kMostDpi = 65535;
  constexpr size_t kEntryBytes = 3;
  const dibkit_pixels known = ReadSized(&Required(given));
  RequireArgument(dpi <= kMostDpi, "the resolution is not 1 to 65535 dots per inch");
  host::Pixels pixels{KindOf(known.kind), known.width, known.height,
                      static_cast<const unsigned char*>(known.top), known.stride};
  if (pixels.kind == host::PixelKind::kIndexed) {
    pixels.palette = BytesOf(known.palette, kEntryBytes * known.palette_entries);
  }
  return host::PageOfPixels(pixels, dpi == 0 ? host::Resolution{} : host::ResolutionOfDpi(dpi));
}

}  // namespace
}  // namespace dibkit::page_library

using namespace dibkit::page_library;
namespace host = dibkit::host;

extern "C" {

dibkit_status dibkit_page_open(const char* path, const dibkit_open_options* options,
                               dibkit_page** page, dibkit_error* error) {
  return CallToMake(page, error,
                    [&] { return host::Page::Open(&Required(path), OptionsOf(options)); });
}

dibkit_status dibkit_page_open_bytes(const void* bytes, size_t count,
                                     const dibkit_open_options* options, dibkit_page** page,
                                     dibkit_error* error) {
  return CallToMake(page, error, [&] {
    return host::Page::FromBytes(BytesOf(bytes, count), OptionsOf(options));
  });
}

dibkit_status dibkit_page_from_pixels(const dibkit_pixels* pixels, uint32_t dpi, dibkit_page** page,
                                      dibkit_error* error) {
  return CallToMake(page, error, [&] { return PageOf(pixels, dpi); });
}

void dibkit_page_free(dibkit_page* page) { delete page; }

dibkit_status dibkit_document_open(const char* path, const dibkit_open_options* options,
                                   dibkit_document** document, dibkit_error* error) {
  return CallToMake(document, error,
                    [&] { return host::Document::Open(&Required(path), OptionsOf(options)); });
}

dibkit_status dibkit_document_open_bytes(const void* bytes, size_t count,
                                         const dibkit_open_options* options,
                                         dibkit_document** document, dibkit_error* error) {
  return CallToMake(document, error, [&] {
    return host::Document::FromBytes(BytesOf(bytes, count), OptionsOf(options));
  });
}

dibkit_status dibkit_document_page_count(dibkit_document* document, uint32_t* count,
                                         dibkit_error* error) {
  return Call(error, [&] {
    Required(count) = 0;
    *count = Required(document).document.PageCount();
  });
}

dibkit_format dibkit_document_format(const dibkit_document* document) {
  return document == nullptr ? dibkit_format{DIBKIT_FORMAT_USUAL}
                             : NumberOf(document->document.Format());
}

dibkit_status dibkit_document_read(dibkit_document* document, uint32_t number, dibkit_page** page,
                                   dibkit_error* error) {
  return CallToMake(page, error, [&] { return Required(document).document.Read(number); });
}

void dibkit_document_close(dibkit_document* document) { delete document; }

}  // extern "C"
