// SPDX-License-Identifier: Apache-2.0
//
// The x87 unit as some hosts leave it: rounding every result to 53 bits.
#ifndef DIBKIT_TESTS_UNIT_X87_PRECISION_H
#define DIBKIT_TESTS_UNIT_X87_PRECISION_H

#include "common/cpu.h"

namespace dibtest {

// Sets the unit so for as long as the object lives, if `narrow`; other CPUs have no such setting.
class X87Precision {
 public:
  explicit X87Precision(bool narrow) {
#ifdef DIBKIT_X86
    __asm__ volatile("fnstcw %0" : "=m"(m_before));
    const auto control = static_cast<unsigned short>((m_before & ~kPrecision) | kDouble);
    if (narrow) __asm__ volatile("fldcw %0" : : "m"(control));
#else
    static_cast<void>(narrow);
#endif
  }
  X87Precision(const X87Precision&) = delete;
  X87Precision& operator=(const X87Precision&) = delete;
#ifdef DIBKIT_X86
  ~X87Precision() { __asm__ volatile("fldcw %0" : : "m"(m_before)); }

 private:
  static constexpr unsigned kPrecision = 0x300;
  static constexpr unsigned kDouble = 0x200;
  unsigned short m_before = 0;
#endif
};

}  // namespace dibtest

#endif  // DIBKIT_TESTS_UNIT_X87_PRECISION_H
