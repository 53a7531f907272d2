// SPDX-License-Identifier: Apache-2.0
//
// The octree: counting the source's colours, pruning, listing the palette.
#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <new>

#include "NiGoRo2.h"
#include "quantize/octree.h"
#include "quantize/pixels.h"

using namespace dibkit;
using namespace dibkit::quantize;

namespace {

// What a fixed colour adds to every node on its path, so that it outweighs any real branch.
constexpr uint32_t kFixedWeight = 0xFFFF;
constexpr uint32_t kNoWeight = 0xFFFFFFFF;

// Nodes of a complete tree of `depth` levels below the root, or 0 when they cannot be addressed.
size_t NodeCount(unsigned depth) {
  constexpr size_t kMost = std::numeric_limits<ptrdiff_t>::max() / sizeof(CCube2);
  constexpr size_t kMostByIndex = std::min<size_t>(kMost, 0xFFFFFFFF);
  size_t count = 1;
  for (unsigned level = 0; level < depth; ++level) {
    if (count > (kMostByIndex - 1) / 8) return 0;
    count = 8 * count + 1;
  }
  return count;
}

uint32_t ChildOf(uint32_t node, unsigned child) { return 8 * node + 1 + child; }
uint32_t ParentOf(uint32_t node) { return (node - 1) / 8; }

bool HasChild(const CCube2& cube, unsigned child) { return (cube.byChildren >> child & 1) != 0; }

// Calls visit(child) for every existing child, in order.
template <typename Visit>
void ForEachChild(const CCube2& cube, Visit visit) {
  for (unsigned child = 0; child < 8; ++child) {
    if (HasChild(cube, child)) visit(child);
  }
}

template <typename Reader>
void InsertRows(CNiGoRo2& quantizer, size_t stride, const Reader& read) {
  const unsigned char* row = quantizer.m_pBits;
  for (int32_t y = 0; y < quantizer.m_bih.biHeight; ++y, row += stride) {
    const unsigned char* pixel = row;
    for (int32_t x = 0; x < quantizer.m_bih.biWidth; ++x, pixel += Reader::kPixelBytes) {
      const Rgb color = read(pixel);
      quantizer.InsertColor(color.red, color.green, color.blue, 0);
    }
  }
}

// The rounds one by one, as hosts may run them with the members.
unsigned long PruneByRounds(CNiGoRo2& quantizer, uint32_t limit) {
  unsigned long minPass = kNoWeight;
  unsigned long colors = quantizer.CountColors(0, minPass, 0);
  // The root has no parent to be merged into: when its turn comes nothing more can be cut.
  while (colors > limit && quantizer.m_pTree[0].lPassCount != minPass) {
    quantizer.CutBranches(0, minPass);
    minPass = kNoWeight;
    colors = quantizer.CountColors(0, minPass, 0);
  }
  return colors;
}

}  // namespace

int CNiGoRo2::InitOctree() {
  if (m_bih.biBitCount < 9) return 0;
  const size_t count = NodeCount(m_wDepth);
  delete[] m_pTree;
  m_pTree = count != 0 ? new (std::nothrow) CCube2[count]() : nullptr;
  return m_pTree != nullptr ? 1 : 0;
}

void CNiGoRo2::InsertDefaultColors() {
  for (uint32_t i = 0; i < m_lDefaultColorNum; ++i) {
    const tagRGBQUAD& color = m_pDefaultColors[i];
    InsertColor(color.rgbRed, color.rgbGreen, color.rgbBlue, 1);
  }
}

void CNiGoRo2::FillTree() {
  if (m_bih.biWidth <= 0 || m_bih.biHeight <= 0) return;
  const size_t stride =
      static_cast<size_t>(RowStride(m_bih.biBitCount, static_cast<uint32_t>(m_bih.biWidth)));
  switch (FormatOf(m_bih)) {
    case PixelFormat::k555:
      InsertRows(*this, stride, Reader555{});
      break;
    case PixelFormat::kBgr:
      FillTree24(m_pTree, m_wDepth, m_pBits, stride, static_cast<uint32_t>(m_bih.biWidth),
                 static_cast<uint32_t>(m_bih.biHeight), KernelsFor(BestCpuLevel()));
      break;
    case PixelFormat::kBitField16:
      InsertRows(*this, stride, ReaderBitField16(*this));
      break;
    case PixelFormat::kBitField32:
      InsertRows(*this, stride, ReaderBitField32(*this));
      break;
    case PixelFormat::kUnknown:
      break;
  }
}

void CNiGoRo2::InsertColor(unsigned char red, unsigned char green, unsigned char blue, int fixed) {
  const uint32_t weight = fixed != 0 ? kFixedWeight : 1;
  uint32_t node = 0;
  unsigned bit = 0x80;
  for (unsigned level = 0; level < m_wDepth; ++level, bit >>= 1) {
    const unsigned child =
        ((red & bit) != 0 ? 1u : 0) + ((green & bit) != 0 ? 2u : 0) + ((blue & bit) != 0 ? 4u : 0);
    CCube2& cube = m_pTree[node];
    cube.lPassCount += weight;
    cube.byChildren = static_cast<uint8_t>(cube.byChildren | 1u << child);
    node = ChildOf(node, child);
  }
  CCube2& leaf = m_pTree[node];
  ++leaf.lPassCount;
  if (leaf.iFixed == 0) {
    leaf.lSumRed += red;
    leaf.lSumGreen += green;
    leaf.lSumBlue += blue;
    ++leaf.lColorCount;
  }
  leaf.byChildren = 0;
  if (fixed != 0) {
    leaf.lPassCount = kFixedWeight;
    leaf.iFixed = fixed;
  }
}

unsigned long CNiGoRo2::ReduceColors() {
  const uint32_t limit = m_wMaxColors - m_lDefaultColorNum;
  uint32_t pruned = 0;
  const unsigned long colors =
      PruneTree(m_pTree, limit, pruned) ? pruned : PruneByRounds(*this, limit);
  unsigned long minPass = kNoWeight;
  m_lColorNum = static_cast<uint32_t>(CountColors(0, minPass, 1));
  return colors;
}

unsigned long CNiGoRo2::CountColors(unsigned long node, unsigned long& minPass, int withFixed) {
  const CCube2& cube = m_pTree[static_cast<uint32_t>(node)];
  const bool counts = cube.lColorCount != 0 && (withFixed != 0 || cube.iFixed == 0);
  if (cube.lPassCount != 0 && cube.lPassCount < static_cast<uint32_t>(minPass)) {
    minPass = cube.lPassCount;
  }
  unsigned long colors = counts ? 1 : 0;
  ForEachChild(cube, [&](unsigned child) {
    colors += CountColors(ChildOf(static_cast<uint32_t>(node), child), minPass, withFixed);
  });
  return colors;
}

unsigned long CNiGoRo2::CutBranches(unsigned long node, unsigned long minPass) {
  const uint32_t index = static_cast<uint32_t>(node);
  CCube2& cube = m_pTree[index];
  if (index != 0 && cube.lPassCount == static_cast<uint32_t>(minPass)) {
    Cut(index, &m_pTree[ParentOf(index)]);
    return 1;
  }
  ForEachChild(cube, [&](unsigned child) {
    if (CutBranches(ChildOf(index, child), minPass) == 1) {
      cube.byChildren = static_cast<uint8_t>(cube.byChildren & ~(1u << child));
    }
  });
  return 0;
}

void CNiGoRo2::Cut(unsigned long node, CCube2* into) {
  if (into->iFixed != 0) return;
  const uint32_t index = static_cast<uint32_t>(node);
  const CCube2& cube = m_pTree[index];
  ForEachChild(cube, [&](unsigned child) { Cut(ChildOf(index, child), into); });
  if (cube.iFixed != 0) {
    into->lSumRed = cube.lSumRed;
    into->lSumGreen = cube.lSumGreen;
    into->lSumBlue = cube.lSumBlue;
    into->lColorCount = cube.lColorCount;
    into->iFixed = 1;
    return;
  }
  // Also when a child has just made `into` fixed: the node's own sums still come on top.
  into->lSumRed += cube.lSumRed;
  into->lSumGreen += cube.lSumGreen;
  into->lSumBlue += cube.lSumBlue;
  into->lColorCount += cube.lColorCount;
}

void CNiGoRo2::CreateColorTableRec(unsigned long node, unsigned long& index) {
  CCube2& cube = m_pTree[static_cast<uint32_t>(node)];
  if (cube.lColorCount != 0) {
    if (index < std::size(m_ColorTrans)) {
      const uint32_t divisor = cube.iFixed != 0 ? 1 : cube.lColorCount;
      CColorTrans2& entry = m_ColorTrans[index];
      entry.rgb.rgbBlue = static_cast<uint8_t>(cube.lSumBlue / divisor);
      entry.rgb.rgbGreen = static_cast<uint8_t>(cube.lSumGreen / divisor);
      entry.rgb.rgbRed = static_cast<uint8_t>(cube.lSumRed / divisor);
      entry.lDenom = cube.lColorCount;
    }
    cube.lSumRed = static_cast<uint32_t>(index);
    ++index;
  }
  ForEachChild(cube, [&](unsigned child) {
    CreateColorTableRec(ChildOf(static_cast<uint32_t>(node), child), index);
  });
}
