// SPDX-License-Identifier: Apache-2.0
//
// The parts of colour reduction that newer CPUs do in another way, as one table for each family of
// CPUs. All tables give the same bytes.
#ifndef DIBKIT_SRC_QUANTIZE_KERNELS_H
#define DIBKIT_SRC_QUANTIZE_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "common/cpu.h"

namespace dibkit::quantize {

// What the pixels of one leaf cell add up to, modulo 2^32.
struct CellSums {
  uint32_t blue;
  uint32_t green;
  uint32_t red;
  uint32_t count;
};

// One cell for each combination of the top 5 bits: red in bits 0 to 4 of the number, green in bits
// 5 to 9, blue in bits 10 to 14.
inline constexpr size_t kLeafCells = 32768;

// A palette entry's distance to a key colour, 18 bits, above its place in the palette, 8 bits.
using SortKey = uint32_t;
inline constexpr unsigned kSortPlaceBits = 8;

// A colour as one word: blue in the lowest byte, then green and red, the top byte 0; and a colour
// with a palette index in the top byte.
using Color = uint32_t;
using ColorIndex = uint32_t;

class ColorMemory;

// Asks for what is read a page later. Rows are read once and from end to end, and what a CPU
// foresees by itself ends with the page.
inline void PrefetchAhead(const uint8_t* at) {
  constexpr uintptr_t kAhead = 4096;
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + kAhead));
}

struct QuantizeKernels {
  // Adds rows of 24-bit pixels, `stride` bytes apart, to their cells.
  void (*addToCells)(const uint8_t* rows, size_t stride, size_t width, size_t height,
                     CellSums* cells);
  // Sorts keys by distance, leaving equal distances in the order in which the palette sort of the
  // class leaves them. `n` is at most 256.
  void (*sortKeys)(SortKey* keys, size_t n);
  // Maps one row of `width` 24-bit pixels to palette indices.
  void (*mapRow)(const uint8_t* pixels, size_t width, uint8_t* indices, ColorMemory& memory);
  // The palette entry nearest to a colour that is not remembered.
  ColorIndex (*search)(ColorMemory& memory, Color color);
};

extern const QuantizeKernels kPortableKernels;
#ifdef DIBKIT_X86
extern const QuantizeKernels kAvx2Kernels;
extern const QuantizeKernels kAvx512Kernels;
#endif

inline const QuantizeKernels& KernelsFor(CpuLevel level) {
#ifdef DIBKIT_X86
  if (level == CpuLevel::kAvx512) return kAvx512Kernels;
  if (level == CpuLevel::kAvx2) return kAvx2Kernels;
#endif
  static_cast<void>(level);
  return kPortableKernels;
}

// The functions behind the tables.
void AddToCellsPortable(const uint8_t* rows, size_t stride, size_t width, size_t height,
                        CellSums* cells);
void SortKeysPortable(SortKey* keys, size_t n);
void MapRowPortable(const uint8_t* pixels, size_t width, uint8_t* indices, ColorMemory& memory);
ColorIndex SearchPortable(ColorMemory& memory, Color color);
#ifdef DIBKIT_X86
void AddToCellsAvx2(const uint8_t* rows, size_t stride, size_t width, size_t height,
                    CellSums* cells);
void MapRowAvx2(const uint8_t* pixels, size_t width, uint8_t* indices, ColorMemory& memory);
ColorIndex SearchAvx2(ColorMemory& memory, Color color);
void AddToCellsAvx512(const uint8_t* rows, size_t stride, size_t width, size_t height,
                      CellSums* cells);
void SortKeysAvx512(SortKey* keys, size_t n);
void MapRowAvx512(const uint8_t* pixels, size_t width, uint8_t* indices, ColorMemory& memory);
ColorIndex SearchAvx512(ColorMemory& memory, Color color);
#endif

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_KERNELS_H
