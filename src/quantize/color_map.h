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

inline Color LoadColor(const uint8_t* pixel) {
  return static_cast<Color>(pixel[0] | pixel[1] << 8 | pixel[2] << 16);
}

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

  // Colours of a picture lie close together, as do its pixels of one colour: those that differ in
  // the two lowest bits of blue and of green only share a cache line of 16 slots. Lines are found
  // by multiplicative hashing. Colour 0 belongs to slot 0, and colour 1 does not.
  static constexpr uint32_t kHashFactor = 0x9E3779B1;
  static constexpr uint32_t kLineMask = 0xFFFCFC;
  static constexpr uint32_t kLineSlots = 16;
  uint32_t SlotOf(Color color) const {
    return ((color & kLineMask) * kHashFactor) >> hashShift_ ^
           ((color ^ color >> 6) & (kLineSlots - 1));
  }
  unsigned hashShift() const { return hashShift_; }
  ColorIndex* slots() { return slots_; }

  // What is remembered of a colour: `answer`, which holds the colour itself with its index.
  ColorIndex& AnswerTo(Color color) { return slots_[SlotOf(color)]; }
  static bool Answers(ColorIndex answer, Color color) { return (answer & kColorMask) == color; }
  static ColorIndex Answer(ColorIndex nearest, Color color) {
    return (nearest & ~kColorMask) | color;
  }

  // The palette index of a colour, remembered from now on.
  uint8_t IndexOf(Color color) {
    ColorIndex& answer = AnswerTo(color);
    if (!Answers(answer, color)) answer = Answer(search_(*this, color), color);
    return static_cast<uint8_t>(answer >> 24);
  }

  // What the cube search has to compare a colour with.
  Candidates CandidatesFor(Color color) {
    const Part& part = parts_[PartOf(color)];
    if (part.count == 0) return CandidatesOfCell(color);
    return {entries_.get() + part.begin, part.count};
  }

  bool linear() const { return linear_; }
  // The linear search: all entries, and where in them it starts. It goes down from there to the
  // first, then up from the next on.
  Candidates All() const { return {entries_.get(), counts_[0]}; }
  uint32_t StartOf(Color color) const { return starts_[color & 0xFF]; }

 private:
  // An eighth of a cell. Once some of its colours were asked for it gets a list of its own, of
  // those candidates of the cell that are nearest to any colour of the part.
  struct Part {
    uint32_t begin;
    uint16_t count;  // 0: no list yet
    uint16_t asked;
  };
  static constexpr size_t kParts = 4096;
  static size_t PartOf(Color color) {
    return (color >> 20 & 15) << 8 | (color >> 12 & 15) << 4 | (color >> 4 & 15);
  }

  bool AllocateSlots(uint64_t pixels);
  Candidates CandidatesOfCell(Color color);
  void Prepare(size_t cell);
  void List(Candidates candidates, Color color, Part& part);

  ColorIndex (*search_)(ColorMemory& memory, Color color);
  std::unique_ptr<ColorIndex[]> slotMemory_;
  ColorIndex* slots_ = nullptr;  // from the first cache line in slotMemory_ on
  std::unique_ptr<ColorIndex[]> entries_;
  std::unique_ptr<Part[]> parts_;
  uint32_t used_ = 0;  // of entries_
  uint32_t room_ = 0;
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
