// SPDX-License-Identifier: Apache-2.0
//
// What came of comparing one family of kernels with the plain forms.
#ifndef DIBKIT_TESTS_UNIT_KERNEL_TALLY_H
#define DIBKIT_TESTS_UNIT_KERNEL_TALLY_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/cpu.h"

namespace dibtest {

struct Tally {
  dibkit::CpuLevel family = dibkit::CpuLevel::kPortable;
  uint64_t compared = 0;  // pixels (of whole images and of single rows alike)
  uint64_t differences = 0;
  uint64_t unplanned = 0;  // cases that the family leaves to a plainer one
  std::string first = {};  // the first case that differed

  void Note(uint64_t newDifferences, const std::string& where) {
    if (differences == 0 && newDifferences != 0) first = where;
    differences += newDifferences;
  }
};

inline const char* NameOf(dibkit::CpuLevel family) {
  switch (family) {
    case dibkit::CpuLevel::kAvx512:
      return "Avx512";
    case dibkit::CpuLevel::kAvx2:
      return "Avx2";
    case dibkit::CpuLevel::kPortable:
      break;
  }
  return "Portable";
}

inline std::vector<dibkit::CpuLevel> AllFamilies() {
  return {dibkit::CpuLevel::kPortable, dibkit::CpuLevel::kAvx2, dibkit::CpuLevel::kAvx512};
}

inline bool CpuRuns(dibkit::CpuLevel family) { return family <= dibkit::BestCpuLevel(); }

}  // namespace dibtest

#endif  // DIBKIT_TESTS_UNIT_KERNEL_TALLY_H
