// SPDX-License-Identifier: Apache-2.0
//
// Where results go, and what they never replace.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "dibkit/host/image_format.h"
#include "process.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using Names = std::vector<std::string>;

class Outputs : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // Expects status 1, one line that ends in `message`, and that no file was made or changed.
  void ExpectRefusal(const Arguments& arguments, const std::string& message) const {
    const Names before = directory_.Names();
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 1) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.ends_with(message + "\n")) << outcome.err;
    EXPECT_EQ(directory_.Names(), before);
  }

  TemporaryDirectory directory_;
  const std::string in_ = directory_.Write("in.bmp", BitmapBuilder().Build());
};

TEST_F(Outputs, AnExistingFileIsReplacedWithForceOnly) {
  const std::string out = directory_.Write("out.bmp", Bytes{1, 2, 3});
  ExpectRefusal({"normalize", "-o", out, in_},
                out + " exists already: --force replaces, --skip-existing leaves what is there");
  EXPECT_EQ(ReadFile(out), (Bytes{1, 2, 3}));
  ASSERT_EQ(RunTool({"normalize", "--output-dir", Path("d"), in_}).exitCode, 0);
  const Bytes expected = ReadFile(Path("d/in.bmp"));
  ExpectRefusal(
      {"normalize", "--output-dir", Path("d"), in_},
      Path("d/in.bmp") + " exists already: --force replaces, --skip-existing leaves what is there");
  EXPECT_EQ(RunTool({"normalize", "--force", "-o", out, in_}).exitCode, 0);
  EXPECT_EQ(ReadFile(out), expected);
}

TEST_F(Outputs, NothingIsReadWhereTheResultIsRefused) {
  const std::string out = directory_.Write("out.bmp", Bytes{1, 2, 3});
  const std::string bad = directory_.Write("bad.bmp", Bytes{'B', 'M'});
  ExpectRefusal({"normalize", "-o", out, bad},
                out + " exists already: --force replaces, --skip-existing leaves what is there");
}

TEST_F(Outputs, AWriteProtectedFileStaysAsItIs) {
  const std::string out = directory_.Write("out.bmp", Bytes{1, 2, 3});
  chmod(out.c_str(), 0444);
  ExpectRefusal({"normalize", "--force", "-o", out, in_}, out + " is write-protected");
  EXPECT_EQ(ReadFile(out), (Bytes{1, 2, 3}));
}

TEST_F(Outputs, AFolderOrNoFolderIsNoPlaceForAFile) {
  ExpectRefusal({"normalize", "-o", Path("none/out.bmp"), in_},
                Path("none/out.bmp") + ": cannot write: No such file or directory");
  ExpectRefusal({"normalize", "--output-dir", in_, in_}, in_ + " is not a folder");
}

TEST_F(Outputs, ThePermissionsOfAReplacedFileStay) {
  const std::string out = directory_.Write("out.bmp", Bytes{1});
  chmod(out.c_str(), 0640);
  ASSERT_EQ(RunTool({"normalize", "-f", "-o", out, in_}).exitCode, 0);
  struct stat status {};
  ASSERT_EQ(stat(out.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(Outputs, AnOutputThatIsAnInputIsRefused) {
  const std::string other = directory_.Write("other.bmp", BitmapBuilder().Build());
  fs::create_symlink(other, Path("link.bmp"));
  for (const char* how : {"-q", "-f", "--skip-existing"}) {
    for (const Arguments& arguments :
         {Arguments{"normalize", how, "-o", in_, in_},
          Arguments{"normalize", how, "-o", Path("./in.bmp"), in_},
          Arguments{"normalize", how, "-o", Path("link.bmp"), other},
          Arguments{"normalize", how, "--output-dir", Path(""), in_, other}}) {
      const Outcome outcome = RunTool(arguments);
      EXPECT_EQ(outcome.exitCode, 1) << testing::PrintToString(arguments);
      EXPECT_NE(outcome.err.find("is an input itself"), std::string::npos) << outcome.err;
    }
  }
  EXPECT_EQ(ReadFile(in_), BitmapBuilder().Build());
  EXPECT_EQ(ReadFile(other), BitmapBuilder().Build());
}

TEST_F(Outputs, TwoInputsForOneOutputAreRefused) {
  fs::create_directory(Path("a"));
  fs::create_directory(Path("b"));
  const std::string first = directory_.Write("a/page.bmp", BitmapBuilder().Build());
  const std::string second = directory_.Write("b/page.bmp", BitmapBuilder().Build());
  ExpectRefusal({"normalize", "--output-dir", Path("out"), first, second},
                first + " and " + second + " would both become " + Path("out/page.bmp"));
}

TEST_F(Outputs, StandardOutputIsRefusedOnATerminal) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  Start start;
  start.arguments = {"normalize", "-o", "-", in_};
  start.outputPath = ptsname(terminal);
  const Outcome outcome = RunTool(start);
  close(terminal);
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_NE(outcome.err.find("standard output is a terminal"), std::string::npos) << outcome.err;
}

TEST_F(Outputs, TheFormatIsThatOfTheSuffixTheOptionOrTheInput) {
  ASSERT_EQ(RunTool({"normalize", "-o", Path("a.DIB"), in_}).exitCode, 0);
  ASSERT_EQ(RunTool({"normalize", "--format", "bmp", "-o", Path("b.what"), in_}).exitCode, 0);
  const Outcome piped = RunTool({"normalize", "-o", "-", in_});
  EXPECT_EQ(ReadFile(Path("a.DIB")), ReadFile(Path("b.what")));
  EXPECT_EQ(ReadFile(Path("a.DIB")), Bytes(piped.out.begin(), piped.out.end()));
}

TEST_F(Outputs, AFormatThatIsNotBuiltInIsNamed) {
  for (const auto& [format, word, suffix] :
       {std::tuple{host::ImageFormat::kTiff, "tiff", ".tif"},
        std::tuple{host::ImageFormat::kPng, "png", ".png"},
        std::tuple{host::ImageFormat::kJpeg, "jpeg", ".jpg"}}) {
    if (host::IsBuiltIn(format)) {
      continue;
    }
    for (const Arguments& arguments :
         {Arguments{"normalize", "-o", Path(std::string("out") + suffix), in_},
          Arguments{"normalize", "--format", word, "-o", Path("out"), in_}}) {
      const Outcome outcome = RunTool(arguments);
      EXPECT_EQ(outcome.exitCode, 2);
      EXPECT_NE(outcome.err.find(host::FormatName(format)), std::string::npos);
    }
  }
}

TEST_F(Outputs, ACompressionThatTheFormatDoesNotHaveIsWrongUsage) {
  for (const char* compression : {"lzw", "deflate", "packbits", "g3", "g4", "jpeg"}) {
    const Outcome outcome =
        RunTool({"normalize", "--compression", compression, "-o", Path("out.bmp"), in_});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.err.find("BMP files cannot have"), std::string::npos);
  }
  EXPECT_EQ(RunTool({"normalize", "--compression", "none", "-o", Path("out.bmp"), in_}).exitCode,
            0);
}

// Only BMP files hold them.
TEST_F(Outputs, PagesOf16BitsGoIntoBmpFiles) {
  ASSERT_EQ(RunTool({"to16", "--output-dir", Path("d"), in_}).exitCode, 0);
  EXPECT_TRUE(fs::exists(Path("d/in.bmp")));
  if (!host::IsBuiltIn(host::ImageFormat::kPng)) {
    GTEST_SKIP() << "PNG is not built in";
  }
  ExpectRefusal({"to16", "-o", Path("out.png"), in_}, "PNG files cannot hold 16-bit images");
  ASSERT_EQ(RunTool({"normalize", "-o", Path("page.png"), in_}).exitCode, 0);
  ASSERT_EQ(RunTool({"to16", "--output-dir", Path("d"), Path("page.png")}).exitCode, 0);
  EXPECT_TRUE(fs::exists(Path("d/page.bmp")));
}

TEST_F(Outputs, PagesOf16BitsThatNobodyAskedForGoElsewhereAt24) {
  ASSERT_EQ(RunTool({"to16", "-o", Path("16.bmp"), in_}).exitCode, 0);
  ASSERT_EQ(RunTool({"to24", "-o", Path("24.bmp"), Path("16.bmp")}).exitCode, 0);
  for (const host::ImageFormat format : {host::ImageFormat::kPng, host::ImageFormat::kTiff}) {
    if (host::IsBuiltIn(format)) {
      const std::string out = Path(std::string("out") + host::UsualSuffix(format));
      ASSERT_EQ(RunTool({"normalize", "-o", out, Path("16.bmp")}).exitCode, 0);
      ASSERT_EQ(RunTool({"normalize", "-fo", Path("back.bmp"), out}).exitCode, 0);
      EXPECT_EQ(ReadFile(Path("back.bmp")), ReadFile(Path("24.bmp")));
      const Outcome dry = RunTool({"normalize", "--dry-run", "-fo", out, Path("16.bmp")});
      EXPECT_NE(dry.out.find("24"), std::string::npos) << dry.out;
    }
  }
}

TEST_F(Outputs, AreTheSameWithoutWaitingForTheDisk) {
  EXPECT_EQ(RunTool({"normalize", "-o", Path("a.bmp"), in_}).exitCode, 0);
  EXPECT_EQ(RunTool({"normalize", "--no-sync", "-o", Path("b.bmp"), in_}).exitCode, 0);
  EXPECT_EQ(ReadFile(Path("a.bmp")), ReadFile(Path("b.bmp")));
}

}  // namespace
}  // namespace dibkit::test
