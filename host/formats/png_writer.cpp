// SPDX-License-Identifier: Apache-2.0
//
// Pages as PNG files, row by row.
#include <vector>

#include "formats/png.h"
#include "formats/png/filter.h"
#include "formats/png/form.h"
#include "formats/png/metadata.h"

namespace dibkit::host {
namespace {

// libspng hands over pieces of 8 KiB and less. Sinks ask whether to stop, and so many bytes of an
// empty page stand for a thousand times as many.
constexpr size_t kBufferBytes = size_t{16} << 10;

// How hard to pack. Measured in milliseconds and kilobytes; the pages are A4, RGB and grey at 200
// dpi with the filters "sub" and "up", whichever fits a row better, one bit at 300 dpi and a small
// form in 256 colours without filters, which make these larger:
//
//   level         1          2          4          5          6
//   RGB       55  1297   64  1234   89  1005  142   971  280   933
//   grey      22   536   26   502   34   413   53   399   98   383
//   palette   11   306   13   296   15   276   28   270   59   263
//   one bit    5   148    6   142   11   126   13   121   25   116
//
// The others' usual file of the same pages, level 6 without filters, has 1818 kilobytes in RGB and
// 506 in grey. Average and Paeth filters pack no better and take longer, runs alone (Z_RLE) pack
// worse than level 1 and are no faster.
int LevelOf(const png::Form& form) {
  if (form.Header().bit_depth < 8) {
    return 5;
  }
  return form.IsGrey() || form.IsPalette() ? 4 : 1;
}

// One file on its way into a sink.
class PngEncoder {
 public:
  PngEncoder(ByteSink& sink, const DibView& dib, const PageMetadata& metadata)
      : sink_(sink),
        dib_(dib),
        form_(dib),
        chunks_(metadata, form_.IsGrey() ? ProfileSpace::kGrey : ProfileSpace::kRgb),
        context_(SPNG_CTX_ENCODER) {
    buffer_.reserve(kBufferBytes);
  }

  void Encode() {
    spng_ctx* spng = context_.Spng();
    context_.Check(spng_set_png_stream(spng, WriteBytes, this));
    SetHeader();
    SetPacking();
    context_.Check(spng_encode_image(spng, nullptr, 0, SPNG_FMT_PNG,
                                     SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE));
    EncodeRows();
    sink_.Write(buffer_);
  }

 private:
  static int WriteBytes(spng_ctx* /*context*/, void* encoder, void* bytes, size_t length) {
    auto& self = *static_cast<PngEncoder*>(encoder);
    const bool written = self.context_.Caught([&] {
      self.Append({static_cast<const unsigned char*>(bytes), length});
    });
    return written ? SPNG_OK : SPNG_IO_ERROR;
  }

  void Append(std::span<const unsigned char> bytes) {
    if (buffer_.size() + bytes.size() > kBufferBytes) {
      sink_.Write(buffer_);
      buffer_.clear();
    }
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  }

  void SetHeader() {
    spng_ihdr header = form_.Header();
    context_.Check(spng_set_ihdr(context_.Spng(), &header));
    if (form_.IsPalette()) {
      spng_plte palette = form_.Palette();
      context_.Check(spng_set_plte(context_.Spng(), &palette));
    }
    chunks_.SetIn(context_);
  }

  void SetPacking() {
    context_.Check(spng_set_option(context_.Spng(), SPNG_IMG_COMPRESSION_LEVEL, LevelOf(form_)));
    context_.Check(spng_set_option(context_.Spng(), SPNG_IMG_COMPRESSION_STRATEGY, 0));
    SetFilter(form_.HasLevels() ? SPNG_FILTER_CHOICE_SUB : SPNG_DISABLE_FILTERING);
  }

  void SetFilter(int filter) {
    context_.Check(spng_set_option(context_.Spng(), SPNG_FILTER_CHOICE, filter));
  }

  void EncodeRows() {
    std::vector<unsigned char> made(form_.RowBytes());
    for (uint32_t y = dib_.Height(); y-- > 0;) {
      const auto row = dib_.Row(y);
      if (form_.HasLevels() && y + 1 < dib_.Height()) {
        ChooseFilter(row, dib_.Row(y + 1));
      }
      form_.MakeRow(row, made.data());
      context_.Check(spng_encode_row(context_.Spng(), made.data(), made.size()));
    }
  }

  void ChooseFilter(std::span<const unsigned char> row, std::span<const unsigned char> above) {
    const size_t pixelBytes = dib_.BitCount() / 8;
    const bool up =
        png::IsLikeRowAbove(row.data(), above.data(), dib_.Width() * pixelBytes, pixelBytes);
    SetFilter(up ? SPNG_FILTER_CHOICE_UP : SPNG_FILTER_CHOICE_SUB);
  }

  ByteSink& sink_;
  const DibView& dib_;
  png::Form form_;
  png::Chunks chunks_;
  std::vector<unsigned char> buffer_;
  png::Context context_;
};

class PngWriter : public OnePageWriter {
 public:
  explicit PngWriter(ByteSink& sink) : OnePageWriter(ImageFormat::kPng, sink) {}

 private:
  void Write(ByteSink& sink, const DibView& dib, const PageMetadata& metadata,
             const PageOptions& /*options*/) override {
    PngEncoder(sink, dib, metadata).Encode();
  }
};

std::string Version() { return std::string("libspng ") + spng_version_string(); }

}  // namespace

std::unique_ptr<ImageWriter> MakePng(ByteSink& sink) { return std::make_unique<PngWriter>(sink); }

const Codec kPngCodec{ImageFormat::kPng, Version, OpenPng, MakePng};

}  // namespace dibkit::host
