// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/page.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "convert/library_call.h"
#include "convert/plain.h"
#include "convert/raw.h"
#include "convert/smooth.h"
#include "dibkit/host/document.h"
#include "page/page_error.h"
#include "page/source_of.h"

namespace dibkit::host {
namespace {

constexpr unsigned kMostDpi = 65535;
constexpr unsigned kMostColors = 256;
constexpr int kMostThreshold = 256;

void RequireArgument(bool inRange, const char* message) {
  if (!inRange) {
    throw PageError(PageFault::kBadArgument, message);
  }
}

void Report(const ProgressHook& progress, unsigned percent) {
  if (progress && !progress(percent)) {
    throw Cancelled();
  }
}

bool IsPlainDib(std::span<unsigned char> block) {
  try {
    const DibView view(block);
    return true;
  } catch (const ImageError&) {
    return false;
  }
}

}  // namespace

Page::Page(PageImage image, ImageFormat format, Compression compression, bool raw)
    : dib_(std::move(image.dib)),
      metadata_(std::move(image.metadata)),
      format_(format),
      compression_(compression),
      raw_(raw) {}

Page Page::Open(const std::string& path, const OpenOptions& options) {
  return Document::Open(path, options).Read(options.page);
}

Page Page::FromBytes(std::span<const unsigned char> file, const OpenOptions& options) {
  return Document::FromBytes(file, options).Read(options.page);
}

Page Page::FromStream(std::istream& stream, const OpenOptions& options) {
  return Document::FromStream(stream, options).Read(options.page);
}

Page Page::FromHandle(tagHANDLE* dib, uint64_t maxPixels, bool raw) {
  return WithPageErrors([&] {
    PageImage image;
    {
      const LockedBlock lock(dib);
      const auto reader = OpenImage(SourceOfDib(lock.Bytes()), {maxPixels, {}, {}, raw});
      if (IsPlainDib(lock.Bytes())) {
        image.metadata.resolution = reader->Describe(0).resolution;
      } else {
        image = reader->Read(0);
      }
    }
    if (image.dib) {
      GlobalFree(dib);
    } else {
      image.dib.reset(dib);
    }
    return Page(std::move(image), ImageFormat::kBmp, Compression::kNone, raw);
  });
}

uint32_t Page::Width() const {
  return WithPageErrors([&] { return FieldsOf(dib_.get()).width; });
}

uint32_t Page::Height() const {
  return WithPageErrors(
      [&] { return static_cast<uint32_t>(std::abs(int64_t{FieldsOf(dib_.get()).height})); });
}

unsigned Page::BitCount() const {
  return WithPageErrors([&] { return FieldsOf(dib_.get()).bitCount; });
}

unsigned Page::DpiX() const { return DotsPerInch(HeaderResolution(metadata_.resolution).x); }

unsigned Page::DpiY() const { return DotsPerInch(HeaderResolution(metadata_.resolution).y); }

void Page::SetDpi(unsigned dpi) {
  RequireArgument(dpi >= 1 && dpi <= kMostDpi, "the resolution is not 1 to 65535 dots per inch");
  WithPageErrors([&] {
    SetPelsPerMeter(dib_.get(), PelsPerMeter(dpi), PelsPerMeter(dpi));
    metadata_.resolution = ResolutionOfDpi(dpi);
  });
}

bool Page::IsPlain() const {
  return WithPageErrors([&] { return IsPlainDib(LockedBlock(dib_.get()).Bytes()); });
}

void Page::RequirePlain() const {
  if (!IsPlain()) {
    throw PageError(PageFault::kNotPlain,
                    "the page is not plain rows, but raw as in its file; Normalize, To24, To16 or "
                    "ToGrey makes it so");
  }
}

PageRows Page::Rows() const {
  RequirePlain();
  return WithPageErrors([&] { return PageRows(dib_.get()); });
}

// `convert` makes a new DIB of the page's, or null where that will do.
template <typename Convert>
void Page::Replace(const ProgressHook& progress, Convert convert) {
  WithPageErrors([&] {
    Report(progress, 0);
    OwnedBlock result = convert();
    Report(progress, 100);
    if (result) {
      dib_ = std::move(result);
    }
  });
}

void Page::Resample(const ResampleOptions& options, const ProgressHook& progress) {
  RequireArgument(options.dpi >= 1 && options.dpi <= kMostDpi,
                  "the resolution wanted is not 1 to 65535 dots per inch");
  RequireArgument(options.fromDpi <= kMostDpi,
                  "the resolution of the page is not 1 to 65535 dots per inch");
  RequireArgument(
      !options.threshold || (*options.threshold >= 0 && *options.threshold <= kMostThreshold),
      "the threshold is not 0 to 256");
  RequireArgument(!(options.grey && (options.raw || raw_)),
                  "the library's own conversion keeps the depth: it is raw or grey, not both");
  ResampleFrom(OwnedBlock(), options, progress);
}

// `other`, which is the page in another form, or the page itself where that is null.
void Page::ResampleFrom(const OwnedBlock& other, const ResampleOptions& options,
                        const ProgressHook& progress) {
  WithPageErrors([&] {
    const OwnedBlock& source = other ? other : dib_;
    const PelsPerMetre from = HeaderResolution(
        options.fromDpi != 0 ? ResolutionOfDpi(options.fromDpi) : metadata_.resolution);
    const PelsPerMetre own = HeaderResolution(metadata_.resolution);
    SetPelsPerMeter(source.get(), from.x, from.y);
    try {
      dib_ = Resampled(
          source,
          {options.dpi, options.threshold, options.grey, options.raw || raw_, options.maxPixels},
          progress);
    } catch (...) {
      SetPelsPerMeter(source.get(), own.x, own.y);
      throw;
    }
    metadata_.resolution = ResolutionOfDpi(options.dpi);
  });
}

void Page::Prepare(const PrepareOptions& options, const ProgressHook& progress) {
  RequireArgument(!raw_, "a page that was opened raw is not prepared");
  RequireArgument(options.dpi >= 1 && options.dpi <= kMostDpi,
                  "the resolution wanted is not 1 to 65535 dots per inch");
  RequireArgument(options.fromDpi <= kMostDpi,
                  "the resolution of the page is not 1 to 65535 dots per inch");
  const Preparation preparation = WithPageErrors([&] {
    const bool isTold = options.fromDpi != 0;
    return PreparationFor(BitCount(), isTold ? options.fromDpi : DpiX(),
                          isTold ? options.fromDpi : DpiY(), options.dpi);
  });
  if (preparation.resamples) {
    const OwnedBlock smooth =
        WithPageErrors([&] { return preparation.smooths ? SmoothGrey(dib_) : OwnedBlock(); });
    ResampleFrom(smooth,
                 {.dpi = options.dpi, .fromDpi = options.fromDpi, .maxPixels = options.maxPixels},
                 progress);
    return;
  }
  Replace(progress, [] { return OwnedBlock(); });
  if (options.fromDpi != 0) {
    SetDpi(options.fromDpi);
  }
}

void Page::Quantize(const QuantizeOptions& options, const ProgressHook& progress) {
  RequireArgument(options.colors >= 1 && options.colors <= kMostColors,
                  "the number of colours is not 1 to 256");
  const auto quantized = options.raw || raw_ ? RawQuantized : PlainQuantized;
  Replace(progress, [&] { return quantized(dib_, static_cast<uint16_t>(options.colors)); });
}

void Page::ToGrey(const GreyOptions& options, const ProgressHook& progress) {
  const auto grey = raw_ ? RawToGrey : PlainToGrey;
  Replace(progress, [&] { return grey(dib_, options.rule, options.levels); });
}

void Page::To24(const ProgressHook& progress) {
  Replace(progress, [&] { return raw_ ? RawTo24(dib_) : PlainTo24(dib_); });
}

void Page::To16(const ProgressHook& progress) {
  Replace(progress, [&] { return raw_ ? RawTo16(dib_) : PlainTo16(dib_); });
}

void Page::Normalize(const ProgressHook& progress) {
  Replace(progress, [&] { return raw_ ? RawNormalized(dib_) : OwnedBlock(); });
}

PageOptions Page::PackingFor(ImageFormat format, const SaveOptions& options) const {
  RequireArgument(options.jpegQuality >= 1 && options.jpegQuality <= 100,
                  "the quality is not 1 to 100");
  const PageRows rows = Rows();
  if (options.compression) {
    return {*options.compression, options.jpegQuality};
  }
  const bool keeps = format_ == ImageFormat::kTiff && format == ImageFormat::kTiff &&
                     Holds(format, compression_, rows.BitCount(), rows.HasGreyTable());
  return {keeps ? compression_ : UsualCompression(format, rows.BitCount()), options.jpegQuality};
}

void Page::Save(const std::string& path, const SaveOptions& options) const {
  DocumentWriter writer(path, options);
  writer.Add(*this);
  writer.Commit();
}

void Page::Save(std::ostream& stream, const SaveOptions& options) const {
  RequireArgument(options.format.has_value(), "a stream does not tell the format to save in");
  WithPageErrors([&] {
    StreamSink sink(stream);
    const auto writer = MakeWriter(*options.format, sink);
    AddTo(*writer, *options.format, options);
    writer->Finish();
  });
}

void Page::AddTo(ImageWriter& writer, ImageFormat format, const SaveOptions& options) const {
  const PageOptions packing = PackingFor(format, options);
  const bool widens = BitCount() == 16 && format != ImageFormat::kBmp;
  const OwnedBlock widened = !widens ? OwnedBlock() : raw_ ? RawTo24(dib_) : PlainTo24(dib_);
  const LockedBlock lock(widened ? widened.get() : dib_.get());
  writer.Add(DibView(lock.Bytes()), metadata_, packing);
}

}  // namespace dibkit::host
