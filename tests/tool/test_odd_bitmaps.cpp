// SPDX-License-Identifier: Apache-2.0
//
// Kinds of bitmap files that few programs read: each gives the pixels of a plain file, from the
// disk and from a pipe, raw and not.
#include <gtest/gtest.h>

#include "bitmap_builder.h"
#include "dibkit/host/image_format.h"
#include "process.h"

namespace dibkit::test {
namespace {

const std::string kOffsetWarning =
    "the file does not say where its pixels begin; they are taken to follow the table";
const std::string kPaddingWarning = "the file lacks padding at its end";

struct OddFile {
  std::string name;
  Bytes file;
  Bytes plain;               // a file of the same pixels
  std::string warning = "";  // what is told
};

BitmapBuilder Os2(uint16_t bits, uint32_t compression, const Bytes& stream) {
  BitmapBuilder file;
  file.headerBytes = 64;
  file.bitCount = bits;
  file.compression = compression;
  file.width = 5;
  file.height = 2;
  file.pixels = stream;
  file.sizeImage = static_cast<uint32_t>(stream.size());
  return file;
}

BitmapBuilder Plain(uint16_t bits, const Bytes& rows) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = 5;
  file.height = 2;
  file.pixels = rows;
  return file;
}

// Five pixels of one level each.
Bytes GreyRow(std::initializer_list<unsigned char> levels) {
  Bytes row;
  for (const unsigned char level : levels) {
    row.insert(row.end(), 3, level);
  }
  row.resize(16);
  return row;
}

Bytes InArray(const BitmapBuilder& file) {
  BitmapBuilder moved = file;
  moved.pixelOffset = 14 + 14 + 40 + static_cast<uint32_t>(file.Table().size());
  Bytes array{'B', 'A'};
  for (const uint32_t word : {40U, 0U, 0U}) {
    Append32(array, word);
  }
  const Bytes image = moved.Build();
  array.insert(array.end(), image.begin(), image.end());
  return array;
}

std::vector<OddFile> OddFiles() {
  std::vector<OddFile> files;
  // An end of line before each row: 2 white and 3 black; 5 white.
  files.push_back({"fax", Os2(1, 3, {0x00, 0x17, 0x80, 0x07, 0x00}).Build(),
                   Plain(1, {0x38, 0, 0, 0, 0, 0, 0, 0}).Build()});
  Bytes rows = GreyRow({7, 7, 1, 2, 3});
  const Bytes second = GreyRow({9, 9, 9, 9, 9});
  rows.insert(rows.end(), second.begin(), second.end());
  files.push_back(
      {"rle24",
       Os2(24, 4, {2, 7, 7, 7, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 0, 0, 0, 5, 9, 9, 9, 0, 1}).Build(),
       Plain(24, rows).Build()});
  const BitmapBuilder plain = Plain(24, rows);
  files.push_back({"array", InArray(plain), plain.Build()});
  BitmapBuilder offset = plain;
  offset.pixelOffset = 0;
  files.push_back({"offset", offset.Build(), plain.Build(), kOffsetWarning});
  Bytes cut = plain.Build();
  cut.pop_back();
  files.push_back({"padding", cut, plain.Build(), kPaddingWarning});
  return files;
}

class OddBitmaps : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return directory_.Path(name); }
  std::string Write(const std::string& name, const Bytes& file) {
    return directory_.Write(name, file);
  }

  // The result of a subcommand for a file whose warning is `warning`.
  Bytes Result(std::vector<std::string> arguments, const std::string& in,
               const std::string& warning) {
    arguments.insert(arguments.end(), {"-fo", Path("out.bmp"), in});
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.err, warning.empty() ? "" : "dibkit: " + in + ": warning: " + warning + "\n");
    return ReadFile(Path("out.bmp"));
  }

  Bytes ResultOfPipe(const std::string& subcommand, const Bytes& file) {
    Start start;
    start.arguments = {subcommand, "-fo", Path("out.bmp"), "-"};
    start.inputPipe = true;
    Process process(start);
    process.Feed(file);
    process.CloseInput();
    const Outcome outcome = process.Wait();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return ReadFile(Path("out.bmp"));
  }

 private:
  TemporaryDirectory directory_;
};

TEST_F(OddBitmaps, GiveTheirPixelsFromFilesAndPipesRawAndNot) {
  for (const OddFile& odd : OddFiles()) {
    SCOPED_TRACE(odd.name);
    const std::string in = Write("in.bmp", odd.file);
    const std::string plain = Write("plain.bmp", odd.plain);
    for (const std::string subcommand : {"normalize", "to24", "to16", "grey", "quantize"}) {
      SCOPED_TRACE(subcommand);
      const Bytes expected = Result({subcommand}, plain, "");
      EXPECT_EQ(Result({subcommand}, in, odd.warning), expected);
      EXPECT_EQ(ResultOfPipe(subcommand, odd.file), expected);
      if (subcommand != "quantize" || odd.name != "fax") {  // which the library does not take raw
        EXPECT_EQ(Result({subcommand, "--raw"}, in, odd.warning),
                  Result({subcommand, "--raw"}, plain, ""));
      }
    }
    for (const char* raw : {"", "--raw"}) {
      std::vector<std::string> resample{"resample", "--dpi", "600"};
      if (*raw != '\0') {
        resample.push_back(raw);
      }
      EXPECT_EQ(Result(resample, in, odd.warning), Result(resample, plain, ""));
    }
  }
}

TEST_F(OddBitmaps, EmbeddedFilesGiveTheirPixelsToo) {
  const std::string picture =
      Write("plain.bmp", Plain(24,
                               [] {
                                 Bytes rows = GreyRow({7, 70, 1, 20, 250});
                                 const Bytes second = GreyRow({9, 9, 90, 9, 99});
                                 rows.insert(rows.end(), second.begin(), second.end());
                                 return rows;
                               }())
                             .Build());
  for (const auto& [format, compression] :
       {std::pair{host::ImageFormat::kJpeg, 4U}, {host::ImageFormat::kPng, 5U}}) {
    if (!host::IsBuiltIn(format)) {
      continue;
    }
    SCOPED_TRACE(host::FormatName(format));
    const std::string inner = Path(std::string("inner") + host::UsualSuffix(format));
    ASSERT_EQ(RunTool({"normalize", "-fo", inner, picture}).exitCode, 0);
    BitmapBuilder outer;
    outer.headerBytes = 124;
    outer.compression = compression;
    outer.bitCount = 0;
    outer.width = 5;
    outer.height = 2;
    outer.table = Bytes();
    outer.pixels = ReadFile(inner);
    outer.sizeImage = static_cast<uint32_t>(outer.pixels->size());
    const Bytes file = outer.Build();
    const std::string in = Write("in.bmp", file);
    const Bytes expected = Result({"to24"}, inner, "");
    EXPECT_EQ(Result({"to24"}, in, ""), expected);
    EXPECT_EQ(Result({"to24", "--raw"}, in, ""), expected);
    EXPECT_EQ(ResultOfPipe("to24", file), expected);
    const Outcome info = RunTool({"info", in});
    EXPECT_NE(info.out.find("  format: BMP\n"), std::string::npos);
    EXPECT_NE(info.out.find("  compression: " + std::string(host::FormatName(format)) + "\n"),
              std::string::npos)
        << info.out;
  }
}

TEST_F(OddBitmaps, LargeClaimsAreRefusedAtOnce) {
  for (OddFile& odd : OddFiles()) {
    const size_t width = (odd.name == "array" ? 28 : 14) + 4;
    odd.file.at(width + 2) = 1;      // 65541 columns
    odd.file.at(width + 4 + 2) = 1;  // and rows
    const std::string in = Write("in.bmp", odd.file);
    const Outcome outcome = RunTool({"to24", "-fo", Path("out.bmp"), in});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("--max-pixels"), std::string::npos) << outcome.err;
    if (!IsSanitized()) {
      EXPECT_LT(outcome.peakKilobytes, 32'000U);
    }
  }
}

}  // namespace
}  // namespace dibkit::test
