// SPDX-License-Identifier: Apache-2.0
#include "support/fault.h"

#include <array>

namespace dibtest {

bool can_fail_new = false;

namespace {

struct FaultState {
  unsigned remaining = 0;  // occurrences until the one that fails; 0 is not armed or done
  bool armed = false;
  bool met = false;
  FaultSpan span = FaultSpan::kOnce;
};

FaultState& StateOf(Fault fault) noexcept {
  thread_local std::array<FaultState, 3> states;
  return states[static_cast<size_t>(fault)];
}

}  // namespace

void ArmFault(Fault fault, unsigned nth, FaultSpan span) {
  StateOf(fault) = {nth, true, false, span};
}

bool DisarmFault(Fault fault) {
  const bool met = StateOf(fault).met;
  StateOf(fault) = {};
  return met;
}

bool IsFaultArmed(Fault fault) { return StateOf(fault).armed; }

bool FaultStrikes(Fault fault) noexcept {
  FaultState& state = StateOf(fault);
  if (!state.armed) return false;
  if (state.remaining == 0) return state.span == FaultSpan::kFromThenOn;
  if (--state.remaining != 0) return false;
  state.met = true;
  return true;
}

}  // namespace dibtest
