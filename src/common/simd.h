// SPDX-License-Identifier: Apache-2.0
//
// The x86 intrinsics. The headers of g++ 12 start their "undefined" vectors from themselves, which
// it then warns about wherever they are inlined.
#ifndef DIBKIT_SRC_COMMON_SIMD_H
#define DIBKIT_SRC_COMMON_SIMD_H

#include "common/cpu.h"

#ifdef DIBKIT_X86
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#pragma GCC diagnostic pop
// Without optimisation some intrinsics are macros, whose masks g++ warns about where they are used.
#if defined(__GNUC__) && !defined(__clang__) && !defined(__OPTIMIZE__)
#pragma GCC diagnostic ignored "-Wsign-conversion"
#endif
#endif  // DIBKIT_X86

#endif  // DIBKIT_SRC_COMMON_SIMD_H
