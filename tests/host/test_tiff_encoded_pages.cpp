// SPDX-License-Identifier: Apache-2.0
//
// Pages that were packed apart go into a TIFF file as if they had been packed there.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <sstream>
#include <thread>

#include "dibkit/host/byte_sink.h"
#include "dibkit/host/encoded_page.h"
#include "dibkit/host/locked_block.h"
#include "formats/tiff.h"
#include "image_pages.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::OpenBytes;
using test::SmoothDib;
using test::SomeDib;

struct SomePage {
  OwnedBlock dib;
  PageMetadata metadata;
  PageOptions options;
};

std::vector<unsigned char> Profile(const char* space, size_t bytes) {
  std::vector<unsigned char> profile(bytes, 7);
  std::copy_n(space, 4, profile.begin() + 16);
  return profile;
}

PageMetadata MetadataOfPage(size_t number) {
  constexpr ResolutionUnit kUnits[] = {ResolutionUnit::kInch, ResolutionUnit::kCentimetre,
                                       ResolutionUnit::kMetre, ResolutionUnit::kNone};
  PageMetadata metadata;
  if (number % 5 != 0) {
    const auto n = static_cast<uint32_t>(number);
    metadata.resolution = {kUnits[number % 4], {1000 + n, 7}, {n, 1}};
  }
  if (number % 3 == 0) {
    metadata.iccProfile = Profile(number % 2 == 0 ? "RGB " : "GRAY", 131 + number % 2);
  }
  if (number % 2 == 0) {
    metadata.texts = {{TextKind::kDocumentName, std::string(number % 7, 'n')},
                      {TextKind::kPageName, "page " + std::to_string(number)},
                      {TextKind::kCopyright, " "}};
  }
  return metadata;
}

// Every depth in every packing that it can have, strips of odd lengths and several of them.
std::vector<SomePage> AllKinds(uint32_t mostRows = 997) {
  std::vector<SomePage> pages;
  for (const uint16_t bits : {uint16_t{1}, uint16_t{4}, uint16_t{8}, uint16_t{24}, uint16_t{32}}) {
    for (const bool grey : {false, true}) {
      for (int packing = 0; packing < 7; ++packing) {
        const auto compression = static_cast<Compression>(packing);
        if (Holds(ImageFormat::kTiff, compression, bits, grey)) {
          const auto width = static_cast<uint32_t>(211 + 10 * packing);
          const uint32_t height = grey ? mostRows : 3;
          pages.push_back({SomeDib(width, height, bits, grey),
                           MetadataOfPage(pages.size()),
                           {compression, 60 + packing}});
        }
      }
    }
  }
  return pages;
}

void AddPage(ImageWriter& writer, const SomePage& page) {
  const LockedBlock lock(page.dib.get());
  writer.Add(DibView(lock.Bytes()), page.metadata, page.options);
}

EncodedPage Encoded(const SomePage& page, ImageFormat format = ImageFormat::kTiff) {
  const LockedBlock lock(page.dib.get());
  return EncodePage(format, DibView(lock.Bytes()), page.metadata, page.options);
}

enum class Apart { kNone, kAll, kEverySecond, kEveryOtherSecond };

Bytes FileOf(const std::vector<SomePage>& pages, Apart apart,
             uint64_t mostClassicBytes = kMostClassicBytes) {
  MemorySink sink;
  const auto writer = MakeTiff(sink, mostClassicBytes);
  for (size_t i = 0; i < pages.size(); ++i) {
    const bool isApart = apart == Apart::kAll || (apart == Apart::kEverySecond && i % 2 == 1) ||
                         (apart == Apart::kEveryOtherSecond && i % 2 == 0);
    if (isApart) {
      writer->Append(Encoded(pages[i]));
    } else {
      AddPage(*writer, pages[i]);
    }
  }
  writer->Finish();
  return sink.TakeBytes();
}

TEST(TiffEncodedPages, GiveTheBytesThatAddGives) {
  const std::vector<SomePage> pages = AllKinds();
  ASSERT_GT(pages.size(), 30U);
  for (const SomePage& page : pages) {
    std::vector<SomePage> one;
    one.push_back({SomeDib(1, 1, 1), {}, {Compression::kG4, 90}});
    const LockedBlock lock(page.dib.get());
    const DibView dib(lock.Bytes());
    MemorySink added;
    MemorySink appended;
    const auto add = MakeTiff(added);
    const auto append = MakeTiff(appended);
    AddPage(*add, one[0]);
    AddPage(*append, one[0]);
    add->Add(dib, page.metadata, page.options);
    append->Append(EncodePage(ImageFormat::kTiff, dib, page.metadata, page.options));
    add->Finish();
    append->Finish();
    EXPECT_TRUE(appended.Bytes() == added.Bytes())
        << dib.BitCount() << " bits, " << CompressionName(page.options.compression);
  }
}

TEST(TiffEncodedPages, MayBeMixedWithOthersInAnyWay) {
  const std::vector<SomePage> pages = AllKinds();
  const Bytes added = FileOf(pages, Apart::kNone);
  EXPECT_TRUE(FileOf(pages, Apart::kAll) == added);
  EXPECT_TRUE(FileOf(pages, Apart::kEverySecond) == added);
  EXPECT_TRUE(FileOf(pages, Apart::kEveryOtherSecond) == added);
  EXPECT_EQ(OpenBytes(added)->PageCount(), pages.size());
}

TEST(TiffEncodedPages, MakeABigFileAtTheSamePage) {
  const std::vector<SomePage> pages = AllKinds(150);
  const uint64_t size = FileOf(pages, Apart::kNone).size();
  for (uint64_t limit = 0; limit < size; limit += size / 9 + 1) {
    const Bytes added = FileOf(pages, Apart::kNone, limit);
    EXPECT_EQ(added[2], 43) << limit;
    EXPECT_TRUE(FileOf(pages, Apart::kAll, limit) == added) << limit;
    EXPECT_TRUE(FileOf(pages, Apart::kEverySecond, limit) == added) << limit;
  }
}

// Only the one that is too large at its place makes the file a big one.
TEST(TiffEncodedPages, CountTheirRoomAsOthersDo) {
  for (const SomePage& page : AllKinds(5)) {
    std::vector<SomePage> twice;
    for (int i = 0; i < 2; ++i) {
      const LockedBlock lock(page.dib.get());
      const DibView dib(lock.Bytes());
      twice.push_back({SomeDib(dib.Width(), dib.Height(), dib.BitCount(), dib.HasGreyTable()),
                       page.metadata, page.options});
    }
    uint64_t least = 0;                 // becomes a big file
    uint64_t most = uint64_t{1} << 30;  // stays a classic one
    while (most - least > 1) {
      const uint64_t limit = (least + most) / 2;
      (FileOf(twice, Apart::kNone, limit)[2] == 43 ? least : most) = limit;
    }
    EXPECT_EQ(FileOf(twice, Apart::kAll, least)[2], 43);
    EXPECT_EQ(FileOf(twice, Apart::kAll, most)[2], 42);
  }
}

TEST(TiffEncodedPages, GoIntoAStream) {
  const std::vector<SomePage> pages = AllKinds();
  std::ostringstream stream;
  StreamSink sink(stream);
  const auto writer = MakeTiff(sink);
  for (const SomePage& page : pages) {
    writer->Append(Encoded(page));
  }
  writer->Finish();
  const std::string text = stream.str();
  EXPECT_TRUE(Bytes(text.begin(), text.end()) == FileOf(pages, Apart::kNone));
}

TEST(TiffEncodedPages, AreFilesOfTheirOwn) {
  const SomePage page{SmoothDib(50, 40, 24), {}, {Compression::kDeflate, 90}};
  const EncodedPage encoded = Encoded(page);
  EXPECT_EQ(encoded.Format(), ImageFormat::kTiff);
  const Bytes file(encoded.Bytes().begin(), encoded.Bytes().end());
  EXPECT_EQ(test::Colours(test::ReadPage(file).dib), test::Colours(page.dib));
}

TEST(TiffEncodedPages, ArePackedByManyThreadsAtOnce) {
  const std::vector<SomePage> pages = AllKinds();
  std::vector<std::optional<EncodedPage>> encoded(pages.size());
  std::atomic<size_t> next{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (size_t page = 0; (page = next++) < pages.size();) {
        encoded[page] = Encoded(pages[page]);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  MemorySink sink;
  const auto writer = MakeTiff(sink);
  for (const auto& page : encoded) {
    writer->Append(*page);
  }
  writer->Finish();
  EXPECT_TRUE(sink.Bytes() == FileOf(pages, Apart::kNone));
}

TEST(TiffEncodedPages, OfOtherFormatsAreRefused) {
  const SomePage page{SomeDib(5, 5, 24), {}, {Compression::kNone, 90}};
  MemorySink sink;
  const auto tiff = MakeTiff(sink);
  EXPECT_THROW(tiff->Append(Encoded(page, ImageFormat::kBmp)), ImageError);
  MemorySink other;
  const auto bmp = MakeWriter(ImageFormat::kBmp, other);
  EXPECT_THROW(bmp->Append(Encoded(page)), ImageError);
  bmp->Append(Encoded(page, ImageFormat::kBmp));
  EXPECT_EQ(other.Bytes(), test::WritePage(ImageFormat::kBmp, page.dib));
  EXPECT_THROW(bmp->Append(Encoded(page, ImageFormat::kBmp)), ImageError);
}

TEST(TiffEncodedPages, ArePackedNoFurtherWhenCancelled) {
  const SomePage page{SomeDib(2000, 2000, 24), {}, {Compression::kDeflate, 90}};
  const LockedBlock lock(page.dib.get());
  int asked = 0;
  const CancelHook cancelled = [&asked] { return ++asked > 3; };
  EXPECT_THROW(EncodePage(ImageFormat::kTiff, DibView(lock.Bytes()), {}, page.options, cancelled),
               Cancelled);
  EXPECT_EQ(asked, 4);
}

}  // namespace
}  // namespace dibkit::host
