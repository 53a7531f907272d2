// SPDX-License-Identifier: Apache-2.0
//
// Ctrl-C and its like are noted, so that the work in hand can stop cleanly.
#ifndef DIBKIT_TOOLS_SIGNALS_H
#define DIBKIT_TOOLS_SIGNALS_H

namespace dibkit::tool {

// Notes SIGINT, SIGTERM and SIGHUP from now on; blocking system calls end early.
void CatchSignals();

// The signal that was caught, or 0.
int CaughtSignal();

// True once a signal was caught: a cancel hook.
bool Interrupted();

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_SIGNALS_H
