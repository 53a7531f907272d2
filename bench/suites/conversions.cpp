// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "DIBApi.h"
#include "peers/peers.h"
#include "suites/dibkit_turns.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

using Entry = tagHANDLE* (*)(unsigned char*);

// What is done to the rows of a plain picture before the conversion sees them.
using Preparation = void (Dib::*)();

struct Conversion {
  const char* name;
  Content content;
  Work work;
  Pixels from;
  Pixels to;
  Entry entry;
  Preparation prepare;  // null: none
  double toBestPeer;
  double toFloor;
};

// Conversions do not look at what they convert, but for run-length streams: one page is enough.
constexpr Content kPage = Content::kNoise;
constexpr double kAhead = 1.0;
constexpr double kLevel = 1.05;  // as fast as the best, within what a measurement can tell

const Conversion kConversions[] = {
    {"RLE8 of a text page", Content::kText, Work::kDecodeRuns, Pixels::kGray8, Pixels::kGray8,
     RestoreRLE8, &Dib::Compress, kAhead, 3.0},
    {"RLE8, runs of two", kPage, Work::kDecodeRuns, Pixels::kGray8, Pixels::kGray8, RestoreRLE8,
     &Dib::CompressToPairs, kAhead, 3.0},
    {"RLE4 of a text page", Content::kText, Work::kDecodeRuns, Pixels::kPalette4, Pixels::kPalette4,
     RestoreRLE4, &Dib::Compress, kAhead, 3.0},
    {"1→24 bits", kPage, Work::kConvert, Pixels::kBilevel, Pixels::kBgr24, ConvertTo24BPPDIB,
     nullptr, kAhead, 0.7},
    {"4→24 bits", kPage, Work::kConvert, Pixels::kPalette4, Pixels::kBgr24, ConvertTo24BPPDIB,
     nullptr, kAhead, 0.6},
    {"8→24 bits", kPage, Work::kConvert, Pixels::kPalette8, Pixels::kBgr24, ConvertTo24BPPDIB,
     nullptr, kAhead, 0.6},
    {"5-5-5→24 bits", kPage, Work::kConvert, Pixels::kWord555, Pixels::kBgr24, ConvertTo24BPPDIB,
     nullptr, kAhead, 0.6},
    {"32→24 bits", kPage, Work::kConvert, Pixels::kBgrx32, Pixels::kBgr24, ConvertTo24BPPDIB,
     nullptr, kAhead, 0.6},
    {"8 bits→5-5-5", kPage, Work::kConvert, Pixels::kPalette8, Pixels::kWord555, ConvertTo16BPPDIB,
     nullptr, kAhead, 0.6},
    {"24 bits→5-5-5", kPage, Work::kConvert, Pixels::kBgr24, Pixels::kWord555, ConvertTo16BPPDIB,
     nullptr, kAhead, 0.6},
    {"row flip, 24 bits", kPage, Work::kFlip, Pixels::kBgr24, Pixels::kBgr24, TopDownToBottomUp,
     &Dib::TurnTopDown, kLevel, 0.6},
};

Task MakeTask(const Conversion& conversion) {
  constexpr Size kPageSize{2480, 3508};
  const auto source = std::make_shared<Dib>(
      DrawPage(conversion.content, kPageSize.width, kPageSize.height), conversion.from, 300);
  if (conversion.prepare != nullptr) {
    (source.get()->*conversion.prepare)();
  }
  const PeerJob job{conversion.work,  source->View(), kPageSize.width,
                    kPageSize.height, conversion.to,  source->File()};
  const size_t resultBytes =
      StrideOf(conversion.to, kPageSize.width) * static_cast<size_t>(kPageSize.height);
  const std::string row = std::string("conversion: ") + conversion.name;
  Task task{.name = conversion.name,
            .page = NameOf(conversion.content),
            .contenders = {},
            .goals = {{row, kBestPeer, conversion.toBestPeer, conversion.toBestPeer},
                      {row, kFloorName, conversion.toFloor, conversion.toFloor}},
            .meanTolerance = kNearlyEqual,
            .sources = {source}};
  task.contenders = {ImageTurn(*source, conversion.entry),
                     FloorTurn(source->Stored().size(), resultBytes)};
  AddPeers(job, task.contenders);
  return task;
}

}  // namespace

void PlanConversions(Plans& plans) {
  for (const Conversion& conversion : kConversions) {
    plans.push_back({conversion.name, [&conversion] { return MakeTask(conversion); }});
  }
}

}  // namespace dibkit::bench
