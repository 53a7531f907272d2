// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_LINE_PLAN_H
#define DIBKIT_SRC_RESOLUTION_LINE_PLAN_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "resolution/axis.h"

namespace dibkit::resolution {

// What one image's rows have in common.
struct PlanGeometry {
  uint32_t srcWidth;   // 1 to 65535
  uint32_t srcHeight;  // 1 to 65535
  uint32_t dstWidth;   // 0 to 65535
  uint32_t dstHeight;  // 0 to 65535
  double scaleX;       // dpi / resX, rounded to a double
  double scaleY;       // dpi / resY, rounded to a double
  uint32_t dpi;        // 1 to 65535
  uint32_t resX;       // 1 to 65535
  uint32_t resY;       // 1 to 65535
};

// Where one output column takes its samples.
struct Column {
  Extended fraction;  // the exact distance from the left column
  double error;       // parts * fraction - phase
  uint32_t left;
  uint32_t right;  // left + 1, or left at the last source column
  uint32_t phase;  // 0 to parts
};

// The rounding of one output byte's arithmetic, in grey levels, never exceeds this.
inline constexpr double kRounding = 0x1p-54;
// Where the position is 128 or more, its fraction is a multiple of 2^-56 and the horizontal steps
// are exact. What is left is the vertical product (below 256, so within 2^-57) and the last sum.
inline constexpr double kFarRounding = 0x1p-56;
inline constexpr uint32_t kFarColumn = 128;

inline constexpr uint32_t kPortableSlots = 96;  // whole pixels of 1 or 3 bytes
// A guard that no sum exceeds.
inline constexpr uint32_t kNoSumDecides = 65535;

// How a kernel wants the samples of a row dealt out: in groups of output bytes, each having a slot
// that holds its left sample in the slot's first byte and its right sample in the slot's middle
// byte. Kernels without look-ups get the offsets of both samples instead.
struct LaneShape {
  uint32_t lookUpBytes;  // bytes of one look-up (byte permutation): 16 or 64, or 0 for none
  uint32_t slotBytes;    // 2 or 4
  uint32_t together;     // groups that a kernel makes at a time

  // Output bytes of a group.
  uint32_t Slots() const { return lookUpBytes == 0 ? kPortableSlots : lookUpBytes / slotBytes; }
};

// The arithmetic that decides a row's bytes.
enum class LineForm {
  kNone,    // not plannable: the plain maker serves
  kCopy,    // each output pixel is a source pixel
  kNarrow,  // 16-bit lanes
  kWide,    // 32-bit lanes
};

// How the errors of the positions behave, which decides how their sum is formed.
enum class ErrorForm {
  kExact,   // no position has an error: the ideal value is the value
  kSmooth,  // the scale was rounded: the error grows steadily with the position
  kGrid,    // the scale is exact, its parts are no power of two: errors are multiples of 2^-56
};

// Everything about an image's columns that does not change from row to row.
struct LinePlan {
  LineForm form = LineForm::kNone;
  LaneShape shape{};
  uint32_t channels = 0;  // bytes of a pixel: 1 or 3
  uint32_t rowBytes = 0;  // source bytes that a row may be read for
  uint32_t samples = 0;   // output bytes of a row
  uint32_t groups = 0;    // of samples, a multiple of shape.together; the last may be unused
  uint32_t chunks = 0;    // look-ups per group
  uint32_t dstWidth = 0;
  uint32_t partsX = 0;   // Qx
  uint32_t partsY = 0;   // Qy
  uint32_t divisor = 0;  // Qx * Qy
  ErrorForm errors = ErrorForm::kExact;
  bool shortParts = false;   // a column without error has a fraction of at most three bits
  double rowErrorBound = 0;  // rows whose |Phase::error| is greater are not the plan's
  // Division by the divisor: floor((n + reciprocalBias) * reciprocal / 2^(16 + reciprocalShift)).
  uint32_t reciprocal = 0;
  uint32_t reciprocalShift = 0;
  uint32_t reciprocalBias = 0;
  // Narrow form: the error sum H * X + V * Y with X and Y as 16-bit weights.
  double errorScale = 0;   // weight per unit of Column::error and Phase::error
  uint32_t guard = 0;      // a sum below this decides nothing
  uint32_t nearGuard = 0;  // likewise in the first nearGroups groups
  uint32_t fineGuard = 0;  // a sum above this and |H| + |V| does decide
  uint32_t nearFineGuard = 0;
  // Rows have the narrow shape and weights of a byte; in the wide form that holds for kernels with
  // look-ups if the numbers suit them (see short_form.h).
  bool byteWeights = false;
  float wideDoubt = 0;      // wide form: bounds the product of both errors, in its units
  uint32_t nearGroups = 0;  // groups that hold a column whose position is below 128

  const Column* columns = nullptr;
  const uint32_t* offsets = nullptr;     // [groups][chunks], or [groups][slots][2]
  const uint8_t* index = nullptr;        // [groups][chunks][lookUpBytes], 0x80: in another chunk
  const uint32_t* alike = nullptr;       // [groups]: an early group with the same index and weights
  const int8_t* weights = nullptr;       // byteWeights: [groups][slots], pairs (Qx - p, p)
  const int16_t* wideWeights = nullptr;  // wide: likewise
  const int16_t* xError = nullptr;       // narrow: [groups][slots]
  const float* wideError = nullptr;      // wide: [groups][slots]

  struct Free {
    void operator()(void* block) const { std::free(block); }
  };
  std::unique_ptr<unsigned char, Free> columnStorage;
  std::unique_ptr<unsigned char, Free> tableStorage;
};

// The vertical place of one output row.
struct RowPhase {
  Extended fraction;  // the double that the line maker is given
  double error;       // Qy * fraction - phase
  uint32_t phase;
};

// Prepares for rows of `channels` bytes a pixel. The form is kNone when the geometry's scale is not
// that of its resolutions, when the numbers do not fit the kernels, or when memory is short.
LinePlan PrepareLinePlan(const PlanGeometry& geometry, uint32_t channels, LaneShape narrow,
                         LaneShape wide);

// Tells whether the kernels can make a row with this vertical fraction, and its place.
bool PlaceRow(const LinePlan& plan, double fraction, RowPhase* row);

// Errors of a grid are counted in this unit in the groups of near columns (the first nearGroups).
inline constexpr double kNearGrid = 0x1p62;
// The weight of an error that is finer than the grid.
inline constexpr int16_t kNoWeight = -32768;

// The wide form's errors are counted in units of 2^-65.
inline constexpr double kWideErrorUnit = 0x1p65;

// An error as a 16-bit weight.
inline int16_t WeightOf(double error, double scale) {
  const double weight = error * scale;
  return static_cast<int16_t>(weight + std::copysign(0.5, weight));
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_LINE_PLAN_H
