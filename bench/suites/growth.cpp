// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <memory>

#include "peers/peers.h"
#include "suites/dibkit_turns.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

constexpr unsigned kSourceDpi = 300;

// 24 bits, ours and OpenCV's.
Task MakeTask(const std::string& name, Size size, unsigned dpi) {
  const auto source = std::make_shared<Dib>(DrawPage(Content::kPhoto, size.width, size.height),
                                            Pixels::kBgr24, kSourceDpi);
  const Size result = SizeAt(*source, dpi);
  const PeerJob job{Work::kResize, source->View(), result.width,
                    result.height, Pixels::kBgr24, source->File()};
  Task task{.name = name,
            .page = NameOf(Content::kPhoto),
            .contenders = {},
            .goals = {},
            .meanTolerance = kNearlyEqual,
            .sources = {source}};
  task.contenders = {ConvertTurn(*source, dpi)};
  AddPeers(job, task.contenders);
  std::erase_if(task.contenders, [](const Contender& contender) {
    return contender.name != kDibkitName && contender.name != kOpenCvLinear;
  });
  return task;
}

}  // namespace

std::vector<GrowthPoint> PlanGrowth() {
  std::vector<GrowthPoint> points;
  for (const double megapixels : {0.5, 1.0, 2.0, 4.0, 8.0, 16.0, 32.0, 64.0, 200.0}) {
    const int side = static_cast<int>(std::lround(std::sqrt(megapixels * 1e6)));
    const std::string name = "growth, " + std::to_string(side) + " x " + std::to_string(side);
    points.push_back({megapixels, megapixels, {name, [=] {
                                                 return MakeTask(name, {side, side}, 200);
                                               }}});
  }
  return points;
}

std::vector<GrowthPoint> PlanRatios() {
  constexpr Size kPage{2480, 3508};
  std::vector<GrowthPoint> points;
  for (const unsigned dpi :
       {72u, 100u, 120u, 150u, 180u, 200u, 240u, 299u, 300u, 360u, 400u, 450u, 500u, 600u}) {
    const std::string name = "ratio, 300→" + std::to_string(dpi);
    const double scale = dpi / 300.0;
    points.push_back({static_cast<double>(dpi),
                      kPage.width * kPage.height * scale * scale / 1e6,
                      {name, [=] { return MakeTask(name, kPage, dpi); }}});
  }
  return points;
}

}  // namespace dibkit::bench
