// SPDX-License-Identifier: Apache-2.0
//
// Image files of any format into plain packed DIBs, page by page.
#ifndef DIBKIT_HOST_IMAGE_READER_H
#define DIBKIT_HOST_IMAGE_READER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "dibkit/host/byte_source.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/global_memory.h"
#include "dibkit/host/image_format.h"
#include "dibkit/host/page_metadata.h"
#include "dibkit/host/pixel_limit.h"

namespace dibkit::host {

// A remark about a file that is read all the same: one line that names no file.
using WarningHook = std::function<void(const std::string&)>;

struct ReadOptions {
  // A page with more is refused (kTooManyPixels) before anything is read or allocated for it.
  uint64_t maxPixels = kUsualMaxPixels;
  // Asked between rows and between blocks of a file.
  CancelHook cancelled = nullptr;
  WarningHook warning = nullptr;
  // BMP files: Read makes what BitmapFile::ReadPaddedDib does, so that it can be seen what the
  // library's functions make of it. Such a DIB need not be plain.
  bool raw = false;
};

// One page as its headers tell it. Nothing of its pixels has been read.
struct PageDescription {
  uint32_t width = 0;       // of the upright page, 1 to 2^31 - 1
  uint32_t height = 0;      // the same
  unsigned storedBits = 0;  // a pixel's bits in the file, all channels: 1 to 1024
  unsigned bitCount = 0;    // of the DIB that Read makes: 1, 4, 8, 16, 24, 32
  std::string colour;       // "bilevel", "grey", "palette", "RGB", "CMYK" ..., "+ alpha"
  Compression compression = Compression::kNone;
  std::string compressionText;  // with its variant: "G3 two-dimensional", "Deflate"
  unsigned orientation = 1;     // 1 to 8, as Exif and TIFF number them; Read turns the page upright
  bool hasProfile = false;
  Resolution resolution{};  // of the upright page
  // Memory that Read takes beside the DIB, roughly.
  uint64_t workBytes = 0;
  // Why Read refuses a page of this kind, in the words of its ImageError; empty where nothing in
  // the headers stands in the way.
  std::string obstacle{};
};

// A page in memory: an unlocked plain DIB as DibView sees it, upright, its header holding
// HeaderResolution(metadata.resolution).
struct PageImage {
  OwnedBlock dib;
  PageMetadata metadata;
};

// One open file. For one thread at a time. All members throw ImageError, FileError, Cancelled,
// std::bad_alloc; after a fault in one page the others can still be read.
class ImageReader {
 public:
  ImageReader() = default;
  ImageReader(const ImageReader&) = delete;
  ImageReader& operator=(const ImageReader&) = delete;
  virtual ~ImageReader() = default;

  virtual ImageFormat Format() const = 0;
  // At least 1. Pages count from 0.
  virtual uint32_t PageCount() = 0;
  virtual PageDescription Describe(uint32_t page) = 0;
  // Channels of 16 bits are rounded to 8, alpha is laid over white, 2 bits become 4. PNG and JPEG
  // files and the rows of BMP files that come through a pipe are kept no longer than they are
  // needed: they can be read once, and the next time is a FileError (ESPIPE). A PNG file may say
  // only behind its pixels which side is up; the page is then turned, though Describe did not know.
  virtual PageImage Read(uint32_t page) = 0;
};

// Tells the format by the content. Throws ImageError (kUnknownFormat) for another, or for one whose
// codec is not built in.
std::unique_ptr<ImageReader> OpenImage(std::unique_ptr<ByteSource> source,
                                       const ReadOptions& options = {});

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_IMAGE_READER_H
