// SPDX-License-Identifier: Apache-2.0
//
// The row kernels of every family that this CPU has, and the run-length decoders, against their
// plain forms.
#include <algorithm>
#include <array>

#include "DIBHelp.h"
#include "dib/depth_rows.h"
#include "dib/rle.h"
#include "reference/plain_rle.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using namespace dibkit;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kCanary = 0xA5;

struct Kernel {
  const char* name;
  unsigned fromBits;
  unsigned toBits;
  PlainRow plain;
  RowKernel RowKernels::*fast;
};

constexpr Kernel kKernels[] = {
    {"4 to 8", 4, 8, GrayTableTo8, &RowKernels::bits4To8},
    {"1 to 24", 1, 24, ChannelTablesTo24<1>, &RowKernels::bits1To24},
    {"4 to 24", 4, 24, ChannelTablesTo24<4>, &RowKernels::bits4To24},
    {"8 to 24", 8, 24, ColorTableTo24<8>, &RowKernels::bits8To24},
    {"5-5-5 to 24", 16, 24, WordsTo24, &RowKernels::rgb555To24},
    {"16-bit fields to 24", 16, 24, BitFieldsTo24<uint16_t>, &RowKernels::fields16To24},
    {"32 to 24", 32, 24, QuadsTo24, &RowKernels::rgb32To24},
    {"32-bit fields to 24", 32, 24, BitFieldsTo24<uint32_t>, &RowKernels::fields32To24},
    {"1 to 16", 1, 16, WordTableTo16<1>, &RowKernels::bits1To16},
    {"4 to 16", 4, 16, WordTableTo16<4>, &RowKernels::bits4To16},
    {"8 to 16", 8, 16, WordTableTo16<8>, &RowKernels::bits8To16},
    {"24 to 16", 24, 16, BytesTo16<3>, &RowKernels::rgb24To16},
    {"32 to 16", 32, 16, BytesTo16<4>, &RowKernels::rgb32To16},
    {"32-bit fields to 16", 32, 16, BitFieldsTo16, &RowKernels::fields32To16},
};

// Those that this CPU runs.
std::vector<CpuLevel> Levels() {
  std::vector<CpuLevel> levels;
  for (const CpuLevel level : {CpuLevel::kPortable, CpuLevel::kAvx2, CpuLevel::kAvx512}) {
    if (level <= BestCpuLevel()) levels.push_back(level);
  }
  return levels;
}

Bytes RandomBytes(size_t count, Random& random) {
  Bytes bytes(count);
  std::generate(bytes.begin(), bytes.end(), [&random] { return random.Byte(); });
  return bytes;
}

BitField RandomField(Random& random) {
  constexpr uint32_t kMasks[] = {0xF800,     0x7E0,      0x1F,    0,     0xFF0000,   0xFF00,
                                 0xFF,       0xFF000000, 0x7C00,  0x3E0, 0x3FF00000, 0xFFC00,
                                 0xFFFFFFFF, 0x80000000, 0xA5A50, 1,     0xC0000001};
  const uint32_t mask =
      random.Below(4) == 0 ? random.Next() : kMasks[random.Below(std::size(kMasks))];
  unsigned short left = 0;
  unsigned short right = 0;
  GetShifts(mask, left, right);
  return {mask, left, right};
}

// The same random colours and fields as both forms want them.
class Meaning {
 public:
  explicit Meaning(Random& random) : m_colors(RandomBytes(4 * kColors, random)) {
    for (size_t i = 0; i < kColors; ++i) {
      const unsigned char* color = &m_colors[4 * i];
      tables.SetColor(i, color[0], color[1], color[2]);
      m_blues[i] = color[0];
      m_greens[i] = color[1];
      m_reds[i] = color[2];
      m_words[i] = Word555(color[2], color[1], color[0]);
    }
    plain = {.colors = m_colors.data(),
             .entrySize = 4,
             .colorCount = kColors,
             .reds = m_reds,
             .greens = m_greens,
             .blues = m_blues,
             .words = m_words,
             .red = RandomField(random),
             .green = RandomField(random),
             .blue = RandomField(random)};
    tables.redField = plain.red;
    tables.greenField = plain.green;
    tables.blueField = plain.blue;
  }
  Meaning(const Meaning&) = delete;
  Meaning& operator=(const Meaning&) = delete;

  PixelMeaning plain;
  RowTables tables;

 private:
  static constexpr size_t kColors = 256;
  Bytes m_colors;
  std::array<uint8_t, kColors> m_reds{};
  std::array<uint8_t, kColors> m_greens{};
  std::array<uint8_t, kColors> m_blues{};
  std::array<uint16_t, kColors> m_words{};
};

// Both rows lie against an inaccessible page.
void CompareRow(const Kernel& kernel, const RowKernels& family, size_t width, GuardSide side,
                Random& random) {
  const Meaning meaning(random);
  GuardedBytes from(RandomBytes((kernel.fromBits * width + 7) / 8, random), side);
  from.MakeReadOnly();
  Bytes expected(width * kernel.toBits / 8);
  kernel.plain(from.data(), expected.data(), width, meaning.plain);
  GuardedBytes to(Bytes(expected.size(), kCanary), side);
  (family.*kernel.fast)(from.data(), to.data(), width, meaning.tables);
  ASSERT_EQ(to.Copy(), expected) << kernel.name << ", " << width << " pixels";
}

TEST(ConversionKernels, RowsOfEveryWidthMatchThePlainForm) {
  Random random(41);
  for (const CpuLevel level : Levels()) {
    for (const Kernel& kernel : kKernels) {
      for (size_t width = 0; width <= 400; ++width) {
        for (const GuardSide side : {GuardSide::kEnd, GuardSide::kStart}) {
          CompareRow(kernel, RowKernelsFor(level), width, side, random);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

TEST(ConversionKernels, RowsWriteNothingBehindTheirPixels) {
  Random random(42);
  constexpr size_t kBehind = 80;
  for (const CpuLevel level : Levels()) {
    for (const Kernel& kernel : kKernels) {
      for (size_t width = 0; width <= 140; ++width) {
        const Meaning meaning(random);
        const Bytes from = RandomBytes((kernel.fromBits * width + 7) / 8, random);
        Bytes expected(width * kernel.toBits / 8 + kBehind, kCanary);
        Bytes to = expected;
        kernel.plain(from.data(), expected.data(), width, meaning.plain);
        (RowKernelsFor(level).*kernel.fast)(from.data(), to.data(), width, meaning.tables);
        ASSERT_EQ(to, expected) << kernel.name << ", " << width << " pixels";
      }
    }
  }
}

TEST(ConversionKernels, EveryWordOf16BitsWidensAlike) {
  Random random(43);
  constexpr size_t kWords = 65536;
  Bytes from(2 * kWords);
  for (size_t i = 0; i < kWords; ++i) Store16(&from[2 * i], static_cast<uint16_t>(i));
  for (const CpuLevel level : Levels()) {
    for (const Kernel& kernel : kKernels) {
      if (kernel.fromBits != 16) continue;
      const Meaning meaning(random);
      Bytes expected(3 * kWords);
      Bytes to(3 * kWords);
      kernel.plain(from.data(), expected.data(), kWords, meaning.plain);
      (RowKernelsFor(level).*kernel.fast)(from.data(), to.data(), kWords, meaning.tables);
      ASSERT_TRUE(to == expected) << kernel.name;
    }
  }
}

struct Size {
  size_t width;
  size_t rows;
};

// Small images stay in the caches, large ones go past them; padding is nobody's.
constexpr Size kSizes[] = {{7, 5}, {401, 3}, {1201, 1500}, {333, 4500}, {64, 70000}};

TEST(ConversionKernels, WholeImagesMatchAndTheirPaddingStaysZero) {
  Random random(44);
  for (const Size& size : kSizes) {
    const Meaning meaning(random);
    const Bytes from = RandomBytes(StrideOf(8, size.width) * size.rows, random);
    const size_t toStride = StrideOf(24, size.width);
    Bytes expected(toStride * size.rows);
    ConvertRowsPlainly({.from = from.data(),
                        .fromBits = 8,
                        .fromStride = StrideOf(8, size.width),
                        .fromBytes = from.size(),
                        .to = expected.data(),
                        .toBits = 24,
                        .toStride = toStride,
                        .width = size.width,
                        .rows = size.rows},
                       ColorTableTo24<8>, meaning.plain);
    for (const CpuLevel level : Levels()) {
      GuardedBytes to(Bytes(expected.size()));
      RunKernel({.source = from.data(),
                 .sourceStride = static_cast<ptrdiff_t>(StrideOf(8, size.width)),
                 .target = to.data(),
                 .targetStride = static_cast<ptrdiff_t>(toStride),
                 .width = size.width,
                 .height = size.rows,
                 .targetBytes = 3 * size.width},
                RowKernelsFor(level).bits8To24, meaning.tables, level);
      ASSERT_TRUE(to.Copy() == expected) << size.width << " x " << size.rows;
    }
  }
}

TEST(ConversionKernels, RowsAreCopiedAsTheyAre) {
  Random random(45);
  for (const Size& size : kSizes) {
    const size_t stride = StrideOf(24, size.width);
    const Bytes from = RandomBytes(stride * size.rows, random);
    for (const CpuLevel level : Levels()) {
      GuardedBytes to(Bytes(from.size(), kCanary));
      CopyRows({.source = from.data() + stride * (size.rows - 1),
                .sourceStride = -static_cast<ptrdiff_t>(stride),
                .target = to.data(),
                .targetStride = static_cast<ptrdiff_t>(stride),
                .height = size.rows,
                .targetBytes = stride},
               level);
      for (size_t y = 0; y < size.rows; ++y) {
        ASSERT_TRUE(std::equal(to.data() + stride * y, to.data() + stride * (y + 1),
                               from.data() + stride * (size.rows - 1 - y)))
            << "row " << y << " of " << size.width << " x " << size.rows;
      }
    }
  }
}

// The one kind of table that the kernel's plain form reads, with fewer colours than indices.
PixelMeaning ShortTables(const Kernel& kernel, const PixelMeaning& full, Random& random) {
  const uint32_t count = 1 + random.Below(1u << std::min(kernel.fromBits, 8u));
  PixelMeaning meaning;
  meaning.red = full.red;
  meaning.green = full.green;
  meaning.blue = full.blue;
  if (kernel.toBits == 16) {
    meaning.words = full.words.first(count);
  } else if (kernel.plain == ColorTableTo24<8> || kernel.plain == GrayTableTo8) {
    meaning.colors = full.colors;
    meaning.entrySize = full.entrySize;
    meaning.colorCount = count;
  } else {
    meaning.reds = full.reds.first(count);
    meaning.greens = full.greens.first(count);
    meaning.blues = full.blues.first(count);
  }
  return meaning;
}

// What the exported functions call, around the number of pixels from which kernels are used.
TEST(ConversionKernels, ImagesOfAllSizesConvertAlike) {
  Random random(46);
  for (const Kernel& kernel : kKernels) {
    for (int round = 0; round < 60; ++round) {
      const Meaning meaning(random);
      const size_t width = 1 + random.Below(100);
      const size_t rows = 1 + random.Below(30);
      const size_t fromStride = StrideOf(kernel.fromBits, width);
      const Bytes from = RandomBytes(fromStride * rows, random);
      Bytes expected(StrideOf(kernel.toBits, width) * rows, kCanary);
      Bytes to = expected;
      DepthJob job{.from = from.data(),
                   .fromBits = kernel.fromBits,
                   .fromStride = fromStride,
                   .fromBytes = random.Below(4) == 0 ? random.Below(2000) : from.size(),
                   .to = expected.data(),
                   .toBits = kernel.toBits,
                   .toStride = StrideOf(kernel.toBits, width),
                   .width = width,
                   .rows = rows};
      job.fromBytes = std::min<uint64_t>(job.fromBytes, from.size());
      const PixelMeaning shortened = ShortTables(kernel, meaning.plain, random);
      ConvertRowsPlainly(job, kernel.plain, shortened);
      job.to = to.data();
      ConvertRows(job, {kernel.plain, kernel.fast}, shortened);
      ASSERT_EQ(to, expected) << kernel.name << ", " << width << " x " << rows;
    }
  }
}

// Runs, literals, line ends and moves in a mixture that changes from stream to stream, so that some
// streams are long chains of short runs and others leave the image soon.
Bytes RandomRecords(unsigned bits, Random& random) {
  Bytes stream;
  const uint32_t records = random.Below(300);
  const uint32_t longest = 1 + random.Below(random.Below(3) == 0 ? 255 : 16);
  const uint32_t special = 1 + random.Below(30);
  for (uint32_t i = 0; i < records; ++i) {
    if (random.Below(special) != 0) {
      stream.insert(stream.end(), {static_cast<uint8_t>(1 + random.Below(longest)), random.Byte()});
      continue;
    }
    switch (random.Below(5)) {
      case 0:
        stream.insert(stream.end(), {0, static_cast<uint8_t>(random.Below(40) == 0 ? 1 : 0)});
        break;
      case 1:
        stream.insert(stream.end(), {0, 2, static_cast<uint8_t>(random.Below(12)),
                                     static_cast<uint8_t>(random.Below(3))});
        break;
      case 2:
        if (random.Below(8) == 0) stream.push_back(random.Byte());
        break;
      default: {
        const uint32_t count = 3 + random.Below(random.Below(4) == 0 ? 253 : 20);
        const Bytes literals = RandomBytes((count * bits + 15) / 16 * 2, random);
        stream.insert(stream.end(), {0, static_cast<uint8_t>(count)});
        stream.insert(stream.end(), literals.begin(), literals.end());
        break;
      }
    }
  }
  return stream;
}

struct Decoders {
  unsigned bits;
  void (*plain)(std::span<const unsigned char>, const RleTarget&);
  void (*fast)(std::span<const unsigned char>, const RleTarget&);
};

TEST(ConversionKernels, AnyStreamDecodesAsThePlainDecoderSays) {
  constexpr Decoders kDecoders[] = {{8, DecodePlainRle8, DecodeRle8},
                                    {4, DecodePlainRle4, DecodeRle4}};
  Random random(47);
  for (const Decoders& decoders : kDecoders) {
    for (int round = 0; round < 4000; ++round) {
      const Bytes records = RandomRecords(decoders.bits, random);
      const size_t width = 1 + random.Below(round % 2 == 0 ? 40 : 400);
      const size_t rows = 1 + random.Below(12);
      const size_t stride = StrideOf(decoders.bits, width);
      const GuardSide side = round % 4 < 2 ? GuardSide::kEnd : GuardSide::kStart;
      GuardedBytes stream(records, side);
      stream.MakeReadOnly();
      const auto target = [&](GuardedBytes& area) {
        return RleTarget{area.data(), stride, static_cast<uint32_t>(width),
                         static_cast<uint32_t>(rows)};
      };
      GuardedBytes expected(stride * rows, side);
      decoders.plain({stream.data(), stream.size()}, target(expected));
      GuardedBytes area(stride * rows, side);
      decoders.fast({stream.data(), stream.size()}, target(area));
      ASSERT_EQ(area.Copy(), expected.Copy()) << decoders.bits << " bits, round " << round;
    }
  }
}

}  // namespace
}  // namespace dibtest
