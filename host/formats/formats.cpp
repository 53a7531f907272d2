// SPDX-License-Identifier: Apache-2.0
//
// The table of formats.
#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <utility>
#include <vector>

#include "dibkit/host/encoded_page.h"
#include "formats/codec.h"

namespace dibkit::host {
namespace {

using Bytes = std::span<const unsigned char>;

const Codec* const kCodecs[] = {
    &kBmpCodec,
#ifdef DIBKIT_HAS_TIFF
    &kTiffCodec,
#endif
#ifdef DIBKIT_HAS_PNG
    &kPngCodec,
#endif
#ifdef DIBKIT_HAS_JPEG
    &kJpegCodec,
#endif
};

const Codec* Find(ImageFormat format) {
  const auto* const found = std::find_if(std::begin(kCodecs), std::end(kCodecs),
                                         [format](const Codec* c) { return c->format == format; });
  return found == std::end(kCodecs) ? nullptr : *found;
}

const Codec& Require(ImageFormat format) {
  const Codec* codec = Find(format);
  if (codec == nullptr) {
    throw ImageError(ImageFault::kUnknownFormat,
                     std::string(FormatName(format)) + " files are not built in here");
  }
  return *codec;
}

// Where a page is packed apart from its file.
class EncodingSink : public MemorySink {
 public:
  explicit EncodingSink(const CancelHook& cancelled) : cancelled_(cancelled) {}
  void Write(std::span<const unsigned char> bytes) override {
    StopIf(cancelled_);
    MemorySink::Write(bytes);
  }

 private:
  const CancelHook& cancelled_;
};

bool BeginsWith(Bytes bytes, std::string_view start) {
  return bytes.size() >= start.size() &&
         std::equal(start.begin(), start.end(), bytes.begin(),
                    [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
}

}  // namespace

const char* FormatName(ImageFormat format) {
  constexpr std::array kNames{"BMP", "TIFF", "PNG", "JPEG"};
  return kNames[static_cast<size_t>(format)];
}

const char* CompressionName(Compression compression) {
  constexpr std::array kNames{"none", "LZW",  "Deflate", "PackBits", "G3",
                              "G4",   "JPEG", "RLE",     "other"};
  return kNames[static_cast<size_t>(compression)];
}

const char* UsualSuffix(ImageFormat format) {
  constexpr std::array kSuffixes{".bmp", ".tif", ".png", ".jpg"};
  return kSuffixes[static_cast<size_t>(format)];
}

std::vector<ImageFormat> BuiltInFormats() {
  std::vector<ImageFormat> formats;
  for (const Codec* codec : kCodecs) {
    formats.push_back(codec->format);
  }
  return formats;
}

bool IsBuiltIn(ImageFormat format) { return Find(format) != nullptr; }

std::string CodecVersion(ImageFormat format) {
  const Codec* codec = Find(format);
  return codec == nullptr ? "" : codec->version();
}

std::optional<ImageFormat> FormatOfContent(Bytes start) {
  using namespace std::string_view_literals;
  constexpr size_t kFirstOfArray = 14;
  if (BeginsWith(start, "BM") || (BeginsWith(start, "BA") && start.size() >= kFormatBytes &&
                                  BeginsWith(start.subspan(kFirstOfArray), "BM"))) {
    return ImageFormat::kBmp;
  }
  for (const std::string_view magic : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
    if (BeginsWith(start, magic)) {
      return ImageFormat::kTiff;
    }
  }
  if (BeginsWith(start, "\x89PNG\r\n\x1A\n")) {
    return ImageFormat::kPng;
  }
  if (BeginsWith(start, "\xFF\xD8\xFF")) {
    return ImageFormat::kJpeg;
  }
  return std::nullopt;
}

std::optional<ImageFormat> FormatOfName(std::string_view path) {
  const size_t dot = path.find_last_of("./");
  if (dot == std::string_view::npos || path[dot] == '/') {
    return std::nullopt;
  }
  std::string suffix(path.substr(dot + 1));
  std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  if (suffix == "bmp" || suffix == "dib") {
    return ImageFormat::kBmp;
  }
  if (suffix == "tif" || suffix == "tiff") {
    return ImageFormat::kTiff;
  }
  if (suffix == "png") {
    return ImageFormat::kPng;
  }
  if (suffix == "jpg" || suffix == "jpeg") {
    return ImageFormat::kJpeg;
  }
  return std::nullopt;
}

bool HoldsPages(ImageFormat format) { return format == ImageFormat::kTiff; }

bool Holds(ImageFormat format, Compression compression, unsigned bitCount, bool greyTable) {
  switch (format) {
    case ImageFormat::kBmp:
      return compression == Compression::kNone;
    case ImageFormat::kPng:
      return compression == Compression::kDeflate && bitCount != 16;
    case ImageFormat::kJpeg:
      return compression == Compression::kJpeg && bitCount != 16;
    case ImageFormat::kTiff:
      break;
  }
  switch (compression) {
    case Compression::kNone:
    case Compression::kLzw:
    case Compression::kDeflate:
    case Compression::kPackBits:
      return bitCount != 16;
    case Compression::kG3:
    case Compression::kG4:
      return bitCount == 1;
    case Compression::kJpeg:
      return bitCount == 24 || bitCount == 32 || (bitCount == 8 && greyTable);
    default:
      return false;
  }
}

Compression UsualCompression(ImageFormat format, unsigned bitCount) {
  switch (format) {
    case ImageFormat::kBmp:
      return Compression::kNone;
    case ImageFormat::kPng:
      return Compression::kDeflate;
    case ImageFormat::kJpeg:
      return Compression::kJpeg;
    default:
      return bitCount == 1 ? Compression::kG4 : Compression::kDeflate;
  }
}

ProfileSpace SpaceOfProfile(const std::vector<unsigned char>& profile) {
  constexpr size_t kSpaceAt = 16;
  constexpr size_t kHeaderBytes = 128;
  if (profile.size() < kHeaderBytes) {
    return ProfileSpace::kOther;
  }
  const Bytes space = Bytes(profile).subspan(kSpaceAt, 4);
  if (BeginsWith(space, "GRAY")) {
    return ProfileSpace::kGrey;
  }
  return BeginsWith(space, "RGB ") ? ProfileSpace::kRgb : ProfileSpace::kOther;
}

std::unique_ptr<ImageReader> OpenImage(std::unique_ptr<ByteSource> source,
                                       const ReadOptions& options) {
  std::array<unsigned char, kFormatBytes> start{};
  const auto there = static_cast<size_t>(source->SizeUpTo(start.size()));
  source->Read(0, std::span(start).first(there));
  const auto format = FormatOfContent(std::span(start).first(there));
  if (!format) {
    throw ImageError(ImageFault::kUnknownFormat,
                     there == 0 ? "the file is empty" : "not a BMP, TIFF, PNG or JPEG file");
  }
  return Require(*format).open(std::move(source), options);
}

std::unique_ptr<ImageWriter> MakeWriter(ImageFormat format, ByteSink& sink) {
  return Require(format).make(sink);
}

EncodedPage EncodePage(ImageFormat format, const DibView& dib, const PageMetadata& metadata,
                       const PageOptions& options, const CancelHook& cancelled) {
  return EncodePage(
      format, [&](ImageWriter& writer) { writer.Add(dib, metadata, options); }, cancelled);
}

EncodedPage EncodePage(ImageFormat format, const AddPage& add, const CancelHook& cancelled) {
  EncodingSink sink(cancelled);
  const auto writer = MakeWriter(format, sink);
  add(*writer);
  writer->Finish();
  std::vector<unsigned char> bytes = sink.TakeBytes();
  // It may wait for long until it is appended.
  bytes.shrink_to_fit();
  return EncodedPage(format, std::move(bytes));
}

void RequireHeld(ImageFormat format, Compression compression, unsigned bitCount, bool greyTable) {
  if (Holds(format, compression, bitCount, greyTable)) {
    return;
  }
  const bool atAnyRate = Holds(format, UsualCompression(format, bitCount), bitCount, greyTable);
  throw ImageError(
      ImageFault::kNotHeld,
      std::string(FormatName(format)) + " files cannot hold " + std::to_string(bitCount) +
          "-bit images" +
          (atAnyRate ? std::string(" with ") + CompressionName(compression) + " compression"
                     : std::string()));
}

void RequireHeld(ImageFormat format, Compression compression, const DibView& dib) {
  RequireHeld(format, compression, dib.BitCount(), dib.HasGreyTable());
}

}  // namespace dibkit::host
