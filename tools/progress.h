// SPDX-License-Identifier: Apache-2.0
//
// The progress bar on standard error, and the way in which a conversion hears of Ctrl-C.
#ifndef DIBKIT_TOOLS_PROGRESS_H
#define DIBKIT_TOOLS_PROGRESS_H

namespace dibkit::tool {

// Shows the bar from now on, if standard error is a terminal and `quiet` is false.
void BeginProgress(bool quiet);

// Draws the bar at `percent`. 0 when a signal was caught, which cancels the conversion, else 1.
int ReportProgress(unsigned short percent);

// Wipes the bar away; does nothing when there is none.
void EndProgress();

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_PROGRESS_H
