// SPDX-License-Identifier: Apache-2.0
#include "resample/sample_rows.h"

#include <cstring>

#include "convert/luminance.h"

namespace dibkit::host {
namespace {

constexpr unsigned char kWhite = 255;
constexpr size_t kEntryBytes = 4;

unsigned char GreyOf(std::span<const unsigned char> table, size_t index) {
  const unsigned char* entry = table.data() + index * kEntryBytes;
  return Luminance(entry[0], entry[1], entry[2]);
}

bool IsRamp(const ByteOfIndex& greys) {
  for (unsigned i = 0; i < greys.size(); ++i) {
    if (greys[i] != i) {
      return false;
    }
  }
  return true;
}

}  // namespace

unsigned DarkIndex(const DibView& bilevel) {
  return GreyOf(bilevel.Table(), 0) <= GreyOf(bilevel.Table(), 1) ? 0 : 1;
}

SampleRows::SampleRows(const DibView& image, SampleKind kind) : image_(image) {
  const bool isGrey = kind == SampleKind::kGrey || image.BitCount() == 1 || image.HasGreyTable();
  channels_ = isGrey ? 1 : 3;
  ByteOfIndex bytes{};  // greys, or the indices themselves
  for (size_t i = 0; i < image.Table().size() / kEntryBytes; ++i) {
    bytes[i] = isGrey ? GreyOf(image.Table(), i) : static_cast<unsigned char>(i);
  }
  if (kind == SampleKind::kOwn && image.BitCount() == 1) {
    const unsigned dark = DarkIndex(image);
    bytes[dark] = 0;
    bytes[1 - dark] = kWhite;
  }
  isStored_ = image.BitCount() == 24 ? !isGrey : image.BitCount() == 8 && isGrey && IsRamp(bytes);
  if (isStored_) {
    return;
  }
  row_.resize(size_t{image.Width()} * channels_ + kEntryBytes);
  if (image.BitCount() <= 8) {
    unpacker_.emplace(image.BitCount(), bytes);
    indices_.resize(isGrey ? 0 : image.Width());
  }
}

const unsigned char* SampleRows::Row(uint32_t stored) {
  const unsigned char* row = image_.Row(stored).data();
  if (isStored_) {
    return row;
  }
  if (!unpacker_) {
    LuminanceRow(row, row_.data(), image_.Width());
  } else if (channels_ == 1) {
    unpacker_->Row(row, row_.data(), image_.Width());
  } else {
    unpacker_->Row(row, indices_.data(), image_.Width());
    LookUpColours();
  }
  return row_.data();
}

void SampleRows::LookUpColours() {
  const unsigned char* table = image_.Table().data();
  // The last colour's fourth byte goes beyond the row.
  for (size_t x = 0; x < indices_.size(); ++x) {
    std::memcpy(row_.data() + x * 3, table + indices_[x] * kEntryBytes, kEntryBytes);
  }
}

}  // namespace dibkit::host
