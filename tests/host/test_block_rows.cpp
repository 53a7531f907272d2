// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "resample/block_rows.h"

namespace dibkit::host {
namespace {

using Row = std::vector<unsigned char>;

struct Image {
  uint32_t width;
  unsigned channels;
  std::vector<Row> rows;
};

Image Random(uint32_t width, uint32_t height, unsigned channels, std::mt19937& random) {
  Image image{width, channels, std::vector<Row>(height, Row(size_t{width} * channels))};
  // Whole rows of the ends of the range now and then, where sums are largest.
  for (Row& row : image.rows) {
    const unsigned kind = random() % 4;
    for (unsigned char& level : row) {
      level = kind == 0 ? 255 : static_cast<unsigned char>(random() % 256);
    }
  }
  return image;
}

// The mean of each block, pixel by pixel.
Row PlainMeans(const Image& image, BlockSize size, uint32_t blocks) {
  Row means;
  for (uint32_t block = 0; block < blocks; ++block) {
    const uint32_t begin = block * size.columns;
    const uint32_t end = std::min(begin + size.columns, image.width);
    for (unsigned channel = 0; channel < image.channels; ++channel) {
      double sum = 0;
      for (const Row& row : image.rows) {
        for (uint32_t x = begin; x < end; ++x) {
          sum += row[size_t{x} * image.channels + channel];
        }
      }
      const double mean =
          sum / (static_cast<double>(end - begin) * static_cast<double>(image.rows.size()));
      means.push_back(static_cast<unsigned char>(mean + 0.5));
    }
  }
  return means;
}

Row Means(BlockRows& rows, const Image& image, uint32_t blocks) {
  for (const Row& row : image.rows) {
    rows.Add(row.data());
  }
  Row means(size_t{blocks} * image.channels);
  rows.Take(means.data(), blocks);
  return means;
}

TEST(BlockRows, GiveTheMeansOfTheirPixels) {
  std::mt19937 random(1);
  for (const unsigned channels : {1U, 3U}) {
    for (uint32_t columns = 1; columns <= 17; ++columns) {
      for (uint32_t rows = 1; rows <= 17; ++rows) {
        const BlockSize size{columns, rows};
        for (const uint32_t width : {1U, columns, 3 * columns + 1, 7 * columns - 1, 40 * columns}) {
          const uint32_t blocks = (width + columns - 1) / columns;
          BlockRows means(width, channels, size);
          const Image image = Random(width, rows, channels, random);
          EXPECT_EQ(Means(means, image, blocks), PlainMeans(image, size, blocks))
              << width << " " << columns << " x " << rows;
          // The last row of blocks may be short, and the last block left out.
          const Image low = Random(width, (rows + 1) / 2, channels, random);
          const uint32_t fewer = std::max(blocks - 1, 1U);
          EXPECT_EQ(Means(means, low, fewer), PlainMeans(low, size, fewer));
        }
      }
    }
  }
}

TEST(BlockRows, DoNotOverflowInTheLargestBlocks) {
  for (const BlockSize size :
       {BlockSize{256, 1}, BlockSize{1, 256}, BlockSize{257, 1}, BlockSize{1, 257},
        BlockSize{300, 300}, BlockSize{65535, 40}, BlockSize{40, 65535}}) {
    BlockRows means(size.columns, 1, size);
    const Row white(size.columns, 255);
    for (uint32_t row = 0; row < size.rows; ++row) {
      means.Add(white.data());
    }
    unsigned char mean = 0;
    means.Take(&mean, 1);
    EXPECT_EQ(mean, 255) << size.columns << " x " << size.rows;
  }
}

// `pixels` levels that add up to `sum`.
Row RowOfSum(uint32_t pixels, uint32_t sum) {
  Row row(pixels, 0);
  for (unsigned char& level : row) {
    level = static_cast<unsigned char>(std::min(sum, 255U));
    sum -= level;
  }
  return row;
}

TEST(BlockRows, EveryMeanOfEveryNarrowBlockBeginsAtItsSum) {
  for (uint32_t pixels = 1; pixels <= 256; ++pixels) {
    // Two blocks, since the last one of a row is divided otherwise.
    BlockRows means(2 * pixels, 1, {pixels, 1});
    for (uint32_t level = 1; level <= 255; ++level) {
      const uint32_t first = level * pixels - pixels / 2;
      for (const uint32_t sum : {first - 1, first}) {
        Row row = RowOfSum(pixels, sum);
        row.resize(2 * size_t{pixels});
        means.Add(row.data());
        std::array<unsigned char, 2> levels{};
        means.Take(levels.data(), 2);
        ASSERT_EQ(levels[0], sum == first ? level : level - 1) << sum << " of " << pixels;
      }
    }
  }
}

}  // namespace
}  // namespace dibkit::host
