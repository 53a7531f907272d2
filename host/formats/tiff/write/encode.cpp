// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/write/encode.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace dibkit::host::tiff {
namespace {

// Strips of about this size keep the work in a cache.
constexpr uint64_t kStripBytes = uint64_t{128} << 10;
// A JPEG strip is a multiple of what two-fold subsampling takes together.
constexpr uint32_t kJpegRows = 16;
constexpr int kDeflateLevel = 4;  // of 9: within a tenth of the smallest, in a third of the time
// What libtiff collects of a strip before it writes.
constexpr tmsize_t kFaxBufferBytes = tmsize_t{64} << 10;

bool IsFax(Compression compression) {
  return compression == Compression::kG3 || compression == Compression::kG4;
}

uint16_t TagOf(Compression compression) {
  switch (compression) {
    case Compression::kLzw:
      return COMPRESSION_LZW;
    case Compression::kDeflate:
      return COMPRESSION_ADOBE_DEFLATE;
    case Compression::kPackBits:
      return COMPRESSION_PACKBITS;
    case Compression::kG3:
      return COMPRESSION_CCITTFAX3;
    case Compression::kG4:
      return COMPRESSION_CCITTFAX4;
    case Compression::kJpeg:
      return COMPRESSION_JPEG;
    default:
      return COMPRESSION_NONE;
  }
}

uint32_t RowsOfStrip(const DibView& dib, const StoredForm& form, Compression compression) {
  const uint32_t height = dib.Height();
  if (IsFax(compression)) {
    return height;
  }
  const uint64_t step = compression == Compression::kJpeg ? kJpegRows : 1;
  const uint64_t rows = kStripBytes / form.RowBytes(dib.Width()) / step * step;
  return static_cast<uint32_t>(std::min<uint64_t>(std::max(rows, step), height));
}

// Neighbouring greys and colours are alike, neighbouring numbers of a palette need not be.
bool TakesDifferences(const StoredForm& form) { return form.bits == 8 && !form.HasColourMap(); }

void SetCodec(TIFF* tiff, const StoredForm& form, const PageOptions& options) {
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, TagOf(options.compression));
  switch (options.compression) {
    case Compression::kDeflate:
      TIFFSetField(tiff, TIFFTAG_ZIPQUALITY, kDeflateLevel);
      [[fallthrough]];
    case Compression::kLzw:
      TIFFSetField(tiff, TIFFTAG_PREDICTOR,
                   TakesDifferences(form) ? PREDICTOR_HORIZONTAL : PREDICTOR_NONE);
      break;
    case Compression::kJpeg:
      TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, options.jpegQuality);
      TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
      break;
    default:
      break;
  }
}

// From a DIB's table of 2^bits entries.
void SetColourMap(TIFF* tiff, std::span<const unsigned char> table) {
  std::array<std::vector<uint16_t>, 3> maps;
  for (size_t at = 0; at < table.size(); at += 4) {
    for (size_t channel = 0; channel < maps.size(); ++channel) {
      maps[channel].push_back(static_cast<uint16_t>(table[at + channel] * 257U));
    }
  }
  TIFFSetField(tiff, TIFFTAG_COLORMAP, maps[2].data(), maps[1].data(), maps[0].data());
}

// Rows straight from the DIB; the whole page is one strip.
void EncodeFax(Output& output, const DibView& dib) {
  TIFF* tiff = output.Tiff();
  output.Require(TIFFWriteBufferSetup(tiff, nullptr, kFaxBufferBytes) == 1);
  for (uint32_t y = 0; y < dib.Height(); ++y) {
    // libtiff takes rows that it may change, and does not change them.
    auto* row = const_cast<unsigned char*>(dib.Row(dib.Height() - 1 - y).data());
    output.Require(TIFFWriteScanline(tiff, row, y, 0) == 1);
  }
}

void EncodeStrips(Output& output, const DibView& dib, const StoredForm& form, uint32_t stripRows) {
  const auto rowBytes = static_cast<size_t>(form.RowBytes(dib.Width()));
  std::vector<unsigned char> strip(rowBytes * stripRows);
  uint32_t number = 0;
  for (uint32_t y = 0; y < dib.Height();) {
    const uint32_t rows = std::min(stripRows, dib.Height() - y);
    for (uint32_t i = 0; i < rows; ++i, ++y) {
      StoreRow(form, dib.BitCount(), dib.Row(dib.Height() - 1 - y).data(), dib.Width(),
               strip.data() + i * rowBytes);
    }
    const auto size = static_cast<tmsize_t>(rows * rowBytes);
    output.Require(TIFFWriteEncodedStrip(output.Tiff(), number++, strip.data(), size) == size);
  }
}

// How many times larger the worst of pages become, rounded up.
uint64_t GrowthOf(Compression compression) {
  switch (compression) {
    case Compression::kNone:
      return 1;
    case Compression::kG3:
    case Compression::kG4:
      return 8;
    case Compression::kJpeg:
      return 4;
    default:
      return 2;
  }
}

}  // namespace

uint64_t MostPageBytes(uint64_t rowBytes, uint32_t height, Compression compression,
                       uint64_t describingBytes) {
  constexpr uint64_t kMoreOfRow = 32;         // ends of lines, offsets of strips
  constexpr uint64_t kDirectoryBytes = 4096;  // with the colour map
  return (rowBytes * GrowthOf(compression) + kMoreOfRow) * height + kDirectoryBytes +
         describingBytes;
}

void SetForm(TIFF* tiff, const DibView& dib, const StoredForm& form, const PageOptions& options) {
  const bool jpegColours = options.compression == Compression::kJpeg && form.samples == 3;
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, dib.Width());
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, dib.Height());
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, form.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, form.samples);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  SetCodec(tiff, form, options);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, jpegColours ? PHOTOMETRIC_YCBCR : form.photometric);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, RowsOfStrip(dib, form, options.compression));
  if (form.HasColourMap()) {
    SetColourMap(tiff, dib.Table());
  }
}

void Encode(Output& output, const DibView& dib, const StoredForm& form, Compression compression) {
  if (IsFax(compression)) {
    EncodeFax(output, dib);
  } else {
    EncodeStrips(output, dib, form, RowsOfStrip(dib, form, compression));
  }
}

}  // namespace dibkit::host::tiff
