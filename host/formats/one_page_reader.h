// SPDX-License-Identifier: Apache-2.0
//
// What the readers of formats share that hold one page and are read from the beginning to the end.
#ifndef DIBKIT_HOST_FORMATS_ONE_PAGE_READER_H
#define DIBKIT_HOST_FORMATS_ONE_PAGE_READER_H

#include <memory>
#include <string>
#include <utility>

#include "formats/codec.h"

namespace dibkit::host {

// `OpenFile` is a file up to its image, made of a source and options.
template <typename OpenFile>
class OnePageReader : public ImageReader {
 public:
  using Describer = PageDescription (*)(const OpenFile& file);
  // Leaves the file behind its image.
  using ImageTaker = PageImage (*)(OpenFile& file, const CancelHook& cancelled);

  OnePageReader(ImageFormat format, std::unique_ptr<ByteSource> source, const ReadOptions& options,
                Describer describe, ImageTaker takeImage)
      : format_(format),
        source_(std::move(source)),
        options_(options),
        takeImage_(takeImage),
        file_(std::make_unique<OpenFile>(*source_, options_)),
        description_(describe(*file_)) {}

  ImageFormat Format() const override { return format_; }
  uint32_t PageCount() override { return 1; }

  PageDescription Describe(uint32_t page) override {
    RequirePage(page);
    return description_;
  }

  PageImage Read(uint32_t page) override {
    RequirePage(page);
    // A file that is not at its image any more is of no further use.
    const std::unique_ptr<OpenFile> file =
        file_ ? std::move(file_) : std::make_unique<OpenFile>(*source_, options_);
    return takeImage_(*file, options_.cancelled);
  }

 private:
  void RequirePage(uint32_t page) const {
    if (page != 0) {
      throw ImageError(ImageFault::kNoSuchPage,
                       std::string("a ") + FormatName(format_) + " file has one page only");
    }
  }

  const ImageFormat format_;
  const std::unique_ptr<ByteSource> source_;
  const ReadOptions options_;
  const ImageTaker takeImage_;
  std::unique_ptr<OpenFile> file_;
  const PageDescription description_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_ONE_PAGE_READER_H
