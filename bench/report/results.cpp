// SPDX-License-Identifier: Apache-2.0
#include "report/results.h"

namespace dibkit::bench {

std::optional<double> TimeOf(const Medians& medians, const std::string& name) {
  const auto found = medians.find(name);
  if (found == medians.end()) return std::nullopt;
  return found->second;
}

std::optional<Best> BestPeer(const Result& result, const Medians& medians) {
  std::optional<Best> best;
  for (const auto& [name, time] : medians) {
    if (result.standings.at(name) == Standing::kPeer && (!best || time < best->time)) {
      best = Best{name, time};
    }
  }
  return best;
}

std::optional<double> RatioTo(const Result& result, const Medians& medians,
                              const std::string& against) {
  const std::optional<double> ours = TimeOf(medians, kDibkitName);
  std::optional<double> other = TimeOf(medians, against);
  if (const std::optional<Best> best = BestPeer(result, medians); against == kBestPeer && best) {
    other = best->time;
  }
  if (!ours || !other) return std::nullopt;
  return *ours / *other;
}

}  // namespace dibkit::bench
