// SPDX-License-Identifier: Apache-2.0
//
// How the command line is read.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "dibkit/host/image_format.h"
#include "dibkit/version.h"
#include "process.h"

namespace dibkit::test {
namespace {

using Arguments = std::vector<std::string>;

const Arguments kSubcommands{"prepare",  "resample", "normalize", "to24",  "to16",
                             "quantize", "grey",     "info",      "report"};

class CommandLine : public testing::Test {
 protected:
  // A page of 4 x 3 pixels.
  std::string Page(const std::string& name = "in.bmp") const {
    return directory_.Write(name, BitmapBuilder().Build());
  }
  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // Expects status 2, nothing on standard output, no new file, and returns the first line.
  std::string UsageErrorOf(const Arguments& arguments) const {
    const auto before = directory_.Names();
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.substr(0, 8), "dibkit: ");
    EXPECT_EQ(directory_.Names(), before);
    return outcome.err.substr(0, outcome.err.find('\n'));
  }

  TemporaryDirectory directory_;
};

TEST_F(CommandLine, TellsItsVersionAndItsFormats) {
  for (const Arguments& arguments :
       {Arguments{"--version"}, Arguments{"-V"}, Arguments{"info", "-V"}}) {
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out.substr(0, outcome.out.find('\n')), "dibkit " DIBKIT_VERSION_STRING);
    for (const host::ImageFormat format : host::BuiltInFormats()) {
      EXPECT_NE(outcome.out.find(host::FormatName(format)), std::string::npos);
      EXPECT_NE(outcome.out.find(host::CodecVersion(format)), std::string::npos);
    }
    EXPECT_EQ(outcome.err, "");
  }
}

TEST_F(CommandLine, HelpsOnStandardOutputIn80Columns) {
  std::vector<Arguments> calls{{"--help"}, {"-h"}, {"help"}, {"-q", "help", "help"}};
  for (const std::string& name : kSubcommands) {
    calls.push_back({name, "--help"});
    calls.push_back({name, "-h", "no such word is looked at"});
    calls.push_back({"help", name});
  }
  for (const Arguments& arguments : calls) {
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out.substr(0, 14), "Usage: dibkit ");
    EXPECT_EQ(outcome.err, "");
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_LE(line.size(), 80U) << line;
      EXPECT_FALSE(line.ends_with(' ')) << line;
    }
  }
}

TEST_F(CommandLine, TheHelpTellsDefaultsLimitsAndMemory) {
  for (const std::string& name : kSubcommands) {
    const Outcome outcome = RunTool({name, "--help"});
    EXPECT_TRUE(outcome.Tells("Example"));
    if (name == "info" || name == "report") {
      continue;
    }
    EXPECT_TRUE(outcome.Tells("--max-pixels N A page and its result may have so many pixels"));
    EXPECT_TRUE(outcome.Tells("The default is 250000000"));
    EXPECT_TRUE(outcome.Tells("half a byte at 4 bits, 1 byte at 8 bits, 2 bytes at 16, 3 at 24"));
    EXPECT_TRUE(outcome.Tells("alpha is laid over white"));
    EXPECT_TRUE(outcome.Tells("channels of 16 bits are rounded to 8"));
    EXPECT_TRUE(outcome.Tells("CMYK becomes red, green and blue by (255 - ink)"));
  }
}

TEST_F(CommandLine, OptionsThatMakeNoSenseAreNotThere) {
  const std::string in = Page();
  for (const char* option : {"--output-dir", "--jobs", "--compression", "--report", "-o", "-f"}) {
    EXPECT_NE(UsageErrorOf({"info", option, in}).find("unknown option"), std::string::npos);
    EXPECT_NE(UsageErrorOf({"report", option, in}).find("unknown option"), std::string::npos);
  }
  UsageErrorOf({"to24", "--dpi", "300", "-o", Path("out.bmp"), in});
  UsageErrorOf({"report", "--max-pixels", "9", in});
}

TEST_F(CommandLine, AFullDiskUnderTheHelpIsWorthAnotherTry) {
  Start start;
  start.outputPath = "/dev/full";
  for (const Arguments& arguments :
       {Arguments{"--help"}, Arguments{"--version"}, Arguments{"help", "info"}}) {
    start.arguments = arguments;
    EXPECT_EQ(RunTool(start).exitCode, 75);
  }
}

TEST_F(CommandLine, WrongUsageIsStatusTwoWithoutOutput) {
  const std::string in = Page();
  const std::string out = Path("out.bmp");
  for (const Arguments& arguments :
       std::vector<Arguments>{{},
                              {"-q"},
                              {"--"},
                              {"-"},
                              {""},
                              {"shrink"},
                              {"help", "shrink"},
                              {"help", "info", "info"},
                              {"info"},
                              {"info", "--colour", in},
                              {"report"},
                              {"resample", "-o", out, in},
                              {"resample", "--dpi", "200", in},
                              {"resample", "--dpi", "200", in, out},
                              {"resample", "--dpi", "200", "-o", out, in, Path("other.bmp")},
                              {"resample", "--dpi", "200", "-o", out},
                              {"resample", "--dpi", "200", in, "-o"},
                              {"resample", "--dpi", "200", "-o", "", in},
                              {"resample", "--dpi", "200", "-o", out, "--output-dir=d", in},
                              {"resample", "--dpi", "200", "--output-dir=", in},
                              {"resample", "--dpi", "200", "-o", Path("out.pgn"), in},
                              {"resample", "--dpi", "200", "-o", Path(""), in},
                              {"resample", "--dpi", "200", "--format", "gif", "-o", out, in},
                              {"resample", "--dpi", "200", "--compression", "lzw", "-o", out, in},
                              {"resample", "--dpi", "200", "--quality", "101", "-o", out, in},
                              {"resample", "--dpi", "200", "--jobs", "0", "-o", out, in},
                              {"resample", "--dpi", "200", "--memory", "0", "-o", out, in},
                              {"resample", "--dpi", "200", "--memory", "2X", "-o", out, in},
                              {"resample", "--dpi", "200", "--shard", "2/2", "-o", out, in},
                              {"resample", "--dpi", "200", "--shard", "1", "-o", out, in},
                              {"resample", "--dpi", "200", "--pages", "0", "-o", out, in},
                              {"resample", "--dpi", "200", "--pages", "3-1", "-o", out, in},
                              {"resample", "--dpi", "200", "--pages", "", "-o", out, in},
                              {"resample", "--dpi", "200", "--pages", "1,", "-o", out, in},
                              {"resample", "--dpi", "200", "-f=yes", "-o", out, in},
                              {"resample", "--dpi", "200", "--force=yes", "-o", out, in},
                              {"resample", "--dpi", "200", "-f", "--skip-existing", "-o", out, in},
                              {"resample", "--dpi", "200", "-o", out, directory_.Path(".")}}) {
    UsageErrorOf(arguments);
  }
}

TEST_F(CommandLine, NumbersAreDecimalDigitsAndNothingElse) {
  const std::string in = Page();
  const std::string out = Path("out.bmp");
  for (const char* number :
       {"0", "65536", "-1", "+200", " 200", "200 ", "", "200.5", "2e2", "0x10", "many",
        "18446744073709551816", "-18446744073709551416", "99999999999999999999999999"}) {
    UsageErrorOf({"resample", "--dpi", number, "-o", out, in});
    UsageErrorOf({"resample", "--dpi", "200", "--from-dpi", number, "-o", out, in});
  }
  for (const char* number : {"257", "-1", "0x1"}) {
    UsageErrorOf({"resample", "--dpi", "200", "--threshold", number, "-o", out, in});
  }
  for (const char* number : {"0", "-5", "1k"}) {
    UsageErrorOf({"resample", "--dpi", "200", "--max-pixels", number, "-o", out, in});
  }
  EXPECT_EQ(UsageErrorOf({"resample", "--dpi", "0x10", "-o", out, in}),
            "dibkit: --dpi takes a number from 1 to 65535, in decimal digits, not '0x10'");
}

TEST_F(CommandLine, ALeadingZeroMeansNothing) {
  const std::string in = Page();
  ASSERT_EQ(RunTool({"resample", "--dpi", "200", "-o", Path("a.bmp"), in}).exitCode, 0);
  ASSERT_EQ(RunTool({"resample", "--dpi", "0200", "-o", Path("b.bmp"), in}).exitCode, 0);
  EXPECT_EQ(ReadFile(Path("a.bmp")), ReadFile(Path("b.bmp")));
}

TEST_F(CommandLine, TheLimitsOfTheNumbersAreAccepted) {
  BitmapBuilder file;
  file.width = file.height = 1;
  const std::string in = directory_.Write("in.bmp", file.Build());
  const std::string out = Path("out.bmp");
  for (const Arguments& options :
       {Arguments{"--dpi", "1", "--from-dpi", "1"},
        Arguments{"--dpi", "65535", "--from-dpi", "65535"}, Arguments{"--threshold", "0"},
        Arguments{"--threshold", "256"}, Arguments{"--max-pixels", "1"},
        Arguments{"--jobs", "1024"}, Arguments{"--memory", "16777215T"}}) {
    Arguments arguments{"resample", "-fo", out, in};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (options[0] != "--dpi") {
      arguments.insert(arguments.end(), {"--dpi", "300"});
    }
    EXPECT_EQ(RunTool(arguments).exitCode, 0) << testing::PrintToString(arguments);
  }
}

TEST_F(CommandLine, OptionsStandAnywhereAndInEveryForm) {
  const std::string in = Page();
  const std::string out = Path("out.bmp");
  for (const Arguments& arguments :
       {Arguments{"--quiet", "resample", "--dpi", "300", "-o", out, in},
        Arguments{"-q", "resample", in, "--dpi=300", "--output", out},
        Arguments{"resample", "-q", "--dpi", "300", in, "-o" + out},
        Arguments{"resample", "--dpi", "300", "-qfo", out, "--", in},
        Arguments{"resample", "--dpi", "300", "--output=" + out, in, "--"}}) {
    EXPECT_EQ(RunTool(arguments).exitCode, 0) << testing::PrintToString(arguments);
    EXPECT_EQ(directory_.Names(), (std::vector<std::string>{"in.bmp", "out.bmp"}));
    unlink(out.c_str());
  }
  EXPECT_EQ(RunTool({"info", "--quiet", in}).exitCode, 0);
}

TEST_F(CommandLine, AnOptionTwiceWithTwoValuesIsAnError) {
  const std::string in = Page();
  const std::string out = Path("out.bmp");
  EXPECT_EQ(UsageErrorOf({"resample", "--dpi", "300", "--dpi", "200", "-o", out, in}),
            "dibkit: the option --dpi is given twice, as '300' and as '200'");
  UsageErrorOf({"resample", "--dpi", "300", "-o", out, "--output", Path("b.bmp"), in});
  EXPECT_EQ(RunTool({"resample", "-q", "-q", "--dpi", "300", "--dpi", "300", "-o", out, "--output",
                     out, in})
                .exitCode,
            0);
}

TEST_F(CommandLine, WhatDoesNotExistIsNamedWithTheNearest) {
  const std::string in = Page();
  for (const auto& [word, nearest] :
       std::vector<std::pair<std::string, std::string>>{{"--output_dir", "--output-dir"},
                                                        {"--outdir", "--output-dir"},
                                                        {"--ouptut", "--output"},
                                                        {"--from", "--from-dpi"},
                                                        {"--jbos", "--jobs"},
                                                        {"-dpi", "--dpi"},
                                                        {"--DPI", ""},
                                                        {"--xyzzy", ""},
                                                        {"-x", ""}}) {
    const std::string told = "dibkit: unknown option " + word;
    EXPECT_EQ(UsageErrorOf({"resample", word, in}),
              nearest.empty() ? told : told + "; did you mean " + nearest + "?");
  }
  EXPECT_EQ(UsageErrorOf({"resampel", in}),
            "dibkit: unknown subcommand resampel; did you mean resample?");
  EXPECT_EQ(UsageErrorOf({"help", "gray"}), "dibkit: unknown subcommand gray; did you mean grey?");
  EXPECT_EQ(UsageErrorOf({"in.bmp", "out.bmp"}), "dibkit: unknown subcommand in.bmp");
  EXPECT_EQ(UsageErrorOf({"grey", "--rule", "luminence", "-o", Path("out.bmp"), in}),
            "dibkit: --rule takes one of easy, minmax, luminance, not 'luminence'; did you mean "
            "luminance?");
}

TEST_F(CommandLine, TwoBareNamesAreShownTheFormWithTheirNames) {
  const std::string in = Page();
  const std::string out = Path("it's out.bmp");
  EXPECT_EQ(UsageErrorOf({"resample", "--dpi", "300", in, Path("out.bmp")}),
            "dibkit: both names are inputs; say which is the result with -o: dibkit resample --dpi "
            "300 -o " +
                Path("out.bmp") + " " + in);
  EXPECT_EQ(UsageErrorOf({"resample", in, Path("out.bmp")}),
            "dibkit: both names are inputs; say which is the result with -o: dibkit resample -o " +
                Path("out.bmp") + " " + in);
  EXPECT_EQ(
      UsageErrorOf({"normalize", in, out}),
      "dibkit: both names are inputs; say which is the result with -o: dibkit normalize -o '" +
          directory_.Path("it'\\''s out.bmp") + "' " + in);
}

TEST_F(CommandLine, InputsAreNeverExpanded) {
  for (const std::string name : {"[a]", "[a,b]", "{}", "a b", "*.bmp", "%d", "-dash", "--", "=",
                                 "@list", "'q'", "~", "$HOME", "a\\nb", "[x].bmp"}) {
    const TemporaryDirectory directory;
    directory.Write(name, BitmapBuilder().Build());
    const Outcome outcome = RunTool({"info", "--json", "--", directory.Path(name)});
    EXPECT_EQ(outcome.exitCode, 0) << name << outcome.err;
    // The same in the folder, where nothing stands before the name.
    Start start;
    start.arguments = {"normalize", "-o", "out.bmp", "--", name};
    start.folder = directory.Path(".");
    EXPECT_EQ(RunTool(start).exitCode, 0) << name;
    EXPECT_TRUE(std::filesystem::exists(directory.Path("out.bmp"))) << name;
    start.arguments = {"normalize", "--output-dir", "[out,put]", "--", name};
    EXPECT_EQ(RunTool(start).exitCode, 0) << name;
    EXPECT_TRUE(std::filesystem::is_directory(directory.Path("[out,put]"))) << name;
  }
}

TEST_F(CommandLine, ControlCharactersInNamesAreEscaped) {
  const std::string name = "a\x1B[2Jb\nc\x7F\xC2\x9B.bmp";
  const std::string escaped = "a\\x1B[2Jb\\nc\\x7F\\xC2\\x9B.bmp";
  const std::string bad = directory_.Write(name, Bytes{'B', 'M'});
  EXPECT_EQ(RunTool({"info", bad}).err, "dibkit: " + directory_.Path(escaped) +
                                            ": the file ends inside its headers, after 2 bytes\n");
  EXPECT_EQ(RunTool({"normalize", "-o", Path("out.bmp"), bad}).err,
            "dibkit: " + directory_.Path(escaped) +
                ": the file ends inside its headers, after 2 bytes\n");
  const std::string good = Page(name);
  EXPECT_EQ(RunTool({"info", good}).out.substr(0, directory_.Path(escaped).size()),
            directory_.Path(escaped));
  EXPECT_NE(RunTool({"normalize", "--dry-run", "-o", Path(name + "2.bmp"), good})
                .out.find(escaped + "2.bmp: "),
            std::string::npos);
  for (const Arguments& arguments :
       {Arguments{name}, Arguments{"info", "--" + name}, Arguments{"info", "-" + name},
        Arguments{"help", name}, Arguments{"to24", name, name}, Arguments{"to24", "--pages", name},
        Arguments{"to24", "--jobs", name}, Arguments{"to24", "--format", name},
        Arguments{"to24", "--memory", name}, Arguments{"to24", "--shard", name},
        Arguments{"to24", "-o", name, "--output=x", good},
        Arguments{"to24", "-o", name + ".x", good}}) {
    const std::string line = UsageErrorOf(arguments);
    EXPECT_TRUE(std::none_of(line.begin(), line.end(), [](char c) {
      return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
    })) << line;
  }
}

TEST_F(CommandLine, HelpTellsWhatBecomesOfOtherColourSpaces) {
  const Outcome outcome = RunTool({"help", "normalize"});
  EXPECT_TRUE(outcome.Tells("CMYK becomes red, green and blue by"));
  EXPECT_TRUE(outcome.Tells("YCbCr, CIELab and LogLuv pixels of TIFF files become"));
}

}  // namespace
}  // namespace dibkit::test
