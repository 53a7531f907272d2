// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "peers/peers.h"
#include "suites/dibkit_turns.h"
#include "suites/plain_form.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

struct Small {
  const char* kind;
  Pixels pixels;
};

constexpr Small kKinds[] = {
    {"24-bit", Pixels::kBgr24}, {"grey", Pixels::kGray8}, {"1-bit", Pixels::kBilevel}};
constexpr int kSides[] = {1, 8, 64, 256};

std::string NameOf(const Small& small, int side, unsigned from, unsigned to) {
  return std::string(small.kind) + " " + std::to_string(side) + " x " + std::to_string(side) +
         ", " + std::to_string(from) + "→" + std::to_string(to);
}

std::vector<Goal> GoalsAt(int side) {
  if (side == 1) return {{"small: 1 x 1", kPlainName, 3.0, 3.0}};
  if (side >= 64) return {{"small: 64 x 64 and above", kPlainName, 1.0, 1.0}};
  return {};
}

Task MakeTask(const Small& small, int side, unsigned from, unsigned to) {
  const auto source =
      std::make_shared<Dib>(DrawPage(Content::kRandom, side, side), small.pixels, from);
  const Size size = SizeAt(*source, to);
  const PeerJob job{Work::kResize, source->View(), size.width,
                    size.height,   small.pixels,   source->File()};
  Task task{.name = NameOf(small, side, from, to),
            .page = bench::NameOf(Content::kRandom),
            .contenders = {},
            .goals = GoalsAt(side),
            .meanTolerance = kNotCompared,
            .sources = {source}};
  task.contenders = {ConvertTurn(*source, to),
                     {kPlainName,
                      Standing::kOtherWork,
                      {},
                      [&dib = *source, to] { return ConvertPlainly(dib, to); },
                      {}}};
  AddPeers(job, task.contenders);
  std::erase_if(task.contenders, [](const Contender& contender) {
    const std::string& name = contender.name;
    return name != kDibkitName && name != kPlainName && name != kOpenCvLinear &&
           name != kBilevelChain;
  });
  return task;
}

}  // namespace

void PlanSmall(Plans& plans) {
  for (const Small& small : kKinds) {
    for (const int side : kSides) {
      plans.push_back({"small " + NameOf(small, side, 200, 300),
                       [=] { return MakeTask(small, side, 200, 300); }});
      // A single pixel has no smaller picture.
      if (side > 1) {
        plans.push_back({"small " + NameOf(small, side, 300, 200),
                         [=] { return MakeTask(small, side, 300, 200); }});
      }
    }
  }
}

}  // namespace dibkit::bench
