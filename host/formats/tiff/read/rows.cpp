// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/rows.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "dibkit/host/errors.h"

namespace dibkit::host::tiff {
namespace {

constexpr const char* kDamagedRows = "the rows of the page end early or are damaged";

// Strips up to this size are decoded whole, which some codecs do better.
constexpr uint64_t kSmallStripBytes = uint64_t{1} << 20;

uint32_t StripsOfPlane(const Kind& kind) {
  return kind.height / kind.rows + (kind.height % kind.rows != 0 ? 1 : 0);
}

uint32_t StripOf(const Kind& kind, uint16_t plane, uint32_t y) {
  return plane * StripsOfPlane(kind) + y / kind.rows;
}

// Reads in place, however large the strips are: libtiff would fetch each as a whole.
class PlainRows : public RowReader {
 public:
  PlainRows(Handle& handle, const Kind& kind, uint16_t plane)
      : handle_(handle),
        kind_(kind),
        plane_(plane),
        rowBytes_(static_cast<size_t>(TIFFScanlineSize(handle.Tiff()))) {
    uint16_t order = FILLORDER_MSB2LSB;
    TIFFGetFieldDefaulted(handle.Tiff(), TIFFTAG_FILLORDER, &order);
    lowBitFirst_ = order == FILLORDER_LSB2MSB;
    swapped_ = TIFFIsByteSwapped(handle.Tiff()) != 0;
  }

  const unsigned char* Row(uint32_t y, unsigned char* scratch) override {
    const uint64_t strip = TIFFGetStrileOffset(handle_.Tiff(), StripOf(kind_, plane_, y));
    const uint64_t offset = strip + uint64_t{y % kind_.rows} * rowBytes_;
    const size_t got = handle_.Source().ReadAt(offset, std::span(scratch, rowBytes_));
    if (got != rowBytes_) {
      throw ImageError(ImageFault::kDamaged,
                       "the file ends inside row " + std::to_string(y) + " of the page");
    }
    Reorder(scratch);
    return scratch;
  }

 private:
  void Reorder(unsigned char* row) const {
    const auto bytes = static_cast<tmsize_t>(rowBytes_);
    if (lowBitFirst_) {
      TIFFReverseBits(row, bytes);
    }
    if (!swapped_) {
      return;
    }
    if (kind_.bits == 16) {
      TIFFSwabArrayOfShort(reinterpret_cast<uint16_t*>(row), bytes / 2);
    } else if (kind_.bits == 24) {
      TIFFSwabArrayOfTriples(row, bytes / 3);
    } else if (kind_.bits == 32) {
      TIFFSwabArrayOfLong(reinterpret_cast<uint32_t*>(row), bytes / 4);
    }
  }

  Handle& handle_;
  Kind kind_;
  uint16_t plane_;
  size_t rowBytes_;
  bool lowBitFirst_;
  bool swapped_;
};

class ScanlineRows : public RowReader {
 public:
  ScanlineRows(Handle& handle, const Kind& kind, uint16_t plane)
      : handle_(handle), plane_(plane), lenient_(kind.compression == COMPRESSION_CCITTFAX3) {}

  const unsigned char* Row(uint32_t y, unsigned char* scratch) override {
    const bool done = TIFFReadScanline(handle_.Tiff(), scratch, y, plane_) == 1;
    // A line that was hurt on its way is left behind at the next end-of-line code.
    if (lenient_) {
      handle_.RequireAtLeast(done, kDamagedRows);
    } else {
      handle_.Require(done, kDamagedRows);
    }
    return scratch;
  }

 private:
  Handle& handle_;
  uint16_t plane_;
  bool lenient_;
};

class StripRows : public RowReader {
 public:
  StripRows(Handle& handle, const Kind& kind, uint16_t plane)
      : handle_(handle),
        kind_(kind),
        plane_(plane),
        rowBytes_(static_cast<size_t>(TIFFScanlineSize(handle.Tiff()))),
        strip_(rowBytes_ * kind.rows) {}

  const unsigned char* Row(uint32_t y, unsigned char* /*scratch*/) override {
    const uint32_t number = StripOf(kind_, plane_, y);
    if (number != loaded_) {
      const size_t rows = std::min(kind_.rows, kind_.height - y);
      Load(number, std::span(strip_).first(rows * rowBytes_));
      loaded_ = number;
    }
    return strip_.data() + rowBytes_ * (y % kind_.rows);
  }

 private:
  void Load(uint32_t number, std::span<unsigned char> rows) {
    const auto bytes = static_cast<tmsize_t>(rows.size());
    const tmsize_t got = TIFFReadEncodedStrip(handle_.Tiff(), number, rows.data(), bytes);
    handle_.Require(got == bytes, kDamagedRows);
  }

  static constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();

  Handle& handle_;
  Kind kind_;
  uint16_t plane_;
  size_t rowBytes_;
  std::vector<unsigned char> strip_;
  uint32_t loaded_ = kNone;
};

uint64_t StripBytes(TIFF* tiff, const Kind& kind) {
  return static_cast<uint64_t>(TIFFScanlineSize(tiff)) * kind.rows;
}

bool TakesWholeStrips(TIFF* tiff, const Kind& kind) {
  return kind.compression != COMPRESSION_CCITTFAX3 && kind.compression != COMPRESSION_CCITTFAX4 &&
         StripBytes(tiff, kind) <= kSmallStripBytes;
}

// The largest compressed strip, which libtiff fetches whole; what is not there it does not fetch.
uint64_t LargestStored(Handle& handle) {
  TIFF* tiff = handle.Tiff();
  uint64_t most = 0;
  const uint32_t strips = TIFFNumberOfStrips(tiff);
  for (uint32_t i = 0; i < strips; ++i) {
    most = std::max(most, TIFFGetStrileByteCount(tiff, i));
  }
  return std::min(most, handle.Source().Size());
}

}  // namespace

std::unique_ptr<RowReader> MakeRowReader(Handle& handle, const Kind& kind, uint16_t plane) {
  if (kind.compression == COMPRESSION_NONE) {
    return std::make_unique<PlainRows>(handle, kind, plane);
  }
  if (TakesWholeStrips(handle.Tiff(), kind)) {
    return std::make_unique<StripRows>(handle, kind, plane);
  }
  return std::make_unique<ScanlineRows>(handle, kind, plane);
}

uint64_t RowReaderBytes(Handle& handle, const Kind& kind) {
  if (kind.compression == COMPRESSION_NONE) {
    return 0;
  }
  TIFF* tiff = handle.Tiff();
  return LargestStored(handle) + (TakesWholeStrips(tiff, kind) ? StripBytes(tiff, kind) : 0);
}

}  // namespace dibkit::host::tiff
