// SPDX-License-Identifier: Apache-2.0
#include "common/cpu.h"

#if defined(DIBKIT_X86) && __has_include(<sys/platform/x86.h>)
#define DIBKIT_ASKS_CPU 1
// The C library's header is written for C and for g++.
#ifdef __clang__
#define _Bool bool
#endif
#include <sys/platform/x86.h>
#ifdef __clang__
#undef _Bool
#endif
#endif

namespace dibkit {

CpuLevel BestCpuLevel() {
#ifdef DIBKIT_ASKS_CPU
  if (!CPU_FEATURE_ACTIVE(AVX2) || !CPU_FEATURE_ACTIVE(FMA) || !CPU_FEATURE_ACTIVE(BMI1) ||
      !CPU_FEATURE_ACTIVE(BMI2) || !CPU_FEATURE_ACTIVE(POPCNT)) {
    return CpuLevel::kPortable;
  }
  if (CPU_FEATURE_ACTIVE(AVX512F) && CPU_FEATURE_ACTIVE(AVX512BW) && CPU_FEATURE_ACTIVE(AVX512DQ) &&
      CPU_FEATURE_ACTIVE(AVX512VL) && CPU_FEATURE_ACTIVE(AVX512_VBMI) &&
      CPU_FEATURE_ACTIVE(AVX512_BITALG)) {
    return CpuLevel::kAvx512;
  }
  return CpuLevel::kAvx2;
#else
  return CpuLevel::kPortable;
#endif
}

}  // namespace dibkit
