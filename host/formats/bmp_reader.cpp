// SPDX-License-Identifier: Apache-2.0
//
// Bitmap files as pages: one each, whatever its header and packing.
#include <utility>

#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/conversion.h"
#include "dibkit/host/dib_layout.h"
#include "formats/bmp.h"
#include "formats/embedded_reader.h"

namespace dibkit::host {
namespace {

Compression CompressionOf(const BitmapDescription& bitmap) {
  if (HasRows(bitmap)) {
    return Compression::kNone;
  }
  switch (bitmap.compression) {
    case BitmapCompression::kJpeg:
      return Compression::kJpeg;
    case BitmapCompression::kPng:
      return Compression::kDeflate;
    case BitmapCompression::kHuffman:
      return Compression::kG3;
    default:
      return Compression::kRunLength;
  }
}

std::string ColourOf(BitmapFile& file) {
  const uint16_t bits = file.Description().bitCount;
  if (bits == 0 || bits > 8) {
    return "RGB";
  }
  if (!file.HasGreyTable()) {
    return "palette";
  }
  return bits == 1 ? "bilevel" : "grey";
}

// Of the DIB that Normalized makes, or of the raw one.
unsigned DibBits(const BitmapDescription& bitmap, bool raw) {
  const bool fields = bitmap.compression == BitmapCompression::kBitFields ||
                      bitmap.compression == BitmapCompression::kAlphaBitFields;
  if (fields && !raw) {
    return 24;
  }
  return bitmap.bitCount == 2 ? 4 : bitmap.bitCount;
}

// Streams, and the copies that expanding and widening make.
uint64_t WorkBytes(const BitmapDescription& bitmap, bool raw) {
  if (!HasRows(bitmap)) {
    return bitmap.pixelBytes * 3;
  }
  const bool widened = DibBits(bitmap, raw) == 24 && bitmap.bitCount != 24;
  return widened ? bitmap.pixelBytes : 0;
}

class BmpReader : public ImageReader {
 public:
  BmpReader(std::unique_ptr<ByteSource> source, const ReadOptions& options)
      : file_(std::move(source), options.maxPixels),
        raw_(options.raw),
        warning_(options.warning),
        colour_(ColourOf(file_)) {
    TellRemarks();
  }

  ImageFormat Format() const override { return ImageFormat::kBmp; }
  uint32_t PageCount() override { return 1; }

  PageDescription Describe(uint32_t page) override {
    RequirePage(page);
    const BitmapDescription& bitmap = file_.Description();
    PageDescription description;
    description.width = bitmap.width;
    description.height = bitmap.height;
    description.storedBits = bitmap.bitCount;
    description.bitCount = DibBits(bitmap, raw_);
    description.colour = colour_;
    description.compression = CompressionOf(bitmap);
    description.compressionText = CompressionName(bitmap.compression);
    description.resolution = ResolutionOfHeader(bitmap.xPelsPerMeter, bitmap.yPelsPerMeter);
    description.workBytes = WorkBytes(bitmap, raw_);
    description.obstacle = Obstacle();
    return description;
  }

  PageImage Read(uint32_t page) override {
    RequirePage(page);
    PageImage image{raw_ ? file_.ReadPaddedDib() : Normalized(file_.ReadBottomUpDib()), {}};
    const BitmapDescription& bitmap = file_.Description();
    image.metadata.resolution = ResolutionOfHeader(bitmap.xPelsPerMeter, bitmap.yPelsPerMeter);
    TellRemarks();
    return image;
  }

 private:
  // Those that are new.
  void TellRemarks() {
    for (; told_ < file_.Remarks().size(); ++told_) {
      if (warning_) {
        warning_(file_.Remarks()[told_]);
      }
    }
  }

  std::string Obstacle() const {
    try {
      file_.CheckConvertible();
      return "";
    } catch (const ImageError& error) {
      return error.what();
    }
  }

  static void RequirePage(uint32_t page) {
    if (page != 0) {
      throw ImageError(ImageFault::kNoSuchPage, "a BMP file has one page only");
    }
  }

  BitmapFile file_;
  const bool raw_;
  const WarningHook warning_;
  size_t told_ = 0;
  const std::string colour_;  // the table of a pipe can be looked at only before its rows are read
};

}  // namespace

std::unique_ptr<ImageReader> OpenBmp(std::unique_ptr<ByteSource> source,
                                     const ReadOptions& options) {
  const BitmapDescription bitmap = DescribeBitmap(*source, options.maxPixels);
  if (IsEmbedded(bitmap) && IsBuiltIn(FormatOfEmbedded(bitmap))) {
    return OpenEmbedded(std::move(source), bitmap, options);
  }
  return std::make_unique<BmpReader>(std::move(source), options);
}

}  // namespace dibkit::host
