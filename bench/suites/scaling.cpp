// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <span>

#include "peers/peers.h"
#include "suites/dibkit_turns.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

struct Pair {
  unsigned from;
  unsigned to;
};

// A4 at that many dots per inch.
Size PageSizeAt(unsigned dpi) {
  const auto pixels = [dpi](double inches) { return static_cast<int>(std::lround(inches * dpi)); };
  return dpi == 300 ? Size{2480, 3508} : Size{pixels(8.2677), pixels(11.6929)};
}

struct Kind {
  const char* name;
  Pixels pixels;
  Work work;
  double meanTolerance;
};

constexpr Kind kTrueColor{"24-bit", Pixels::kBgr24, Work::kResize, kNearlyEqual};
constexpr Kind kGray{"grey", Pixels::kGray8, Work::kResize, kNearlyEqual};
constexpr Kind kBilevel{"1-bit", Pixels::kBilevel, Work::kResize, kSameKind};
constexpr Kind kPalette{"8-bit palette", Pixels::kPalette8, Work::kResizePalette, kNotCompared};

std::string NameOf(const Kind& kind, const Pair& pair) {
  return std::string(kind.name) + " " + std::to_string(pair.from) + "→" + std::to_string(pair.to);
}

// Whom a pair is measured against.
enum class Field { kAllPeers, kPeersOfGoals };

// Leaves those peers out that no goal is told against.
void KeepPeersOfGoals(Task& task) {
  std::erase_if(task.contenders, [&](const Contender& contender) {
    const bool isPeer =
        contender.standing != Standing::kDibkit && contender.standing != Standing::kFloor;
    return isPeer && std::none_of(task.goals.begin(), task.goals.end(),
                                  [&](const Goal& goal) { return goal.against == contender.name; });
  });
}

Task MakeTask(const Kind& kind, const Pair& pair, Content content, const std::vector<Goal>& goals,
              Field field) {
  const Size page = PageSizeAt(pair.from);
  const auto source =
      std::make_shared<Dib>(DrawPage(content, page.width, page.height), kind.pixels, pair.from);
  const Size size = SizeAt(*source, pair.to);
  const PeerJob job{kind.work,   source->View(), size.width,
                    size.height, kind.pixels,    source->File()};
  const size_t resultBytes = StrideOf(kind.pixels, size.width) * static_cast<size_t>(size.height);
  Task task{.name = NameOf(kind, pair),
            .page = bench::NameOf(content),
            .contenders = {},
            .goals = goals,
            .meanTolerance = kind.meanTolerance,
            .sources = {source}};
  task.contenders = {ConvertTurn(*source, pair.to),
                     FloorTurn(source->Stored().size(), resultBytes)};
  AddPeers(job, task.contenders);
  if (field == Field::kPeersOfGoals) {
    KeepPeersOfGoals(task);
  }
  return task;
}

void PlanPair(const Kind& kind, const Pair& pair, std::span<const Content> contents,
              const std::vector<Goal>& goals, Plans& plans, Field field = Field::kAllPeers) {
  for (const Content content : contents) {
    plans.push_back({NameOf(kind, pair) + ", " + bench::NameOf(content),
                     [=] { return MakeTask(kind, pair, content, goals, field); }});
  }
}

// Resolutions that no table of favourites holds.
std::vector<Pair> DrawnPairs() {
  constexpr size_t kCount = 20;
  constexpr unsigned kLowest = 72;
  constexpr unsigned kSpan = 329;  // up to 400
  std::mt19937 random(20);
  std::vector<Pair> pairs;
  while (pairs.size() < kCount) {
    const Pair pair{kLowest + static_cast<unsigned>(random()) % kSpan,
                    kLowest + static_cast<unsigned>(random()) % kSpan};
    if (pair.from != pair.to) {
      pairs.push_back(pair);
    }
  }
  return pairs;
}

std::vector<Goal> Against(const char* row, const char* peer, double withAvx512, double withAvx2) {
  return {{row, peer, withAvx512, withAvx2}};
}

void PlanTrueColor(Plans& plans) {
  const auto goals = [](const char* row, double peer512, double peer2, double floor512,
                        double floor2) -> std::vector<Goal> {
    return {{row, kOpenCvLinear, peer512, peer2}, {row, kFloorName, floor512, floor2}};
  };
  PlanPair(kTrueColor, {300, 200}, kContents, goals("24-bit 300→200", 0.33, 0.45, 1.05, 1.45),
           plans);
  PlanPair(kTrueColor, {300, 150}, kContents, goals("24-bit 300→150", 0.45, 0.45, 0.65, 0.65),
           plans);
  PlanPair(kTrueColor, {150, 300}, kContents, goals("24-bit 150→300", 0.33, 0.33, 1.4, 1.4), plans);
  const char* hard = "24-bit 200→300, 240→300";
  PlanPair(kTrueColor, {200, 300}, kContents, Against(hard, kOpenCvLinear, 0.6, 1.0), plans);
  PlanPair(kTrueColor, {240, 300}, kContents, Against(hard, kOpenCvLinear, 0.6, 1.0), plans);
  PlanPair(kTrueColor, {300, 72}, kContents, {}, plans);
}

// On the page that leaves the least to skip among those that a scanner makes.
void PlanOddPairs(Plans& plans) {
  std::vector<Pair> pairs{{300, 299}, {204, 300}, {96, 300}};
  const std::vector<Pair> drawn = DrawnPairs();
  pairs.insert(pairs.end(), drawn.begin(), drawn.end());
  constexpr Content kPages[] = {Content::kNoise};
  const auto goals =
      Against("24-bit 300→299, 204→300, 96→300, 20 drawn pairs", kOpenCvLinear, 0.8, 1.2);
  for (const Pair& pair : pairs) {
    PlanPair(kTrueColor, pair, kPages, goals, plans, Field::kPeersOfGoals);
  }
}

void PlanGray(Plans& plans) {
  std::vector<Goal> goals = Against("grey 300→200", kOpenCvLinear, 0.33, 0.5);
  goals.push_back({"grey 300→200", kFloorName, 1.2, 1.2});
  PlanPair(kGray, {300, 200}, kContents, goals, plans);
  const auto dyadic = Against("grey 300→150, 150→300", kLibyuvName, 1.0, 1.0);
  PlanPair(kGray, {300, 150}, kContents, dyadic, plans);
  PlanPair(kGray, {150, 300}, kContents, dyadic, plans);
}

void PlanBilevel(Plans& plans) {
  const auto goals = Against("1-bit, any pair", kBilevelChain, 0.1, 0.1);
  PlanPair(kBilevel, {300, 200}, kContents, goals, plans);
  constexpr Content kPages[] = {Content::kText, Content::kRandom};
  constexpr Pair kPairs[] = {{300, 150}, {300, 100}, {200, 300}, {240, 300},
                             {204, 300}, {300, 299}, {96, 300}};
  for (const Pair& pair : kPairs) {
    PlanPair(kBilevel, pair, kPages, goals, plans, Field::kPeersOfGoals);
  }
}

}  // namespace

void PlanScaling(Plans& plans) {
  PlanTrueColor(plans);
  PlanOddPairs(plans);
  PlanGray(plans);
  PlanBilevel(plans);
  PlanPair(kPalette, {300, 200}, kContents,
           Against("8-bit palette page 300→200", kPaletteChain, 0.5, 0.5), plans);
}

}  // namespace dibkit::bench
