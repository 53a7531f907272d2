// SPDX-License-Identifier: Apache-2.0
//
// What --report writes, what the memory limit holds, and what dibkit report makes of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "batch/report/sha256.h"
#include "page_folder.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using Json = nlohmann::json;

class Reports : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return directory_.Path(name); }
  std::vector<Json> Report() const { return ReadReport(Path("report")); }

  TemporaryDirectory directory_;
};

TEST_F(Reports, HaveALineForEachPage) {
  BitmapBuilder file;
  file.width = file.height = 60;
  const std::string in = directory_.Write("in.bmp", file.Build());
  const std::string out = Path("out.bmp");
  ASSERT_EQ(
      RunTool({"resample", "--dpi", "200", "--report", Path("report"), "-o", out, in}).exitCode, 0);
  const auto report = Report();
  ASSERT_EQ(report.size(), 1U);
  const Json& page = report[0];
  EXPECT_EQ(page.at("input"), in);
  EXPECT_EQ(page.at("output"), out);
  EXPECT_EQ(page.at("page"), 1);
  EXPECT_EQ(page.at("pages"), 1);
  EXPECT_EQ(page.at("status"), "done");
  for (const auto& [side, size, dpi] :
       {std::tuple{"input", 60, 300}, std::tuple{"output", 39, 200}}) {
    const auto member = [&page, side = std::string(side)](const char* name) {
      return page.at(side + "_" + name);
    };
    EXPECT_EQ(member("format"), "BMP");
    EXPECT_EQ(member("width"), size);
    EXPECT_EQ(member("height"), size);
    EXPECT_EQ(member("bits"), 8);
    EXPECT_EQ(member("dpi_x"), dpi);
    EXPECT_EQ(member("dpi_y"), dpi);
  }
  EXPECT_GE(page.at("peak_bytes"), 60 * 60 + 39 * 39);
  EXPECT_FALSE(page.contains("message"));
  if (!tool::HasSha256()) {
    GTEST_SKIP() << "libnettle is not built in: no hashes in reports";
  }
  EXPECT_EQ(page.at("sha256"), tool::Sha256OfBytes(ReadFile(out)));
}

TEST_F(Reports, TellFailuresAndWhatWasSkipped) {
  const std::string good = directory_.Write("good.bmp", BitmapBuilder().Build());
  const std::string bad = directory_.Write("bad.bmp", Bytes{'B', 'M'});
  const std::string none = Path("none.bmp");
  const Arguments arguments{"normalize",    "--report",  Path("report"), "--jobs", "1",
                            "--output-dir", Path("out"), good,           bad,      none};
  EXPECT_EQ(RunTool(arguments).exitCode, 1);
  auto report = Report();
  ASSERT_EQ(report.size(), 3U);
  EXPECT_EQ(report[0].at("status"), "done");
  EXPECT_EQ(report[1].at("input"), bad);
  EXPECT_EQ(report[1].at("status"), "failed");
  EXPECT_EQ(report[1].at("message"), "the file ends inside its headers, after 2 bytes");
  EXPECT_FALSE(report[1].contains("sha256"));
  EXPECT_EQ(report[2].at("message"), "cannot open: No such file or directory");
  // A run that is taken up again adds to it.
  Arguments again = arguments;
  again.insert(again.begin() + 1, "--skip-existing");
  EXPECT_EQ(RunTool(again).exitCode, 1);
  report = Report();
  ASSERT_EQ(report.size(), 6U);
  EXPECT_EQ(report[3].at("input"), good);
  EXPECT_EQ(report[3].at("status"), "skipped");
}

TEST_F(Reports, AreMergedAndHeldAgainstAList) {
  MakePages(directory_, "scans", 6);
  std::string list;
  for (const auto& [name, bytes] : FilesBelow(Path("scans"))) {
    list += Path("scans/" + name) + "\n";
  }
  directory_.Write("list", Bytes(list.begin(), list.end()));
  for (const std::string shard : {"0", "1"}) {
    ASSERT_EQ(
        RunTool({"resample", "-q", "--dpi", "200", "--files-from", Path("list"), "--shard",
                 shard + "/2", "--output-dir", Path("out"), "--report", Path("report-" + shard)})
            .exitCode,
        0);
  }
  const Outcome whole =
      RunTool({"report", "--files-from", Path("list"), Path("report-0"), Path("report-1")});
  EXPECT_EQ(whole.exitCode, 0) << whole.out;
  EXPECT_NE(whole.out.find("6 files: 6 pages done"), std::string::npos) << whole.out;
  const Outcome half = RunTool({"report", "--files-from", Path("list"), Path("report-1")});
  EXPECT_EQ(half.exitCode, 1);
  EXPECT_NE(half.out.find("3 missing"), std::string::npos) << half.out;
}

TEST_F(Reports, ThatCannotBeWrittenEndTheRun) {
  const std::string in = directory_.Write("in.bmp", BitmapBuilder().Build());
  const Outcome full = RunTool({"normalize", "--report", "/dev/full", "-o", Path("out.bmp"), in});
  EXPECT_EQ(full.exitCode, 75);
  EXPECT_EQ(full.err, "dibkit: cannot write the report: No space left on device\n");
  const Outcome none =
      RunTool({"normalize", "--report", Path("none/report"), "-o", Path("out2.bmp"), in});
  EXPECT_EQ(none.exitCode, 1);
  EXPECT_FALSE(fs::exists(Path("out2.bmp")));
}

TEST_F(Reports, AreNoImages) {
  const std::string in = directory_.Write("in.bmp", BitmapBuilder().Build());
  for (const std::string& report : {in, Path("./in.bmp"), Path("out.bmp")}) {
    const Outcome outcome = RunTool({"normalize", "--report", report, "-o", Path("out.bmp"), in});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.err.ends_with("put, it cannot be the report\n")) << outcome.err;
  }
  EXPECT_EQ(RunTool({"normalize", "--report", "-", "-o", "-", in}).exitCode, 2);
  EXPECT_EQ(ReadFile(in), BitmapBuilder().Build());
  EXPECT_EQ(directory_.Names(), std::vector<std::string>{"in.bmp"});
}

TEST_F(Reports, GoToStandardOutputToo) {
  const std::string in = directory_.Write("in.bmp", BitmapBuilder().Build());
  const Outcome outcome = RunTool({"normalize", "--report", "-", "-o", Path("out.bmp"), in});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(Json::parse(outcome.out).at("status"), "done");
}

// ---- memory
// --------------------------------------------------------------------------------------

struct MemoryCase {
  Arguments subcommand;
  uint16_t bits;
  bool colour;
};

std::vector<MemoryCase> MemoryCases() {
  std::vector<MemoryCase> cases;
  for (const Arguments& subcommand :
       {Arguments{"resample", "--dpi", "150"}, Arguments{"resample", "--dpi", "900"},
        Arguments{"resample", "--grey", "--dpi", "140"}, Arguments{"prepare"},
        Arguments{"prepare", "--from-dpi", "100"}, Arguments{"normalize"}, Arguments{"to24"},
        Arguments{"to16"}, Arguments{"quantize"}, Arguments{"grey"}}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
      cases.push_back({subcommand, bits, false});
      if (bits == 4 || bits == 8) {
        cases.push_back({subcommand, bits, true});
      }
    }
  }
  return cases;
}

// What is told beforehand is what is taken: the limit refuses one byte less than the page takes,
// and lets it through with little more.
TEST_F(Reports, ThePeakOfAPageIsKnownBeforehand) {
  constexpr uint64_t kSlack = 20'000;  // header copies, tables, rows
  for (const MemoryCase& item : MemoryCases()) {
    SCOPED_TRACE(item.subcommand[0] + " " + std::to_string(item.bits));
    BitmapBuilder file;
    file.bitCount = item.bits;
    file.width = file.height = 600;
    if (item.colour) {
      file.table = file.Table();
      file.table->at(0) = 77;
    }
    if (item.bits > 8) {
      // More colours than a palette has.
      file.pixels = file.Pixels();
      std::mt19937 random(1);
      std::generate(file.pixels->begin(), file.pixels->end(),
                    [&random] { return static_cast<unsigned char>(random()); });
    }
    Arguments arguments = item.subcommand;
    arguments.insert(arguments.end(), {"-fo", Path("out.bmp"), "--report", Path("report"),
                                       directory_.Write("in.bmp", file.Build())});
    fs::remove(Path("report"));
    ASSERT_EQ(RunTool(arguments).exitCode, 0);
    const uint64_t peak = Report().at(0).at("peak_bytes");
    arguments.insert(arguments.end(), {"--memory", std::to_string(peak + kSlack)});
    EXPECT_EQ(RunTool(arguments).exitCode, 0) << peak;
    arguments.back() = std::to_string(peak - kSlack);
    const Outcome refused = RunTool(arguments);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("that --memory allows"), std::string::npos) << refused.err;
  }
}

TEST_F(Reports, ThePagesOfAllJobsStayBelowTheLimit) {
  fs::create_directory(Path("scans"));
  BitmapBuilder page;
  page.width = page.height = 1000;
  page.bitCount = 24;
  for (int i = 0; i < 8; ++i) {
    directory_.Write("scans/" + std::to_string(i) + ".bmp", page.Build());
  }
  // Room for one page at 600 dpi and a half.
  const Outcome outcome = RunTool({"resample", "--dpi", "600", "--jobs", "8", "--memory", "20M",
                                   "--output-dir", Path("out"), "--recursive", Path("scans")});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(FilesBelow(Path("out")).size(), 8U);
  if (!IsSanitized()) {
    EXPECT_LT(outcome.peakKilobytes, 60'000U);
  }
}

}  // namespace
}  // namespace dibkit::test
