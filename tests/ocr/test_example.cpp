// SPDX-License-Identifier: Apache-2.0
//
// examples/ocr over pages whose text is known.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>

#include "dibkit/host/page.h"
#include "ocr/error_rate.h"
#include "scanned_pages.h"
#include "tool/process.h"

namespace dibkit::test {
namespace {

using Json = nlohmann::json;

constexpr double kMostErrors = 1.0;  // percent

class OcrExample : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    // Tesseract's own threads take more time than they save when others run beside it.
    setenv("OMP_THREAD_LIMIT", "1", 1);
    pages_ = std::make_unique<ScannedPages>(
        "--dpi 100 150 --kind clean --face serif --points 10 --words");
  }
  static void TearDownTestSuite() { pages_.reset(); }

  void SetUp() override {
    if (!pages_->Missing().empty()) {
      GTEST_SKIP() << pages_->Missing();
    }
    if (RunTool({pages_->Path("none")}).Tells("no data for the language")) {
      GTEST_SKIP() << "Tesseract has no English data: the Debian package is tesseract-ocr-eng";
    }
  }

  static double ErrorsIn(const std::string& recognised, const std::string& page) {
    return bench::ocr::CompareTexts(pages_->Text(page), recognised).Percent();
  }

  // The object that the example prints of a file with one page.
  static Json Recognised(const std::string& path, const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"--json", path};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return Json::parse(outcome.out);
  }

  static std::unique_ptr<ScannedPages> pages_;
};

std::unique_ptr<ScannedPages> OcrExample::pages_;

TEST_F(OcrExample, PrintsTheTextAndTheConfidence) {
  const Outcome outcome = RunTool({pages_->Path("grey-100-clean-serif-10.tif")});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_LE(ErrorsIn(outcome.out, "grey-100-clean-serif-10"), kMostErrors);
  EXPECT_NE(outcome.err.find(": page 1: mean confidence 9"), std::string::npos) << outcome.err;
}

TEST_F(OcrExample, ReadsEveryDepthAndFormat) {
  const std::string name = "grey-150-clean-serif-10";
  const TemporaryDirectory directory;
  const host::Page grey = host::Page::Open(pages_->Path(name + ".tif"));
  host::Page colour = host::Page::Open(pages_->Path(name + ".tif"));
  colour.To24();
  for (const std::string file : {"grey.bmp", "grey.png", "colour.bmp", "colour.jpg"}) {
    SCOPED_TRACE(file);
    (file.starts_with("grey") ? grey : colour).Save(directory.Path(file));
    const Json page = Recognised(directory.Path(file), {"--from-dpi", "150"});
    EXPECT_LE(ErrorsIn(page["text"], name), kMostErrors);
    EXPECT_EQ(page["width"], grey.Width());
    EXPECT_EQ(page["height"], grey.Height());
  }
  const Json bilevel = Recognised(pages_->Path("1bit-150-clean-serif-10.tif"));
  EXPECT_LE(ErrorsIn(bilevel["text"], name), 2 * kMostErrors);
}

// How far an edge of a box may be from the ink: a twentieth of an inch, in pixels of the original.
bool Lies(const Json& box, const TrueWord& word, double dpi) {
  const double most = dpi / 20;
  return std::abs(box["left"].get<double>() - word.left) <= most &&
         std::abs(box["top"].get<double>() - word.top) <= most &&
         std::abs(box["right"].get<double>() - word.right) <= most &&
         std::abs(box["bottom"].get<double>() - word.bottom) <= most;
}

TEST_F(OcrExample, BoxesLieWhereTheWordsAreInTheOriginal) {
  const std::string name = "grey-100-clean-serif-10";
  const Json page = Recognised(pages_->Path(name + ".tif"));
  const std::vector<TrueWord> truth = pages_->Words(name);
  size_t found = 0;
  for (const TrueWord& word : truth) {
    found += std::any_of(page["words"].begin(), page["words"].end(),
                         [&](const Json& read) {
                           return read["text"] == word.text && Lies(read["box"], word, 100);
                         })
                 ? 1U
                 : 0U;
  }
  EXPECT_GE(found, truth.size() * 97 / 100) << "of " << truth.size();
}

TEST_F(OcrExample, ScansOfEnoughResolutionStayAsTheyAre) {
  const std::string name = "1bit-150-clean-serif-10";
  const Json page = Recognised(pages_->Path(name + ".tif"), {"--dpi", "150"});
  ASSERT_FALSE(page["words"].empty());
  EXPECT_GT(page["confidence"], 50);
}

TEST_F(OcrExample, FailuresAreOneLineAndAnObject) {
  const Outcome outcome =
      RunTool({"--json", pages_->Path("none"), pages_->Path("grey-100-clean-serif-10.tif")});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  const size_t end = outcome.out.find('\n');
  EXPECT_EQ(Json::parse(outcome.out.substr(0, end))["error"],
            "cannot open: No such file or directory");
  EXPECT_EQ(Json::parse(outcome.out.substr(end))["page"], 1);
}

TEST_F(OcrExample, WrongUsageAndUnknownLanguagesAreTold) {
  EXPECT_EQ(RunTool(std::vector<std::string>{}).exitCode, 2);
  EXPECT_EQ(RunTool({"--dpi", "0", "page.tif"}).exitCode, 2);
  const Outcome outcome = RunTool({"--json", "--language", "none", "page.tif"});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(Json::parse(outcome.out), (Json{{"error", "no data for the language none"}}));
  EXPECT_EQ(outcome.err, "ocr: no data for the language none\n");
}

}  // namespace
}  // namespace dibkit::test
