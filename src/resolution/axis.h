// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_AXIS_H
#define DIBKIT_SRC_RESOLUTION_AXIS_H

#include <cstdint>

#include "resolution/extended.h"

namespace dibkit::resolution {

// Where output columns (or rows) lie in the source: position i is i / scale, rounded to a 64-bit
// significand. Computed without dividing per position: 2^n / significand-of-scale is divided once
// into a whole part and a remainder, multiples of both are summed, and so every quotient is known
// to all its bits, with the remainder telling "exact" from "a little more".
class PositionStepper {
 public:
  // The scale is a finite positive double between 2^-17 and 2^17; at most 2^17 positions are asked.
  explicit PositionStepper(double scale);

  // The position of the current index; the first is index 0.
  Extended Position() const { return RoundWide(quotient_, -kFractionBits, remainder_ != 0, false); }

  void Advance();

 private:
  static constexpr int kFractionBits = 96;
  uint64_t divisor_;
  Wide step_;
  uint64_t stepRemainder_;
  Wide quotient_;
  uint64_t remainder_ = 0;
};

// A position taken apart: the source index and the distance from it, both exact.
struct SplitPosition {
  uint32_t index;
  Extended fraction;
};

SplitPosition Split(Extended position);

// Two resolutions in lowest terms: output index i lies, ideally, at i * step / parts.
struct Ratio {
  uint32_t parts;  // Q
  uint32_t step;   // M

  static Ratio Of(uint32_t targetDpi, uint32_t sourceDpi);
};

// fraction = phase / parts + error / parts. Where Near() holds, the double holds the error to its
// last bit: it is the difference of two numbers that agree in all but their last bits.
struct Phase {
  uint32_t phase;  // 0 to parts, both included
  double error;    // parts * fraction - phase

  bool Near() const { return error < 0x1p-20 && error > -0x1p-20; }
};

Phase PhaseOf(Extended fraction, uint32_t parts);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_AXIS_H
