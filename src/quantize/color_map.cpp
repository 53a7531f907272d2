// SPDX-License-Identifier: Apache-2.0
#include "quantize/color_map.h"

#include <algorithm>
#include <bit>
#include <new>

namespace dibkit::quantize {
namespace {

// Below this, setting up costs more than it saves.
constexpr uint64_t kFewPixels = 256;

constexpr unsigned kMostSlotBits = 18;

Color ColorOf(const tagRGBQUAD& rgb) {
  return rgb.rgbBlue | uint32_t{rgb.rgbGreen} << 8 | uint32_t{rgb.rgbRed} << 16;
}

uint32_t RoundUp(uint32_t count) {
  return (count + kCandidateStep - 1) / kCandidateStep * kCandidateStep;
}

void Pack(const CColorTrans2* list, uint32_t count, ColorIndex* packed) {
  for (uint32_t i = 0; i < count; ++i) packed[i] = ColorOf(list[i].rgb) | list[i].lIndex << 24;
  std::fill(packed + count, packed + RoundUp(count), packed[0]);
}

bool InBlueOrder(const CColorTrans2* palette, uint32_t count) {
  for (uint32_t i = 1; i < count; ++i) {
    if (palette[i].rgb.rgbBlue < palette[i - 1].rgb.rgbBlue) return false;
  }
  return true;
}

void MapRows(const MapJob& job, ColorMemory& memory, const QuantizeKernels& kernels) {
  for (uint32_t y = 0; y < job.height; ++y) {
    kernels.mapRow(job.source + y * job.sourceStride, job.width, job.target + y * job.targetStride,
                   memory);
  }
}

uint64_t Pixels(const MapJob& job) { return uint64_t{job.width} * job.height; }

}  // namespace

// Twice as many slots as pixels are as good as one for each colour; more than the cache holds are
// no help.
bool ColorMemory::AllocateSlots(uint64_t pixels) {
  const auto bits =
      std::min<unsigned>(static_cast<unsigned>(std::bit_width(pixels)), kMostSlotBits);
  slots_.reset(new (std::nothrow) ColorIndex[size_t{1} << bits]());
  if (slots_ == nullptr) return false;
  hashShift_ = 32 - bits;
  // An empty slot must not look like the answer to a colour that belongs there. Zero does so only
  // in slot 0, where colour 1 never belongs.
  slots_[0] = 1;
  return true;
}

bool ColorMemory::InitCube(const CSearchCell (&cells)[8][8][8], uint64_t pixels) {
  linear_ = false;
  cells_ = &cells[0][0][0];
  uint32_t total = 0;
  for (size_t cell = 0; cell < 512; ++cell) {
    const int32_t count = cells_[cell].lCount;
    if (count <= 0 || count > int32_t{kMostCandidates}) return false;
    begins_[cell] = total;
    counts_[cell] = static_cast<uint32_t>(count);
    total += RoundUp(counts_[cell]);
  }
  entries_.reset(new (std::nothrow) ColorIndex[total]);
  return entries_ != nullptr && AllocateSlots(pixels);
}

bool ColorMemory::InitLinear(const CColorTrans2* palette, uint32_t count, uint64_t pixels) {
  if (count == 0 || count > 256 || !InBlueOrder(palette, count)) return false;
  linear_ = true;
  counts_[0] = count;
  entries_.reset(new (std::nothrow) ColorIndex[RoundUp(count)]);
  if (entries_ == nullptr || !AllocateSlots(pixels)) return false;
  Pack(palette, count, entries_.get());
  uint32_t start = 0;
  for (uint32_t blue = 0; blue < 256; ++blue) {
    while (start + 1 < count && palette[start].rgb.rgbBlue < blue) ++start;
    starts_[blue] = static_cast<uint8_t>(start);
  }
  return true;
}

void ColorMemory::Prepare(size_t cell) {
  Pack(cells_[cell].pList, counts_[cell], entries_.get() + begins_[cell]);
  ready_[cell] = true;
}

bool MapByCube(const MapJob& job, const CSearchCell (&cells)[8][8][8],
               const QuantizeKernels& kernels) {
  ColorMemory memory(kernels);
  if (Pixels(job) < kFewPixels || !memory.InitCube(cells, Pixels(job))) return false;
  MapRows(job, memory, kernels);
  return true;
}

bool MapLinearly(const MapJob& job, const CColorTrans2* palette, uint32_t count,
                 const QuantizeKernels& kernels) {
  ColorMemory memory(kernels);
  if (Pixels(job) < kFewPixels || !memory.InitLinear(palette, count, Pixels(job))) return false;
  MapRows(job, memory, kernels);
  return true;
}

}  // namespace dibkit::quantize
