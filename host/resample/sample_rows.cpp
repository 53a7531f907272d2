// SPDX-License-Identifier: Apache-2.0
#include "resample/sample_rows.h"

#include <cstring>

#include "convert/luminance.h"

namespace dibkit::host {
namespace {

constexpr unsigned char kWhite = 255;
constexpr size_t kPixelsOfByte = 8;
constexpr uint64_t kEach = 0x0101010101010101;  // times a byte: that byte eight times

unsigned char GreyOf(std::span<const unsigned char> table, size_t index) {
  const unsigned char* entry = table.data() + index * 4;
  return Luminance(entry[0], entry[1], entry[2]);
}

// 255 for each bit that is set, the highest first.
using Octet = std::array<unsigned char, kPixelsOfByte>;

constexpr std::array<Octet, 256> kOctets = [] {
  std::array<Octet, 256> octets{};
  for (unsigned byte = 0; byte < octets.size(); ++byte) {
    for (unsigned x = 0; x < kPixelsOfByte; ++x) {
      octets[byte][x] = (byte & 0x80U >> x) != 0 ? kWhite : 0;
    }
  }
  return octets;
}();

bool IsRamp(const std::array<unsigned char, 256>& greys) {
  for (unsigned i = 0; i < greys.size(); ++i) {
    if (greys[i] != i) {
      return false;
    }
  }
  return true;
}

// Calls visit(x, index) for every pixel of a row of 4 or 8 bits.
template <typename Visit>
void ForEachIndex(const DibView& image, const unsigned char* row, Visit visit) {
  for (uint32_t x = 0; x < image.Width(); ++x) {
    const unsigned nibble = x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15U;
    visit(x, image.BitCount() == 8 ? row[x] : nibble);
  }
}

}  // namespace

unsigned DarkIndex(const DibView& bilevel) {
  return GreyOf(bilevel.Table(), 0) <= GreyOf(bilevel.Table(), 1) ? 0 : 1;
}

SampleRows::SampleRows(const DibView& image, SampleKind kind) : image_(image) {
  const bool isGrey = kind == SampleKind::kGrey || image.BitCount() == 1 || image.HasGreyTable();
  channels_ = isGrey ? 1 : 3;
  for (size_t i = 0; i < image.Table().size() / 4; ++i) {
    greys_[i] = GreyOf(image.Table(), i);
  }
  if (kind == SampleKind::kOwn && image.BitCount() == 1) {
    const unsigned dark = DarkIndex(image);
    greys_[dark] = 0;
    greys_[1 - dark] = kWhite;
  }
  isStored_ = image.BitCount() == 24 ? !isGrey : image.BitCount() == 8 && IsRamp(greys_) && isGrey;
  row_.resize(isStored_ ? 0 : size_t{image.Width()} * channels_ + kPixelsOfByte);
}

const unsigned char* SampleRows::Row(uint32_t stored) {
  const unsigned char* row = image_.Row(stored).data();
  if (isStored_) {
    return row;
  }
  if (image_.BitCount() == 24) {
    LuminanceRow(row, row_.data(), image_.Width());
  } else if (image_.BitCount() == 1) {
    ExpandBits(row);
  } else if (channels_ == 1) {
    LookUpGreys(row);
  } else {
    LookUpColours(row);
  }
  return row_.data();
}

void SampleRows::ExpandBits(const unsigned char* row) {
  const uint64_t clear = greys_[0] * kEach;
  const uint64_t change = (greys_[0] ^ greys_[1]) * kEach;
  for (size_t x = 0; x < image_.Width(); x += kPixelsOfByte) {
    uint64_t octet = 0;
    std::memcpy(&octet, kOctets[row[x / kPixelsOfByte]].data(), kPixelsOfByte);
    octet = clear ^ (octet & change);
    std::memcpy(row_.data() + x, &octet, kPixelsOfByte);
  }
}

void SampleRows::LookUpGreys(const unsigned char* row) {
  ForEachIndex(image_, row, [this](size_t x, unsigned index) { row_[x] = greys_[index]; });
}

void SampleRows::LookUpColours(const unsigned char* row) {
  const unsigned char* table = image_.Table().data();
  // The last colour's fourth byte goes beyond the row.
  ForEachIndex(image_, row, [this, table](size_t x, unsigned index) {
    std::memcpy(row_.data() + x * 3, table + size_t{index} * 4, 4);
  });
}

}  // namespace dibkit::host
