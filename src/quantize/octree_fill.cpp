// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>
#include <new>

#include "quantize/octree.h"

namespace dibkit::quantize {
namespace {

// The depth whose leaves are the cells of CellSums.
constexpr unsigned kCellDepth = 5;

// Clearing and reading all cells costs about as much as inserting this many pixels one by one.
constexpr uint64_t kCellsPayFrom = 16384;

// Bit i of a 5-bit value moved to bit 3i: one component's share in the number of a leaf.
constexpr uint32_t Spread(uint32_t value) {
  uint32_t spread = 0;
  for (unsigned i = 0; i < kCellDepth; ++i) spread |= (value >> i & 1) << (3 * i);
  return spread;
}

// The node of a leaf cell: the leaves follow the 1 + 8 + 64 + 512 + 4096 nodes above them.
size_t LeafNode(size_t cell) {
  constexpr size_t kFirstLeaf = 4681;
  const auto number = static_cast<uint32_t>(cell);
  return kFirstLeaf +
         (Spread(number & 31) | Spread(number >> 5 & 31) << 1 | Spread(number >> 10) << 2);
}

// Every node on the way from a leaf's parent to the root is passed by the leaf's pixels.
void PassUp(CCube2* tree, size_t leaf, uint32_t count) {
  for (size_t node = leaf; node != 0;) {
    const unsigned child = static_cast<unsigned>(node - 1) & 7;
    node = (node - 1) / 8;
    tree[node].lPassCount += count;
    tree[node].byChildren = static_cast<uint8_t>(tree[node].byChildren | 1u << child);
  }
}

void AddToLeaf(CCube2& leaf, const CellSums& sums) {
  leaf.lPassCount += sums.count;
  if (leaf.iFixed == 0) {
    leaf.lSumRed += sums.red;
    leaf.lSumGreen += sums.green;
    leaf.lSumBlue += sums.blue;
    leaf.lColorCount += sums.count;
  }
  leaf.byChildren = 0;
}

void FillByRuns(CCube2* tree, unsigned depth, const uint8_t* rows, size_t stride, uint32_t width,
                uint32_t height) {
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* pixel = rows + y * stride;
    for (uint32_t x = 0; x < width;) {
      uint32_t run = 1;
      while (x + run < width && std::memcmp(pixel, pixel + size_t{3} * run, 3) == 0) ++run;
      InsertRun(tree, depth, pixel[2], pixel[1], pixel[0], run);
      pixel += size_t{3} * run;
      x += run;
    }
  }
}

}  // namespace

void InsertRun(CCube2* tree, unsigned depth, uint8_t red, uint8_t green, uint8_t blue,
               uint32_t count) {
  size_t node = 0;
  // Past the eighth level no bit is left to tell colours apart, and every child is child 0.
  for (unsigned level = 0; level < depth; ++level) {
    const unsigned bit = 0x80u >> level;
    const unsigned child = ((red & bit) != 0 ? 1u : 0u) | ((green & bit) != 0 ? 2u : 0u) |
                           ((blue & bit) != 0 ? 4u : 0u);
    tree[node].lPassCount += count;
    tree[node].byChildren = static_cast<uint8_t>(tree[node].byChildren | 1u << child);
    node = node * 8 + 1 + child;
  }
  AddToLeaf(tree[node], {blue * count, green * count, red * count, count});
}

void FillTree24(CCube2* tree, unsigned depth, const uint8_t* rows, size_t stride, uint32_t width,
                uint32_t height, const QuantizeKernels& kernels) {
  const uint64_t pixels = uint64_t{width} * height;
  std::unique_ptr<CellSums[]> cells;
  // A cell's count must not come back to 0, which would look like a cell that nothing reached.
  if (depth == kCellDepth && pixels >= kCellsPayFrom && pixels <= UINT32_MAX) {
    cells.reset(new (std::nothrow) CellSums[kLeafCells]());
  }
  if (cells == nullptr) {
    FillByRuns(tree, depth, rows, stride, width, height);
    return;
  }
  kernels.addToCells(rows, stride, width, height, cells.get());
  for (size_t cell = 0; cell < kLeafCells; ++cell) {
    if (cells[cell].count == 0) continue;
    const size_t leaf = LeafNode(cell);
    AddToLeaf(tree[leaf], cells[cell]);
    PassUp(tree, leaf, cells[cell].count);
  }
}

}  // namespace dibkit::quantize
