// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/write/copy_page.h"

#include <array>
#include <limits>
#include <memory>
#include <string_view>

#include "dibkit/host/errors.h"
#include "formats/page_texts.h"
#include "formats/tiff/read/kind.h"
#include "formats/tiff/write/encode.h"

namespace dibkit::host::tiff {
namespace {

// The compression comes first: it brings tags of its own.
constexpr std::array<uint16_t, 8> kShortTags{
    TIFFTAG_COMPRESSION, TIFFTAG_BITSPERSAMPLE, TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_PLANARCONFIG,
    TIFFTAG_ORIENTATION, TIFFTAG_PREDICTOR,     TIFFTAG_PHOTOMETRIC,     TIFFTAG_RESOLUTIONUNIT};
constexpr std::array<uint16_t, 3> kLongTags{TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH,
                                            TIFFTAG_ROWSPERSTRIP};
constexpr std::array<uint16_t, 2> kRationalTags{TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION};
constexpr std::array<uint16_t, 2> kByteTags{TIFFTAG_JPEGTABLES, TIFFTAG_ICCPROFILE};

[[noreturn]] void RefuseDamaged() {
  throw ImageError(ImageFault::kDamaged, "the packed page is damaged");
}

template <typename Value, size_t kCount>
void CopyTags(TIFF* from, TIFF* to, const std::array<uint16_t, kCount>& tags) {
  for (const uint16_t tag : tags) {
    Value value{};
    if (TIFFGetField(from, tag, &value) == 1) {
      TIFFSetField(to, tag, value);
    }
  }
}

void CopyByteTags(TIFF* from, TIFF* to) {
  for (const uint16_t tag : kByteTags) {
    uint32_t count = 0;
    const void* bytes = nullptr;
    if (TIFFGetField(from, tag, &count, &bytes) == 1) {
      TIFFSetField(to, tag, count, bytes);
    }
  }
}

void CopyColourMap(TIFF* from, TIFF* to) {
  std::array<uint16_t*, 3> maps{};
  if (TIFFGetField(from, TIFFTAG_COLORMAP, &maps[0], &maps[1], &maps[2]) == 1) {
    TIFFSetField(to, TIFFTAG_COLORMAP, maps[0], maps[1], maps[2]);
  }
}

// What the JPEG codec adds when it packs.
void CopyReference(TIFF* from, TIFF* to) {
  const float* reference = nullptr;
  if (TIFFGetField(from, TIFFTAG_REFERENCEBLACKWHITE, &reference) == 1) {
    TIFFSetField(to, TIFFTAG_REFERENCEBLACKWHITE, reference);
  }
}

// The strips have their ends already.
void LeaveEndsAlone(TIFF* to) {
  uint16_t compression = COMPRESSION_NONE;
  TIFFGetField(to, TIFFTAG_COMPRESSION, &compression);
  if (compression == COMPRESSION_CCITTFAX3) {
    TIFFSetField(to, TIFFTAG_FAXMODE, FAXMODE_NORTC);
  }
}

// Profile and texts.
uint64_t DescribingBytes(TIFF* tiff) {
  uint32_t profileBytes = 0;
  const void* profile = nullptr;
  TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &profileBytes, &profile);
  uint64_t bytes = profileBytes;
  for (const uint16_t tag : kTextTags) {
    const char* text = nullptr;
    if (TIFFGetField(tiff, tag, &text) == 1) {
      bytes += std::string_view(text).size() + 1;
    }
  }
  return bytes;
}

Header HeaderOf(const ReadBytes& read) {
  const auto header = ReadHeader(read);
  if (!header) {
    RefuseDamaged();
  }
  return *header;
}

}  // namespace

PackedPage::PackedPage(std::span<const unsigned char> file)
    : file_(file),
      input_(std::make_unique<MemorySource>(file), std::numeric_limits<uint64_t>::max()),
      read_([this](uint64_t offset, std::span<unsigned char> into) {
        return input_.ReadAt(offset, into);
      }),
      header_(HeaderOf(read_)),
      handle_(input_, header_.first) {}

uint64_t PackedPage::MostBytes() const {
  TIFF* tiff = handle_.Tiff();
  const Kind kind = KindOf(tiff);
  const uint64_t rowBytes = (uint64_t{kind.width} * kind.bits * kind.samples + 7) / 8;
  return MostPageBytes(rowBytes, kind.height, CompressionOf(kind), DescribingBytes(tiff));
}

void PackedPage::CopyTo(Output& output) const {
  TIFF* from = handle_.Tiff();
  TIFF* to = output.Tiff();
  CopyTags<uint16_t>(from, to, kShortTags);
  CopyTags<uint32_t>(from, to, kLongTags);
  CopyTags<float>(from, to, kRationalTags);
  // In the order of SetMetadata, in which libtiff lays their values down.
  CopyByteTags(from, to);
  CopyTags<const char*>(from, to, kTextTags);
  CopyColourMap(from, to);
  CopyReference(from, to);
  LeaveEndsAlone(to);
  CopyStrips(output);
  output.EndPage(ExactResolution());
}

void PackedPage::CopyStrips(Output& output) const {
  TIFF* from = handle_.Tiff();
  for (uint32_t strip = 0; strip < TIFFNumberOfStrips(from); ++strip) {
    const uint64_t offset = TIFFGetStrileOffset(from, strip);
    const uint64_t count = TIFFGetStrileByteCount(from, strip);
    if (offset > file_.size() || count > file_.size() - offset) {
      RefuseDamaged();
    }
    const auto bytes = file_.subspan(static_cast<size_t>(offset), static_cast<size_t>(count));
    // libtiff takes bytes that it may change, and does not change them.
    auto* data = const_cast<unsigned char*>(bytes.data());
    const auto size = static_cast<tmsize_t>(bytes.size());
    output.Require(TIFFWriteRawStrip(output.Tiff(), strip, data, size) == size);
  }
}

std::optional<FileResolution> PackedPage::ExactResolution() const {
  const auto directory = ReadDirectory(read_, header_.form, header_.first);
  if (!directory) {
    RefuseDamaged();
  }
  const auto x = ReadRational(read_, header_.form, directory->Find(TIFFTAG_XRESOLUTION));
  const auto y = ReadRational(read_, header_.form, directory->Find(TIFFTAG_YRESOLUTION));
  return x && y ? std::optional(FileResolution{RESUNIT_NONE, *x, *y}) : std::nullopt;
}

}  // namespace dibkit::host::tiff
