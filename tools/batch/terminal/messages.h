// SPDX-License-Identifier: Apache-2.0
//
// Standard error: whole lines from any thread, and under them at most one line that is drawn over.
#ifndef DIBKIT_TOOLS_BATCH_TERMINAL_MESSAGES_H
#define DIBKIT_TOOLS_BATCH_TERMINAL_MESSAGES_H

#include <string>
#include <string_view>

namespace dibkit::tool {

// Prints one line; control characters in `text` are escaped. Any thread, at any time.
void Message(std::string_view text);

// The same for a process that is about to end and must not wait: gives up where standard error, or
// another thread that is printing, does not let it through in some hundredths of a second.
void HastyMessage(std::string_view text);

// Shows `line` in place of the status line that is shown now; an empty one takes it away. Messages
// appear above it. Only where standard error is a terminal.
void ShowStatusLine(const std::string& line);

// Columns of the terminal that standard error is; 80 where it does not say.
unsigned TerminalColumns();

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_TERMINAL_MESSAGES_H
