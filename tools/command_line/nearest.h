// SPDX-License-Identifier: Apache-2.0
//
// What was meant by a word that does not exist.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_NEAREST_H
#define DIBKIT_TOOLS_COMMAND_LINE_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace dibkit::tool {

// "; did you mean CANDIDATE?" for the candidate that `word` becomes with the fewest changes, or
// nothing when none is near. Leaving letters out is the slip that weighs least.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_NEAREST_H
