// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

#include "DIBApi.h"
#include "suites/dibkit_turns.h"
#include "suites/suites.h"

namespace dibkit::bench {
namespace {

constexpr double kMiB = 1 << 20;

// A figure of /proc/self/status in KiB, such as VmRSS and VmHWM.
double StatusKiB(const std::string& field) {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == field + ":") {
      double kib = 0;
      status >> kib;
      return kib;
    }
  }
  return 0;
}

// Forgets the peak so far.
bool ResetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5\n";
  return StatusKiB("VmHWM") < StatusKiB("VmRSS") + 1024;
}

struct Sample {
  double source;
  double result;
  double peak;
};

// In the child: one call from a fresh heap.
Sample MeasureHere(const std::function<std::unique_ptr<Dib>()>& makeSource,
                   const std::function<Contender(Dib&)>& makeTurn) {
  const std::unique_ptr<Dib> source = makeSource();
  const Contender contender = makeTurn(*source);
  AllocateFresh();
  if (!ResetPeak()) return {};
  const double before = StatusKiB("VmRSS");
  const Bytes result = contender.turn();
  const double peak = StatusKiB("VmHWM") - before;
  return {static_cast<double>(source->File().size()) / kMiB,
          static_cast<double>(result.size()) / kMiB, peak / 1024};
}

// In a process of its own, so that nothing that was allocated before plays a part.
Sample Measure(const std::function<std::unique_ptr<Dib>()>& makeSource,
               const std::function<Contender(Dib&)>& makeTurn) {
  int ends[2];
  if (::pipe(ends) != 0) return {};
  const pid_t child = ::fork();
  if (child == 0) {
    const Sample sample = MeasureHere(makeSource, makeTurn);
    const bool written = ::write(ends[1], &sample, sizeof sample) == sizeof sample;
    std::_Exit(written ? 0 : 1);
  }
  ::close(ends[1]);
  Sample sample{};
  if (::read(ends[0], &sample, sizeof sample) != sizeof sample) {
    sample = {};
  }
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  return sample;
}

struct Kind {
  const char* name;
  Pixels pixels;
};

std::unique_ptr<Dib> PageOf(Pixels pixels) {
  return std::make_unique<Dib>(DrawPage(Content::kNoise, 2480, 3508), pixels, 300);
}

std::unique_ptr<Dib> CompressedPage() {
  auto dib = std::make_unique<Dib>(DrawPage(Content::kText, 2480, 3508), Pixels::kGray8, 300);
  dib->Compress();
  return dib;
}

}  // namespace

std::vector<PeakMemory> MeasurePeakMemory() {
  constexpr Kind kResized[] = {{"1-bit", Pixels::kBilevel},
                               {"4-bit palette", Pixels::kPalette4},
                               {"grey", Pixels::kGray8},
                               {"8-bit palette", Pixels::kPalette8},
                               {"24-bit", Pixels::kBgr24}};
  std::vector<PeakMemory> peaks;
  const auto add = [&](const std::string& name, const auto& makeSource, const auto& makeTurn) {
    const Sample sample = Measure(makeSource, makeTurn);
    peaks.push_back({name, sample.source, sample.result, sample.peak});
  };
  for (const Kind& kind : kResized) {
    add(
        std::string(kind.name) + " 300→200", [&] { return PageOf(kind.pixels); },
        [](Dib& dib) { return ConvertTurn(dib, 200); });
  }
  add(
      "24-bit to 256 colours", [] { return PageOf(Pixels::kBgr24); }, QuantizeTurn);
  add("RLE8 of a text page", CompressedPage, [](Dib& dib) { return ImageTurn(dib, RestoreRLE8); });
  add(
      "8→24 bits", [] { return PageOf(Pixels::kPalette8); },
      [](Dib& dib) { return ImageTurn(dib, ConvertTo24BPPDIB); });
  add(
      "24 bits→5-5-5", [] { return PageOf(Pixels::kBgr24); },
      [](Dib& dib) { return ImageTurn(dib, ConvertTo16BPPDIB); });
  return peaks;
}

}  // namespace dibkit::bench
