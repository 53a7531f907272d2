// SPDX-License-Identifier: Apache-2.0
//
// The pages of one file on several threads: nobody can tell but by the clock.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <thread>

#include "batch/report/sha256.h"
#include "dibkit/host/document.h"
#include "page_folder.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using Names = std::vector<std::string>;

constexpr const char* kJobs[] = {"1", "2", "5"};

class SpreadPages : public testing::Test {
 protected:
  static constexpr int kPages = 17;

  void SetUp() override {
    if (!host::IsBuiltIn(host::ImageFormat::kTiff)) {
      GTEST_SKIP() << "TIFF is not built in: no files of several pages";
    }
  }

  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // Every third page takes far longer than those behind it.
  static host::Page PageOf(int number, uint16_t bits) {
    BitmapBuilder page;
    page.bitCount = bits;
    page.width = number % 3 == 1 ? 700 : 40 + number;
    page.height = number % 3 == 1 ? 500 : 30;
    return host::Page::FromBytes(page.Build());
  }

  std::string Book(const std::string& name, uint16_t bits = 24, int pages = kPages) const {
    host::DocumentWriter writer(Path(name));
    for (int number = 1; number <= pages; ++number) {
      writer.Add(PageOf(number, bits));
    }
    writer.Commit();
    return Path(name);
  }

  // One whose page `bad`, from 1, cannot be unpacked.
  std::string BadBook(const std::string& name, int bad) const {
    host::SaveOptions options;
    options.compression = host::Compression::kNone;
    options.replace = true;
    host::DocumentWriter writer(Path(name), options);
    for (int number = 1; number <= kPages; ++number) {
      writer.Add(PageOf(number, 24));
    }
    writer.Commit();
    Bytes bytes = ReadFile(Path(name));
    SpoilPage(bytes, bad);
    return directory_.Write(name, bytes);
  }

  // Moves the first strip of the page, the value of tag 273, to where there is nothing.
  static void SpoilPage(Bytes& bytes, int bad) {
    size_t at = Number(bytes, 4, 4);
    for (int page = 1; page < bad; ++page) {
      at = Number(bytes, at + 2 + 12 * Number(bytes, at, 2), 4);
    }
    for (at += 2; Number(bytes, at, 2) != 273; at += 12) {
    }
    const bool inPlace = Number(bytes, at + 4, 4) == 1;
    const size_t value = inPlace ? at + 8 : Number(bytes, at + 8, 4);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(value), 4, 0x7F);
  }

  static size_t Number(const Bytes& bytes, size_t at, size_t length) {
    size_t value = 0;
    for (size_t i = length; i > 0; --i) {
      value = value << 8 | bytes.at(at + i - 1);
    }
    return value;
  }

  // What a run with so many jobs makes of `book` in a folder of its own: its files, or what went to
  // standard output.
  std::map<std::string, Bytes> Made(Arguments arguments, const std::string& jobs,
                                    const std::string& book) {
    const std::string folder = Path("made-" + jobs);
    fs::remove_all(folder);
    fs::create_directory(folder);
    arguments.insert(arguments.end(), {"-q", "--jobs", jobs, book});
    Start start;
    start.arguments = arguments;
    start.folder = folder;
    last_ = RunTool(start);
    auto files = FilesBelow(folder);
    if (!last_.out.empty()) {
      files["-"] = Bytes(last_.out.begin(), last_.out.end());
    }
    return files;
  }

  void ExpectTheSameForAnyJobs(const Arguments& arguments, const std::string& book) {
    const auto one = Made(arguments, "1", book);
    EXPECT_EQ(last_.exitCode, 0) << last_.err;
    EXPECT_FALSE(one.empty());
    for (const char* jobs : {"2", "5"}) {
      EXPECT_TRUE(Made(arguments, jobs, book) == one) << jobs << " jobs of " << arguments.back();
      EXPECT_EQ(last_.exitCode, 0) << last_.err;
      EXPECT_EQ(last_.err, "");
    }
  }

  TemporaryDirectory directory_;
  Outcome last_;
};

// ---- the same bytes
// --------------------------------------------------------------------------------

TEST_F(SpreadPages, MakeTheSameFileInEveryCompression) {
  const std::string colour = Book("colour.tif");
  for (const char* packing : {"none", "lzw", "deflate", "packbits", "jpeg"}) {
    ExpectTheSameForAnyJobs({"resample", "--dpi", "400", "-o", "out.tif", "--compression", packing},
                            colour);
  }
  const std::string bilevel = Book("bilevel.tif", 1);
  for (const char* packing : {"none", "lzw", "deflate", "packbits", "g3", "g4"}) {
    ExpectTheSameForAnyJobs({"resample", "--dpi", "200", "-o", "out.tif", "--compression", packing},
                            bilevel);
  }
  ExpectTheSameForAnyJobs({"resample", "--dpi", "200", "-o", "out.tif"}, Book("palette.tif", 8));
}

TEST_F(SpreadPages, MakeTheSameNumberedFiles) {
  const std::string book = Book("book.tif");
  ExpectTheSameForAnyJobs({"resample", "--dpi", "400", "-o", "p%02d.bmp"}, book);
  ExpectTheSameForAnyJobs({"resample", "--dpi", "400", "--pages", "2,4-9,17", "-o", "p%d.tif"},
                          book);
  ExpectTheSameForAnyJobs({"quantize", "--format", "bmp", "--output-dir", "."}, book);
}

TEST_F(SpreadPages, MakeTheSameStream) {
  const std::string book = Book("book.tif");
  ExpectTheSameForAnyJobs({"resample", "--dpi", "200", "--format", "tiff", "-o", "-"}, book);
}

TEST_F(SpreadPages, OfStandardInputMakeTheSame) {
  const Bytes bytes = ReadFile(Book("book.tif"));
  for (const bool pipe : {true, false}) {
    std::vector<std::string> results;
    for (const char* jobs : kJobs) {
      Start start;
      start.arguments = {"resample", "--dpi", "200", "--jobs", jobs, "-o", "-", "-"};
      start.inputPipe = pipe;
      start.inputPath = pipe ? start.inputPath : Path("book.tif");
      Process process(start);
      if (pipe) {
        process.Feed(bytes);
        process.CloseInput();
      }
      const Outcome outcome = process.Wait();
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
      results.push_back(outcome.out);
    }
    EXPECT_FALSE(results[0].empty());
    EXPECT_TRUE(results[1] == results[0] && results[2] == results[0]);
  }
}

TEST_F(SpreadPages, OfSeveralFilesKeepToTheirFiles) {
  fs::create_directory(Path("scans"));
  for (int i = 0; i < 4; ++i) {
    Book(std::string("scans/book") + std::to_string(i) + ".tif", i % 2 == 0 ? 24 : 1, 3 + 4 * i);
    PageOf(i, 8).Save(Path(std::string("scans/leaf") + std::to_string(i) + ".bmp"));
  }
  std::map<std::string, Bytes> one;
  for (const char* jobs : kJobs) {
    const std::string out = Path(std::string("out") + jobs);
    const Outcome outcome = RunTool({"resample", "--dpi", "200", "--jobs", jobs, "--output-dir",
                                     out, "--recursive", Path("scans")});
    EXPECT_EQ(outcome.err, "dibkit: 8 files done\n");
    const auto files = FilesBelow(out);
    EXPECT_EQ(files.size(), 8U);
    one = one.empty() ? files : one;
    EXPECT_TRUE(files == one) << jobs;
  }
}

// ---- reports and failures
// --------------------------------------------------------------------------

TEST_F(SpreadPages, AreReportedInTheirOrder) {
  const std::string book = Book("book.tif");
  for (const char* jobs : kJobs) {
    for (const char* output : {"out.tif", "p%d.bmp"}) {
      fs::remove(Path("report"));
      ASSERT_EQ(RunTool({"resample", "--dpi", "200", "--jobs", jobs, "--report", Path("report"),
                         "-fo", Path(output), book})
                    .exitCode,
                0);
      const auto report = ReadReport(Path("report"));
      ASSERT_EQ(report.size(), size_t{kPages});
      for (size_t i = 0; i < report.size(); ++i) {
        EXPECT_EQ(report[i].at("page"), i + 1);
        EXPECT_EQ(report[i].at("status"), "done");
        const std::string path = report[i].at("output");
        EXPECT_EQ(report[i].value("sha256", ""), tool::Sha256OfFile(path));
      }
    }
  }
}

TEST_F(SpreadPages, ABadOneIsToldAndTheOthersAreKept) {
  constexpr int kBad = 8;
  const std::string book = BadBook("book.tif", kBad);
  for (const char* output : {"out.tif", "p%02d.bmp"}) {
    std::map<std::string, Bytes> one;
    std::string told;
    for (const char* jobs : kJobs) {
      const auto files = Made({"normalize", "--report", "report", "-o", output}, jobs, book);
      EXPECT_EQ(last_.exitCode, 1);
      EXPECT_NE(last_.err.find(book + ": page 8: "), std::string::npos) << last_.err;
      EXPECT_EQ(std::count(last_.err.begin(), last_.err.end(), '\n'), 1) << last_.err;
      told = told.empty() ? last_.err : told;
      EXPECT_EQ(last_.err, told);
      const auto report = ReadReport(Path(std::string("made-") + jobs + "/report"));
      ASSERT_EQ(report.size(), size_t{kPages});
      for (size_t i = 0; i < report.size(); ++i) {
        EXPECT_EQ(report[i].at("page"), i + 1);
        EXPECT_EQ(report[i].at("status"), i + 1 == kBad ? "failed" : "done");
      }
      auto results = files;
      results.erase("report");
      EXPECT_EQ(results.size(), output == std::string("out.tif") ? 1U : size_t{kPages} - 1);
      one = one.empty() ? results : one;
      EXPECT_TRUE(results == one) << jobs;
    }
    if (one.size() == 1) {
      EXPECT_EQ(host::Document::FromBytes(one.begin()->second).PageCount(), uint32_t{kPages - 1});
    }
  }
}

TEST_F(SpreadPages, FailFastLeavesNothing) {
  for (const int bad : {1, 2, 9, kPages}) {
    const std::string book = BadBook("book.tif", bad);
    for (const char* output : {"out.tif", "p%02d.bmp"}) {
      for (const char* jobs : kJobs) {
        const auto files =
            Made({"normalize", "--fail-fast", "--report", "report", "-o", output}, jobs, book);
        EXPECT_EQ(last_.exitCode, 1);
        EXPECT_NE(last_.err.find(std::string(": page ") + std::to_string(bad) + ": "),
                  std::string::npos);
        EXPECT_EQ(std::count(last_.err.begin(), last_.err.end(), '\n'), 1) << last_.err;
        EXPECT_EQ(files.size(), 1U) << "more than the report";
        const auto report = ReadReport(Path(std::string("made-") + jobs + "/report"));
        EXPECT_EQ(report.back().at("status"), "failed");
      }
    }
  }
}

TEST_F(SpreadPages, ThatAreThereAreSkipped) {
  const std::string book = Book("book.tif");
  const auto run = [&](const std::string& jobs) {
    return RunTool({"normalize", "--skip-existing", "--jobs", jobs, "--report", Path("report"),
                    "-o", Path("p%02d.bmp"), book});
  };
  ASSERT_EQ(run("1").exitCode, 0);
  const Bytes third = ReadFile(Path("p03.bmp"));
  fs::remove(Path("p03.bmp"));
  fs::remove(Path("p16.bmp"));
  fs::remove(Path("report"));
  ASSERT_EQ(run("5").exitCode, 0);
  EXPECT_EQ(ReadFile(Path("p03.bmp")), third);
  const auto report = ReadReport(Path("report"));
  ASSERT_EQ(report.size(), size_t{kPages});
  for (size_t i = 0; i < report.size(); ++i) {
    EXPECT_EQ(report[i].at("page"), i + 1);
    EXPECT_EQ(report[i].at("status"), i == 2 || i == 15 ? "done" : "skipped");
  }
}

// ---- memory
// ----------------------------------------------------------------------------------------

TEST_F(SpreadPages, WaitForMemoryOneByOne) {
  constexpr int kMany = 12;
  {
    host::SaveOptions options;
    options.compression = host::Compression::kNone;
    host::DocumentWriter writer(Path("book.tif"), options);
    BitmapBuilder page;
    page.bitCount = 24;
    page.width = page.height = 1000;  // 3 million bytes
    for (int i = 0; i < kMany; ++i) {
      writer.Add(host::Page::FromBytes(page.Build()));
    }
    writer.Commit();
  }
  for (const char* output : {"out.tif", "p%02d.bmp"}) {
    const auto free = Made({"normalize", "-o", output}, "5", Path("book.tif"));
    // One page and no second; one page that is packed; two.
    for (const char* memory : {"3300K", "6100K", "9M"}) {
      const auto tight =
          Made({"normalize", "--memory", memory, "-o", output}, "5", Path("book.tif"));
      EXPECT_EQ(last_.exitCode, 0) << last_.err;
      EXPECT_TRUE(tight == free) << memory;
    }
  }
  Made({"normalize", "--memory", "2M", "-o", "out.tif"}, "5", Path("book.tif"));
  EXPECT_EQ(last_.exitCode, 1);
  EXPECT_EQ(std::count(last_.err.begin(), last_.err.end(), '\n'), kMany);
}

// However long the document, and although the first page keeps all others waiting.
TEST_F(SpreadPages, TakeTheMemoryOfTheJobs) {
  if (IsSanitized()) {
    GTEST_SKIP() << "a sanitizer keeps freed memory";
  }
  const auto peak = [this](int pages) {
    host::SaveOptions options;
    options.compression = host::Compression::kNone;
    options.replace = true;
    host::DocumentWriter writer(Path("book.tif"), options);
    BitmapBuilder page;
    page.bitCount = 24;
    page.width = page.height = 4000;
    writer.Add(host::Page::FromBytes(page.Build()));
    page.width = page.height = 500;
    for (int i = 1; i < pages; ++i) {
      writer.Add(host::Page::FromBytes(page.Build()));
    }
    writer.Commit();
    Made({"resample", "--dpi", "400", "--compression", "deflate", "-o", "out.tif"}, "2",
         Path("book.tif"));
    EXPECT_EQ(last_.exitCode, 0) << last_.err;
    return last_.peakKilobytes;
  };
  EXPECT_LT(peak(80), peak(12) + 8000);
}

// ---- interruption
// ----------------------------------------------------------------------------------

// Waits until something is being written.
void WaitForFiles(const std::string& folder) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (fs::is_empty(folder) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

TEST_F(SpreadPages, StopPromptlyAndLeaveNoHalfFile) {
  constexpr auto kPromptly = std::chrono::milliseconds(100);
  const auto forTheMachine = std::chrono::milliseconds(IsSanitized() ? 900 : 200);
  {
    host::DocumentWriter writer(Path("book.tif"));
    BitmapBuilder page;
    page.width = page.height = 800;
    for (int i = 0; i < 60; ++i) {
      writer.Add(host::Page::FromBytes(page.Build()));
    }
    writer.Commit();
  }
  for (const char* output : {"out.tif", "p%02d.bmp"}) {
    for (int milliseconds = 0; milliseconds < 400; milliseconds += 80) {
      fs::remove_all(Path("out"));
      fs::create_directory(Path("out"));
      fs::remove(Path("report"));
      Start start;
      start.arguments = {"resample",      "--dpi", "1200",
                         "--jobs",        "3",     "--report",
                         Path("report"),  "-o",    Path(std::string("out/") + output),
                         Path("book.tif")};
      Process process(start);
      WaitForFiles(Path("out"));
      std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
      const auto begin = std::chrono::steady_clock::now();
      process.Signal(SIGINT);
      const Outcome outcome = process.Wait();
      EXPECT_LT(std::chrono::steady_clock::now() - begin, kPromptly + forTheMachine)
          << output << " after " << milliseconds << " ms";
      EXPECT_EQ(outcome.exitCode, 128 + SIGINT) << outcome.err;
      EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
      const auto files = FilesBelow(Path("out"));
      const auto report = ReadReport(Path("report"));
      size_t done = 0;
      for (const auto& line : report) {
        done += line.at("status") == "done" ? 1U : 0U;
      }
      EXPECT_EQ(done, files.size());
      for (const auto& [name, bytes] : files) {
        EXPECT_TRUE(name.ends_with(".bmp")) << name;
      }
      EXPECT_TRUE(report.empty() || report.back().at("status") == "interrupted");
    }
  }
}

}  // namespace
}  // namespace dibkit::test
