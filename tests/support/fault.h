// SPDX-License-Identifier: Apache-2.0
//
// Faults on demand: the nth allocation, the nth lock or the nth operator new of this thread fails.
#ifndef DIBKIT_TESTS_SUPPORT_FAULT_H
#define DIBKIT_TESTS_SUPPORT_FAULT_H

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace dibtest {

enum class Fault { kGlobalAlloc, kGlobalLock, kNew };

enum class FaultSpan { kOnce, kFromThenOn };

// The nth occurrence from now on (1 is the next one) fails, or all from the nth on.
void ArmFault(Fault fault, unsigned nth, FaultSpan span = FaultSpan::kOnce);

// Ends the fault; true when an occurrence failed since it was armed.
bool DisarmFault(Fault fault);

bool IsFaultArmed(Fault fault);

// For the providers: counts one occurrence, and tells whether it must fail.
bool FaultStrikes(Fault fault) noexcept;

// True when operator new is the one that can fail (target test_new is linked).
extern bool can_fail_new;

// One run of FailEach. The body prepares, makes the call under test through Call, and then checks.
class FaultRun {
 public:
  FaultRun(Fault fault, unsigned nth, FaultSpan span) : m_fault(fault), m_nth(nth), m_span(span) {}

  // Makes the call with the fault armed; only what happens inside is counted.
  template <typename Function>
  auto Call(Function&& function) {
    ArmFault(m_fault, m_nth, m_span);
    if constexpr (std::is_void_v<decltype(function())>) {
      std::forward<Function>(function)();
      m_met |= DisarmFault(m_fault);
    } else {
      auto result = std::forward<Function>(function)();
      m_met |= DisarmFault(m_fault);
      return result;
    }
  }

  // Whether the fault was met in Call.
  bool Met() const { return m_met; }
  // Which occurrence fails in this run, from 1.
  unsigned Nth() const { return m_nth; }

 private:
  Fault m_fault;
  unsigned m_nth;
  FaultSpan m_span;
  bool m_met = false;
};

// Runs `body` with the first occurrence failing, then the second, and so on, until a run passes
// without meeting the fault. Returns how many occurrences were made to fail.
template <typename Body>
unsigned FailEach(Fault fault, Body&& body, FaultSpan span = FaultSpan::kOnce) {
  if (fault == Fault::kNew) {
    EXPECT_TRUE(can_fail_new) << "link test_new";
  }
  constexpr unsigned kLimit = 100000;
  for (unsigned nth = 1; nth <= kLimit; ++nth) {
    SCOPED_TRACE(::testing::Message() << "fault " << nth);
    FaultRun run(fault, nth, span);
    body(run);
    if (!run.Met()) return nth - 1;
    if (::testing::Test::HasFatalFailure()) return nth;
  }
  ADD_FAILURE() << "the fault is met without end";
  return kLimit;
}

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_FAULT_H
