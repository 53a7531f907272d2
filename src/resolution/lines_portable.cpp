// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstring>

#include "resolution/line_kernels.h"
#include "resolution/line_settle.h"

// The kernels for any CPU: loops over a block of samples that a compiler turns into vector
// instructions of whatever the build's baseline has. docs/arithmetic.md explains the numbers.

namespace dibkit::resolution {

namespace {

constexpr uint32_t kBlock = kPortableSlots;  // samples of a group

constexpr uint32_t kSlack = 1;  // pixels of three bytes are copied as four

// The four samples of each output byte of a block.
struct Samples {
  uint8_t aLeft[kBlock + kSlack], aRight[kBlock + kSlack];
  uint8_t bLeft[kBlock + kSlack], bRight[kBlock + kSlack];
};

uint32_t Count(const LinePlan& plan, size_t group) {
  const size_t left = plan.samples - group * kBlock;
  return left < kBlock ? static_cast<uint32_t>(left) : kBlock;
}

void GatherBytes(const uint8_t* row, const uint32_t* offsets, uint32_t count, uint8_t* left,
                 uint8_t* right) {
  for (uint32_t i = 0; i < count; ++i) {
    left[i] = row[offsets[2 * i]];
    right[i] = row[offsets[2 * i + 1]];
  }
}

// The fourth byte belongs to the next pixel, whose copy overwrites it. The row's last pixel has no
// fourth byte.
void GatherPixels(const LinePlan& plan, const uint8_t* row, const uint32_t* offsets, uint32_t count,
                  uint8_t* left, uint8_t* right) {
  for (uint32_t i = 0; i < count; i += 3) {
    const uint32_t from = offsets[2 * i], to = offsets[2 * i + 1];
    if (to + 4 <= plan.rowBytes) {
      std::memcpy(left + i, row + from, 4);
      std::memcpy(right + i, row + to, 4);
    } else {
      std::memcpy(left + i, row + from, 3);
      std::memcpy(right + i, row + to, 3);
    }
  }
}

void Gather(const LinePlan& plan, const uint8_t* rowA, const uint8_t* rowB, size_t group,
            Samples* s) {
  const uint32_t* offsets = plan.offsets + group * 2 * kBlock;
  const uint32_t count = Count(plan, group);
  if (count < kBlock) *s = {};
  if (plan.channels == 3) {
    GatherPixels(plan, rowA, offsets, count, s->aLeft, s->aRight);
    GatherPixels(plan, rowB, offsets, count, s->bLeft, s->bRight);
  } else {
    GatherBytes(rowA, offsets, count, s->aLeft, s->aRight);
    GatherBytes(rowB, offsets, count, s->bLeft, s->bRight);
  }
}

// Gives the block's bytes to the output row and settles its unsure ones, flat ones excepted.
void Deliver(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA, const uint8_t* rowB,
             size_t group, const Samples& s, const uint8_t* value, const uint8_t* unsure,
             uint8_t* out) {
  const uint32_t count = Count(plan, group);
  const auto done = static_cast<uint32_t>(group * kBlock);
  std::memcpy(out + done, value, count);
  uint8_t any = 0;
  for (uint32_t i = 0; i < kBlock; ++i) any |= unsure[i];
  if (any == 0) return;
  for (uint32_t i = 0; i < count; ++i) {
    const bool flat =
        s.aLeft[i] == s.aRight[i] && s.aLeft[i] == s.bLeft[i] && s.aLeft[i] == s.bRight[i];
    if (unsure[i] != 0 && !flat) SettleSamples(plan, row, rowA, rowB, out, done + i, 1);
  }
}

// Numbers of a block in the narrow form, all of 16 bits.
struct NarrowBlock {
  uint16_t number[kBlock];  // ideal value * divisor
  uint16_t ideal[kBlock];
  int16_t across[kBlock], down[kBlock];  // H and V
};

void Weigh(const LinePlan& plan, const RowPhase& row, size_t group, const Samples& s,
           NarrowBlock* n) {
  const int8_t* weights = plan.weights + group * 2 * kBlock;
  const auto q = static_cast<uint16_t>(row.phase);
  const auto rest = static_cast<uint16_t>(plan.partsY - row.phase);
  uint16_t sumA[kBlock], sumB[kBlock];
  for (uint32_t i = 0; i < kBlock; ++i) {
    const auto left = static_cast<uint16_t>(weights[2 * i]);
    const auto right = static_cast<uint16_t>(weights[2 * i + 1]);
    sumA[i] = static_cast<uint16_t>(s.aLeft[i] * left + s.aRight[i] * right);
    sumB[i] = static_cast<uint16_t>(s.bLeft[i] * left + s.bRight[i] * right);
  }
  for (uint32_t i = 0; i < kBlock; ++i) {
    n->number[i] = static_cast<uint16_t>(sumA[i] * rest + sumB[i] * q);
    n->across[i] =
        static_cast<int16_t>((s.aRight[i] - s.aLeft[i]) * rest + (s.bRight[i] - s.bLeft[i]) * q);
    n->down[i] = static_cast<int16_t>(sumB[i] - sumA[i]);
  }
  const auto bias = static_cast<uint16_t>(plan.reciprocalBias);
  const auto reciprocal = static_cast<uint16_t>(plan.reciprocal);
  const uint32_t shift = plan.reciprocalShift;
  for (uint32_t i = 0; i < kBlock; ++i) {
    const auto raised = static_cast<uint16_t>(n->number[i] + bias);
    const auto high = static_cast<uint16_t>((uint32_t{raised} * reciprocal) >> 16);
    n->ideal[i] = static_cast<uint16_t>(high >> shift);
  }
}

// Where the ideal value is an integer, the sign of the error sum takes one off or not.
void Decide(const LinePlan& plan, const RowPhase& row, size_t group, const NarrowBlock& n,
            uint8_t* value, uint8_t* unsure) {
  const bool near = group < plan.nearGroups;
  const int32_t errorY = WeightOf(row.error, plan.errorScale);
  const uint32_t least = near ? plan.nearGuard : plan.guard;
  const int32_t guard = least == kNoSumDecides ? INT32_MAX : static_cast<int32_t>(least);
  const int16_t* errors = plan.xError + group * kBlock;
  const auto divisor = static_cast<uint16_t>(plan.divisor);
  for (uint32_t i = 0; i < kBlock; ++i) {
    const int32_t error = n.across[i] * errors[i] + n.down[i] * errorY;
    const int32_t size = error < 0 ? -error : error;
    const bool whole = static_cast<uint16_t>(n.ideal[i] * divisor) == n.number[i];
    const bool level = ((n.across[i] | n.down[i]) == 0) & !near;
    value[i] = static_cast<uint8_t>(n.ideal[i] - (whole & (error < 0)));
    unsure[i] = static_cast<uint8_t>(whole & (size < guard) & !level);
  }
}

// Decide for far groups of a grid, whose error sums are exact. In units of 2^-64 / divisor, the
// vertical product is rounded by at most |V| * Qy; a sum below 0 must exceed that and what the last
// rounding forgives (2^-57 at most), any other may fall short of it by what the last rounding
// forgives at least.
void DecideGrid(const LinePlan& plan, const RowPhase& row, size_t group, const NarrowBlock& n,
                uint8_t* value, uint8_t* unsure) {
  const bool exactRow = row.fraction.significand == 0;
  const int32_t steep = exactRow ? 0 : static_cast<int32_t>(plan.partsY);
  const int32_t forgiven = exactRow ? 0 : 128 * static_cast<int32_t>(plan.divisor);
  const int32_t errorY = WeightOf(row.error, plan.errorScale);
  const int16_t* errors = plan.xError + group * kBlock;
  const auto divisor = static_cast<uint16_t>(plan.divisor);
  for (uint32_t i = 0; i < kBlock; ++i) {
    const int32_t error = n.across[i] * errors[i] + n.down[i] * errorY;
    const int32_t size = error < 0 ? -error : error;
    const int32_t reach = (size < 256 ? size : 256) * 256;
    const int32_t room = error < 0 ? reach - forgiven : reach + n.number[i] / 2;
    const int32_t rounding = (n.down[i] < 0 ? -n.down[i] : n.down[i]) * steep;
    const bool whole = static_cast<uint16_t>(n.ideal[i] * divisor) == n.number[i];
    const bool level = (n.across[i] | n.down[i]) == 0;
    value[i] = static_cast<uint8_t>(n.ideal[i] - (whole & (error < 0)));
    unsure[i] = static_cast<uint8_t>(whole & (rounding >= room) & !level);
  }
}

void MakeNarrowLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                    const uint8_t* second, const Traffic& /*traffic*/, uint8_t* out) {
  // A level row must not read the second, whose weight is 0.
  const uint8_t* rowB = row.fraction.significand == 0 ? rowA : second;
  for (uint32_t group = 0; group < plan.groups; ++group) {
    Samples samples;
    NarrowBlock block;
    uint8_t value[kBlock], unsure[kBlock] = {};
    Gather(plan, rowA, rowB, group, &samples);
    Weigh(plan, row, group, samples, &block);
    if (plan.errors == ErrorForm::kExact) {
      for (uint32_t i = 0; i < kBlock; ++i) value[i] = static_cast<uint8_t>(block.ideal[i]);
    } else if (plan.errors == ErrorForm::kGrid && group >= plan.nearGroups) {
      DecideGrid(plan, row, group, block, value, unsure);
    } else {
      Decide(plan, row, group, block, value, unsure);
    }
    Deliver(plan, row, rowA, rowB, group, samples, value, unsure, out);
  }
}

// The value in single precision, with 16 bits behind the point and raised by 8 of its last places:
// right unless it lies within 8 last places of an integer, which single precision cannot tell
// apart.
void Approximate(const LinePlan& plan, const RowPhase& row, size_t group, const Samples& s,
                 uint8_t* value, uint8_t* unsure) {
  const int16_t* weights = plan.wideWeights + group * 2 * kBlock;
  const auto scaleA = static_cast<float>(65536.0 / plan.partsX);
  const auto scaleV = static_cast<float>(65536.0 * row.phase / plan.divisor);
  for (uint32_t i = 0; i < kBlock; ++i) {
    const int32_t a = s.aLeft[i] * weights[2 * i] + s.aRight[i] * weights[2 * i + 1];
    const int32_t b = s.bLeft[i] * weights[2 * i] + s.bRight[i] * weights[2 * i + 1];
    const float raised = static_cast<float>(a) * scaleA + static_cast<float>(b - a) * scaleV + 8.0F;
    const auto fixed = static_cast<int32_t>(raised);
    value[i] = static_cast<uint8_t>(fixed >> 16);
    unsure[i] = (fixed & 0xFFF0) == 0 ? 1 : 0;
  }
}

void MakeWideLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                  const uint8_t* rowB, const Traffic& /*traffic*/, uint8_t* out) {
  for (uint32_t group = 0; group < plan.groups; ++group) {
    Samples samples;
    uint8_t value[kBlock], unsure[kBlock];
    Gather(plan, rowA, rowB, group, &samples);
    Approximate(plan, row, group, samples, value, unsure);
    Deliver(plan, row, rowA, rowB, group, samples, value, unsure, out);
  }
}

void MakeCopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                  const uint8_t* /*rowB*/, const Traffic& /*traffic*/, uint8_t* out) {
  for (uint32_t sample = 0; sample < plan.samples; ++sample) {
    out[sample] = rowA[plan.offsets[2 * sample]];
  }
}

}  // namespace

const LineKernels kPortableLineKernels = {
    {0, 2, 1}, {0, 4, 1}, EachRow<MakeCopyLine>, EachRow<MakeNarrowLine>, EachRow<MakeWideLine>};

}  // namespace dibkit::resolution
