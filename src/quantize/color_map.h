// SPDX-License-Identifier: Apache-2.0
//
// Mapping 24-bit pixels to their nearest palette entries. Equal colours have equal answers, so
// those found are remembered; what is not remembered is searched, in the order and with the ties of
// the class's own two searches.
#ifndef DIBKIT_SRC_QUANTIZE_COLOR_MAP_H
#define DIBKIT_SRC_QUANTIZE_COLOR_MAP_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "NiGoRo2.h"
#include "quantize/kernels.h"

namespace dibkit::quantize {

inline constexpr uint32_t kColorMask = 0xFFFFFF;

// Some palette entries to search, in the order in which they are told to be met: a colour's nearest
// is the first of those at the smallest distance. The words from `count` on, up to a multiple of
// kCandidateStep, repeat the first.
struct Candidates {
  const ColorIndex* entries;
  uint32_t count;
};
inline constexpr uint32_t kCandidateStep = 16;

// Lists longer than this are left to the plain form: a distance and a place must share a word.
inline constexpr uint32_t kMostCandidates = 1024;
inline constexpr unsigned kPlaceBits = 10;

// The two searches of the class in a form that lanes can work on, and the memory of answers.
class ColorMemory {
 public:
  explicit ColorMemory(const QuantizeKernels& kernels) : search_(kernels.search) {}

  // The cube search over `cells`, or the linear search over the `count` palette entries in blue
  // order, for an image of `pixels` pixels. False where that needs the plain form: no memory, a
  // palette out of order, an empty cell or one that is too long.
  bool InitCube(const CSearchCell (&cells)[8][8][8], uint64_t pixels);
  bool InitLinear(const CColorTrans2* palette, uint32_t count, uint64_t pixels);

  // Multiplicative hashing; it takes colour 0 to slot 0.
  static constexpr uint32_t kHashFactor = 0x9E3779B1;
  unsigned hashShift() const { return hashShift_; }
  ColorIndex* slots() { return slots_.get(); }

  // The palette index of a colour, remembered from now on.
  uint8_t IndexOf(Color color) {
    ColorIndex& slot = slots_[(color * kHashFactor) >> hashShift_];
    if ((slot & kColorMask) != color) slot = (search_(*this, color) & ~kColorMask) | color;
    return static_cast<uint8_t>(slot >> 24);
  }

  // The candidates of the cell of a colour, made ready when first asked for.
  Candidates CellOf(Color color) {
    const size_t cell = (color >> 21 & 7) << 6 | (color >> 13 & 7) << 3 | (color >> 5 & 7);
    if (!ready_[cell]) Prepare(cell);
    return {entries_.get() + begins_[cell], counts_[cell]};
  }

  bool linear() const { return linear_; }
  // The linear search: all entries, and where in them it starts. It goes down from there to the
  // first, then up from the next on.
  Candidates All() const { return {entries_.get(), counts_[0]}; }
  uint32_t StartOf(Color color) const { return starts_[color & 0xFF]; }

 private:
  bool AllocateSlots(uint64_t pixels);
  void Prepare(size_t cell);

  ColorIndex (*search_)(ColorMemory& memory, Color color);
  std::unique_ptr<ColorIndex[]> slots_;
  std::unique_ptr<ColorIndex[]> entries_;
  const CSearchCell* cells_ = nullptr;
  unsigned hashShift_ = 0;
  bool linear_ = false;
  bool ready_[512] = {};
  uint32_t begins_[512];
  uint32_t counts_[512];
  uint8_t starts_[256];
};

// The place of scan order `order` in the linear search that starts at `start`, and back: it is its
// own inverse.
inline uint32_t LinearPlace(uint32_t order, uint32_t start) {
  return order <= start ? start - order : order;
}

// What is to be mapped, and where to: rows of 24-bit pixels, and rows of indices.
struct MapJob {
  const uint8_t* source;
  size_t sourceStride;
  uint8_t* target;
  size_t targetStride;
  uint32_t width;
  uint32_t height;
};

// True when all pixels are mapped; false, with nothing written, where the plain form has to do it.
bool MapByCube(const MapJob& job, const CSearchCell (&cells)[8][8][8],
               const QuantizeKernels& kernels);
bool MapLinearly(const MapJob& job, const CColorTrans2* palette, uint32_t count,
                 const QuantizeKernels& kernels);

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_COLOR_MAP_H
