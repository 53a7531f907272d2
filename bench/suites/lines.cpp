// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <vector>

#include "Cnv_res_mem.h"
#include "resolution/lines.h"
#include "resolution/positions.h"
#include "suites/dibkit_turns.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

using namespace dibkit::resolution;

constexpr double kFraction = 0.5;

// An engine that was set up by hand for one pair of rows, as a host may do it.
struct Bench {
  Bench(const Page& page, Pixels pixels, unsigned from, unsigned to)
      : dib(page, pixels, from), size(SizeAt(dib, to)), out(StrideOf(pixels, size.width)) {
    engine.m_dScaleX = static_cast<double>(to) / from;
    engine.m_iThreshold = kThreshold;
    engine.m_wSourceWidth = static_cast<unsigned short>(page.width);
    engine.m_wOutputWidth = static_cast<unsigned short>(size.width);
    engine.m_wSourceBitCount = static_cast<unsigned short>(BitsOf(pixels));
    for (unsigned i = 0; i < 256; ++i) {
      const auto level = static_cast<uint8_t>(pixels == Pixels::kBilevel ? i * 255 : i);
      engine.m_ColorTable[i] = {level, level, level, 0};
    }
    FillColumns(engine.m_dScaleX, engine.m_wSourceWidth, engine.m_wOutputWidth, engine.m_Columns);
  }

  unsigned char* RowA() { return dib.Data() + (dib.View().rows - dib.Data()); }
  unsigned char* RowB() { return RowA() + dib.View().stride; }
  LineGeometry Line() const {
    return {engine.m_dScaleX, engine.m_wSourceWidth, engine.m_wOutputWidth};
  }
  SourceRows Rows() { return {kFraction, RowA(), RowB()}; }

  Dib dib;
  Size size;
  Buffer out;
  CLinearTransformMem engine;
};

using SharedBench = std::shared_ptr<Bench>;
using Maker = void (CLinearTransformMem::*)(double, unsigned char*, unsigned char*, unsigned char*);
using PlainMaker = void (*)(Bench&);

void PlainTrueColor(Bench& bench) {
  MakeTrueColorLine(bench.Line(), bench.Rows(), bench.out.Data());
}

void PlainGray(Bench& bench) {
  MakeGray8Line(bench.Line(), bench.engine.m_ColorTable, bench.Rows(), bench.engine.m_Histogram,
                bench.out.Data());
}

void PlainBilevel(Bench& bench) {
  MakeBilevelLine(bench.engine.m_Columns.data(), bench.engine.m_Columns.size(), false, kThreshold,
                  bench.Rows(), bench.out.Data());
}

struct LineKind {
  const char* name;
  Pixels pixels;
  Maker maker;
  PlainMaker plain;
};

constexpr LineKind kKinds[] = {
    {"24-bit", Pixels::kBgr24, &CLinearTransformMem::MakeRGBColorImageLine, PlainTrueColor},
    {"grey", Pixels::kGray8, &CLinearTransformMem::Make8bitGrayImageLine, PlainGray},
    {"1-bit", Pixels::kBilevel, &CLinearTransformMem::MakeBWImageLine, PlainBilevel},
};

Task MakeTask(const LineKind& kind, unsigned from, unsigned to) {
  const auto bench =
      std::make_shared<Bench>(DrawPage(Content::kNoise, 2480, 512), kind.pixels, from, to);
  Task task{
      .name = std::string(kind.name) + " line, " + std::to_string(from) + "→" + std::to_string(to),
      .page = NameOf(Content::kNoise),
      .contenders = {},
      .goals = {},
      .meanTolerance = kNotCompared,
      .sources = {bench}};
  const Maker maker = kind.maker;
  const PlainMaker plain = kind.plain;
  task.contenders = {{kDibkitName,
                      Standing::kDibkit,
                      {},
                      [&bench = *bench, maker] {
                        (bench.engine.*maker)(kFraction, bench.RowA(), bench.RowB(),
                                              bench.out.Data());
                        return bench.out.View();
                      },
                      {}},
                     {kPlainName,
                      Standing::kOtherWork,
                      {},
                      [&bench = *bench, plain] {
                        plain(bench);
                        return bench.out.View();
                      },
                      {}}};
  return task;
}

}  // namespace

void PlanLines(Plans& plans) {
  for (const LineKind& kind : kKinds) {
    for (const unsigned to : {200u, 299u}) {
      plans.push_back({std::string(kind.name) + " line, 300→" + std::to_string(to),
                       [&kind, to] { return MakeTask(kind, 300, to); }});
    }
    plans.push_back(
        {std::string(kind.name) + " line, 200→300", [&kind] { return MakeTask(kind, 200, 300); }});
  }
}

}  // namespace dibkit::bench
