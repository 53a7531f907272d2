// SPDX-License-Identifier: Apache-2.0
//
// Pages that are packed apart from the file that they go into, so that several threads can pack
// pages of one file:
//
//   const EncodedPage page = EncodePage(ImageFormat::kTiff, dib, metadata, options);  // anywhere
//   writer->Append(page);  // one after the other, cheaply
#ifndef DIBKIT_HOST_ENCODED_PAGE_H
#define DIBKIT_HOST_ENCODED_PAGE_H

#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/image_format.h"
#include "dibkit/host/image_writer.h"
#include "dibkit/host/page_metadata.h"

namespace dibkit::host {

// Adds one page to the writer that it is given.
using AddPage = std::function<void(ImageWriter& writer)>;

// A page as a file of its own, in memory. Once made it does not change: any thread may look at it.
class EncodedPage {
 public:
  ImageFormat Format() const { return format_; }
  // A whole file of that format that holds this page alone.
  std::span<const unsigned char> Bytes() const { return bytes_; }

 private:
  friend EncodedPage EncodePage(ImageFormat format, const AddPage& add,
                                const CancelHook& cancelled);
  EncodedPage(ImageFormat format, std::vector<unsigned char> bytes)
      : format_(format), bytes_(std::move(bytes)) {}

  ImageFormat format_;
  std::vector<unsigned char> bytes_;
};

// Packs a page as ImageWriter::Add does, into memory: as many bytes as the page will take in its
// file, and twice as many for a moment. Any number of threads at once, each with a `dib` of its own
// or one that nobody changes. Throws what ImageWriter::Add throws, and Cancelled when the hook says
// so, which is asked now and then.
EncodedPage EncodePage(ImageFormat format, const DibView& dib, const PageMetadata& metadata,
                       const PageOptions& options, const CancelHook& cancelled = nullptr);
// The same for the page that `add` adds; throws what that throws, too.
EncodedPage EncodePage(ImageFormat format, const AddPage& add,
                       const CancelHook& cancelled = nullptr);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_ENCODED_PAGE_H
