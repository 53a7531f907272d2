// SPDX-License-Identifier: Apache-2.0
//
// normalize, to24, to16, quantize and grey as processes.
#include <gtest/gtest.h>

#include <csignal>

#include "dibkit/DIBApi.h"
#include "dibkit/host/conversion.h"
#include "loaded_dib.h"
#include "process.h"

namespace dibkit::test {
namespace {

using Names = std::vector<std::string>;
using Arguments = std::vector<std::string>;

struct Subcommand {
  Arguments arguments;
  host::OwnedBlock (*convert)(host::OwnedBlock);
};

host::OwnedBlock QuantizedTo256(host::OwnedBlock dib) {
  return host::Quantized(std::move(dib), 256);
}

host::OwnedBlock QuantizedTo3(host::OwnedBlock dib) { return host::Quantized(std::move(dib), 3); }

template <host::GreyRule kRule, host::GreyLevels kLevels>
host::OwnedBlock Grey(host::OwnedBlock dib) {
  return host::ToGrey(std::move(dib), kRule, kLevels);
}

std::vector<Subcommand> Subcommands() {
  using host::GreyLevels;
  using host::GreyRule;
  return {
      {{"normalize"}, host::Normalized},
      {{"to24"}, host::To24Bits},
      {{"to16"}, host::To16Bits},
      {{"quantize"}, QuantizedTo256},
      {{"quantize", "--colors", "3"}, QuantizedTo3},
      {{"grey", "--rule", "easy", "--levels", "256"}, Grey<GreyRule::kEasy, GreyLevels::k256>},
      {{"grey", "--rule", "easy", "--levels", "16"}, Grey<GreyRule::kEasy, GreyLevels::k16>},
      {{"grey", "--rule", "minmax", "--levels", "256"}, Grey<GreyRule::kMinMax, GreyLevels::k256>},
      {{"grey", "--rule", "minmax", "--levels", "16"}, Grey<GreyRule::kMinMax, GreyLevels::k16>},
      {{"grey", "--rule", "luminance", "--levels", "256"},
       Grey<GreyRule::kLuminance, GreyLevels::k256>},
      {{"grey", "--rule", "luminance", "--levels", "16"},
       Grey<GreyRule::kLuminance, GreyLevels::k16>}};
}

Arguments With(Arguments arguments, const Arguments& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

// Plain and unusual files of every depth.
std::vector<BitmapBuilder> Files() {
  std::vector<BitmapBuilder> files;
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.width = 13;
    file.height = bits % 3 == 0 ? -5 : 5;
    files.push_back(file);
  }
  BitmapBuilder fields = files.back();
  fields.compression = 3;
  fields.masks = Words({0xFF, 0xFF00, 0xFF0000});
  fields.height = -5;
  files.push_back(fields);
  BitmapBuilder stream = files[2];
  stream.compression = 2;
  stream.pixels = Bytes{13, 0x12, 0, 0, 5, 0x34, 0, 1};
  files.push_back(stream);
  return files;
}

// A plain DIB as a bitmap file.
Bytes AsFile(const host::OwnedBlock& dib) {
  const host::LockedBlock lock(dib.get());
  const host::DibView view(lock.Bytes());
  Bytes file{'B', 'M'};
  Append32(file, static_cast<uint32_t>(14 + view.Bytes().size()));
  Append32(file, 0);
  Append32(file, 14 + view.Layout().rowsOffset);
  file.insert(file.end(), view.Bytes().begin(), view.Bytes().end());
  return file;
}

TEST(Conversions, WriteWhatTheHostLayerMakes) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const BitmapBuilder& file : Files()) {
    const std::string in = directory.Write("in.bmp", file.Build());
    for (const Subcommand& subcommand : Subcommands()) {
      SCOPED_TRACE(testing::PrintToString(subcommand.arguments));
      const Outcome outcome = RunTool(With(subcommand.arguments, {"-fo", out, in}));
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.err, "");
      EXPECT_EQ(ReadFile(out), AsFile(subcommand.convert(Load(file)))) << file.bitCount;
    }
  }
}

// What an exported function makes of a file as it stands, with the resolution that it leaves out.
host::OwnedBlock Exported(const BitmapBuilder& file, tagHANDLE* (*function)(unsigned char*)) {
  const host::OwnedBlock source = Load(file);
  host::LockedBlock lock(source.get());
  host::OwnedBlock result(function(lock.Bytes().data()));
  host::DibView(host::LockedBlock(result.get()).Bytes()).SetPelsPerMeter(11811, 11811);
  return result;
}

TEST(Conversions, RawOnesAreTheExportedFunctions) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const BitmapBuilder& file : Files()) {
    const std::string in = directory.Write("in.bmp", file.Build());
    for (const auto& [name, function] :
         {std::pair{"to24", &ConvertTo24BPPDIB}, std::pair{"to16", &ConvertTo16BPPDIB}}) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(file.bitCount));
      const Outcome outcome = RunTool({name, "--raw", "-fo", out, in});
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
      EXPECT_EQ(ReadFile(out), AsFile(Exported(file, function)));
    }
    if (file.height < 0 && file.compression == 0) {
      EXPECT_EQ(RunTool({"normalize", "--raw", "-fo", out, in}).exitCode, 0);
      EXPECT_EQ(ReadFile(out), AsFile(Exported(file, TopDownToBottomUp)));
    }
    EXPECT_EQ(RunTool({"grey", "--raw", "-fo", out, in}).exitCode, 0);
  }
}

TEST(Conversions, ARawOneThatTheLibraryCutsIsRefused) {
  const TemporaryDirectory directory;
  BitmapBuilder file = Files()[4];
  ASSERT_EQ(file.bitCount, 16);
  file.compression = 3;
  file.height = 5;
  file.masks = Words({0xF800, 0x07E0, 0x001F});
  const std::string in = directory.Write("in.bmp", file.Build());
  const Outcome outcome = RunTool({"to16", "--raw", "-o", directory.Path("out.bmp"), in});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + in +
                             ": the library copies a 16-bit image with channel masks without its "
                             "last bytes; bring it to 24 bits first\n");
  EXPECT_EQ(directory.Names(), Names{"in.bmp"});
}

TEST(Conversions, SixteenBitFilesHaveNoMasks) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  for (const BitmapBuilder& file : Files()) {
    ASSERT_EQ(RunTool({"to16", "-fo", out, directory.Write("in.bmp", file.Build())}).exitCode, 0);
    const auto result = host::BitmapFile::Open(out).Description();
    EXPECT_EQ(result.bitCount, 16);
    EXPECT_EQ(result.compression, host::BitmapCompression::kNone);
    EXPECT_EQ(result.xPelsPerMeter, 11811);
  }
}

TEST(Conversions, WhiteByLuminanceIs247OnlyInTheLibrarysOwn256Levels) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = file.height = 1;
  file.pixels = Bytes{255, 255, 255, 0};
  const std::string in = directory.Write("in.bmp", file.Build());
  for (const auto& [options, white] :
       {std::pair{Arguments{"--levels", "256"}, 255}, std::pair{Arguments{"--raw"}, 247},
        std::pair{Arguments{"--levels", "16"}, 255}}) {
    ASSERT_EQ(RunTool(With(With({"grey"}, options), {"-fo", out, in})).exitCode, 0);
    EXPECT_EQ(ReadFile(out).at(1078), white);
  }
}

TEST(Conversions, TheSameInputGivesTheSameBytes) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  const std::string in = directory.Write("in.bmp", Files()[5].Build());
  for (const Subcommand& subcommand : Subcommands()) {
    ASSERT_EQ(RunTool(With(subcommand.arguments, {"-fo", out, in})).exitCode, 0);
    const Bytes first = ReadFile(out);
    ASSERT_EQ(RunTool(With(subcommand.arguments, {"-fo", out, in})).exitCode, 0);
    EXPECT_EQ(ReadFile(out), first);
  }
}

TEST(Conversions, UseTheStandardStreams) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  Start start;
  start.inputPath = directory.Write("in.bmp", Files()[3].Build());
  for (const Subcommand& subcommand : Subcommands()) {
    start.arguments = With(subcommand.arguments, {"-o", "-", "-"});
    const Outcome outcome = RunTool(start);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    ASSERT_EQ(RunTool(With(subcommand.arguments, {"-fo", out, start.inputPath})).exitCode, 0);
    EXPECT_EQ(Bytes(outcome.out.begin(), outcome.out.end()), ReadFile(out));
  }
}

TEST(Conversions, TakeQuietAndMaxPixels) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  for (const Subcommand& subcommand : Subcommands()) {
    EXPECT_EQ(RunTool(With(subcommand.arguments, {"--quiet", "--max-pixels", "12", "-fo", out, in}))
                  .exitCode,
              0);
    const Outcome outcome = RunTool(
        With(subcommand.arguments, {"--max-pixels", "11", "-o", directory.Path("no.bmp"), in}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.err,
              "dibkit: " + in +
                  ": the image has 4 x 3 pixels, more than the 11 that are allowed; --max-pixels N "
                  "allows more\n");
    EXPECT_EQ(directory.Names(), (Names{"in.bmp", "out.bmp"}));
  }
}

// A short stream may stand for an image of any size.
TEST(Conversions, ALargeRunLengthImageIsRefusedBeforeItTakesMemory) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.compression = 1;
  file.width = file.height = 60'000;
  file.pixels = Bytes{1, 1, 0, 1};
  Start start;
  if (!IsSanitized()) {
    start.addressSpace = 256U << 20;
  }
  const std::string in = directory.Write("in.bmp", file.Build());
  start.arguments = {"to24", "-o", directory.Path("out.bmp"), in};
  const Outcome outcome = RunTool(start);
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + in +
                             ": the image has 60000 x 60000 pixels, more than the 250000000 that "
                             "are allowed; --max-pixels N allows more\n");
}

TEST(Conversions, RefuseUnsoundAndUnreadableFiles) {
  const TemporaryDirectory directory;
  BitmapBuilder fax;
  fax.headerBytes = 64;
  fax.compression = 3;
  fax.bitCount = 1;
  fax.pixels = Bytes(10);
  BitmapBuilder cut;
  cut.pixels = Bytes(11);
  const std::string faxFile = directory.Write("a.bmp", fax.Build());
  const std::string cutFile = directory.Write("b.bmp", cut.Build());
  const std::string none = directory.Path("none.bmp");
  const std::string out = directory.Path("out.bmp");
  for (const Subcommand& subcommand : Subcommands()) {
    for (const auto& [in, message] :
         {std::pair{faxFile, "the fax pixels are damaged from the start"},
          std::pair{cutFile, "the rows need 12 bytes, but the file holds 11 of them"},
          std::pair{none, "cannot open: No such file or directory"}}) {
      const Outcome outcome = RunTool(With(subcommand.arguments, {"-fo", out, in}));
      EXPECT_EQ(outcome.exitCode, 1);
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.err, "dibkit: " + in + ": " + message + "\n");
      EXPECT_EQ(directory.Names(), (Names{"a.bmp", "b.bmp"}));
    }
  }
}

TEST(Conversions, AFullDiskIsWorthAnotherTry) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  for (const Subcommand& subcommand : Subcommands()) {
    const Outcome outcome = RunTool(With(subcommand.arguments, {"-o", "/dev/full", in}));
    EXPECT_EQ(outcome.exitCode, 75);
    EXPECT_EQ(outcome.err, "dibkit: /dev/full: cannot write: No space left on device\n");
  }
}

TEST(Conversions, TooLittleMemoryIsWorthAnotherTry) {
  if (IsSanitized()) {
    GTEST_SKIP() << "a sanitizer needs the address space for itself";
  }
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.bitCount = 1;
  file.width = file.height = 12'000;
  const std::string in = directory.Write("in.bmp", file.Build());
  Start start;
  start.addressSpace = 256U << 20;
  for (const Arguments& arguments :
       {Arguments{"to24"}, Arguments{"to16"}, Arguments{"quantize", "--raw"},
        Arguments{"grey", "--rule", "easy", "--levels", "16"}}) {
    start.arguments = With(arguments, {"-o", directory.Path("out.bmp"), in});
    const Outcome outcome = RunTool(start);
    EXPECT_EQ(outcome.exitCode, 75);
    EXPECT_NE(outcome.err.find("MiB that this machine has to spare"), std::string::npos);
    start.arguments = With(start.arguments, {"--memory", "100G"});
    const Outcome tried = RunTool(start);
    EXPECT_EQ(tried.exitCode, 75);
    EXPECT_EQ(tried.err, "dibkit: " + in + ": there is not enough memory for the conversion\n");
    EXPECT_EQ(directory.Names(), Names{"in.bmp"});
  }
}

TEST(Conversions, ASignalEndsThemWithoutAFile) {
  const TemporaryDirectory directory;
  const Bytes file = BitmapBuilder().Build();
  for (const Subcommand& subcommand : Subcommands()) {
    Start start;
    start.arguments = With(subcommand.arguments, {"-o", directory.Path("out.bmp"), "-"});
    start.inputPipe = true;
    Process process(start);
    process.Feed(Bytes(file.begin(), file.begin() + 20));
    process.WaitUntilFed();
    process.Signal(SIGINT);
    const Outcome outcome = process.Wait();
    EXPECT_EQ(outcome.exitCode, 128 + SIGINT);
    EXPECT_EQ(outcome.err, "dibkit: interrupted\n");
    EXPECT_TRUE(directory.Names().empty());
  }
}

TEST(Conversions, WrongUsageIsStatusTwoWithoutOutput) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  const std::string out = directory.Path("out.bmp");
  for (const Arguments& arguments :
       std::vector<Arguments>{{"normalize", in},
                              {"normalize", in, out},
                              {"normalize", "--depth", "8", "-o", out, in},
                              {"to24", "-o", out, in, in + "2"},
                              {"to24", "-o", out},
                              {"to24", "--max-pixels", "0", "-o", out, in},
                              {"to16"},
                              {"quantize", "--colors", "0", "-o", out, in},
                              {"quantize", "--colors", "257", "-o", out, in},
                              {"quantize", "--colors", "-1", "-o", out, in},
                              {"quantize", "--colors", "some", "-o", out, in},
                              {"grey", "--rule", "0", "-o", out, in},
                              {"grey", "--rule", "mean", "-o", out, in},
                              {"grey", "--levels", "17", "-o", out, in},
                              {"grey", "--levels", "0x10", "-o", out, in}}) {
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.substr(0, 8), "dibkit: ");
    EXPECT_EQ(directory.Names(), Names{"in.bmp"});
  }
}

TEST(Conversions, HelpTellsWhatIsSurprising) {
  const Outcome to24 = RunTool({"to24", "--help"});
  EXPECT_EQ(to24.exitCode, 0);
  EXPECT_TRUE(to24.Tells("white may read 192 to 252"));
  const Outcome grey = RunTool({"grey", "--help"});
  EXPECT_EQ(grey.exitCode, 0);
  EXPECT_TRUE(grey.Tells("maps white to 247"));
  for (const char* name : {"normalize", "to16", "quantize"}) {
    const Outcome outcome = RunTool({name, "--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.out.find("Usage:"), std::string::npos);
  }
}

// What resample makes of an unusual file is what it makes of the plain one.
TEST(Conversions, ResampleTakesWhatNormalizeOrTo24MakesOfAnyFile) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  const std::string plain = directory.Path("plain.bmp");
  for (const BitmapBuilder& file : Files()) {
    const std::string in = directory.Write("in.bmp", file.Build());
    const bool widened = file.bitCount == 16 || file.bitCount == 32;
    ASSERT_EQ(RunTool({widened ? "to24" : "normalize", "-fo", plain, in}).exitCode, 0);
    ASSERT_EQ(RunTool({"resample", "--dpi", "200", "-fo", out, plain}).exitCode, 0);
    const Bytes expected = ReadFile(out);
    const Outcome outcome = RunTool({"resample", "--dpi", "200", "-fo", out, in});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(ReadFile(out), expected) << file.bitCount;
  }
}

}  // namespace
}  // namespace dibkit::test
