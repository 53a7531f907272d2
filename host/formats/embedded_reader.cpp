// SPDX-License-Identifier: Apache-2.0
#include "formats/embedded_reader.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

// A part of another source.
class PartSource : public ByteSource {
 public:
  PartSource(std::unique_ptr<ByteSource> whole, uint64_t offset, uint64_t bytes)
      : whole_(std::move(whole)), offset_(offset), bytes_(bytes) {
    whole_->ForgetBefore(offset_);
  }

  uint64_t SizeUpTo(uint64_t limit) override {
    const uint64_t size = whole_->SizeUpTo(offset_ + std::min(limit, bytes_));
    return size - std::min(size, offset_);
  }

  bool IsInPlace() const override { return whole_->IsInPlace(); }

  void Read(uint64_t offset, std::span<unsigned char> into) override {
    whole_->Read(offset_ + offset, into);
  }

  size_t ReadSome(uint64_t offset, std::span<unsigned char> into) override {
    const uint64_t left = bytes_ - std::min(offset, bytes_);
    const auto count = static_cast<size_t>(std::min<uint64_t>(into.size(), left));
    return whole_->ReadSome(offset_ + offset, into.first(count));
  }

  void ForgetBefore(uint64_t offset) override {
    whole_->ForgetBefore(offset_ + std::min(offset, bytes_));
  }

 private:
  std::unique_ptr<ByteSource> whole_;
  uint64_t offset_;
  uint64_t bytes_;  // offset_ + bytes_ does not wrap
};

std::string Size(uint64_t width, uint64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

class EmbeddedReader : public ImageReader {
 public:
  EmbeddedReader(std::unique_ptr<ImageReader> file, const BitmapDescription& bitmap)
      : file_(std::move(file)), bitmap_(bitmap) {}

  ImageFormat Format() const override { return ImageFormat::kBmp; }
  uint32_t PageCount() override { return 1; }

  PageDescription Describe(uint32_t page) override {
    PageDescription description = file_->Describe(page);
    CheckSize(description);
    description.compressionText = CompressionName(bitmap_.compression);
    description.resolution = ResolutionOr(description.resolution);
    return description;
  }

  PageImage Read(uint32_t page) override {
    Describe(page);
    PageImage image = file_->Read(page);
    image.metadata.resolution = ResolutionOr(image.metadata.resolution);
    const PelsPerMetre pels = HeaderResolution(image.metadata.resolution);
    const LockedBlock lock(image.dib.get());
    DibView(lock.Bytes()).SetPelsPerMeter(pels.x, pels.y);
    return image;
  }

 private:
  // Before the page is turned upright.
  void CheckSize(const PageDescription& page) const {
    constexpr unsigned kFirstTransposed = 5;
    const bool transposed = page.orientation >= kFirstTransposed;
    const uint32_t width = transposed ? page.height : page.width;
    const uint32_t height = transposed ? page.width : page.height;
    if (width != bitmap_.width || height != bitmap_.height) {
      throw ImageError(ImageFault::kDamaged,
                       std::string("the embedded ") + CompressionName(bitmap_.compression) +
                           " file has " + Size(width, height) + " pixels, but the headers say " +
                           Size(bitmap_.width, bitmap_.height));
    }
  }

  Resolution ResolutionOr(const Resolution& other) const {
    const Resolution own = ResolutionOfHeader(bitmap_.xPelsPerMeter, bitmap_.yPelsPerMeter);
    return own.unit == ResolutionUnit::kNone ? other : own;
  }

  std::unique_ptr<ImageReader> file_;
  BitmapDescription bitmap_;
};

// What is embedded is a file of that one format, not another bitmap file.
void RequireFormat(ByteSource& file, ImageFormat format) {
  std::array<unsigned char, kFormatBytes> start{};
  const auto there = static_cast<size_t>(file.SizeUpTo(start.size()));
  file.Read(0, std::span(start).first(there));
  if (FormatOfContent(std::span(start).first(there)) != format) {
    throw ImageError(ImageFault::kDamaged, std::string("the pixels should be an embedded ") +
                                               FormatName(format) + " file, but are none");
  }
}

}  // namespace

ImageFormat FormatOfEmbedded(const BitmapDescription& bitmap) {
  return bitmap.compression == BitmapCompression::kJpeg ? ImageFormat::kJpeg : ImageFormat::kPng;
}

std::unique_ptr<ImageReader> OpenEmbedded(std::unique_ptr<ByteSource> source,
                                          const BitmapDescription& bitmap,
                                          const ReadOptions& options) {
  auto file =
      std::make_unique<PartSource>(std::move(source), bitmap.pixelOffset, bitmap.pixelBytes);
  RequireFormat(*file, FormatOfEmbedded(bitmap));
  return std::make_unique<EmbeddedReader>(OpenImage(std::move(file), options), bitmap);
}

}  // namespace dibkit::host
