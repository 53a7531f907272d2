// SPDX-License-Identifier: Apache-2.0
//
// What the CPU can do, asked when an image comes in. The answer costs a few nanoseconds, so nothing
// is kept between calls and the library needs no load-time work for it.
#ifndef DIBKIT_SRC_COMMON_CPU_H
#define DIBKIT_SRC_COMMON_CPU_H

#if defined(__x86_64__) || defined(__i386__)
#define DIBKIT_X86 1
// Mark one function as compiled for a family; what it calls must be marked the same or be inlined.
#define DIBKIT_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#define DIBKIT_TARGET_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx2,bmi,bmi2,popcnt")))
#endif

namespace dibkit {

// The families of kernels, each able to run on all that the later ones run on.
enum class CpuLevel { kPortable, kAvx2, kAvx512 };

// The best family that this CPU and its operating system run.
CpuLevel BestCpuLevel();

}  // namespace dibkit

#endif  // DIBKIT_SRC_COMMON_CPU_H
