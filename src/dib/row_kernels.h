// SPDX-License-Identifier: Apache-2.0
//
// One kernel for each way in which a row changes its depth, and one table of them for each family
// of CPUs. All tables give the same bytes, and those of the plain forms in depth.h.
#ifndef DIBKIT_SRC_DIB_ROW_KERNELS_H
#define DIBKIT_SRC_DIB_ROW_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "common/cpu.h"
#include "dib/pixels.h"

namespace dibkit {

// What a row kernel needs to know besides the row: the colours of a palette image, by index and
// in the forms that the kernels like best, or the fields of a bit-field image. Colours that are
// not set are black.
struct RowTables {
  alignas(64) uint8_t blue[256] = {};
  alignas(64) uint8_t green[256] = {};
  alignas(64) uint8_t red[256] = {};
  alignas(64) uint8_t lowWord[256] = {};   // the low byte of the 5-5-5 word
  alignas(64) uint8_t highWord[256] = {};  // and its high byte
  uint8_t colors[256][4] = {};             // blue, green, red, 0
  BitField redField;
  BitField greenField;
  BitField blueField;

  void SetColor(size_t index, uint8_t b, uint8_t g, uint8_t r);
  void SetWord(size_t index, uint16_t word);
};

// Makes `width` pixels of `target` from those of `source`. Reads and writes nothing but the bytes
// that hold them.
using RowKernel = void (*)(const uint8_t* source, uint8_t* target, size_t width,
                           const RowTables& tables);

struct RowKernels {
  RowKernel bits4To8;  // blue alone, the level of a grey palette
  RowKernel bits1To24;
  RowKernel bits4To24;
  RowKernel bits8To24;
  RowKernel rgb555To24;    // a channel c becomes 0 when it is 0, otherwise 8c + 7
  RowKernel fields16To24;  // channels are only shifted into place
  RowKernel rgb32To24;
  RowKernel fields32To24;
  RowKernel bits1To16;
  RowKernel bits4To16;
  RowKernel bits8To16;
  RowKernel rgb24To16;
  RowKernel rgb32To16;
  RowKernel fields32To16;  // the blue field takes the red channel: hosts rely on it
};

extern const RowKernels kPortableRows;
#ifdef DIBKIT_X86
extern const RowKernels kAvx2Rows;
extern const RowKernels kAvx512Rows;
#endif

inline const RowKernels& RowKernelsFor(CpuLevel level) {
#ifdef DIBKIT_X86
  if (level == CpuLevel::kAvx512) return kAvx512Rows;
  if (level == CpuLevel::kAvx2) return kAvx2Rows;
#endif
  static_cast<void>(level);
  return kPortableRows;
}

// Below so many pixels the tables cost more than the kernels save.
inline constexpr uint64_t kKernelsPayFrom = 1024;

// Rows to convert or copy. A stride is the distance of a row from the one before; a negative one
// turns the image over.
struct RowJob {
  const uint8_t* source;
  ptrdiff_t sourceStride;
  uint8_t* target;
  ptrdiff_t targetStride;
  size_t width = 0;  // pixels; not asked for by CopyRows
  size_t height;
  size_t targetBytes;  // bytes of a target row, without padding

  const uint8_t* SourceRow(size_t y) const {
    return source + static_cast<ptrdiff_t>(y) * sourceStride;
  }
  uint8_t* TargetRow(size_t y) const { return target + static_cast<ptrdiff_t>(y) * targetStride; }
};

// Converts all rows into a result whose padding is 0, and stays so.
void RunKernel(const RowJob& job, RowKernel convert, const RowTables& tables, CpuLevel level);

// Copies `targetBytes` of each row as they are.
void CopyRows(const RowJob& job, CpuLevel level);

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_ROW_KERNELS_H
