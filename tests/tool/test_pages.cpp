// SPDX-License-Identifier: Apache-2.0
//
// Files of several pages, and files of several formats.
#include <gtest/gtest.h>

#include <filesystem>

#include "batch/report/sha256.h"
#include "dibkit/host/document.h"
#include "page_folder.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using Names = std::vector<std::string>;

uint32_t Number(const Bytes& bytes, size_t at, size_t length) {
  uint32_t value = 0;
  for (size_t i = length; i > 0; --i) {
    value = value << 8 | bytes.at(at + i - 1);
  }
  return value;
}

class Pages : public testing::Test {
 protected:
  void SetUp() override {
    if (!host::IsBuiltIn(host::ImageFormat::kTiff)) {
      GTEST_SKIP() << "TIFF is not built in: no files of several pages";
    }
  }

  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // Page `number`, from 1, of all books: each has another size.
  static host::Page PageOf(int number) {
    BitmapBuilder page;
    page.bitCount = 24;
    page.width = 30 * number;
    page.height = 60;
    return host::Page::FromBytes(page.Build());
  }

  std::string Book(const std::string& name, int pages) const {
    host::SaveOptions options;
    options.compression = host::Compression::kNone;
    host::DocumentWriter writer(Path(name), options);
    for (int number = 1; number <= pages; ++number) {
      writer.Add(PageOf(number));
    }
    writer.Commit();
    return Path(name);
  }

  // Where a tag of a page stands, as an uncompressed book has it: 2 bytes tag, 2 type, 4 count, 4
  // value. 0: nowhere.
  static size_t EntryOf(const Bytes& bytes, int page, uint32_t tag) {
    EXPECT_EQ(bytes.at(0), 'I');
    size_t directory = Number(bytes, 4, 4);
    for (int number = 1; number < page; ++number) {
      directory = Number(bytes, directory + 2 + 12 * Number(bytes, directory, 2), 4);
    }
    for (uint32_t i = 0; i < Number(bytes, directory, 2); ++i) {
      const size_t entry = directory + 2 + 12 * i;
      if (Number(bytes, entry, 2) == tag) {
        return entry;
      }
    }
    return 0;
  }

  // The same with another value in a tag of a page.
  std::string ChangedBook(const std::string& name, int pages, int changed, uint32_t tag,
                          uint32_t value) const {
    Bytes bytes = ReadFile(Book(name, pages));
    const size_t entry = EntryOf(bytes, changed, tag);
    EXPECT_NE(entry, 0U);
    for (size_t at = 0; at < 4; ++at) {
      bytes.at(entry + 8 + at) = static_cast<unsigned char>(value >> 8 * at);
    }
    return directory_.Write(name, bytes);
  }

  // One with a page whose pixels are nowhere.
  std::string BadBook(const std::string& name, int pages, int bad) const {
    constexpr uint32_t kStripOffsets = 273;
    return ChangedBook(name, pages, bad, kStripOffsets, 0x7F7F7F7F);
  }

  static uint32_t WidthOf(const std::string& path, uint32_t page = 0) {
    return host::Document::Open(path).Describe(page).width;
  }
  static uint32_t PagesIn(const std::string& path) {
    return host::Document::Open(path).PageCount();
  }

  TemporaryDirectory directory_;
};

// Of both limits the one that no machine can change is told.
TEST_F(Pages, AreRefusedForTheirPixelsBeforeTheirMemoryIsCounted) {
  Arguments call{"to24", "--max-pixels", "1000",          "--memory",
                 "100",  "-o",           Path("out.tif"), Book("book.tif", 1)};
  for (int round = 0; round < 2; ++round) {
    const Outcome outcome = RunTool(call);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("30 x 60 pixels, more than the 1000 that are allowed"),
              std::string::npos)
        << outcome.err;
    call.emplace_back("--dry-run");
  }
}

TEST_F(Pages, OfAFileGoIntoAFile) {
  const std::string book = Book("book.tif", 4);
  const Outcome outcome = RunTool({"resample", "--dpi", "600", "-o", Path("out.tif"), book});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  host::Document result = host::Document::Open(Path("out.tif"));
  ASSERT_EQ(result.PageCount(), 4U);
  for (uint32_t page = 0; page < 4; ++page) {
    EXPECT_EQ(result.Describe(page).width, 60 * (page + 1));
    EXPECT_EQ(result.Read(page).DpiX(), 600U);
    // Not in another compression than the input.
    EXPECT_EQ(result.Describe(page).compression, host::Compression::kNone);
  }
}

TEST_F(Pages, ArePicked) {
  const std::string book = Book("book.tif", 5);
  ASSERT_EQ(RunTool({"normalize", "--pages", "4-5,1,4", "-o", Path("out.tif"), book}).exitCode, 0);
  ASSERT_EQ(PagesIn(Path("out.tif")), 3U);
  EXPECT_EQ(WidthOf(Path("out.tif"), 0), 30U);
  EXPECT_EQ(WidthOf(Path("out.tif"), 1), 120U);
  EXPECT_EQ(WidthOf(Path("out.tif"), 2), 150U);
  ASSERT_EQ(RunTool({"normalize", "--pages", "3", "-o", Path("out.bmp"), book}).exitCode, 0);
  EXPECT_EQ(WidthOf(Path("out.bmp")), 90U);
  const Outcome outcome = RunTool({"normalize", "--pages", "2,6-7", "-fo", Path("out.tif"), book});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + book + ": there is no page 6, the file has 5 pages\n");
}

TEST_F(Pages, GetNumberedFilesWhereThePatternSaysSo) {
  const std::string book = Book("book.tif", 3);
  ASSERT_EQ(RunTool({"normalize", "-o", Path("p-%03d.bmp"), book}).exitCode, 0);
  EXPECT_EQ(directory_.Names(), (Names{"book.tif", "p-001.bmp", "p-002.bmp", "p-003.bmp"}));
  EXPECT_EQ(WidthOf(Path("p-002.bmp")), 60U);
}

TEST_F(Pages, GetNumberedFilesInAFolderWhereTheFormatHoldsOne) {
  const Outcome outcome =
      RunTool({"normalize", "--format", "bmp", "--output-dir", Path("out"), Book("book.tif", 3),
               Book("leaf.tif", 1), "--report", Path("report")});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  const auto files = FilesBelow(Path("out"));
  EXPECT_EQ(files.size(), 4U);
  for (const char* name : {"book-001.bmp", "book-002.bmp", "book-003.bmp", "leaf.bmp"}) {
    EXPECT_TRUE(files.contains(name)) << name;
  }
  const auto report = ReadReport(Path("report"));
  ASSERT_EQ(report.size(), 4U);
  for (const auto& line : report) {
    const std::string output = line.at("output");
    EXPECT_EQ(line.value("sha256", ""), tool::Sha256OfFile(output));
  }
}

TEST_F(Pages, AreNotPressedIntoAFileThatHoldsOne) {
  const std::string book = Book("book.tif", 3);
  const Outcome outcome = RunTool({"normalize", "-o", Path("out.bmp"), book});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.err.find("%03d"), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("--pages"), std::string::npos) << outcome.err;
  Start piped;
  piped.arguments = {"normalize", "--format", "bmp", "-o", "-", "-"};
  piped.inputPipe = true;
  Process process(piped);
  process.Feed(ReadFile(book));
  process.CloseInput();
  const Outcome refused = process.Wait();
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("%03d"), std::string::npos) << refused.err;
  EXPECT_EQ(directory_.Names(), Names{"book.tif"});
}

TEST_F(Pages, ComeAndGoByPipes) {
  Start start;
  start.arguments = {"normalize", "-o", "-", "-"};
  start.inputPipe = true;
  Process process(start);
  process.Feed(ReadFile(Book("book.tif", 3)));
  process.CloseInput();
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(PagesIn(directory_.Write("out.tif", Bytes(outcome.out.begin(), outcome.out.end()))),
            3U);
}

TEST_F(Pages, ABadOneIsToldAndTheOthersAreKept) {
  const std::string book = BadBook("book.tif", 4, 2);
  const Outcome outcome =
      RunTool({"normalize", "-q", "-o", Path("out.tif"), "--report", Path("report"), book});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err.substr(0, outcome.err.find(": ", 9) + 10),
            "dibkit: " + book + ": page 2: ");
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  ASSERT_EQ(PagesIn(Path("out.tif")), 3U);
  EXPECT_EQ(WidthOf(Path("out.tif"), 1), 90U);
  const auto report = ReadReport(Path("report"));
  ASSERT_EQ(report.size(), 4U);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(report[i].at("page"), i + 1);
    EXPECT_EQ(report[i].at("pages"), 4);
    EXPECT_EQ(report[i].at("status"), i == 1 ? "failed" : "done");
  }
  const Outcome numbered = RunTool({"normalize", "-q", "-o", Path("p%d.bmp"), book});
  EXPECT_EQ(numbered.exitCode, 1);
  EXPECT_TRUE(fs::exists(Path("p1.bmp")) && !fs::exists(Path("p2.bmp")) &&
              fs::exists(Path("p3.bmp")) && fs::exists(Path("p4.bmp")));
}

TEST_F(Pages, FailFastLeavesNothingOfTheFile) {
  const std::string book = BadBook("book.tif", 4, 3);
  const std::string good = Book("a.tif", 2);
  for (const Arguments& where :
       {Arguments{"-o", Path("out.tif"), book}, Arguments{"-o", Path("p%d.bmp"), book},
        Arguments{"--format", "bmp", "--output-dir", Path("out"), book}}) {
    Arguments arguments{"normalize", "-q", "--fail-fast", "--report", Path("report")};
    arguments.insert(arguments.end(), where.begin(), where.end());
    fs::remove(Path("report"));
    EXPECT_EQ(RunTool(arguments).exitCode, 1);
    fs::remove(Path("out"));  // an empty folder
    EXPECT_EQ(directory_.Names(), (Names{"a.tif", "book.tif", "report"}));
    EXPECT_EQ(RunTool({"report", Path("report")}).exitCode, 1);
  }
  EXPECT_EQ(RunTool({"normalize", "-q", "--fail-fast", "--jobs", "1", "--format", "bmp",
                     "--output-dir", Path("out"), good, book})
                .exitCode,
            1);
  EXPECT_EQ(FilesBelow(Path("out")).size(), 2U);
}

TEST_F(Pages, ThatAreTooLargeAreToldLikeBadOnes) {
  const std::string book = Book("book.tif", 3);
  const Outcome outcome = RunTool({"resample", "--dpi", "300", "--max-pixels", "3600", "--memory",
                                   "1M", "-o", Path("out.tif"), book});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + book +
                             ": page 3: the image has 90 x 60 pixels, more than the 3600 that are "
                             "allowed; --max-pixels N allows more\n");
  EXPECT_EQ(PagesIn(Path("out.tif")), 2U);
}

TEST_F(Pages, ThatAllFailLeaveNoFile) {
  const std::string book = BadBook("book.tif", 1, 1);
  const Outcome outcome = RunTool({"normalize", "-q", "-o", Path("out.tif"), book});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err.find("page 1"), std::string::npos) << outcome.err;
  EXPECT_EQ(directory_.Names(), Names{"book.tif"});
}

TEST_F(Pages, ThatAreThereAreSkippedOneByOne) {
  const std::string book = Book("book.tif", 4);
  const Arguments arguments{"normalize", "--skip-existing", "--report", Path("report"),
                            "-o",        Path("p%d.bmp"),   book};
  ASSERT_EQ(RunTool(arguments).exitCode, 0);
  const Bytes third = ReadFile(Path("p3.bmp"));
  fs::remove(Path("p3.bmp"));
  directory_.Write("p1.bmp", Bytes{1, 2, 3});
  ASSERT_EQ(RunTool(arguments).exitCode, 0);
  EXPECT_EQ(ReadFile(Path("p3.bmp")), third);
  EXPECT_EQ(ReadFile(Path("p1.bmp")), (Bytes{1, 2, 3}));
  const auto report = ReadReport(Path("report"));
  ASSERT_EQ(report.size(), 8U);
  EXPECT_EQ(report[4].at("status"), "skipped");
  EXPECT_EQ(report[6].at("status"), "done");
}

TEST_F(Pages, TakeTheMemoryOfOne) {
  if (IsSanitized()) {
    GTEST_SKIP() << "a sanitizer keeps freed memory";
  }
  const auto peak = [this](int pages, const std::string& jobs) {
    {
      host::DocumentWriter writer(Path("book.tif"), {.replace = true});
      BitmapBuilder page;
      page.bitCount = 24;
      page.width = page.height = 1000;
      for (int i = 0; i < pages; ++i) {
        writer.Add(host::Page::FromBytes(page.Build()));
      }
      writer.Commit();
    }
    const Outcome outcome = RunTool(
        {"resample", "--dpi", "400", "--jobs", jobs, "-fo", Path("out.tif"), Path("book.tif")});
    EXPECT_EQ(outcome.exitCode, 0);
    return outcome.peakKilobytes;
  };
  EXPECT_LT(peak(12, "1"), peak(2, "1") + 4000);
  // Pages that are packed may wait for their turn, a few of them.
  EXPECT_LT(peak(30, "2"), peak(10, "2") + 8000);
}

TEST_F(Pages, WarningsOfCodecsAreToldWithTheName) {
  constexpr uint32_t kPhotometric = 262;
  constexpr uint32_t kOutOfOrder = 65000;
  Bytes bytes = ReadFile(Book("book.tif", 1));
  const size_t before = EntryOf(bytes, 1, kPhotometric) - 12;
  bytes.at(before) = kOutOfOrder & 255;
  bytes.at(before + 1) = kOutOfOrder >> 8;
  const std::string odd = directory_.Write("odd.tif", bytes);
  const Arguments arguments{"normalize", "-fo", Path("out.bmp"), odd};
  const Outcome outcome = RunTool(arguments);
  EXPECT_EQ(outcome.err.substr(0, 10 + odd.size() + 9), "dibkit: " + odd + ": warning: ")
      << outcome.err;
  EXPECT_LE(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 3);
  Arguments quiet = arguments;
  quiet.insert(quiet.begin(), "-q");
  EXPECT_EQ(RunTool(quiet).err.find("warning"), std::string::npos);
}

TEST_F(Pages, InfoTellsOfEach) {
  const std::string book = Book("book.tif", 3);
  const Outcome text = RunTool({"info", book});
  EXPECT_EQ(text.exitCode, 0);
  EXPECT_NE(text.out.find(book + ", page 2 of 3\n  format: TIFF\n  pages: 3\n  size: 60 x 60\n"),
            std::string::npos)
      << text.out;
  EXPECT_NE(text.out.find("  resolution: 300 x 300 dpi (300 x 300 per inch)\n"), std::string::npos)
      << text.out;
  const Outcome json = RunTool({"info", "--json", book});
  EXPECT_EQ(std::count(json.out.begin(), json.out.end(), '\n'), 3);
  EXPECT_NE(json.out.find(R"("format":"TIFF","page":3,"pages":3,"width":90,"height":60)"),
            std::string::npos)
      << json.out;
}

TEST_F(Pages, InfoTellsOfKindsThatAreNotReadAndOfBadOnes) {
  constexpr uint32_t kPhotometric = 262;
  const std::string book = ChangedBook("book.tif", 3, 2, kPhotometric, 32803);
  const Outcome outcome = RunTool({"info", book});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_NE(outcome.out.find(", page 2 of 3\n  format: TIFF\n  pages: 3\n  resample: no, "),
            std::string::npos)
      << outcome.out;
  EXPECT_NE(outcome.out.find(", page 3 of 3\n"), std::string::npos);
  const Outcome made = RunTool({"normalize", "-o", Path("out.tif"), book});
  EXPECT_EQ(made.exitCode, 1);
  EXPECT_EQ(PagesIn(Path("out.tif")), 2U);
  const std::string cut = directory_.Write("cut.tif", Bytes{'I', 'I', '*', 0, 8, 0, 0, 0, 0, 0});
  const Outcome bad = RunTool({"info", "--json", cut});
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_NE(bad.out.find("\"error\":"), std::string::npos) << bad.out;
}

TEST_F(Pages, ADryRunTellsOfAll) {
  const std::string book = Book("book.tif", 3);
  const Outcome one = RunTool({"to24", "--dry-run", "-o", Path("out.tif"), book});
  EXPECT_NE(one.out.find(book + " -> " + Path("out.tif") + ": 3 pages, up to 90 x 60 pixels, "),
            std::string::npos)
      << one.out;
  const Outcome each = RunTool({"to24", "--dry-run", "-o", Path("p%d.bmp"), book});
  EXPECT_NE(each.out.find(Path("p1.bmp") + " to " + Path("p3.bmp") + ": 3 pages, "),
            std::string::npos)
      << each.out;
}

// ---- formats
// -------------------------------------------------------------------------------------

// The same picture in all of them, and back.
TEST_F(Pages, GoFromEachFormatIntoEach) {
  const std::string in = directory_.Write("in.bmp", [] {
    BitmapBuilder page;
    page.width = page.height = 40;
    return page.Build();
  }());
  for (const host::ImageFormat from : host::BuiltInFormats()) {
    const std::string name = Path(std::string("from") + host::UsualSuffix(from));
    ASSERT_EQ(RunTool({"normalize", "-fo", name, in}).exitCode, 0) << host::FormatName(from);
    for (const host::ImageFormat to : host::BuiltInFormats()) {
      const std::string result = Path(std::string("to") + host::UsualSuffix(to));
      const Outcome outcome = RunTool({"resample", "--dpi", "600", "-fo", result, name});
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
      host::Document document = host::Document::Open(result);
      EXPECT_EQ(document.Format(), to);
      const host::Page page = document.Read(0);
      EXPECT_EQ(page.Width(), 80U);
      EXPECT_EQ(page.BitCount(), 8U);
      EXPECT_EQ(page.DpiX(), 600U);
    }
  }
}

TEST_F(Pages, OfMixedFoldersBecomeOneFormat) {
  fs::create_directory(Path("scans"));
  for (const host::ImageFormat format : host::BuiltInFormats()) {
    PageOf(1).Save(
        Path(std::string("scans/page-") + host::FormatName(format) + host::UsualSuffix(format)));
  }
  ASSERT_EQ(RunTool({"normalize", "-q", "--format", "tiff", "--compression", "lzw", "--output-dir",
                     Path("out"), "--recursive", Path("scans")})
                .exitCode,
            0);
  const auto files = FilesBelow(Path("out"));
  EXPECT_EQ(files.size(), host::BuiltInFormats().size());
  for (const auto& [name, bytes] : files) {
    EXPECT_TRUE(name.ends_with(".tif")) << name;
    EXPECT_EQ(host::Document::Open(Path("out/" + name)).Describe(0).compression,
              host::Compression::kLzw);
  }
}

TEST_F(Pages, ThatACompressionCannotHoldFail) {
  const std::string book = Book("book.tif", 2);
  const Outcome outcome =
      RunTool({"normalize", "--compression", "g4", "-o", Path("out.tif"), book});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.err.find("page 1: TIFF files cannot hold 24-bit images with G4 compression"),
            std::string::npos)
      << outcome.err;
  EXPECT_EQ(directory_.Names(), Names{"book.tif"});
}

}  // namespace
}  // namespace dibkit::test
