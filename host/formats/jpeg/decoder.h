// SPDX-License-Identifier: Apache-2.0
//
// One pass over a JPEG file: its header, then its rows.
#ifndef DIBKIT_HOST_FORMATS_JPEG_DECODER_H
#define DIBKIT_HOST_FORMATS_JPEG_DECODER_H

#include <cstdint>
#include <memory>
#include <span>

#include "formats/jpeg/guard.h"
#include "formats/jpeg/source.h"

namespace dibkit::host::jpeg {

// What the rows that are read hold.
enum class ColourSpace { kGrey, kBgr, kCmyk };

// Members throw ImageError, Cancelled, std::bad_alloc and what the source throws.
class Decoder {
 public:
  // Reads up to the image. A larger one than the options allow is refused (kTooManyPixels) before
  // anything of it is read. `options` must outlive the decoder.
  Decoder(ByteSource& source, const ReadOptions& options);
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  const jpeg_decompress_struct& Object() const { return object_; }
  const KeptMarkers& Markers() const { return source_.Markers(); }
  ColourSpace Colour() const { return colour_; }
  // Memory that decoding takes, roughly: all coefficients of an image that comes in several scans.
  uint64_t WorkBytes() const;

  // To be called once, before the first row.
  void BeginRows();
  // Fills some of `rows`, from the first on, and returns how many: at least one. Each has room for
  // a row of the colour.
  uint32_t ReadRows(std::span<unsigned char* const> rows);
  // To be called when all rows were read: the end of the file.
  void ReadRest();

 private:
  static void Watch(j_common_ptr object);
  void CheckProgress();
  void ChooseColour();
  uint64_t Samples() const;

  struct Progress : jpeg_progress_mgr {
    Decoder* decoder;
  };

  const ReadOptions& options_;
  Guard guard_;
  Source source_;
  Decompressor object_;
  Progress progress_{};
  ColourSpace colour_ = ColourSpace::kGrey;
  unsigned seenComponents_ = 0;  // a bit for each that a scan has brought
};

}  // namespace dibkit::host::jpeg

#endif  // DIBKIT_HOST_FORMATS_JPEG_DECODER_H
