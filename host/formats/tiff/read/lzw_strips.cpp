// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/lzw_strips.h"

#include <algorithm>
#include <array>
#include <string>

#include "dibkit/host/errors.h"

namespace dibkit::host::tiff {
namespace {

uint16_t PredictorOf(TIFF* tiff) {
  uint16_t predictor = PREDICTOR_NONE;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PREDICTOR, &predictor);
  return predictor;
}

// Codes have 12 bits at most and each gives a byte at least, but for those that clear the table.
uint64_t MostCodeBytes(uint64_t bytes) {
  constexpr uint64_t kRest = 4096;
  return 4 * bytes + kRest;
}

// Sums kept at hand: read back from the row they would come late.
template <size_t kStep>
void AddUp(std::span<unsigned char> row) {
  std::array<unsigned, kStep> sums{};
  for (size_t i = 0; i + kStep <= row.size(); i += kStep) {
    for (size_t channel = 0; channel < kStep; ++channel) {
      sums[channel] += row[i + channel];
      row[i + channel] = static_cast<unsigned char>(sums[channel]);
    }
  }
}

}  // namespace

bool LzwStrips::Takes(TIFF* tiff, const Kind& kind) {
  if (kind.compression != COMPRESSION_LZW || kind.bits > 8) {
    return false;
  }
  uint16_t order = FILLORDER_MSB2LSB;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &order);
  const uint16_t predictor = PredictorOf(tiff);
  return order == FILLORDER_MSB2LSB &&
         (predictor == PREDICTOR_NONE || (predictor == PREDICTOR_HORIZONTAL && kind.bits == 8));
}

LzwStrips::LzwStrips(Handle& handle, const Kind& kind, size_t rowBytes)
    : handle_(handle), rowBytes_(rowBytes), step_(0) {
  if (PredictorOf(handle.Tiff()) == PREDICTOR_HORIZONTAL) {
    step_ = kind.separate ? 1 : kind.samples;
  }
}

bool LzwStrips::Load(uint32_t strip, std::span<unsigned char> rows) {
  Fetch(strip, rows.size());
  const bool isOld = codes_.size() >= 2 && codes_[0] == 0 && (codes_[1] & 1) != 0;
  if (isOld) {
    return false;
  }
  if (!decoder_.Decode(codes_, rows)) {
    throw ImageError(ImageFault::kDamaged, "the LZW codes of strip " + std::to_string(strip) +
                                               " end early or are damaged");
  }
  if (step_ != 0) {
    AddDifferences(rows);
  }
  return true;
}

void LzwStrips::Fetch(uint32_t strip, size_t rowsBytes) {
  const uint64_t stored = TIFFGetStrileByteCount(handle_.Tiff(), strip);
  codes_.resize(static_cast<size_t>(std::min(stored, MostCodeBytes(rowsBytes))));
  const size_t got =
      handle_.Source().ReadAt(TIFFGetStrileOffset(handle_.Tiff(), strip), std::span(codes_));
  codes_.resize(got);
}

void LzwStrips::AddDifferences(std::span<unsigned char> rows) const {
  for (; !rows.empty(); rows = rows.subspan(rowBytes_)) {
    switch (step_) {
      case 1:
        AddUp<1>(rows.first(rowBytes_));
        break;
      case 3:
        AddUp<3>(rows.first(rowBytes_));
        break;
      default:
        for (size_t i = step_; i < rowBytes_; ++i) {
          rows[i] = static_cast<unsigned char>(rows[i] + rows[i - step_]);
        }
    }
  }
}

}  // namespace dibkit::host::tiff
