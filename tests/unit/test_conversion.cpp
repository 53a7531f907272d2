// SPDX-License-Identifier: Apache-2.0
//
// The conversion as a host sees it: status, result and what is left behind.
#include <algorithm>
#include <vector>

#include "Cnv_res_mem.h"
#include "reference/quantize_model.h"
#include "reference/resample_model.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

tagHANDLE* Untouched() { return reinterpret_cast<tagHANDLE*>(uintptr_t{0x10}); }

struct Outcome {
  int status;
  tagHANDLE* result;  // Untouched() when it was not written
};

Outcome Convert(tagHANDLE* source, unsigned dpi, int threshold = 128,
                int (*progress)(unsigned short) = nullptr) {
  Outcome outcome{-1, Untouched()};
  outcome.status = ConvertResolution(source, &outcome.result, progress,
                                     static_cast<unsigned short>(dpi), threshold);
  return outcome;
}

// What the whole conversion makes of an image; nothing when a widened image has no pixels left.
Bytes ModelConversion(const Dib& source, unsigned dpi, int threshold) {
  const bool palette = source.Bits() == 4 || source.Bits() == 8;
  if (palette && !ModelHasGrayTable(source)) {
    const Dib scaled = Dib::FromBytes(ModelTransform(ModelWidenColor(source), dpi, threshold));
    if (scaled.Width() == 0 || scaled.Height() == 0) return {};
    return QuantizeModel(256, 5).Quantize(scaled);
  }
  if (source.Bits() == 4) return ModelTransform(ModelWidenGray(source), dpi, threshold);
  return ModelTransform(source, dpi, threshold);
}

class Conversion : public HostTest {
 protected:
  tagHANDLE* Source(const Dib& image) {
    m_image = image.Bytes();
    m_source = image.ToHandle();
    MakeReadOnly(m_source);
    return m_source;
  }

  // The source is as it was, and nothing but it and `result` is left. Frees both.
  void Finish(tagHANDLE* result, size_t leaked = 0) {
    EXPECT_EQ(LockCount(m_source), 0u);
    EXPECT_EQ(BytesOf(m_source), m_image);
    if (result != nullptr) {
      EXPECT_EQ(LockCount(result), 0u);
    }
    EXPECT_EQ(TakeLeaked({m_source, result}), leaked);
    GlobalFree(result);
    GlobalFree(m_source);
  }

  void ExpectModel(const Dib& image, unsigned dpi, int threshold = 128) {
    SCOPED_TRACE(::testing::Message()
                 << image.Bits() << " bits, " << image.Width() << " x " << image.Height() << ", "
                 << ModelDpi(image.Get32(24)) << '/' << ModelDpi(image.Get32(28)) << " -> " << dpi
                 << ", threshold " << threshold);
    const Outcome outcome = Convert(Source(image), dpi, threshold);
    ASSERT_EQ(outcome.status, CNV_OK);
    const Bytes expected = ModelConversion(image, dpi, threshold);
    const Bytes actual = outcome.result != nullptr ? BytesOf(outcome.result) : Bytes();
    if (actual != expected) {
      EXPECT_EQ(actual.size(), expected.size());
      ASSERT_FALSE(actual.empty() || expected.empty());
      const auto at = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
      ADD_FAILURE() << "first difference at byte " << at.first - actual.begin() << ": "
                    << int{*at.first} << ", not " << int{*at.second};
    }
    Finish(outcome.result, WidensColor(image) ? 1 : 0);
  }

  static bool WidensColor(const Dib& image) {
    return (image.Bits() == 4 || image.Bits() == 8) && !ModelHasGrayTable(image);
  }

  Bytes m_image;
  tagHANDLE* m_source = nullptr;
};

enum class Look {
  kBlackFirst,
  kWhiteFirst,
  kGray1,
  kGray4,
  kGray8,
  kColor4,
  kColor8,
  kTrue,
  k16,
  k32
};

Dib RandomImage(Look look, int32_t width, int32_t height, unsigned dpiX, unsigned dpiY,
                Random& random) {
  DibShape shape{.width = width, .height = height};
  shape.xPels = PelsPerMeter(dpiX);
  shape.yPels = PelsPerMeter(dpiY);
  shape.bits = look <= Look::kGray1                            ? 1
               : look == Look::kGray4 || look == Look::kColor4 ? 4
               : look == Look::kGray8 || look == Look::kColor8 ? 8
               : look == Look::kTrue                           ? 24
               : look == Look::k16                             ? 16
                                                               : 32;
  Dib image(shape);
  switch (look) {
    case Look::kBlackFirst:
      image.SetBlackWhite(false);
      break;
    case Look::kWhiteFirst:
      image.SetBlackWhite(true);
      break;
    case Look::kGray1:
    case Look::kGray4:
    case Look::kGray8:
      image.SetRandomGrayTable(random);
      break;
    case Look::kColor4:
    case Look::kColor8:
      image.SetRandomTable(random);
      break;
    default:
      break;
  }
  image.FillRandom(random);
  return image;
}

constexpr Look kAllLooks[] = {Look::kBlackFirst, Look::kWhiteFirst, Look::kGray1,  Look::kGray4,
                              Look::kGray8,      Look::kColor4,     Look::kColor8, Look::kTrue,
                              Look::k16,         Look::k32};

TEST_F(Conversion, EveryKindAtEveryUsualPairOfResolutions) {
  constexpr unsigned kDpis[] = {72, 75, 96, 100, 150, 200, 240, 299, 300, 400, 600};
  Random random(11);
  for (const Look look : kAllLooks) {
    for (const unsigned from : kDpis) {
      for (const unsigned to : kDpis) {
        const int32_t width = 1 + static_cast<int32_t>(random.Below(24));
        const int32_t height = 1 + static_cast<int32_t>(random.Below(9));
        ExpectModel(RandomImage(look, width, height, from, from, random), to,
                    static_cast<int>(random.Below(257)));
      }
    }
  }
}

TEST_F(Conversion, UnequalAxes) {
  constexpr unsigned kDpis[] = {72, 100, 200, 204, 300, 98, 600, 1200};
  Random random(12);
  for (const Look look : kAllLooks) {
    for (const unsigned x : kDpis) {
      for (const unsigned y : kDpis) {
        ExpectModel(RandomImage(look, 13, 7, x, y, random), 200, 100);
        ExpectModel(RandomImage(look, 6, 5, x, y, random), 301, 1);
      }
    }
  }
}

TEST_F(Conversion, EveryWidthFrom1To70) {
  Random random(13);
  for (const Look look : kAllLooks) {
    for (int32_t width = 1; width <= 70; ++width) {
      ExpectModel(RandomImage(look, width, 3, 300, 300, random), 200);
      ExpectModel(RandomImage(look, width, 2, 200, 200, random), 300);
    }
  }
}

TEST_F(Conversion, EveryThreshold) {
  Random random(14);
  for (const Look look : {Look::kBlackFirst, Look::kWhiteFirst}) {
    const Dib image = RandomImage(look, 40, 12, 300, 300, random);
    for (int threshold = -2; threshold <= 258; ++threshold) {
      ExpectModel(image, 299, threshold);
      ExpectModel(image, 400, threshold);
    }
    for (const int threshold : {-2147483647 - 1, -65536, 511, 65536 + 128, 2147483647}) {
      ExpectModel(image, 200, threshold);
    }
  }
}

TEST_F(Conversion, BlocksThatBeginBehindAnInaccessiblePage) {
  PlaceBlocksAtStart(true);
  Random random(15);
  for (const Look look : kAllLooks) {
    for (const unsigned to : {100u, 299u, 300u, 450u}) {
      ExpectModel(RandomImage(look, 17, 9, 300, 300, random), to);
    }
  }
}

// Larger pictures with soft gradients: values that land on integers, cube searches, many colours.
TEST_F(Conversion, PicturesAsScansAre) {
  Random random(16);
  for (const Look look : {Look::kGray8, Look::kColor8, Look::kTrue, Look::kBlackFirst}) {
    for (const auto& [from, to] :
         {std::pair{200u, 300u}, {240u, 300u}, {300u, 200u}, {300u, 240u}}) {
      Dib image = RandomImage(look, 150, 130, from, from, random);
      if (look != Look::kColor8) image.FillSmooth(random);
      ExpectModel(image, to);
    }
  }
}

TEST_F(Conversion, A2550ColumnPageHas1699ColumnsAt200Dpi) {
  Dib image({.width = 2550, .height = 3, .bits = 1});
  image.SetBlackWhite();
  const Outcome outcome = Convert(Source(image), 200);
  ASSERT_EQ(outcome.status, CNV_OK);
  EXPECT_EQ(Dib::FromHandle(outcome.result).Width(), 1699);
  EXPECT_EQ(Dib::FromHandle(outcome.result).Height(), 1) << "3 x 0.66.. is just below 2";
  Finish(outcome.result);
}

TEST_F(Conversion, EnlargementByTwoTruncatesTheMean) {
  Dib image(
      {.width = 2, .height = 2, .bits = 8, .xPels = PelsPerMeter(100), .yPels = PelsPerMeter(100)});
  image.SetGrayRamp();
  image.SetPixel(0, 0, 10);
  image.SetPixel(1, 0, 21);
  image.SetPixel(0, 1, 10);
  image.SetPixel(1, 1, 21);
  const Outcome outcome = Convert(Source(image), 200);
  const Dib result = Dib::FromHandle(outcome.result);
  EXPECT_EQ(result.Pixel(0, 0), 10u);
  EXPECT_EQ(result.Pixel(1, 0), 15u);
  EXPECT_EQ(result.Pixel(2, 0), 21u);
  EXPECT_EQ(result.Pixel(3, 0), 21u) << "beyond the last column it is repeated";
  EXPECT_EQ(result.Pixel(3, 3), 21u);
  Finish(outcome.result);
}

TEST_F(Conversion, HeaderOfTheResult) {
  Dib image({.width = 31, .height = 21, .bits = 24, .clrUsed = 77, .clrImportant = 3});
  image.Set16(12, 9);
  image.Set32(20, 12345);
  const Outcome outcome = Convert(Source(image), 150);
  const Dib result = Dib::FromHandle(outcome.result);
  EXPECT_EQ(result.Width(), 15);
  EXPECT_EQ(result.Height(), 10);
  EXPECT_EQ(result.Get16(12), 1);
  EXPECT_EQ(result.Get32(16), 0u);
  EXPECT_EQ(result.Get32(20), 0u);
  EXPECT_EQ(result.Get32(24), 5905u);
  EXPECT_EQ(result.Get32(28), 5905u);
  EXPECT_EQ(result.Get32(32), 0u);
  EXPECT_EQ(result.Get32(36), 0u);
  Finish(outcome.result);
}

// Scale 1 --------------------------------------------------------------------

void ExpectSamePicture(const Dib& source, const Dib& result) {
  ASSERT_EQ(result.Width(), source.Width());
  ASSERT_EQ(result.Height(), source.Height());
  for (size_t y = 0; y != source.Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(source.Width()); ++x) {
      ASSERT_EQ(result.PixelColor(x, y), source.PixelColor(x, y)) << x << ", " << y;
    }
  }
}

TEST_F(Conversion, ScaleOneKeepsEveryPixelsColor) {
  Random random(17);
  for (const Look look : {Look::kGray8, Look::kTrue, Look::kGray4}) {
    for (const unsigned dpi : {72u, 96u, 200u, 300u, 600u}) {
      const Dib image =
          RandomImage(look, 1 + static_cast<int32_t>(random.Below(60)), 11, dpi, dpi, random);
      const Outcome outcome = Convert(Source(image), dpi);
      ExpectSamePicture(image, Dib::FromHandle(outcome.result));
      Finish(outcome.result);
    }
  }
}

TEST_F(Conversion, ScaleOneKeepsBlackAndWhiteAtEveryThresholdFrom1To255) {
  Random random(18);
  for (const Look look : {Look::kBlackFirst, Look::kWhiteFirst}) {
    const Dib image = RandomImage(look, 45, 6, 300, 300, random);
    for (int threshold = 1; threshold <= 255; ++threshold) {
      const Outcome outcome = Convert(Source(image), 300, threshold);
      ExpectSamePicture(image, Dib::FromHandle(outcome.result));
      Finish(outcome.result);
    }
  }
}

TEST_F(Conversion, ThresholdsBeyondTheRangeGiveAllBlackAndAllWhite) {
  Random random(19);
  const Dib image = RandomImage(Look::kBlackFirst, 20, 4, 300, 300, random);
  for (const auto& [threshold, expected] : {std::pair{0, 0u}, {-5, 0u}, {256, 1u}, {1000, 1u}}) {
    const Outcome outcome = Convert(Source(image), 200, threshold);
    const Dib result = Dib::FromHandle(outcome.result);
    for (size_t x = 0; x != static_cast<size_t>(result.Width()); ++x) {
      EXPECT_EQ(result.Pixel(x, 1), expected) << threshold;
    }
    Finish(outcome.result);
  }
}

TEST_F(Conversion, ThePolarityOfTheTableDoesNotMatter) {
  Random random(20);
  for (const unsigned to : {72u, 200u, 299u, 300u, 301u, 600u}) {
    Dib image = RandomImage(Look::kBlackFirst, 50, 9, 300, 300, random);
    Dib swapped = image;
    swapped.SetBlackWhite(true);
    for (size_t i = swapped.RowsOffset(); i != swapped.Bytes().size(); ++i) {
      swapped.Bytes()[i] = static_cast<uint8_t>(~swapped.Bytes()[i]);
    }
    const Outcome a = Convert(Source(image), to, 90);
    const Bytes first = BytesOf(a.result);
    Finish(a.result);
    const Outcome b = Convert(Source(swapped), to, 90);
    EXPECT_EQ(BytesOf(b.result), first) << to;
    Finish(b.result);
  }
}

TEST_F(Conversion, OnlyTheBlueByteOfEntryZeroDecidesThePolarity) {
  Random random(21);
  Dib image = RandomImage(Look::kBlackFirst, 50, 9, 300, 300, random);
  image.SetColor(0, {0, 0, 255});
  image.SetColor(1, {9, 9, 255});
  ExpectModel(image, 200);
  image.SetColor(0, {255, 255, 254});
  ExpectModel(image, 200);
}

// Sources that are not quite what they seem ---------------------------------

TEST_F(Conversion, AFullTableIsReadWhateverTheHeaderDeclares) {
  Random random(22);
  for (const Look look : {Look::kBlackFirst, Look::kGray4, Look::kGray8, Look::kColor8}) {
    Dib image = RandomImage(look, 21, 5, 300, 300, random);
    for (const uint32_t used : {1u, 2u, 1000u, 0xFFFFFFFFu}) {
      image.Set32(32, used);
      image.Set32(36, used);
      ExpectModel(image, 200);
    }
  }
}

TEST_F(Conversion, CompressionIsNotLookedAt) {
  Random random(23);
  Dib image = RandomImage(Look::kGray8, 21, 5, 300, 300, random);
  image.Set32(16, 1);
  ExpectModel(image, 200);
}

TEST_F(Conversion, OnlyTheLow16BitsOfWidthAndHeightCount) {
  Random random(24);
  Dib image = RandomImage(Look::kTrue, 21, 5, 300, 300, random);
  image.Set32(4, 0x30000 + 21);
  image.Set32(8, 0xFFFF0000 + 5);
  const Outcome outcome = Convert(Source(image), 300);
  ASSERT_EQ(outcome.status, CNV_OK);
  Dib plain = image;
  plain.Set32(4, 21);
  plain.Set32(8, 5);
  ExpectSamePicture(plain, Dib::FromHandle(outcome.result));
  Finish(outcome.result);
}

TEST_F(Conversion, AnEmptyResultIsAHeaderAndATable) {
  Random random(25);
  for (const Look look : {Look::kBlackFirst, Look::kGray8, Look::kTrue}) {
    const Dib image = RandomImage(look, 2, 2, 300, 300, random);
    const Outcome outcome = Convert(Source(image), 100);
    ASSERT_EQ(outcome.status, CNV_OK);
    const Bytes bytes = BytesOf(outcome.result);
    EXPECT_EQ(bytes.size(), 1078u);
    EXPECT_EQ(Dib::FromBytes(bytes).Width(), 0);
    EXPECT_EQ(Dib::FromBytes(bytes).Height(), 0);
    Finish(outcome.result);
  }
}

TEST_F(Conversion, AWidenedSourceWithAnEmptyResultHasNoImageButStatus0) {
  Random random(26);
  const Dib image = RandomImage(Look::kColor8, 2, 2, 300, 300, random);
  const Outcome outcome = Convert(Source(image), 100);
  EXPECT_EQ(outcome.status, CNV_OK);
  EXPECT_EQ(outcome.result, nullptr) << "there is no image of width 0";
  Finish(outcome.result, 1);
}

TEST_F(Conversion, ToZeroDpiGivesAnEmptyImage) {
  Random random(27);
  const Dib image = RandomImage(Look::kTrue, 5, 5, 300, 300, random);
  const Outcome outcome = Convert(Source(image), 0);
  EXPECT_EQ(outcome.status, CNV_OK);
  EXPECT_EQ(Dib::FromHandle(outcome.result).Width(), 0);
  Finish(outcome.result);
}

TEST_F(Conversion, AWidthOf0ToAHeightMakesEmptyRows) {
  Random random(28);
  const Dib image = RandomImage(Look::kGray8, 1, 5, 300, 300, random);
  const Outcome outcome = Convert(Source(image), 299);
  EXPECT_EQ(outcome.status, CNV_OK);
  EXPECT_EQ(Dib::FromHandle(outcome.result).Width(), 0);
  EXPECT_EQ(Dib::FromHandle(outcome.result).Height(), 4);
  Finish(outcome.result);
}

TEST_F(Conversion, NoHorizontalResolutionIs11) {
  Random random(29);
  for (const Look look : kAllLooks) {
    Dib image = RandomImage(look, 5, 5, 300, 300, random);
    for (const uint32_t pels : {0u, 38u, 0xFFFFFFFFu}) {
      image.Set32(24, pels);
      const Outcome outcome = Convert(Source(image), 200);
      EXPECT_EQ(outcome.status, CNV_BAD_SOURCE);
      EXPECT_EQ(outcome.result, nullptr);
      const HostCounters counters = ReadHost();
      EXPECT_GE(counters.allocCalls, 2u) << "the block is allocated first";
      Finish(nullptr, WidensColor(image) ? 1 : 0);
    }
  }
}

TEST_F(Conversion, NoVerticalResolutionAloneGivesNoRows) {
  Random random(30);
  for (const Look look : {Look::kBlackFirst, Look::kGray8, Look::kTrue}) {
    Dib image = RandomImage(look, 5, 5, 300, 300, random);
    image.Set32(28, 38);
    const Outcome outcome = Convert(Source(image), 200);
    EXPECT_EQ(outcome.status, CNV_OK);
    EXPECT_EQ(Dib::FromHandle(outcome.result).Width(), 3);
    EXPECT_EQ(Dib::FromHandle(outcome.result).Height(), 0);
    EXPECT_EQ(GlobalSize(outcome.result), 1078u);
    Finish(outcome.result);
  }
}

TEST_F(Conversion, ThirtyNinePelsPerMeterAreOneDpi) {
  Random random(31);
  Dib image = RandomImage(Look::kTrue, 5, 5, 300, 300, random);
  image.Set32(24, 39);
  image.Set32(28, 39);
  const Outcome outcome = Convert(Source(image), 3);
  EXPECT_EQ(Dib::FromHandle(outcome.result).Width(), 15);
  Finish(outcome.result);
}

// Progress -------------------------------------------------------------------

std::vector<unsigned> reported;
unsigned cancel_at;

int Record(unsigned short percent) {
  reported.push_back(percent);
  return percent != cancel_at ? 77 : 0;
}

class Progress : public Conversion {
 protected:
  void SetUp() override {
    Conversion::SetUp();
    reported.clear();
    cancel_at = 1000;
  }
};

TEST_F(Progress, ReportsEveryNewPercentageOnceAndNever100) {
  for (const int32_t height : {1, 2, 3, 7, 99, 100, 101, 250, 1000}) {
    reported.clear();
    Dib image({.width = 2, .height = height, .bits = 24});
    const Outcome outcome = Convert(Source(image), 300, 128, Record);
    EXPECT_EQ(outcome.status, CNV_OK);
    std::vector<unsigned> expected;
    for (int32_t y = 0; y != height; ++y) {
      const unsigned percent = static_cast<unsigned>(y * 100 / height);
      if (expected.empty() || expected.back() != percent) expected.push_back(percent);
    }
    EXPECT_EQ(reported, expected) << height;
    EXPECT_LE(reported.back(), 99u);
    Finish(outcome.result);
  }
}

TEST_F(Progress, IsReportedForSourcesWithoutALineMaker) {
  Dib image({.width = 2, .height = 4, .bits = 32});
  const Outcome outcome = Convert(Source(image), 300, 128, Record);
  EXPECT_EQ(reported, (std::vector<unsigned>{0, 25, 50, 75}));
  Finish(outcome.result);
}

TEST_F(Progress, NoRowsReportNothing) {
  Dib image({.width = 2, .height = 1, .bits = 24});
  const Outcome outcome = Convert(Source(image), 100, 128, Record);
  EXPECT_EQ(outcome.status, CNV_OK);
  EXPECT_TRUE(reported.empty());
  Finish(outcome.result);
}

TEST_F(Progress, CancellingGives1AndANullResult) {
  Random random(40);
  for (const Look look : kAllLooks) {
    for (const unsigned at : {0u, 30u, 90u}) {
      reported.clear();
      cancel_at = at;
      const Dib image = RandomImage(look, 6, 10, 300, 300, random);
      const Outcome outcome = Convert(Source(image), 300, 128, Record);
      EXPECT_EQ(outcome.status, CNV_CANCELLED);
      EXPECT_EQ(outcome.result, nullptr);
      ASSERT_FALSE(reported.empty());
      EXPECT_EQ(reported.back(), at) << "nothing is reported after the cancel";
      Finish(nullptr, WidensColor(image) ? 1 : 0);
    }
  }
}

// Failures -------------------------------------------------------------------

TEST_F(Conversion, ASourceThatDoesNotLockIs5AndLeavesTheSlotAlone) {
  const Outcome null = Convert(nullptr, 200);
  EXPECT_EQ(null.status, CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(null.result, Untouched());

  Random random(41);
  for (const Look look : kAllLooks) {
    const Dib image = RandomImage(look, 6, 10, 300, 300, random);
    tagHANDLE* source = Source(image);
    ArmFault(Fault::kGlobalLock, 1, FaultSpan::kFromThenOn);
    const Outcome outcome = Convert(source, 200);
    DisarmFault(Fault::kGlobalLock);
    EXPECT_EQ(outcome.status, CNV_SOURCE_UNREADABLE);
    EXPECT_EQ(outcome.result, Untouched());
    Finish(nullptr);
  }
}

// Of each kind the allocations in order: a widened copy if there is one, the result, two work
// buffers, the colour reduction's image.
TEST_F(Conversion, EveryFailedAllocationIsAnswered) {
  Random random(42);
  for (const Look look : kAllLooks) {
    const Dib image = RandomImage(look, 9, 10, 300, 300, random);
    const bool color = WidensColor(image);
    const bool widened = color || image.Bits() == 4;
    const unsigned faults = FailEach(Fault::kGlobalAlloc, [&](FaultRun& run) {
      tagHANDLE* source = Source(image);
      const Outcome outcome = run.Call([&] { return Convert(source, 200); });
      const unsigned step = run.Nth() + (widened ? 0 : 1);
      size_t leaked = 0;
      if (!run.Met()) {
        EXPECT_EQ(outcome.status, CNV_OK);
        EXPECT_EQ(BytesOf(outcome.result), ModelConversion(image, 200, 128));
        leaked = color ? 1 : 0;
      } else if (step == 1) {  // the copy
        EXPECT_EQ(outcome.status, CNV_NO_MEMORY);
        EXPECT_EQ(outcome.result, nullptr);
      } else if (step == 2) {  // the result: the copy, grey or not, stays behind
        EXPECT_EQ(outcome.status, CNV_NO_MEMORY);
        EXPECT_EQ(outcome.result, nullptr);
        leaked = widened ? 1 : 0;
      } else if (step <= 4) {  // a work buffer
        EXPECT_EQ(outcome.status, CNV_NO_MEMORY);
        EXPECT_EQ(outcome.result, nullptr);
        leaked = color ? 1 : 0;
      } else {  // the reduced image
        EXPECT_EQ(outcome.status, CNV_OK) << "the reduction does not change the status";
        EXPECT_EQ(outcome.result, nullptr);
        leaked = 1;
      }
      Finish(outcome.result, leaked);
    });
    EXPECT_EQ(faults, color ? 5u : widened ? 4u : 3u);
  }
}

// A lock that fails once. What comes of it depends on whose lock it was, but never is a block left
// locked, and never more left behind than a failure of that place leaves.
TEST_F(Conversion, EveryFailedLockIsAnswered) {
  Random random(43);
  for (const Look look : kAllLooks) {
    const Dib image = RandomImage(look, 9, 10, 300, 300, random);
    const bool color = WidensColor(image);
    const Bytes expected = ModelConversion(image, 200, 128);
    const unsigned faults = FailEach(Fault::kGlobalLock, [&](FaultRun& run) {
      tagHANDLE* source = Source(image);
      const Outcome outcome = run.Call([&] { return Convert(source, 200); });
      if (outcome.status == CNV_OK) {
        // A work buffer's lock is not needed; without the reduction's there is no result.
        if (outcome.result != nullptr) {
          EXPECT_EQ(BytesOf(outcome.result), expected);
        } else {
          EXPECT_TRUE(color && run.Met());
        }
      } else if (outcome.result == Untouched()) {
        EXPECT_EQ(outcome.status, CNV_SOURCE_UNREADABLE);
      } else {
        EXPECT_EQ(outcome.result, nullptr);
        EXPECT_TRUE(outcome.status == CNV_NO_MEMORY || outcome.status == CNV_SOURCE_UNREADABLE ||
                    outcome.status == CNV_HEADER_NOT_WRITTEN)
            << outcome.status;
      }
      tagHANDLE* result = outcome.result == Untouched() ? nullptr : outcome.result;
      const size_t leaked = TakeLeaked({source, result});
      EXPECT_LE(leaked, color || image.Bits() == 4 ? 1u : 0u);
      Finish(result);
    });
    EXPECT_GE(faults, 7u);
  }
}

struct LockCase {
  unsigned nth;
  int status;
  bool untouched;
  size_t leaked;
};

void ExpectLockCases(const Dib& image, const std::vector<LockCase>& cases) {
  for (const LockCase& c : cases) {
    tagHANDLE* source = image.ToHandle();
    ArmFault(Fault::kGlobalLock, c.nth);
    const Outcome outcome = Convert(source, 200);
    EXPECT_TRUE(DisarmFault(Fault::kGlobalLock));
    EXPECT_EQ(outcome.status, c.status) << "lock " << c.nth;
    EXPECT_EQ(outcome.result, c.untouched ? Untouched() : nullptr) << "lock " << c.nth;
    EXPECT_EQ(TakeLeaked({source}), c.leaked) << "lock " << c.nth;
    GlobalFree(source);
  }
}

TEST_F(Conversion, FailedLocksOfATrueColorConversionInOrder) {
  const Dib image({.width = 9, .height = 9, .bits = 24});
  ExpectLockCases(image, {{1, CNV_SOURCE_UNREADABLE, true, 0},      // looking for a colour palette
                          {2, CNV_SOURCE_UNREADABLE, true, 0},      // looking for 4 bits in grey
                          {3, CNV_SOURCE_UNREADABLE, true, 0},      // the size query
                          {4, CNV_SOURCE_UNREADABLE, false, 0},     // the engine's source
                          {5, CNV_HEADER_NOT_WRITTEN, false, 0}});  // the engine's destination
}

TEST_F(Conversion, FailedLocksOfAColorPaletteConversionInOrder) {
  Random random(44);
  const Dib image = RandomImage(Look::kColor8, 9, 9, 300, 300, random);
  ExpectLockCases(image, {{1, CNV_SOURCE_UNREADABLE, true, 0},    // the source
                          {2, CNV_NO_MEMORY, false, 0},           // the widened copy
                          {3, CNV_SOURCE_UNREADABLE, true, 1},    // the copy, looking for grey
                          {4, CNV_SOURCE_UNREADABLE, true, 1},    // the copy, the size query
                          {5, CNV_SOURCE_UNREADABLE, false, 1},   // the copy, the engine
                          {6, CNV_HEADER_NOT_WRITTEN, false, 1},  // the result, the engine
                          {9, CNV_OK, false, 1},                  // the result, the reduction
                          {10, CNV_OK, false, 1},                 // the reduced image, made
                          {11, CNV_OK, false, 1}});               // the reduced image, filled
}

TEST_F(Conversion, FailedLocksOfAGray4ConversionInOrder) {
  Random random(45);
  const Dib image = RandomImage(Look::kGray4, 9, 9, 300, 300, random);
  ExpectLockCases(image, {{1, CNV_SOURCE_UNREADABLE, true, 0},
                          {2, CNV_SOURCE_UNREADABLE, true, 0},
                          {3, CNV_NO_MEMORY, false, 0},          // the widened copy
                          {4, CNV_SOURCE_UNREADABLE, true, 1},   // the size query keeps the copy
                          {5, CNV_SOURCE_UNREADABLE, false, 0},  // the engine's failure frees it
                          {6, CNV_HEADER_NOT_WRITTEN, false, 0}});
}

TEST_F(Conversion, EveryFailedNewIsAnswered) {
  Random random(46);
  for (const Look look : kAllLooks) {
    const Dib image = RandomImage(look, 9, 10, 300, 300, random);
    const bool color = WidensColor(image);
    const Bytes expected = ModelConversion(image, 200, 128);
    const unsigned faults = FailEach(Fault::kNew, [&](FaultRun& run) {
      tagHANDLE* source = Source(image);
      const Outcome outcome = run.Call([&] { return Convert(source, 200); });
      if (!run.Met()) {
        EXPECT_EQ(outcome.status, CNV_OK);
        EXPECT_EQ(BytesOf(outcome.result), expected);
      } else if (run.Nth() == 1) {
        EXPECT_EQ(outcome.status, CNV_NO_MEMORY) << "the column table";
        EXPECT_EQ(outcome.result, nullptr);
      } else if (run.Nth() == 2) {
        EXPECT_EQ(outcome.status, CNV_OK) << "the octree";
        EXPECT_EQ(outcome.result, nullptr);
      } else {
        EXPECT_EQ(outcome.status, CNV_OK) << "working memory that only saves time";
        EXPECT_EQ(BytesOf(outcome.result), expected);
      }
      Finish(outcome.result, color ? 1 : 0);
    });
    EXPECT_EQ(faults, color ? 3u : 1u);
  }
}

TEST_F(Conversion, AResultBeyond32BitsIsAFailedAllocation) {
  // Ten times larger each way, 24 bits give 4.8 gigabytes. The rows themselves are never read, so a
  // block for 1 bit does.
  Dib image({.width = 4000,
             .height = 4000,
             .bits = 1,
             .xPels = PelsPerMeter(10),
             .yPels = PelsPerMeter(10)});
  image.Set16(14, 24);
  const Outcome outcome = Convert(Source(image), 100);
  EXPECT_EQ(outcome.status, CNV_NO_MEMORY);
  EXPECT_EQ(outcome.result, nullptr);
  EXPECT_EQ(ReadHost().allocCalls, 1u) << "no block of a cut size is asked for";
  Finish(nullptr);
}

TEST_F(Conversion, AWidenedRowBeyond16BitsIsAFailedAllocation) {
  Dib image({.width = 21846, .height = 1, .bits = 8});
  image.SetColor(7, {1, 2, 3});
  const Outcome outcome = Convert(Source(image), 200);
  EXPECT_EQ(outcome.status, CNV_NO_MEMORY);
  EXPECT_EQ(outcome.result, nullptr);
  Finish(nullptr);
}

TEST_F(Conversion, LocksOfTheCallerAreKept) {
  const Dib image({.width = 9, .height = 9, .bits = 24});
  tagHANDLE* source = Source(image);
  GlobalLock(source);
  GlobalLock(source);
  const Outcome outcome = Convert(source, 200);
  EXPECT_EQ(outcome.status, CNV_OK);
  EXPECT_EQ(LockCount(source), 2u);
  GlobalUnlock(source);
  GlobalUnlock(source);
  Finish(outcome.result);
}

// Size queries ---------------------------------------------------------------

class SizeQuery : public HostTest {};

TEST_F(SizeQuery, AgreesWithTheModelForEveryDepth) {
  Random random(50);
  for (const uint16_t bits : std::initializer_list<uint16_t>{0, 1, 2, 4, 8, 16, 24, 32, 30000}) {
    for (int i = 0; i != 50; ++i) {
      Dib image({.width = static_cast<int32_t>(random.Below(70000)),
                 .height = static_cast<int32_t>(random.Below(70000)),
                 .bits = bits,
                 .xPels = static_cast<int32_t>(random.Below(50000)),
                 .yPels = static_cast<int32_t>(random.Below(50000)),
                 .tableEntries = 0,
                 .rowBytes = 0});
      tagHANDLE* handle = image.ToHandle();
      const unsigned short dpi = static_cast<unsigned short>(random.Below(1200));
      unsigned long size = 1;
      EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &handle, dpi, &size), CNV_OK);
      EXPECT_EQ(size, static_cast<uint32_t>(ModelSize(image, dpi, bits)));
      size = 1;
      EXPECT_EQ(GetBufferSize(handle, dpi, &size), CNV_OK);
      EXPECT_EQ(size, static_cast<uint32_t>(ModelSize(image, dpi, bits == 4 ? 24 : bits)));
      EXPECT_EQ(LockCount(handle), 0u);
      GlobalFree(handle);
    }
  }
}

TEST_F(SizeQuery, AZeroResolutionGivesTheHeadersAlone) {
  for (const bool horizontal : {true, false}) {
    Dib image({.width = 100, .height = 100, .bits = 24});
    image.Set32(horizontal ? 24 : 28, 38);
    tagHANDLE* handle = image.ToHandle();
    unsigned long size = 1;
    EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &handle, 200, &size), CNV_OK);
    EXPECT_EQ(size, 1078u) << horizontal;
    GlobalFree(handle);
  }
}

TEST_F(SizeQuery, Failures) {
  tagHANDLE* null = nullptr;
  unsigned long size = 7;
  EXPECT_EQ(GetTransformImageMemorySize(0, &null, 200, &size), CNV_BAD_SOURCE);
  EXPECT_EQ(size, 0u);
  size = 7;
  EXPECT_EQ(GetTransformImageMemorySize(0x30, &null, 200, &size), CNV_BAD_SOURCE);
  EXPECT_EQ(size, 0u);
  size = 7;
  EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &null, 200, &size),
            CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(size, 0u);
  size = 7;
  EXPECT_EQ(GetBufferSize(nullptr, 200, &size), CNV_NO_SOURCE);
  EXPECT_EQ(size, 7u);

  tagHANDLE* handle = Dib(DibShape{}).ToHandle();
  ArmFault(Fault::kGlobalLock, 1, FaultSpan::kFromThenOn);
  size = 7;
  EXPECT_EQ(GetBufferSize(handle, 200, &size), CNV_NO_SOURCE);
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &handle, 200, &size),
            CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(size, 0u);
  DisarmFault(Fault::kGlobalLock);
  GlobalFree(handle);
}

TEST_F(SizeQuery, ResolutionsAreReadWithOneAdded) {
  const struct {
    uint32_t pels;
    unsigned dpi;
  } rows[] = {{11811, 300}, {3937, 100}, {7874, 200}, {23622, 600}, {2834, 72},     {38, 0},
              {39, 1},      {78, 2},     {77, 1},     {0, 0},       {0xFFFFFFFF, 0}};
  for (const auto& row : rows) {
    Dib image({.width = 60000, .height = 1, .bits = 8, .tableEntries = 0, .rowBytes = 0});
    image.Set32(24, row.pels);
    tagHANDLE* handle = image.ToHandle();
    unsigned long size = 0;
    EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &handle, 300, &size), CNV_OK);
    EXPECT_EQ(size, 1078u + StrideOf(8, ModelLength(60000, row.dpi, 300))) << row.pels;
    GlobalFree(handle);
  }
}

TEST_F(SizeQuery, LengthsAreKeptIn16Bits) {
  Dib image({.width = 65535,
             .height = 1,
             .bits = 8,
             .xPels = PelsPerMeter(100),
             .tableEntries = 0,
             .rowBytes = 0});
  tagHANDLE* handle = image.ToHandle();
  unsigned long size = 0;
  EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &handle, 300, &size), CNV_OK);
  EXPECT_EQ(size, 1078u + StrideOf(8, (65535u * 3) & 0xFFFF));
  GlobalFree(handle);
}

}  // namespace
}  // namespace dibtest
