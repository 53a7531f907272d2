// SPDX-License-Identifier: Apache-2.0
#include "command_line/nearest.h"

#include <algorithm>
#include <cstddef>

namespace dibkit::tool {
namespace {

constexpr size_t kMissing = 1;
constexpr size_t kOther = 2;  // a letter too many, another letter, two letters swapped

// What it costs to turn `word` into `candidate`.
size_t Changes(std::string_view word, std::string_view candidate) {
  std::vector<std::vector<size_t>> cost(word.size() + 1, std::vector<size_t>(candidate.size() + 1));
  for (size_t i = 0; i <= word.size(); ++i) {
    for (size_t j = 0; j <= candidate.size(); ++j) {
      if (i == 0 || j == 0) {
        cost[i][j] = i * kOther + j * kMissing;
        continue;
      }
      const size_t replaced = cost[i - 1][j - 1] + (word[i - 1] == candidate[j - 1] ? 0 : kOther);
      cost[i][j] = std::min({replaced, cost[i - 1][j] + kOther, cost[i][j - 1] + kMissing});
      const bool swapped =
          i > 1 && j > 1 && word[i - 1] == candidate[j - 2] && word[i - 2] == candidate[j - 1];
      if (swapped) {
        cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + kOther);
      }
    }
  }
  return cost[word.size()][candidate.size()];
}

}  // namespace

std::string DidYouMean(std::string_view word, const std::vector<std::string>& candidates) {
  // Words of any length come from outside, and no candidate is nearly so long.
  constexpr size_t kLongest = 64;
  if (word.size() > kLongest) {
    return "";
  }
  const size_t dashes = std::min(word.find_first_not_of('-'), word.size());
  size_t fewest = word.size() - dashes + 1;
  const std::string* nearest = nullptr;
  for (const std::string& candidate : candidates) {
    const size_t changes = Changes(word, candidate);
    if (changes < fewest) {
      fewest = changes;
      nearest = &candidate;
    }
  }
  return nearest == nullptr ? "" : "; did you mean " + *nearest + "?";
}

}  // namespace dibkit::tool
