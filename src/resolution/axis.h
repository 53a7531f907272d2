// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_AXIS_H
#define DIBKIT_SRC_RESOLUTION_AXIS_H

#include <bit>
#include <cstdint>

#include "resolution/extended.h"

namespace dibkit::resolution {

// A position taken apart: the source index and the distance from it, both exact.
struct SplitPosition {
  uint32_t index;
  Extended fraction;
};

SplitPosition Split(Extended position);

// A position of 1 to below 2^31 taken apart. Its fraction, whose last bit is worth 2^-63 or more,
// is exact in units of 2^-64.
struct FixedPosition {
  uint32_t whole;
  uint64_t fraction;
};

inline Extended FractionOf(const FixedPosition& position) {
  if (position.fraction == 0) return {};
  const int zeros = std::countl_zero(position.fraction);
  return {position.fraction << zeros, -64 - zeros, false};
}

// Where output columns (or rows) lie in the source: position i is i / scale, rounded to a 64-bit
// significand. Computed without dividing per position: 2^n / significand-of-scale is divided once
// into a whole part and a remainder, multiples of both are summed, and so every quotient is known
// to all its bits, with the remainder telling "exact" from "a little more".
class PositionStepper {
 public:
  // The scale is a finite positive double between 2^-17 and 2^17; at most 2^17 positions are asked.
  explicit PositionStepper(double scale) : PositionStepper(DivideByScale(scale)) {}

  // The position of the current index; the first is index 0.
  Extended Position() const { return RoundWide(quotient_, -kFractionBits, remainder_ != 0, false); }

  // Whether Fixed() can tell the position before rounding: all but the first few can.
  bool IsFixed() const {
    const uint64_t whole = quotient_.high >> kWholeShift;
    return whole - 1 < (uint64_t{1} << 31) - 1;
  }

  // Position(), taken apart. With at least 33 bits before and behind the point, only bits of the
  // low half fall to the rounding.
  FixedPosition Fixed() const {
    const auto dropped = static_cast<unsigned>(std::bit_width(quotient_.high));
    const uint64_t unit = uint64_t{1} << dropped;
    // To the nearest unit; a tie only goes up when it is a little more or the unit before is odd.
    const uint64_t upAtTie = (quotient_.low >> dropped & 1) | (remainder_ != 0 ? 1u : 0u);
    const uint64_t low = quotient_.low + (unit / 2 - 1 + upAtTie);
    const uint64_t high = quotient_.high + (low < quotient_.low ? 1u : 0u);
    return {static_cast<uint32_t>(high >> kWholeShift),
            high << (64 - kWholeShift) | (low & ~(unit - 1)) >> kWholeShift};
  }

  SplitPosition Place() const {
    if (!IsFixed()) return Split(Position());
    const FixedPosition position = Fixed();
    return {position.whole, FractionOf(position)};
  }

  void Advance() {
    // Whether the remainders fill another divisor is as good as random: no branch would foresee it.
    const uint64_t over = remainder_ + stepRemainder_ - divisor_;
    const uint64_t carry = ~over >> 63;
    remainder_ = over + (divisor_ & (carry - 1));
    quotient_ = AddWide(AddWide(quotient_, step_), {0, carry});
  }

 private:
  static constexpr int kFractionBits = 96;
  static constexpr unsigned kWholeShift = kFractionBits - 64;

  // 2^n / significand-of-scale.
  struct Step {
    uint64_t divisor;
    Wide quotient;
    uint64_t remainder;
  };

  static Step DivideByScale(double scale);

  explicit PositionStepper(const Step& step)
      : divisor_(step.divisor), step_(step.quotient), stepRemainder_(step.remainder) {}

  uint64_t divisor_;
  Wide step_;
  uint64_t stepRemainder_;
  Wide quotient_;
  uint64_t remainder_ = 0;
};

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

// The same for a fraction in units of 2^-64 and parts of 17 bits. The product's low half is the
// error, read as a signed number.
inline Phase PhaseOfFixed(uint64_t fraction, uint32_t parts) {
  const uint64_t upper = (fraction >> 32) * parts + ((fraction & 0xFFFFFFFFu) * parts >> 32);
  const uint64_t low = fraction * parts;
  return {static_cast<uint32_t>(upper >> 32) + static_cast<uint32_t>(low >> 63),
          static_cast<double>(static_cast<int64_t>(low)) * 0x1p-64};
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_AXIS_H
