// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/left_behind.h"
#include "dibkit/host/locked_block.h"
#include "process.h"

namespace dibkit::test {
namespace {

Bytes ColourTable(uint16_t bits) {
  Bytes table;
  for (unsigned i = 0; i < 1U << bits; ++i) {
    for (const unsigned value : {i * 37, i * 91 + 50, 255 - i * 13, 0U}) {
      table.push_back(static_cast<unsigned char>(value));
    }
  }
  return table;
}

std::vector<BitmapBuilder> EveryKind() {
  std::vector<BitmapBuilder> kinds;
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24}) {
    BitmapBuilder file;
    file.width = 45;
    file.height = 31;
    file.bitCount = bits;
    kinds.push_back(file);
    if (bits == 4 || bits == 8) {
      file.table = ColourTable(bits);
      kinds.push_back(file);
    }
  }
  return kinds;
}

// What the library itself makes of the file, as a bitmap file.
Bytes LibraryResult(const std::string& path, unsigned short dpi, int threshold) {
  const host::OwnedBlock source = host::BitmapFile::Open(path).ReadDib();
  const host::LeftBehind scope;
  tagHANDLE* result = nullptr;
  EXPECT_EQ(ConvertResolution(source.get(), &result, nullptr, dpi, threshold), CNV_OK);
  const host::LockedBlock lock(result);
  host::DibView view(lock.Bytes());
  view.SetPelsPerMeter(dpi * 10000 / 254, dpi * 10000 / 254);
  Bytes file{'B', 'M'};
  Append32(file, static_cast<uint32_t>(14 + view.Bytes().size()));
  Append32(file, 0);
  Append32(file, 14 + view.Layout().rowsOffset);
  file.insert(file.end(), view.Bytes().begin(), view.Bytes().end());
  return file;
}

TEST(Resample, RawWritesWhatTheLibraryMakesOfEveryKind) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const BitmapBuilder& file : EveryKind()) {
    const std::string in = directory.Write("in.bmp", file.Build());
    for (const unsigned short dpi : std::initializer_list<unsigned short>{72, 200, 300, 600}) {
      const Outcome outcome =
          RunTool({"resample", "--raw", "--dpi", std::to_string(dpi), "-fo", out, in});
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.err, "");
      EXPECT_EQ(ReadFile(out), LibraryResult(in, dpi, 128)) << file.bitCount << " " << dpi;
    }
  }
}

TEST(Resample, GreyAndRawCannotBothBe) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", EveryKind()[0].Build());
  const Outcome outcome =
      RunTool({"resample", "--dpi", "200", "--grey", "--raw", "-o", directory.Path("out.bmp"), in});
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_NE(outcome.err.find("leave out --grey"), std::string::npos) << outcome.err;
}

TEST(Resample, PreparesPagesForRecognisers) {
  const TemporaryDirectory directory;
  BitmapBuilder file = EveryKind()[0];
  const std::string in = directory.Write("in.bmp", file.Build());
  const std::string out = directory.Path("out.bmp");
  ASSERT_EQ(RunTool({"prepare", "-o", out, in}).exitCode, 0);
  EXPECT_EQ(host::BitmapFile::Open(out).Description().bitCount, 1);
  EXPECT_EQ(host::BitmapFile::Open(out).Description().width, 45U);
  ASSERT_EQ(RunTool({"prepare", "--from-dpi", "100", "-fo", out, in}).exitCode, 0);
  EXPECT_EQ(host::BitmapFile::Open(out).Description().bitCount, 8);
  EXPECT_EQ(host::BitmapFile::Open(out).Description().width, 135U);
  EXPECT_EQ(host::BitmapFile::Open(out).Description().xPelsPerMeter, 11811);
  const Outcome raw = RunTool({"prepare", "--raw", "-fo", out, in});
  EXPECT_EQ(raw.exitCode, 2);
  EXPECT_NE(raw.err.find("prepare has no --raw"), std::string::npos) << raw.err;
  file.xPelsPerMeter = file.yPelsPerMeter = 0;
  const Outcome none = RunTool({"prepare", "-fo", out, directory.Write("none.bmp", file.Build())});
  EXPECT_EQ(none.exitCode, 1);
  EXPECT_NE(none.err.find("say what it is with --from-dpi N"), std::string::npos) << none.err;
}

TEST(Resample, TheResultHasItsSizeAndResolution) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const BitmapBuilder& file : EveryKind()) {
    const std::string in = directory.Write("in.bmp", file.Build());
    ASSERT_EQ(RunTool({"resample", "--dpi", "150", "-fo", out, in}).exitCode, 0);
    const auto result = host::BitmapFile::Open(out).Description();
    EXPECT_EQ(result.width, 22U);
    EXPECT_EQ(result.height, 15U);
    EXPECT_EQ(result.xPelsPerMeter, 5905);
    EXPECT_EQ(result.yPelsPerMeter, 5905);
    EXPECT_EQ(result.bitCount, file.bitCount == 4 ? 8 : file.bitCount);
  }
}

TEST(Resample, TheSameResolutionKeepsGreyAndTrueColourPixels) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const uint16_t bits : std::initializer_list<uint16_t>{8, 24}) {
    BitmapBuilder file;
    file.width = 40;
    file.bitCount = bits;
    const std::string in = directory.Write("in.bmp", file.Build());
    ASSERT_EQ(RunTool({"resample", "--dpi", "300", "-fo", out, in}).exitCode, 0);
    const Bytes result = ReadFile(out);
    const Bytes pixels = file.Pixels();
    EXPECT_EQ(Bytes(result.end() - static_cast<std::ptrdiff_t>(pixels.size()), result.end()),
              pixels);
  }
}

TEST(Resample, TheThresholdReachesTheConversion) {
  const TemporaryDirectory directory;
  BitmapBuilder file = EveryKind()[0];
  const std::string in = directory.Write("in.bmp", file.Build());
  const std::string out = directory.Path("out.bmp");
  for (const int threshold : {0, 60, 128, 200, 256}) {
    ASSERT_EQ(RunTool({"resample", "--dpi", "200", "--threshold", std::to_string(threshold), "-fo",
                       out, in})
                  .exitCode,
              0);
    EXPECT_EQ(ReadFile(out), LibraryResult(in, 200, threshold)) << threshold;
  }
}

TEST(Resample, FromDpiStandsInForWhatTheFileSays) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.width = file.height = 30;
  const std::string sound = directory.Write("sound.bmp", file.Build());
  const std::string out = directory.Path("out.bmp");
  ASSERT_EQ(RunTool({"resample", "--dpi", "100", "-o", out, sound}).exitCode, 0);
  const Bytes expected = ReadFile(out);
  for (const int32_t pels : {0, 38, -1, 3, 30'000'000, 2835}) {
    file.xPelsPerMeter = pels;
    file.yPelsPerMeter = pels / 2;
    const std::string in = directory.Write("in.bmp", file.Build());
    ASSERT_EQ(RunTool({"resample", "--from-dpi", "300", "--dpi", "100", "-fo", out, in}).exitCode,
              0);
    EXPECT_EQ(ReadFile(out), expected) << pels;
  }
}

TEST(Resample, DifferentResolutionsOfTheAxesBecomeOne) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.width = file.height = 30;
  file.yPelsPerMeter = 5905;
  const std::string in = directory.Write("in.bmp", file.Build());
  const std::string out = directory.Path("out.bmp");
  ASSERT_EQ(RunTool({"resample", "--dpi", "300", "-fo", out, in}).exitCode, 0);
  const auto result = host::BitmapFile::Open(out).Description();
  EXPECT_EQ(result.width, 30U);
  EXPECT_EQ(result.height, 60U);
}

TEST(Resample, ReadsStandardInputAndWritesStandardOutput) {
  const TemporaryDirectory directory;
  const BitmapBuilder file = EveryKind()[2];
  const std::string in = directory.Write("in.bmp", file.Build());
  const Bytes expected = LibraryResult(in, 200, 128);
  Start start;
  start.arguments = {"resample", "--raw", "--dpi", "200", "-o", "-", "-"};
  start.inputPath = in;
  const Outcome fromFile = RunTool(start);
  EXPECT_EQ(fromFile.exitCode, 0) << fromFile.err;
  EXPECT_EQ(Bytes(fromFile.out.begin(), fromFile.out.end()), expected);

  start.inputPipe = true;
  Process process(start);
  process.Feed(file.Build());
  const Outcome fromPipe = process.Wait();
  EXPECT_EQ(fromPipe.exitCode, 0) << fromPipe.err;
  EXPECT_EQ(Bytes(fromPipe.out.begin(), fromPipe.out.end()), expected);
}

TEST(Resample, NeverReplacesItsOwnInput) {
  const TemporaryDirectory directory;
  const Bytes page = EveryKind()[2].Build();
  const std::string path = directory.Write("page.bmp", page);
  for (const char* force : {"--quiet", "--force"}) {
    const Outcome outcome = RunTool({"resample", "--dpi", "200", force, "-o", path, path});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("is an input itself"), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadFile(path), page);
    EXPECT_EQ(directory.Names(), std::vector<std::string>{"page.bmp"});
  }
}

TEST(Resample, TakesTheWidestRowsThatTheConversionCanHold) {
  struct Case {
    int32_t width;
    uint16_t bits;
    bool colour;
  };
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const Case& item : {Case{65535, 1, false}, Case{65535, 8, false}, Case{65535, 24, false},
                           Case{65532, 4, false}, Case{21844, 4, true}, Case{21844, 8, true}}) {
    BitmapBuilder file;
    file.width = item.width;
    file.height = 2;
    file.bitCount = item.bits;
    if (item.colour) {
      file.table = ColourTable(item.bits);
    }
    const std::string in = directory.Write("in.bmp", file.Build());
    const Outcome outcome = RunTool({"resample", "--dpi", "300", "-fo", out, in});
    EXPECT_EQ(outcome.exitCode, 0) << item.width << " " << item.bits << " " << outcome.err;
    EXPECT_EQ(host::BitmapFile::Open(out).Description().width, static_cast<uint32_t>(item.width));
  }
}

}  // namespace
}  // namespace dibkit::test
