// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "peers/peers.h"
#include "suites/dibkit_turns.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

constexpr Size kPageSize{2480, 3508};

std::vector<Goal> GoalsOn(Content content) {
  switch (content) {
    case Content::kText:
    case Content::kPhoto:
      return {{"24-bit to 256 colours, clean", kFreeImageWu, 0.45, 0.45},
              {"24-bit to 256 colours, clean", kFloorName, 7, 7}};
    case Content::kNoise:
      return {{"24-bit to 256 colours, noisy", kFreeImageWu, 0.65, 0.65}};
    case Content::kRandom:
      return {};
  }
  return {};
}

Task MakeTask(Content content) {
  const Page& page = DrawPage(content, kPageSize.width, kPageSize.height);
  const std::string colors = std::to_string(CountColors(page)) + " colours";
  const auto source = std::make_shared<Dib>(page, Pixels::kBgr24, 300);
  const PeerJob job{Work::kReduceColors, source->View(),    kPageSize.width,
                    kPageSize.height,    Pixels::kPalette8, source->File()};
  const size_t resultBytes =
      StrideOf(Pixels::kPalette8, kPageSize.width) * static_cast<size_t>(kPageSize.height);
  Task task{.name = "24-bit to 256 colours",
            .page = NameOf(content) + ", " + colors,
            .contenders = {},
            .goals = GoalsOn(content),
            .meanTolerance = kNotCompared,
            .sources = {source}};
  task.contenders = {QuantizeTurn(*source), FloorTurn(source->Stored().size(), resultBytes)};
  AddPeers(job, task.contenders);
  return task;
}

}  // namespace

void PlanReduction(Plans& plans) {
  for (const Content content : kContents) {
    plans.push_back(
        {"24-bit to 256 colours, " + NameOf(content), [content] { return MakeTask(content); }});
  }
}

}  // namespace dibkit::bench
