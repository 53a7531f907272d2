// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "batch/files/plan.h"
#include "batch/usage_error.h"
#include "captured_output.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using host::ImageFormat;
using test::CapturedOutput;
using test::FileTree;
using test::OrdinaryUser;
using test::StreamKind;
using test::WorkingDirectory;

using Names = std::vector<std::string>;

// A working directory of its own for each test.
class PlanTest : public testing::Test {
 protected:
  const FileTree tree_;
  const WorkingDirectory there_{tree_.Path(".")};
};

// Explicit files, by path; the relative path is the same.
InputList Inputs(const Names& names) {
  InputList list;
  for (const std::string& name : names) list.own.push_back({name, name});
  return list;
}

// As if all formats were built in.
OutputOptions Options() {
  OutputOptions options;
  options.isBuiltIn = [](ImageFormat) { return true; };
  return options;
}

OutputOptions To(const std::string& output) {
  OutputOptions options = Options();
  options.output = output;
  return options;
}

OutputOptions Into(const std::string& folder) {
  OutputOptions options = Options();
  options.outputDir = folder;
  return options;
}

OutputOptions IntoAs(const std::string& folder, ImageFormat format) {
  OutputOptions options = Into(folder);
  options.format = format;
  return options;
}

Names Outputs(const std::vector<PlannedFile>& plan) {
  Names names;
  for (const PlannedFile& file : plan) names.push_back(file.OutputOf(1));
  return names;
}

// The message of the refusal, with "usage: " before wrong usage; empty when there is none.
std::string Refusal(const InputList& inputs, const OutputOptions& options,
                    const TellPages& tellPages = nullptr) {
  try {
    PlanOutputs(inputs, options, tellPages);
    return "";
  } catch (const UsageError& error) {
    return std::string("usage: ") + error.what();
  } catch (const Failure& failure) {
    return failure.what();
  }
}

TEST_F(PlanTest, TheInputTreeIsMirroredBelowTheFolder) {
  const auto plan = PlanOutputs(Inputs({"a.tif", "sub/b.PNG", "sub/c.jpeg"}), Into("out/"));
  EXPECT_EQ(Outputs(plan), (Names{"out/a.tif", "out/sub/b.PNG", "out/sub/c.jpeg"}));
  EXPECT_EQ(plan[1].format, ImageFormat::kPng);
  EXPECT_EQ(plan[2].format, ImageFormat::kJpeg);
  EXPECT_FALSE(std::filesystem::exists("out"));
}

TEST_F(PlanTest, AFormatChangesTheSuffixesThatDoNotNameIt) {
  const auto plan =
      PlanOutputs(Inputs({"a.tiff", "b.TIF", "c.png", "d.tar.bmp", "e.scan", "f", "g.d/h"}),
                  IntoAs("out", ImageFormat::kTiff));
  EXPECT_EQ(Outputs(plan), (Names{"out/a.tiff", "out/b.TIF", "out/c.tif", "out/d.tar.tif",
                                  "out/e.scan.tif", "out/f.tif", "out/g.d/h.tif"}));
}

TEST_F(PlanTest, ANameWithoutASuffixGetsThatOfItsContent) {
  tree_.Write("a", test::kBmpStart);
  tree_.Write("b.001", test::kTiffStart);
  tree_.Write("c", test::kPngStart);
  tree_.Write("d", "text");
  tree_.Write("e", "");
  tree_.Write("f.png", test::kTiffStart);
  const auto plan =
      PlanOutputs(Inputs({"a", "b.001", "c", "d", "e", "f.png", "missing"}), Into("out"));
  EXPECT_EQ(Outputs(plan), (Names{"out/a.bmp", "out/b.001.tif", "out/c.png", "out/d", "out/e",
                                  "out/f.png", "out/missing"}));
  EXPECT_EQ(plan[1].format, ImageFormat::kTiff);
  EXPECT_EQ(plan[3].format, std::nullopt);
}

TEST_F(PlanTest, APipeIsNotOpenedToTellItsFormat) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(Outputs(PlanOutputs(Inputs({"pipe"}), Into("out"))), Names{"out/pipe"});
  EXPECT_EQ(Outputs(PlanOutputs(Inputs({"pipe"}), To("%d.png"))), Names{"1.png"});
}

TEST_F(PlanTest, OneInputGoesToTheNamedFile) {
  const auto plan = PlanOutputs(Inputs({"a.tif"}), To("x/b.jpg"));
  EXPECT_EQ(Outputs(plan), Names{"x/b.jpg"});
  EXPECT_EQ(plan[0].format, ImageFormat::kJpeg);
  EXPECT_FALSE(plan[0].IsNumbered());
  OutputOptions options = To("b.dat");
  options.format = ImageFormat::kBmp;
  EXPECT_EQ(PlanOutputs(Inputs({"a.tif"}), options)[0].format, ImageFormat::kBmp);
}

TEST_F(PlanTest, StandardOutputAndDevicesTakeTheFormatOfTheInput) {
  const CapturedOutput output(STDOUT_FILENO, StreamKind::kFile);
  for (const char* name : {"-", "/dev/null"}) {
    const auto plan = PlanOutputs(Inputs({"a.tif"}), To(name));
    EXPECT_EQ(Outputs(plan), Names{name});
    EXPECT_EQ(plan[0].format, std::nullopt);
  }
}

TEST_F(PlanTest, StandardOutputMustNotBeATerminal) {
  std::string refusal;
  {
    const CapturedOutput output(STDOUT_FILENO, StreamKind::kTerminal);
    refusal = Refusal(Inputs({"a.tif"}), To("-"));
  }
  EXPECT_EQ(refusal, "usage: standard output is a terminal, which is no place for an image");
}

TEST_F(PlanTest, WrongUsageIsTold) {
  EXPECT_EQ(Refusal(Inputs({"a.bmp", "b.bmp"}), {}),
            "usage: nothing says where the result goes: a.bmp -o b.bmp, or --output-dir DIR");
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), {}),
            "usage: nothing says where the result goes: -o FILE, or --output-dir DIR");
  EXPECT_EQ(Refusal(Inputs({"a.bmp", "b.bmp"}), To("c.bmp")),
            "usage: -o c.bmp is one file for 2 inputs: use --output-dir, or a pattern such as -o "
            "page-%03d.png");
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), To("c.xyz")),
            "usage: c.xyz: its suffix is that of no format, and there is no --format");
  EXPECT_EQ(Refusal(Inputs({"-"}), Into("out")),
            "usage: standard input has no name that --output-dir could use: name it with -o");
  tree_.MakeFolder("folder.tif");
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), To("folder.tif")),
            "usage: folder.tif is a folder: use --output-dir");
  OutputOptions both = To("c.bmp");
  both.outputDir = "out";
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), both), "usage: -o and --output-dir cannot go together");
  OutputOptions contrary = To("c.bmp");
  contrary.force = contrary.skipExisting = true;
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), contrary),
            "usage: --force and --skip-existing cannot go together");
}

TEST_F(PlanTest, AFormatThatIsNotBuiltInIsTold) {
  OutputOptions options = IntoAs("out", ImageFormat::kPng);
  options.isBuiltIn = [](ImageFormat format) { return format == ImageFormat::kBmp; };
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), options), "usage: PNG files are not built in here");
  options = To("a.jpg");
  options.isBuiltIn = [](ImageFormat format) { return format == ImageFormat::kBmp; };
  EXPECT_EQ(Refusal(Inputs({"a.bmp"}), options), "usage: JPEG files are not built in here");
}

TEST_F(PlanTest, TwoInputsForOneOutputAreBothNamed) {
  EXPECT_EQ(Refusal(Inputs({"a.tif", "a\n.png", "a.png"}), IntoAs("out", ImageFormat::kTiff)),
            "a.tif and a.png would both become out/a.tif");
  InputList list;
  list.own = {{"x/a.tif", "a.tif"}, {"y/a.tif", "a.tif"}};
  EXPECT_EQ(Refusal(list, Into("out")), "x/a.tif and y/a.tif would both become out/a.tif");
}

TEST_F(PlanTest, OutputsAreComparedAsFilesNotAsNames) {
  tree_.MakeFolder("out/b");
  tree_.Link("b", "out/c");
  InputList list;
  list.own = {{"x.tif", "b/x.tif"}, {"y.tif", "c/x.tif"}};
  EXPECT_EQ(Refusal(list, Into("out")), "x.tif and y.tif would both become out/c/x.tif");
}

TEST_F(PlanTest, AnOutputThatIsAnInputIsRefusedEvenByForce) {
  tree_.Write("a.tif", test::kTiffStart);
  tree_.Write("s/b.tif");
  ASSERT_EQ(link("a.tif", "hard.tif"), 0);
  tree_.Link("a.tif", "soft.tif");
  for (const char* output : {"a.tif", "./s/../a.tif", "hard.tif", "soft.tif"}) {
    OutputOptions options = To(output);
    options.force = true;
    EXPECT_EQ(Refusal(Inputs({"a.tif"}), options),
              std::string(output) + ", which a.tif would become, is an input itself");
    options.force = false;
    options.skipExisting = true;
    EXPECT_NE(Refusal(Inputs({"a.tif"}), options), "");
  }
  InputList list;
  list.own = {{"a.tif", "b.tif"}, {"s/b.tif", "c.tif"}};
  EXPECT_EQ(Refusal(list, Into("s")), "s/b.tif, which a.tif would become, is an input itself");
  // An input that is not there cannot be lost, but was certainly not meant.
  EXPECT_NE(Refusal(Inputs({"gone.tif"}), To("s/../gone.tif")), "");
}

TEST_F(PlanTest, ExistingOutputsNeedForceOrAreSkipped) {
  for (const char* name : {"out/a.tif", "out/c.tif", "out/d.tif"}) tree_.Write(name);
  const InputList inputs = Inputs({"a.tif", "b.tif", "c.tif", "d.tif"});
  EXPECT_EQ(
      Refusal(inputs, Into("out")),
      "out/a.tif and 2 more exist already: --force replaces, --skip-existing leaves what is there");
  EXPECT_EQ(Refusal(Inputs({"a.tif", "b.tif"}), Into("out")),
            "out/a.tif exists already: --force replaces, --skip-existing leaves what is there");
  OutputOptions force = Into("out");
  force.force = true;
  OutputOptions skip = Into("out");
  skip.skipExisting = true;
  const auto forced = PlanOutputs(inputs, force);
  const auto skipped = PlanOutputs(inputs, skip);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_FALSE(forced[i].skipped);
    EXPECT_EQ(skipped[i].skipped, i != 1);
  }
}

TEST_F(PlanTest, WhatCannotBeWrittenIsRefusedEvenByForce) {
  tree_.MakeFolder("out/folder.tif");
  ASSERT_EQ(chmod(tree_.Write("out/locked.tif").c_str(), 0444), 0);
  ASSERT_EQ(chmod(tree_.Write("out/others.tif").c_str(), 0644), 0);
  ASSERT_EQ(chmod(".", 0755), 0);
  const bool ownedByRoot = geteuid() == 0;
  OutputOptions options = Into("out");
  options.force = true;
  EXPECT_EQ(Refusal(Inputs({"folder.tif"}), options), "out/folder.tif is a folder");
  EXPECT_EQ(Refusal(Inputs({"locked.tif"}), options), "out/locked.tif is write-protected");
  {
    const OrdinaryUser user;
    EXPECT_EQ(Refusal(Inputs({"others.tif"}), options),
              ownedByRoot ? "out/others.tif is write-protected" : "");
  }
  tree_.Write("plain");
  EXPECT_EQ(Refusal(Inputs({"a.tif"}), Into("plain")), "plain is not a folder");
}

// ---- pages -------------------------------------------------------------------------------------

// A TIFF file with as many pages as its name says, all of them chosen.
InputPages PagesInName(const std::string& path) {
  const auto count = static_cast<uint32_t>(std::stoul(path));
  InputPages pages{count, {}};
  for (uint32_t page = 1; page <= count; ++page) pages.chosen.push_back(page);
  return pages;
}

TEST_F(PlanTest, APatternNumbersThePagesOfAllInputs) {
  for (const char* name : {"3.tif", "0.tif", "2.tif"}) tree_.Write(name, test::kTiffStart);
  const auto plan = PlanOutputs(Inputs({"3.tif", "0.tif", "2.tif"}), To("p-%02d.png"), PagesInName);
  EXPECT_EQ(plan[0].OutputOf(3), "p-03.png");
  EXPECT_EQ(plan[1].OutputOf(1), "p-04.png");
  EXPECT_EQ(plan[2].OutputOf(1), "p-05.png");
  EXPECT_EQ(plan[2].OutputOf(2), "p-06.png");
  EXPECT_TRUE(plan[2].IsNumbered());
}

TEST_F(PlanTest, PagesThatOneFileCannotHoldGetAFileEach) {
  tree_.Write("3.tif", test::kTiffStart);
  tree_.Write("1.tif", test::kTiffStart);
  tree_.Write("2", test::kTiffStart);
  const auto plan =
      PlanOutputs(Inputs({"3.tif", "1.tif"}), IntoAs("out", ImageFormat::kPng), PagesInName);
  EXPECT_EQ(plan[0].OutputOf(2), "out/3-002.png");
  EXPECT_EQ(plan[1].OutputOf(1), "out/1.png");
  EXPECT_FALSE(plan[1].IsNumbered());
  const auto kept = PlanOutputs(Inputs({"3.tif", "2"}), Into("out"), PagesInName);
  EXPECT_EQ(Outputs(kept), (Names{"out/3.tif", "out/2.tif"}));
  EXPECT_EQ(
      Refusal(Inputs({"3.tif"}), To("a.png"), PagesInName),
      "3.tif has 3 pages to make, and a PNG file holds one: use a pattern such as -o page-%03d, "
      "or --pages");
}

TEST_F(PlanTest, OnlyFilesThatMayHaveSeveralPagesAreOpened) {
  tree_.Write("a.png", test::kPngStart);
  tree_.Write("b.tif", test::kTiffStart);
  int asked = 0;
  const TellPages tell = [&](const std::string&) {
    ++asked;
    return InputPages{1, {1}};
  };
  PlanOutputs(Inputs({"a.png", "b.tif"}), Into("out"), tell);
  EXPECT_EQ(asked, 0);
  PlanOutputs(Inputs({"a.png", "b.tif"}), IntoAs("out", ImageFormat::kBmp), tell);
  EXPECT_EQ(asked, 1);
}

TEST_F(PlanTest, NumberedOutputsMeetTheSameRefusals) {
  tree_.Write("3.tif", test::kTiffStart);
  tree_.Write("out/3-002.png");
  const OutputOptions options = IntoAs("out", ImageFormat::kPng);
  EXPECT_EQ(Refusal(Inputs({"3.tif"}), options, PagesInName),
            "out/3-002.png exists already: --force replaces, --skip-existing leaves what is there");
  OutputOptions skip = options;
  skip.skipExisting = true;
  auto plan = PlanOutputs(Inputs({"3.tif"}), skip, PagesInName);
  EXPECT_FALSE(plan[0].skipped);
  EXPECT_EQ(plan[0].skippedPages, std::vector<uint32_t>{2});
  tree_.Write("out/3-001.png");
  tree_.Write("out/3-003.png");
  plan = PlanOutputs(Inputs({"3.tif"}), skip, PagesInName);
  EXPECT_TRUE(plan[0].skipped);
  EXPECT_EQ(Refusal(Inputs({"3.tif", "3-001.png"}), IntoAs("new", ImageFormat::kPng), PagesInName),
            "3.tif and 3-001.png would both become new/3-001.png");
}

TEST_F(PlanTest, OnlyChosenPagesAreLookedAt) {
  tree_.Write("3.tif", test::kTiffStart);
  tree_.Write("out/3-002.png");
  tree_.Write("out/3.png");
  const TellPages one = [](const std::string&) { return InputPages{3, {3}}; };
  const TellPages two = [](const std::string&) { return InputPages{3, {1, 3}}; };
  EXPECT_EQ(Refusal(Inputs({"3.tif"}), IntoAs("out", ImageFormat::kPng), one).substr(0, 9),
            "out/3.png");
  const auto plan = PlanOutputs(Inputs({"3.tif"}), IntoAs("out", ImageFormat::kPng), two);
  EXPECT_EQ(plan[0].OutputOf(3), "out/3-003.png");
}

// ---- shards ------------------------------------------------------------------------------------

TEST_F(PlanTest, AnotherShardsOutputIsNotMadeTwice) {
  InputList list;
  list.own = {{"a.tif", "a.tif"}};
  list.others = {{"a.png", "a.png"}};
  EXPECT_EQ(PlanOutputs(list, Into("out")).size(), 1U);
  EXPECT_EQ(Refusal(list, IntoAs("out", ImageFormat::kPng)),
            "a.png and a.tif would both become out/a.png");
  list.others = {{"out/a.tif", "b.tif"}};
  EXPECT_EQ(Refusal(list, Into("out")), "out/a.tif, which a.tif would become, is an input itself");
}

TEST_F(PlanTest, ThatAnotherShardsOutputIsThereDoesNotMatter) {
  tree_.Write("out/b.tif");
  InputList list;
  list.own = {{"a.tif", "a.tif"}};
  list.others = {{"b.tif", "b.tif"}};
  EXPECT_EQ(Refusal(list, Into("out")), "");
}

TEST_F(PlanTest, AShardCannotNumberPages) {
  InputList list;
  list.own = {{"a.tif", "a.tif"}};
  list.others = {{"b.tif", "b.tif"}};
  EXPECT_EQ(Refusal(list, To("%d.tif")),
            "usage: a shard cannot know the numbers of its pages: use --output-dir");
  list.own.clear();
  EXPECT_EQ(Refusal(list, To("out.tif")), "");
}

}  // namespace
}  // namespace dibkit::tool
