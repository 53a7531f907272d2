// SPDX-License-Identifier: Apache-2.0
//
// Files that claim to be huge images: refused at once, from pipes too.
#include <gtest/gtest.h>

#include <chrono>

#include "process.h"

namespace dibkit::test {
namespace {

using Arguments = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

constexpr uint64_t kLittleMemory = 20'000;  // KiB that are resident
constexpr std::chrono::seconds kAtOnce{1};

const std::vector<Arguments> kConversions{
    {"resample", "--dpi", "200"}, {"normalize"}, {"to24"}, {"to16"}, {"quantize"}, {"grey"}};

BitmapBuilder Huge(int32_t side) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = file.height = side;
  file.pixels = Bytes{};
  return file;
}

void ExpectRefusedAtOnce(const Outcome& outcome, Clock::time_point begin) {
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(
      outcome.err.find("more than the 250000000 that are allowed; --max-pixels N allows more"),
      std::string::npos)
      << outcome.err;
  EXPECT_LT(Clock::now() - begin, kAtOnce);
  if (!IsSanitized()) {
    EXPECT_LT(outcome.peakKilobytes, kLittleMemory);
  }
}

// 1.3 gigapixels, and the stream never ends.
TEST(Limits, AStreamIsNotReadForAnImageThatIsTooLarge) {
  std::vector<Arguments> calls{{"info"}};
  for (Arguments conversion : kConversions) {
    conversion.insert(conversion.end(), {"-o", "-"});
    calls.push_back(conversion);
  }
  for (const Arguments& call : calls) {
    SCOPED_TRACE(call[0]);
    Start start;
    start.arguments = call;
    start.arguments.push_back("-");
    start.inputPipe = true;
    const auto begin = Clock::now();
    Process process(start);
    // More would wait in the pipe for ever.
    Bytes stream = Huge(36'000).Build();
    stream.resize(stream.size() + 4096);
    process.Feed(stream);
    ExpectRefusedAtOnce(process.Wait(), begin);
  }
}

TEST(Limits, TheLimitOfAStreamIsAnOption) {
  Start start;
  start.arguments = {"normalize", "--max-pixels", "1000", "-o", "-", "-"};
  start.inputPipe = true;
  Process process(start);
  BitmapBuilder file;
  file.width = file.height = 32;
  Bytes stream = file.Build();
  stream.resize(1100);
  process.Feed(stream);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.err.find("32 x 32 pixels, more than the 1000"), std::string::npos);
}

// A header that is allowed, and then more bytes than the image needs.
TEST(Limits, AStreamIsReadNoFurtherThanItsImage) {
  Start start;
  start.arguments = {"normalize", "-o", "-", "-"};
  start.inputPipe = true;
  Process process(start);
  BitmapBuilder file;
  Bytes stream = file.Build();
  stream.resize(stream.size() + 50'000, 7);
  process.Feed(stream);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(outcome.out.size(), file.Build().size());
}

// 900 megapixels in a kilobyte.
TEST(Limits, ASmallFileIsNoLargeImage) {
  const TemporaryDirectory directory;
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.compression = bits == 4 ? 2 : 1;
    file.width = file.height = 30'000;
    file.pixels = Bytes{255, 1, 0, 1};
    const std::string in = directory.Write("in.bmp", file.Build());
    for (Arguments conversion : kConversions) {
      SCOPED_TRACE(conversion[0]);
      const auto begin = Clock::now();
      conversion.insert(conversion.end(), {"-o", directory.Path("out.bmp"), in});
      ExpectRefusedAtOnce(RunTool(conversion), begin);
      EXPECT_EQ(directory.Names(), std::vector<std::string>{"in.bmp"});
    }
    // Headers can be told of any image.
    EXPECT_EQ(RunTool({"info", in}).exitCode, 0);
  }
}

// What is allowed may still be more than there is room for.
TEST(Limits, TheMemoryLimitHoldsForOnePage) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.bitCount = 4;
  file.compression = 2;
  file.width = file.height = 15'000;
  file.pixels = Bytes{255, 1, 0, 1};
  const std::string in = directory.Write("in.bmp", file.Build());
  for (Arguments conversion : kConversions) {
    conversion.insert(conversion.end(), {"--memory", "100M", "-o", directory.Path("out.bmp"), in});
    const Outcome outcome = RunTool(conversion);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("more than the 100.0 MiB that --memory allows"), std::string::npos)
        << outcome.err;
    if (!IsSanitized()) {
      EXPECT_LT(outcome.peakKilobytes, kLittleMemory);
    }
  }
}

}  // namespace
}  // namespace dibkit::test
