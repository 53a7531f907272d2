// SPDX-License-Identifier: Apache-2.0
#include "Cnv_res_mem.h"
#include "reference/resample_model.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Entry = int (*)(tagHANDLE*, tagHANDLE**);

class Preconversion : public HostTest {
 protected:
  // Calls the entry on a read-only block; the slot starts out as something else than null.
  static int Call(Entry entry, const Dib& image, tagHANDLE*& out) {
    tagHANDLE* source = image.ToHandle();
    MakeReadOnly(source);
    out = source;
    const int result = entry(source, &out);
    EXPECT_EQ(LockCount(source), 0u);
    EXPECT_EQ(BytesOf(source), image.Bytes());
    GlobalFree(source);
    return result;
  }

  static void ExpectNothing(Entry entry, const Dib& image) {
    const size_t allocations = ReadHost().allocCalls;
    tagHANDLE* out = nullptr;
    EXPECT_EQ(Call(entry, image, out), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(ReadHost().allocCalls, allocations + 1) << "only the source was allocated";
  }

  static void ExpectImage(Entry entry, const Dib& image, const Dib& expected) {
    tagHANDLE* out = nullptr;
    ASSERT_EQ(Call(entry, image, out), 1);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(LockCount(out), 0u);
    EXPECT_EQ(BytesOf(out), expected.Bytes());
    GlobalFree(out);
  }
};

Dib PaletteImage(uint16_t bits, bool color, int32_t width, int32_t height, Random& random) {
  Dib image({.width = width, .height = height, .bits = bits});
  if (color) {
    image.SetRandomTable(random);
  } else {
    image.SetRandomGrayTable(random);
  }
  for (size_t i = 0; i != size_t{1} << bits; ++i) image.Bytes()[43 + 4 * i] = random.Byte();
  image.FillRandom(random);
  return image;
}

TEST_F(Preconversion, WhichEntryActsOnWhichSource) {
  Random random(1);
  for (const bool color : {false, true}) {
    const Dib bilevel = PaletteImage(1, color, 9, 3, random);
    ExpectNothing(ConvertImage, bilevel);
    ExpectNothing(ConvertImage2, bilevel);
    const Dib four = PaletteImage(4, color, 9, 3, random);
    if (color) {
      ExpectImage(ConvertImage, four, ModelWidenColor(four));
      ExpectNothing(ConvertImage2, four);
    } else {
      ExpectNothing(ConvertImage, four);
      ExpectImage(ConvertImage2, four, ModelWidenGray(four));
    }
    const Dib eight = PaletteImage(8, color, 9, 3, random);
    if (color) {
      ExpectImage(ConvertImage, eight, ModelWidenColor(eight));
    } else {
      ExpectNothing(ConvertImage, eight);
    }
    ExpectNothing(ConvertImage2, eight);
  }
  for (const uint16_t bits :
       std::initializer_list<uint16_t>{0, 2, 3, 5, 7, 9, 15, 16, 24, 32, 30000}) {
    const Dib image({.bits = bits, .tableEntries = 0, .rowBytes = 4});
    ExpectNothing(ConvertImage, image);
    ExpectNothing(ConvertImage2, image);
  }
}

TEST_F(Preconversion, EveryWidthFrom1To70) {
  Random random(2);
  for (int32_t width = 1; width <= 70; ++width) {
    const Dib four = PaletteImage(4, true, width, 2, random);
    ExpectImage(ConvertImage, four, ModelWidenColor(four));
    const Dib gray = PaletteImage(4, false, width, 2, random);
    ExpectImage(ConvertImage2, gray, ModelWidenGray(gray));
    const Dib eight = PaletteImage(8, true, width, 2, random);
    ExpectImage(ConvertImage, eight, ModelWidenColor(eight));
  }
}

TEST_F(Preconversion, TheLastEntryAloneInColorDecides) {
  Dib four({.width = 5, .bits = 4});
  four.SetGrayRamp();
  four.SetColor(15, {255, 255, 254});
  ExpectImage(ConvertImage, four, ModelWidenColor(four));
  ExpectNothing(ConvertImage2, four);
  Dib eight({.width = 5, .bits = 8});
  eight.SetGrayRamp();
  eight.SetColor(255, {255, 254, 255});
  ExpectImage(ConvertImage, eight, ModelWidenColor(eight));
}

TEST_F(Preconversion, TheReservedByteIsNoColor) {
  Dib four({.width = 5, .bits = 4});
  four.SetGrayRamp();
  four.Bytes()[43] = 0xFF;
  ExpectNothing(ConvertImage, four);
}

TEST_F(Preconversion, GrayOf4BitsHasARampAndDeclares8Colors) {
  Dib four({.width = 3, .height = 1, .bits = 4});
  four.SetGrayRamp();
  four.SetPixel(0, 0, 15);
  four.SetPixel(1, 0, 1);
  four.SetPixel(2, 0, 7);
  tagHANDLE* out = nullptr;
  ASSERT_EQ(Call(ConvertImage2, four, out), 1);
  const Dib result = Dib::FromHandle(out);
  EXPECT_EQ(result.Bits(), 8);
  EXPECT_EQ(result.Get32(32), 8u);
  EXPECT_EQ(result.Get32(36), 8u);
  EXPECT_EQ(result.Color(200), (Rgb{200, 200, 200}));
  EXPECT_EQ(result.Pixel(0, 0), 255u);
  EXPECT_EQ(result.Pixel(1, 0), 17u);
  EXPECT_EQ(result.Pixel(2, 0), 119u);
  GlobalFree(out);
}

TEST_F(Preconversion, HeaderFieldsAreCarriedOver) {
  Random random(3);
  Dib image = PaletteImage(8, true, 4, 2, random);
  image.Set32(0, 0x55);  // the size field is not read
  image.Set16(12, 7);
  image.Set32(16, 1);  // nor is the compression
  image.Set32(20, 999);
  image.Set32(32, 3);
  image.Set32(36, 2);
  Dib expected = ModelWidenColor(image);
  EXPECT_EQ(expected.Get32(0), 0x55u);
  EXPECT_EQ(expected.Get32(20), 999u);
  ExpectImage(ConvertImage, image, expected);
}

TEST_F(Preconversion, HeightZeroGivesAHeaderOnly) {
  Random random(4);
  Dib color = PaletteImage(8, true, 4, 1, random);
  color.Set32(8, 0);
  ExpectImage(ConvertImage, color, ModelWidenColor(color));
  Dib gray = PaletteImage(4, false, 4, 1, random);
  gray.Set32(8, 0);
  ExpectImage(ConvertImage2, gray, ModelWidenGray(gray));
  gray.Set32(4, 0);
  ExpectImage(ConvertImage2, gray, ModelWidenGray(gray));
}

TEST_F(Preconversion, OnlyTheLow16BitsOfTheSizeCount) {
  Random random(5);
  Dib image = PaletteImage(4, true, 5, 3, random);
  Dib expected = ModelWidenColor(image);
  for (Dib* dib : {&image, &expected}) {
    dib->Set32(4, 0x70005);
    dib->Set32(8, 0x80000003);
  }
  ExpectImage(ConvertImage, image, expected);
}

TEST_F(Preconversion, AFullTableIsReadWhateverTheHeaderDeclares) {
  Random random(6);
  Dib image = PaletteImage(8, true, 5, 3, random);
  image.Set32(32, 2);
  ExpectImage(ConvertImage, image, ModelWidenColor(image));
}

TEST_F(Preconversion, NullOrUnlockableSourceGives0) {
  for (const Entry entry : {ConvertImage, ConvertImage2}) {
    tagHANDLE* out = reinterpret_cast<tagHANDLE*>(uintptr_t{0x10});
    EXPECT_EQ(entry(nullptr, &out), 0);
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(Preconversion, EveryFailedAllocationAndLockGives0) {
  Random random(7);
  const struct {
    Entry entry;
    Dib image;
  } cases[] = {{ConvertImage, PaletteImage(8, true, 5, 3, random)},
               {ConvertImage, PaletteImage(4, true, 5, 3, random)},
               {ConvertImage2, PaletteImage(4, false, 5, 3, random)}};
  for (const auto& c : cases) {
    for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
      tagHANDLE* source = c.image.ToHandle();
      const unsigned faults = FailEach(fault, [&](FaultRun& run) {
        tagHANDLE* out = source;
        const int result = run.Call([&] { return c.entry(source, &out); });
        EXPECT_EQ(result, run.Met() ? 0 : 1);
        EXPECT_EQ(out == nullptr, run.Met());
        EXPECT_EQ(LockCount(source), 0u);
        if (out != nullptr) GlobalFree(out);
        EXPECT_EQ(ReadHost().liveBlocks, 1u);
      });
      EXPECT_EQ(faults, fault == Fault::kGlobalAlloc ? 1u : 2u);
      GlobalFree(source);
    }
  }
}

TEST_F(Preconversion, RowsBeyond16BitsGive0) {
  const struct {
    Entry entry;
    uint16_t bits;
    bool color;
    int32_t widest;
  } cases[] = {{ConvertImage, 8, true, 21844},  // 3 x 21844 = 65532
               {ConvertImage, 4, true, 21844},
               {ConvertImage2, 4, false, 65532}};
  for (const auto& c : cases) {
    Random random(8);
    const Dib widest = PaletteImage(c.bits, c.color, c.widest, 2, random);
    ExpectImage(c.entry, widest, c.color ? ModelWidenColor(widest) : ModelWidenGray(widest));
    const Dib tooWide = PaletteImage(c.bits, c.color, c.widest + 1, 2, random);
    ExpectNothing(c.entry, tooWide);
    const Dib far = PaletteImage(c.bits, c.color, 65535, 1, random);
    ExpectNothing(c.entry, far);
  }
}

TEST_F(Preconversion, BothCallsOnOneSlotLoseTheFirstResult) {
  Random random(9);
  tagHANDLE* source = PaletteImage(8, true, 5, 3, random).ToHandle();
  tagHANDLE* slot = nullptr;
  EXPECT_EQ(ConvertImage(source, &slot), 1);
  tagHANDLE* widened = slot;
  EXPECT_EQ(ConvertImage2(widened, &slot), 0);
  EXPECT_EQ(slot, nullptr);
  EXPECT_TRUE(IsLive(widened));
  GlobalFree(widened);
  GlobalFree(source);
}

}  // namespace
}  // namespace dibtest
