// SPDX-License-Identifier: Apache-2.0
//
// What the vector line kernels of all CPUs know of a plan and of a row.
#ifndef DIBKIT_SRC_RESOLUTION_LINE_TABLES_H
#define DIBKIT_SRC_RESOLUTION_LINE_TABLES_H

#include <cstdint>

#include "resolution/line_plan.h"

namespace dibkit::resolution {

// Those of the plan's tables and counts that a pass looks at: in a local of a row's own they stay
// in registers, for no store of output bytes can change them.
struct Tables {
  const uint32_t* offsets;
  const uint32_t* alike;
  const uint8_t* index;
  const int8_t* weights;
  const int16_t* wideWeights;
  const int16_t* xError;
  uint32_t chunks, groups, nearGroups, samples;

  explicit Tables(const LinePlan& plan)
      : offsets(plan.offsets),
        alike(plan.alike),
        index(plan.index),
        weights(plan.weights),
        wideWeights(plan.wideWeights),
        xError(plan.xError),
        chunks(plan.chunks),
        groups(plan.groups),
        nearGroups(plan.nearGroups),
        samples(plan.samples) {}
};

// What is known of a row of the narrow form before its samples are.
enum class NarrowKind {
  kSmooth,     // ErrorForm::kSmooth
  kTop,        // of those, where shifts divide: rows whose phase is 0
  kMiddle,     // and rows in the middle between two
  kGrid,       // ErrorForm::kGrid
  kGridLevel,  // of those, rows whose fraction is 0: only A counts
};

constexpr bool IsSmooth(NarrowKind kind) {
  return kind != NarrowKind::kGrid && kind != NarrowKind::kGridLevel;
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_LINE_TABLES_H
