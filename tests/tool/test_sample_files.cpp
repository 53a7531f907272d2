// SPDX-License-Identifier: Apache-2.0
//
// The command over a whole suite of good, questionable and bad bitmap files, where there is one.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "bitmap_suite.h"
#include "dibkit/host/image_format.h"
#include "process.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;

class SampleFiles : public testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(SuiteDirectory())) {
      GTEST_SKIP() << "no bitmap suite at " << SuiteDirectory()
                   << ": set DIBKIT_SAMPLES_DIR to run this test";
    }
  }

  // Success without a word on standard error, or status 1 with one line, in little memory.
  static int RunSoundly(const std::vector<std::string>& arguments) {
    constexpr uint64_t kAddressSpace = 256U << 20;
    const uint64_t mostKilobytes = IsSanitized() ? 512'000 : 32'000;
    Start start;
    start.arguments = arguments;
    if (!IsSanitized()) {
      start.addressSpace = kAddressSpace;
    }
    const Outcome outcome = RunTool(start);
    const auto lines = std::count(outcome.err.begin(), outcome.err.end(), '\n');
    EXPECT_TRUE(outcome.exitCode == 0 || outcome.exitCode == 1) << outcome.err;
    EXPECT_EQ(lines, outcome.exitCode == 0 ? 0 : 1) << outcome.err;
    EXPECT_LT(outcome.peakKilobytes, mostKilobytes);
    return outcome.exitCode;
  }
};

TEST_F(SampleFiles, InfoReadsThemAll) {
  int good = 0;
  for (const SuiteFile& file : BitmapSuite()) {
    SCOPED_TRACE(file.name);
    const int code = RunSoundly({"info", "--json", SuitePath(file).string()});
    EXPECT_TRUE(file.name[0] == 'b' || code == 0);
    good += code == 0 ? 1 : 0;
  }
  EXPECT_GE(good, 46);
}

// Files that embed another format want its codec.
bool IsTaken(const SuiteFile& file) {
  using host::ImageFormat;
  const std::string name = file.name;
  return !file.fault && (!name.ends_with("jpeg") || host::IsBuiltIn(ImageFormat::kJpeg)) &&
         (!name.ends_with("png") || host::IsBuiltIn(ImageFormat::kPng));
}

TEST_F(SampleFiles, EveryConversionTakesThemOrSaysWhyNot) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const std::vector<std::string>& conversion :
       std::vector<std::vector<std::string>>{{"resample", "--from-dpi", "72", "--dpi", "200"},
                                             {"normalize"},
                                             {"to24"},
                                             {"to16"},
                                             {"quantize"},
                                             {"grey", "--rule", "easy", "--levels", "256"}}) {
    for (const SuiteFile& file : BitmapSuite()) {
      SCOPED_TRACE(conversion[0] + " " + file.name);
      std::vector<std::string> arguments = conversion;
      arguments.insert(arguments.end(), {"-o", out, SuitePath(file).string()});
      EXPECT_EQ(RunSoundly(arguments), IsTaken(file) ? 0 : 1);
      EXPECT_EQ(fs::remove(out), IsTaken(file));
      EXPECT_TRUE(directory.Names().empty());
    }
  }
}

}  // namespace
}  // namespace dibkit::test
