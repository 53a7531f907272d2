// SPDX-License-Identifier: Apache-2.0
#include "resolution/line_settle.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

namespace dibkit::resolution {

#if defined(__x86_64__) || defined(__i386__)
#define DIBKIT_X87 1

namespace {

// Whether this thread's x87 rounds to nearest and to 64 bits of significand, as it does unless a
// host has changed it.
bool X87IsExtended() {
  uint16_t control;
  __asm__("fnstcw %0" : "=m"(control));
  return (control & 0x0F00) == 0x0300;
}

// Both factors are exact, and so is their product.
long double X87Value(const Extended& value) {
  const auto power = std::bit_cast<double>(static_cast<uint64_t>(value.exponent + 1023) << 52);
  return static_cast<long double>(value.significand) * static_cast<long double>(power);
}

uint8_t X87Sample(int aLeft, int aRight, int bLeft, int bRight, long double fx, long double fy) {
  const long double a = aLeft + (aRight - aLeft) * fx;
  const long double b = bLeft + (bRight - bLeft) * fx;
  return static_cast<uint8_t>(static_cast<int>(a + (b - a) * fy));
}

}  // namespace
#endif

uint8_t ExactSample(int aLeft, int aRight, int bLeft, int bRight, const Extended& fx,
                    const Extended& fy) {
#ifdef DIBKIT_X87
  if (X87IsExtended()) {
    return X87Sample(aLeft, aRight, bLeft, bRight, X87Value(fx), X87Value(fy));
  }
#endif
  return SoftSample(aLeft, aRight, bLeft, bRight, fx, fy);
}

uint8_t SoftSample(int aLeft, int aRight, int bLeft, int bRight, const Extended& fx,
                   const Extended& fy) {
  const Extended a =
      Add(ExtendedFromInteger(aLeft), Multiply(ExtendedFromInteger(aRight - aLeft), fx));
  const Extended b =
      Add(ExtendedFromInteger(bLeft), Multiply(ExtendedFromInteger(bRight - bLeft), fx));
  return static_cast<uint8_t>(Truncate(Add(a, Multiply(Subtract(b, a), fy))));
}

namespace {

enum class Verdict { kIdeal, kBelow, kUnknown };

// What the samples around one output byte of a far column say about it, whose ideal value is an
// integer.
struct Weighed {
  uint32_t number;  // the ideal value times the divisor
  double across;    // H * X
  double down;      // V * Y
  double cross;     // X * Y
  double steep;     // 2 * |V| * Qy: bounds the rounding of the vertical product
};

// In units of 2^-65 / divisor, an integer lies `number` to 2 * `number` above the numbers that
// round to something less, and the vertical product is rounded by no more than `steep`.
Verdict Judge(const Weighed& w) {
  if (w.number == 0) return Verdict::kIdeal;
  const double sum = (w.across + w.down) * 0x1p65;
  const double doubt =
      (std::fabs(w.across) + std::fabs(w.down)) * 0x1p25 + std::fabs(w.cross) * 0x1p74;
  if (sum - doubt > w.steep - w.number) return Verdict::kIdeal;
  if (sum + doubt < -w.steep - 2.0 * w.number) return Verdict::kBelow;
  return Verdict::kUnknown;
}

// One output byte: the ideal value by integers; where it is an integer, the sign of the error sum;
// where that is too small to be sure of, the defining arithmetic. It nearly always is in near
// columns, so there nothing is judged.
uint8_t SettleSample(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                     const uint8_t* rowB, uint32_t sample) {
  const Column& column = plan.columns[sample / plan.channels];
  const uint32_t left = plan.channels * column.left + sample % plan.channels;
  const uint32_t right = plan.channels * column.right + sample % plan.channels;
  const int al = rowA[left], ar = rowA[right], bl = rowB[left], br = rowB[right];
  const auto p = static_cast<int>(column.phase), q = static_cast<int>(row.phase);
  const int restX = static_cast<int>(plan.partsX) - p, restY = static_cast<int>(plan.partsY) - q;
  const int a = al * restX + ar * p, b = bl * restX + br * p;
  const auto number = static_cast<uint32_t>(a * restY + b * q);
  const uint32_t ideal = number / plan.divisor;
  if (number % plan.divisor != 0) return static_cast<uint8_t>(ideal);
  if (column.left >= kFarColumn) {
    const bool productExact =
        row.fraction.significand == 0 || (plan.shortParts && column.error == 0.0);
    const Verdict verdict =
        Judge({number, ((ar - al) * restY + (br - bl) * q) * column.error, (b - a) * row.error,
               column.error * row.error, productExact ? 0.0 : 2.0 * std::abs(b - a) * plan.partsY});
    if (verdict == Verdict::kIdeal) return static_cast<uint8_t>(ideal);
    if (verdict == Verdict::kBelow) return static_cast<uint8_t>(ideal - 1);
  }
  return ExactSample(al, ar, bl, br, column.fraction, row.fraction);
}

}  // namespace

void SettleSamples(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                   const uint8_t* rowB, uint8_t* out, uint32_t first, uint64_t lanes) {
  for (; lanes != 0; lanes &= lanes - 1) {
    const uint32_t sample = first + static_cast<uint32_t>(std::countr_zero(lanes));
    out[sample] = SettleSample(plan, row, rowA, rowB, sample);
  }
}

}  // namespace dibkit::resolution
