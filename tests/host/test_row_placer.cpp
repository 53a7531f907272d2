// SPDX-License-Identifier: Apache-2.0
//
// Rows in every orientation and depth, against a reference that moves pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "formats/row_placer.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::Bytes;

constexpr uint16_t kDepths[] = {1, 4, 8, 24};

// Pixel values, top row first.
struct Pixels {
  uint32_t width;
  uint32_t height;
  std::vector<uint32_t> values;
  uint32_t& At(uint32_t x, uint32_t y) { return values[size_t{y} * width + x]; }
  uint32_t At(uint32_t x, uint32_t y) const { return values[size_t{y} * width + x]; }
};

Pixels SomePixels(uint32_t width, uint32_t height, uint16_t bitCount) {
  Pixels pixels{width, height, std::vector<uint32_t>(size_t{width} * height)};
  std::mt19937 random(width * 1000 + height);
  for (uint32_t& value : pixels.values) {
    value = static_cast<uint32_t>(random()) & ((1U << bitCount) - 1);
  }
  return pixels;
}

// Where the names of the orientations put the first stored row and the first stored column.
Pixels Turned(const Pixels& stored, unsigned orientation) {
  const bool swapped = orientation >= 5;
  Pixels upright{swapped ? stored.height : stored.width, swapped ? stored.width : stored.height,
                 stored.values};
  for (uint32_t y = 0; y < stored.height; ++y) {
    for (uint32_t x = 0; x < stored.width; ++x) {
      const uint32_t right = stored.width - 1 - x;
      const uint32_t bottom = stored.height - 1 - y;
      const uint32_t to[9][2] = {{},     {x, y},      {right, y},      {right, bottom}, {x, bottom},
                                 {y, x}, {bottom, x}, {bottom, right}, {y, right}};
      upright.At(to[orientation][0], to[orientation][1]) = stored.At(x, y);
    }
  }
  return upright;
}

// A row as a DIB has it. The bits behind the last pixel are set, as decoders may leave them.
Bytes PackedRow(const Pixels& pixels, uint32_t y, uint16_t bitCount) {
  Bytes row((size_t{pixels.width} * bitCount + 7) / 8, bitCount < 8 ? 0xFF : 0);
  for (uint32_t x = 0; x < pixels.width; ++x) {
    const uint32_t value = pixels.At(x, y);
    if (bitCount >= 8) {
      for (unsigned i = 0; i < bitCount / 8U; ++i) {
        row[size_t{x} * bitCount / 8 + i] = static_cast<unsigned char>(value >> (8 * i));
      }
      continue;
    }
    const unsigned shift = 8 - bitCount - x * bitCount % 8;
    unsigned char& byte = row[size_t{x} * bitCount / 8];
    byte = static_cast<unsigned char>((byte & ~(((1U << bitCount) - 1) << shift)) | value << shift);
  }
  return row;
}

// Rows from the bottom one on, padding zero.
Bytes DibRows(const Pixels& pixels, uint16_t bitCount) {
  Bytes rows;
  for (uint32_t y = pixels.height; y-- > 0;) {
    Bytes row = PackedRow(pixels, y, bitCount);
    const unsigned unused = static_cast<unsigned>(row.size() * 8 - pixels.width * bitCount);
    row.back() = static_cast<unsigned char>(row.back() & 0xFFU << unused);
    row.resize(static_cast<size_t>(RowStride(pixels.width, bitCount)));
    rows.insert(rows.end(), row.begin(), row.end());
  }
  return rows;
}

OwnedBlock Placed(const Pixels& stored, uint16_t bitCount, unsigned orientation) {
  RowPlacer placer({stored.width, stored.height, bitCount, orientation}, {});
  for (uint32_t y = 0; y < stored.height; ++y) {
    const Bytes row = PackedRow(stored, y, bitCount);
    unsigned char* to = placer.Row(y);
    std::fill_n(to, placer.RowBytes(), static_cast<unsigned char>(0xEE));
    std::copy(row.begin(), row.end(), to);
    placer.Done();
  }
  return placer.Take();
}

// Rows of groups of `group`, each group put together from columns, the last row first.
OwnedBlock PlacedByGroups(const Pixels& stored, unsigned orientation, uint32_t group) {
  RowPlacer placer({stored.width, stored.height, 8, orientation}, {}, group);
  for (uint32_t y = 0; y < stored.height; y += group) {
    const uint32_t rows = std::min(group, stored.height - y);
    for (uint32_t x = 0; x < stored.width; ++x) {
      for (uint32_t i = rows; i-- > 0;) {
        placer.Row(y + i)[x] = PackedRow(stored, y + i, 8)[x];
      }
    }
    placer.Done(rows);
  }
  return placer.Take();
}

TEST(RowPlacer, TurnsEveryDepthUprightFromEveryOrientation) {
  for (const uint16_t bits : kDepths) {
    for (const uint32_t width : {1U, 2U, 7U, 8U, 9U, 31U, 70U, 133U}) {
      for (const uint32_t height : {1U, 2U, 5U, 8U, 17U, 64U, 65U, 71U, 130U}) {
        const Pixels stored = SomePixels(width, height, bits);
        for (unsigned orientation = 1; orientation <= 8; ++orientation) {
          EXPECT_EQ(test::RowBytes(Placed(stored, bits, orientation)),
                    DibRows(Turned(stored, orientation), bits))
              << bits << " bits, " << width << " x " << height << ", orientation " << orientation;
        }
      }
    }
  }
}

TEST(RowPlacer, TakesGroupsOfRowsPieceByPiece) {
  const Pixels stored = SomePixels(9, 101, 8);
  for (const uint32_t group : {1U, 5U, 16U, 48U, 64U, 80U, 200U}) {
    for (unsigned orientation = 1; orientation <= 8; ++orientation) {
      EXPECT_EQ(test::RowBytes(PlacedByGroups(stored, orientation, group)),
                DibRows(Turned(stored, orientation), 8))
          << "groups of " << group << ", orientation " << orientation;
    }
  }
}

TEST(RowPlacer, TurnsVeryWideImages) {
  for (const uint16_t bits : kDepths) {
    const Pixels stored = SomePixels(700'001, 3, bits);
    for (const unsigned orientation : {3U, 6U}) {
      EXPECT_EQ(test::RowBytes(Placed(stored, bits, orientation)),
                DibRows(Turned(stored, orientation), bits));
    }
  }
}

TEST(RowPlacer, MakesAnUnlockedBlockWithTableAndResolution) {
  RowPlacer placer({2, 3, 4, 6}, {100, 200});
  EXPECT_EQ(placer.Table().size(), 64U);
  placer.Table()[5] = 77;
  placer.Done(3);
  const OwnedBlock dib = placer.Take();
  EXPECT_EQ(GlobalFlags(dib.get()), 0U);
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  EXPECT_EQ(view.Width(), 3U);
  EXPECT_EQ(view.Height(), 2U);
  EXPECT_EQ(view.XPelsPerMeter(), 100);
  EXPECT_EQ(view.YPelsPerMeter(), 200);
  EXPECT_EQ(view.Table()[5], 77);
}

TEST(RowPlacer, LeavesNoBlockBehindWhenRowsStopEarly) {
  const uint64_t blocks = ReadMemoryCounters().liveBlocks;
  for (const unsigned orientation : {1U, 6U}) {
    RowPlacer placer({20, 30, 8, orientation}, {});
    placer.Done(7);
  }
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
}

TEST(RowPlacer, RefusesWhatNoBlockHolds) {
  EXPECT_EQ(test::FaultOf([] { RowPlacer({2'000'000'000, 2, 24, 6}, {}); }), ImageFault::kTooLarge);
}

TEST(Upright, TurnsAFinishedDib) {
  for (const uint16_t bits : kDepths) {
    const Pixels stored = SomePixels(21, 67, bits);
    for (unsigned orientation = 1; orientation <= 8; ++orientation) {
      EXPECT_EQ(test::RowBytes(Upright(Placed(stored, bits, 1), orientation)),
                DibRows(Turned(stored, orientation), bits))
          << bits << " bits, orientation " << orientation;
    }
  }
}

TEST(Upright, KeepsTheTableAndTurnsTheResolution) {
  RowPlacer placer({2, 3, 8, 1}, {100, 200});
  placer.Table()[1022] = 99;
  placer.Done(3);
  const OwnedBlock dib = Upright(placer.Take(), 8);
  EXPECT_EQ(GlobalFlags(dib.get()), 0U);
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  EXPECT_EQ(view.XPelsPerMeter(), 200);
  EXPECT_EQ(view.YPelsPerMeter(), 100);
  EXPECT_EQ(view.Table()[1022], 99);
}

}  // namespace
}  // namespace dibkit::host
