// SPDX-License-Identifier: Apache-2.0
#include "quantize/color_map.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <new>

namespace dibkit::quantize {
namespace {

// Below this, setting up costs more than it saves.
constexpr uint64_t kFewPixels = 256;

constexpr unsigned kMostSlotBits = 18;

// A part's own list pays after so many colours.
constexpr unsigned kFewColors = 8;

// Entries of all parts' lists together; parts that find no room are searched by the cell's.
constexpr uint64_t kRoomForParts = 1 << 17;

constexpr int kPartWidth = 16;

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

// The squared distances of an entry to the nearest and to the farthest colour of a part.
struct Reach {
  int nearest;
  int farthest;
};

Reach ReachOf(ColorIndex entry, Color color) {
  constexpr int kLast = kPartWidth - 1;
  Reach reach = {};
  for (unsigned shift = 0; shift < 24; shift += 8) {
    const int first = static_cast<int>(color >> shift & 0xFF) / kPartWidth * kPartWidth;
    const int at = static_cast<int>(entry >> shift & 0xFF) - first;
    const int nearest = std::max({-at, at - kLast, 0});
    const int farthest = std::max(at, kLast - at);
    reach.nearest += nearest * nearest;
    reach.farthest += farthest * farthest;
  }
  return reach;
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
  slotMemory_.reset(new (std::nothrow) ColorIndex[(size_t{1} << bits) + kLineSlots]());
  if (slotMemory_ == nullptr) return false;
  const auto address = reinterpret_cast<uintptr_t>(slotMemory_.get()) / sizeof(ColorIndex);
  slots_ = slotMemory_.get() + (-address & (kLineSlots - 1));
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
  used_ = total;
  room_ = total + static_cast<uint32_t>(std::min(pixels, kRoomForParts));
  entries_.reset(new (std::nothrow) ColorIndex[room_]);
  parts_.reset(new (std::nothrow) Part[kParts]());
  return entries_ != nullptr && parts_ != nullptr && AllocateSlots(pixels);
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

Candidates ColorMemory::CandidatesOfCell(Color color) {
  const size_t cell = (color >> 21 & 7) << 6 | (color >> 13 & 7) << 3 | (color >> 5 & 7);
  if (!ready_[cell]) Prepare(cell);
  const Candidates whole{entries_.get() + begins_[cell], counts_[cell]};
  Part& part = parts_[PartOf(color)];
  if (++part.asked <= kFewColors) return whole;
  if (whole.count > kCandidateStep && room_ - used_ >= RoundUp(whole.count)) {
    List(whole, color, part);
  } else {
    part.begin = begins_[cell];
    part.count = static_cast<uint16_t>(whole.count);
  }
  return {entries_.get() + part.begin, part.count};
}

// A candidate that is farther from all of the part than another is from any of it is nearest to
// nothing there. The others keep their order, which decides ties.
void ColorMemory::List(Candidates candidates, Color color, Part& part) {
  std::array<int, kMostCandidates> nearest;
  int bound = INT_MAX;
  for (uint32_t i = 0; i < candidates.count; ++i) {
    const Reach reach = ReachOf(candidates.entries[i], color);
    nearest[i] = reach.nearest;
    bound = std::min(bound, reach.farthest);
  }
  ColorIndex* const list = entries_.get() + used_;
  uint32_t count = 0;
  for (uint32_t i = 0; i < candidates.count; ++i) {
    list[count] = candidates.entries[i];
    count += nearest[i] <= bound ? 1U : 0U;
  }
  std::fill(list + count, list + RoundUp(count), list[0]);
  part.begin = used_;
  part.count = static_cast<uint16_t>(count);
  used_ += RoundUp(count);
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
