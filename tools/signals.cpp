// SPDX-License-Identifier: Apache-2.0
#include "signals.h"

#include <array>
#include <csignal>

namespace dibkit::tool {
namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void NoteSignal(int number) { caught = number; }

}  // namespace

void CatchSignals() {
  for (const int number : std::array{SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction present {};
    sigaction(number, nullptr, &present);
    // A signal that the starter ignores, as nohup does, stays ignored.
    if (present.sa_handler == SIG_IGN) {
      continue;
    }
    struct sigaction action {};
    action.sa_handler = NoteSignal;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
  }
}

int CaughtSignal() { return caught; }

bool Interrupted() { return caught != 0; }

}  // namespace dibkit::tool
