// SPDX-License-Identifier: Apache-2.0
//
// Pages as JPEG files: baseline, colours at half the resolution of grey.
#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "formats/jpeg.h"
#include "formats/jpeg/metadata.h"

namespace dibkit::host {
namespace {

constexpr size_t kBufferBytes = size_t{64} << 10;
constexpr uint32_t kRowsAtOnce = 16;

// A destination manager over a sink.
class JpegTarget : public jpeg_destination_mgr {
 public:
  explicit JpegTarget(ByteSink& sink) : jpeg_destination_mgr{}, sink_(sink), buffer_(kBufferBytes) {
    init_destination = Begin;
    empty_output_buffer = Empty;
    term_destination = End;
  }

 private:
  static void Begin(j_compress_ptr object) { Of(object).Refill(); }

  // Libjpeg calls it with a full buffer, whatever the count says.
  static boolean Empty(j_compress_ptr object) {
    Of(object).Send(object, kBufferBytes);
    return TRUE;
  }

  static void End(j_compress_ptr object) {
    Of(object).Send(object, kBufferBytes - Of(object).free_in_buffer);
  }

  static JpegTarget& Of(j_compress_ptr object) { return *static_cast<JpegTarget*>(object->dest); }

  void Refill() {
    next_output_byte = buffer_.data();
    free_in_buffer = kBufferBytes;
  }

  void Send(j_compress_ptr object, size_t bytes) {
    jpeg::Guard& guard = jpeg::Guard::Of(reinterpret_cast<j_common_ptr>(object));
    if (!guard.Caught([&] { sink_.Write(std::span(buffer_).first(bytes)); })) {
      guard.Leave();
    }
    Refill();
  }

  ByteSink& sink_;
  std::vector<unsigned char> buffer_;
};

// What libjpeg takes of a DIB: its own rows at 24 and 32 bits, otherwise rows made through the
// table, grey where all of it is.
class SourceRows {
 public:
  explicit SourceRows(const DibView& dib) : dib_(dib), grey_(dib.HasGreyTable()) {
    if (dib.BitCount() <= 8) {
      made_.resize(kRowsAtOnce * RowBytes());
    }
  }

  bool IsGrey() const { return grey_; }
  J_COLOR_SPACE Space() const {
    if (grey_) {
      return JCS_GRAYSCALE;
    }
    return dib_.BitCount() == 32 ? JCS_EXT_BGRX : JCS_EXT_BGR;
  }
  int Channels() const {
    if (grey_) {
      return 1;
    }
    return dib_.BitCount() == 32 ? 4 : 3;
  }

  // Row `y` from the top, in place `slot` where it has to be made. It is only read.
  unsigned char* Row(uint32_t y, uint32_t slot) {
    const auto row = dib_.Row(dib_.Height() - 1 - y);
    if (dib_.BitCount() > 8) {
      return const_cast<unsigned char*>(row.data());
    }
    unsigned char* made = made_.data() + slot * RowBytes();
    Make(row.data(), made);
    return made;
  }

 private:
  size_t RowBytes() const { return size_t{dib_.Width()} * static_cast<unsigned>(Channels()); }

  void Make(const unsigned char* from, unsigned char* to) const {
    const unsigned bits = dib_.BitCount();
    const unsigned perByte = 8 / bits;
    const unsigned mask = (1U << bits) - 1;
    const auto channels = static_cast<unsigned>(Channels());
    const auto table = dib_.Table();
    for (uint32_t x = 0; x < dib_.Width(); ++x, to += channels) {
      const unsigned shift = (perByte - 1 - x % perByte) * bits;
      const unsigned index = unsigned{from[x / perByte]} >> shift & mask;
      std::copy_n(table.begin() + index * 4, channels, to);
    }
  }

  const DibView& dib_;
  bool grey_;
  std::vector<unsigned char> made_;
};

// One file on its way into a sink.
class JpegEncoder {
 public:
  JpegEncoder(ByteSink& sink, const DibView& dib, const PageMetadata& metadata, int quality)
      : height_(dib.Height()),
        rows_(dib),
        blocks_(metadata, rows_.IsGrey() ? ProfileSpace::kGrey : ProfileSpace::kRgb),
        target_(sink) {
    guard_.Watch(object_);
    guard_.Run([&] {
      jpeg_create_compress(&object_);
      object_.dest = &target_;
      object_.image_width = dib.Width();
      object_.image_height = dib.Height();
      object_.in_color_space = rows_.Space();
      object_.input_components = rows_.Channels();
      jpeg_set_defaults(&object_);
      jpeg_set_quality(&object_, quality, TRUE);
      jpeg::SetDensity(object_, metadata.resolution);
    });
  }

  void Encode() {
    guard_.Run([this] {
      jpeg_start_compress(&object_, TRUE);
      blocks_.WriteTo(object_);
    });
    std::array<unsigned char*, kRowsAtOnce> rows{};
    for (uint32_t y = 0; y < height_; y += kRowsAtOnce) {
      const uint32_t count = std::min(kRowsAtOnce, height_ - y);
      for (uint32_t i = 0; i < count; ++i) {
        rows[i] = rows_.Row(y + i, i);
      }
      guard_.Run([&] { jpeg_write_scanlines(&object_, rows.data(), count); });
    }
    guard_.Run([this] { jpeg_finish_compress(&object_); });
  }

 private:
  uint32_t height_;
  SourceRows rows_;
  jpeg::Blocks blocks_;
  JpegTarget target_;
  jpeg::Guard guard_;
  jpeg::Compressor object_;
};

class JpegWriter : public OnePageWriter {
 public:
  explicit JpegWriter(ByteSink& sink) : OnePageWriter(ImageFormat::kJpeg, sink) {}

 private:
  void RequireSize(const DibView& dib) const override {
    if (dib.Width() > JPEG_MAX_DIMENSION || dib.Height() > JPEG_MAX_DIMENSION) {
      throw ImageError(ImageFault::kNotHeld, "JPEG files cannot hold images of more than " +
                                                 std::to_string(JPEG_MAX_DIMENSION) +
                                                 " pixels in width or height");
    }
  }

  void Write(ByteSink& sink, const DibView& dib, const PageMetadata& metadata,
             const PageOptions& options) override {
    JpegEncoder(sink, dib, metadata, options.jpegQuality).Encode();
  }
};

#define DIBKIT_TEXT_OF(...) #__VA_ARGS__
#define DIBKIT_VALUE_OF(macro) DIBKIT_TEXT_OF(macro)

std::string Version() { return "libjpeg-turbo " DIBKIT_VALUE_OF(LIBJPEG_TURBO_VERSION); }

}  // namespace

std::unique_ptr<ImageWriter> MakeJpeg(ByteSink& sink) { return std::make_unique<JpegWriter>(sink); }

const Codec kJpegCodec{ImageFormat::kJpeg, Version, OpenJpeg, MakeJpeg};

}  // namespace dibkit::host
