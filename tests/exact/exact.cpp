// SPDX-License-Identifier: Apache-2.0
//
// exact MINUTES [--seed NUMBER]: random images through every family of kernels that the CPU runs
// and through the plain forms, for so many minutes. Prints the seed, and per family how many pixels
// were compared and how many results differed. Exits with 1 on any difference, with 2 on a bad
// call.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>

#include "line_comparison.h"
#include "quantize_comparison.h"
#include "rle_comparison.h"

namespace dibtest {
namespace {

using dibkit::resolution::HistogramUse;

using Clock = std::chrono::steady_clock;

struct Options {
  double minutes;
  uint64_t seed;
};

std::optional<uint64_t> ReadNumber(const char* text) {
  char* end = nullptr;
  const unsigned long long number = std::strtoull(text, &end, 10);
  if (*text == '\0' || *end != '\0') return std::nullopt;
  return number;
}

std::optional<Options> ReadOptions(int argc, char** argv) {
  if (argc != 2 && argc != 4) return std::nullopt;
  char* end = nullptr;
  Options options{std::strtod(argv[1], &end), 0};
  if (end == argv[1] || *end != '\0' || !(options.minutes > 0)) return std::nullopt;
  if (argc == 2) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    options.seed = static_cast<uint64_t>(now / std::chrono::milliseconds(1));
    return options;
  }
  const std::optional<uint64_t> seed = ReadNumber(argv[3]);
  if (std::string(argv[2]) != "--seed" || !seed) return std::nullopt;
  options.seed = *seed;
  return options;
}

// One group of rows in the report.
struct Subject {
  const char* name;
  std::vector<Tally> tallies;

  explicit Subject(const char* title) : name(title) {
    for (const dibkit::CpuLevel family : AllFamilies()) {
      if (CpuRuns(family)) tallies.push_back({.family = family});
    }
  }
};

struct Resolutions {
  unsigned dpi;
  unsigned x;
  unsigned y;
};

Resolutions PickResolutions(Random& random) {
  constexpr unsigned kUsual[] = {72,  75,  96,  100, 150, 160, 200,
                                 204, 240, 299, 300, 400, 600, 1200};
  const auto usual = [&] { return kUsual[random.Below(std::size(kUsual))]; };
  const unsigned factor = 1 + random.Below(40);
  Resolutions r{};
  switch (random.Below(4)) {
    case 0:
      r = {usual(), usual(), usual()};
      break;
    case 1:  // few parts
      r = {(1 + random.Below(15)) * factor, (1 + random.Below(30)) * factor,
           (1 + random.Below(30)) * factor};
      break;
    case 2:
      r = {1 + random.Below(65535), 1 + random.Below(65535), 1 + random.Below(65535)};
      break;
    default:
      r = {1 + random.Below(1200), 1 + random.Below(1200), 1 + random.Below(1200)};
      break;
  }
  if (random.Below(2) != 0) r.y = r.x;
  return r;
}

void CompareSomeLines(Random& random, Subject& subject) {
  const Resolutions r = PickResolutions(random);
  const unsigned mostColumns = random.Below(16) == 0 ? 65535 : 6000;
  const unsigned mostRows = random.Below(4) == 0 ? 65535 : 6000;
  CompareLines({.width = 1 + random.Below(mostColumns),
                .height = 1 + random.Below(mostRows),
                .dpi = r.dpi,
                .resX = r.x,
                .resY = r.y,
                .channels = random.Below(2) != 0 ? 3u : 1u,
                .kind = static_cast<RowKind>(random.Below(kRowKinds)),
                .narrowX87 = random.Below(4) == 0},
               9, random, subject.tallies);
}

void CompareSomeImage(Random& random, Subject& subject) {
  constexpr ImageKind kKinds[] = {KIND_BILEVEL, KIND_GRAY_8BIT, KIND_PALETTE_8BIT, KIND_TRUE_COLOR};
  const Resolutions r = PickResolutions(random);
  // A result of at most about a million pixels.
  const auto length = [&](unsigned resolution) {
    return 1 + random.Below(std::min(600u, 1 + 1000 * resolution / r.dpi));
  };
  CompareImage({.kind = kKinds[random.Below(std::size(kKinds))],
                .width = length(r.x),
                .height = length(r.y),
                .dpi = r.dpi,
                .resX = r.x,
                .resY = r.y,
                .rows = static_cast<RowKind>(random.Below(kRowKinds)),
                .plainTable = random.Below(2) != 0,
                .threshold = static_cast<int>(random.Below(258)),
                .use = random.Below(2) != 0 ? HistogramUse::kCounted : HistogramUse::kUnseen},
               random, subject.tallies);
}

void CompareSomeQuantizing(Random& random, Subject& subject) {
  const bool large = random.Below(3) == 0;
  QuantizeCase quantize{.width = static_cast<int32_t>(1 + random.Below(large ? 900 : 130)),
                        .height = static_cast<int32_t>(1 + random.Below(large ? 500 : 90)),
                        .kind = static_cast<PixelKind>(random.Below(kPixelKinds)),
                        .twice = random.Below(16) == 0};
  if (random.Below(4) == 0) quantize.maxColors = static_cast<uint16_t>(1 + random.Below(256));
  if (random.Below(12) == 0) quantize.depth = static_cast<uint16_t>(1 + random.Below(6));
  if (random.Below(8) == 0) quantize.fixedColors = random.Below(quantize.maxColors);
  CompareQuantizer(quantize, random, subject.tallies);
  const unsigned keys = random.Below(257);
  for (Tally& tally : subject.tallies) {
    tally.Note(CompareSorts(keys, random, tally.family), std::to_string(keys) + " sort keys");
  }
}

// There is one decoder for all CPUs.
void CompareSomeStreams(Random& random, Tally& tally) {
  for (unsigned mix = 0; mix < kRecordMixes; ++mix) {
    CompareRle(random.Below(2) != 0 ? 8 : 4, static_cast<RecordMix>(mix), random, tally);
  }
}

// True when nothing differed.
bool Report(const Subject& subject) {
  bool same = true;
  for (const Tally& tally : subject.tallies) {
    std::printf("%-10s %-9s %14llu pixels %6llu differences\n", subject.name, NameOf(tally.family),
                static_cast<unsigned long long>(tally.compared),
                static_cast<unsigned long long>(tally.differences));
    if (tally.differences == 0) continue;
    std::printf("  first: %s\n", tally.first.c_str());
    same = false;
  }
  return same;
}

int Run(const Options& options) {
  std::printf("seed %llu, %g minutes\n", static_cast<unsigned long long>(options.seed),
              options.minutes);
  std::fflush(stdout);
  Subject lines("lines");
  Subject images("images");
  Subject colors("quantizer");
  Subject streams("rle");
  streams.tallies.resize(1);
  Random random(options.seed);
  const auto end = Clock::now() + std::chrono::duration<double, std::ratio<60>>(options.minutes);
  while (Clock::now() < end) {
    for (int turn = 0; turn < 20; ++turn) CompareSomeLines(random, lines);
    for (int turn = 0; turn < 4; ++turn) CompareSomeImage(random, images);
    CompareSomeQuantizing(random, colors);
    CompareSomeStreams(random, streams.tallies[0]);
  }
  bool same = true;
  for (const Subject* subject : {&lines, &images, &colors, &streams})
    same = Report(*subject) && same;
  return same ? 0 : 1;
}

}  // namespace
}  // namespace dibtest

int main(int argc, char** argv) {
  const std::optional<dibtest::Options> options = dibtest::ReadOptions(argc, argv);
  if (!options) {
    std::fprintf(stderr, "usage: exact MINUTES [--seed NUMBER]\n");
    return 2;
  }
  return dibtest::Run(*options);
}
