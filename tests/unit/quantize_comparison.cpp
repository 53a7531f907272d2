// SPDX-License-Identifier: Apache-2.0
#include "quantize_comparison.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>

#include "quantize/color_map.h"
#include "quantize/distance.h"
#include "quantize/kernels.h"
#include "quantize/octree.h"
#include "quantize/search_cube.h"

namespace dibtest {
namespace {

using dibkit::CpuLevel;
namespace quantize = dibkit::quantize;

constexpr uint8_t kUnwritten = 0xCC;

uint8_t PixelByte(PixelKind kind, uint32_t x, uint32_t y, uint32_t c, uint32_t width,
                  Random& random) {
  const auto byte = [](uint32_t value) { return static_cast<uint8_t>(value); };
  switch (kind) {
    case PixelKind::kRandom:
      return random.Byte();
    case PixelKind::kWhite:
      return 255;
    case PixelKind::kGradient:
      return byte(x * (c + 1) * 255 / (width * 3) + (c == 1 ? y / 3 : 0));
    case PixelKind::kText:
      return byte((x / 5 + y / 7) % 3 != 0 ? 250 - c * 3 : 20 + x % 9);
    case PixelKind::kOneColorAndNoise:
      return byte(50 * c + 20 + random.Below(7));
    case PixelKind::kCellCentres:
      return byte(random.Below(8) * 32 + 16);
    case PixelKind::kFewColors:
      return byte(random.Below(4) * 64 + random.Below(2));
    case PixelKind::kGrid:
      return byte(c == 0 ? (x >> 3) * 8 : c == 1 ? (y >> 2) * 8 : (x ^ y) & 0xF8);
    case PixelKind::kDots:
      return byte(x % 97 == 0 ? random.Byte() : 244 + random.Below(10));
    case PixelKind::kNearlyBlack:
      break;
  }
  return byte(random.Below(2));
}

Dib Paint(const QuantizeCase& quantize, Random& random) {
  Dib image({.width = quantize.width, .height = quantize.height, .bits = 24});
  for (size_t y = 0; y < image.Rows(); ++y) {
    const auto width = static_cast<uint32_t>(quantize.width);
    for (uint32_t x = 0; x < width; ++x) {
      for (uint32_t c = 0; c < 3; ++c) {
        image.Row(y)[3 * x + c] =
            PixelByte(quantize.kind, x, static_cast<uint32_t>(y), c, width, random);
      }
    }
  }
  return image;
}

// The rows without the padding of the last one.
std::vector<uint8_t> RowsOf(const Dib& image) {
  const uint8_t* first = image.Row(0);
  const uint8_t* last = image.Row(image.Rows() - 1);
  return {first, last + 3 * static_cast<size_t>(image.Width())};
}

size_t NodeCount(unsigned depth) { return ((size_t{8} << (3 * depth)) - 1) / 7; }

bool SameEntries(const CColorTrans2* a, const CColorTrans2* b, size_t count) {
  return count == 0 || std::memcmp(a, b, count * sizeof *a) == 0;
}

// A search cell: its centre, and half its width along each axis.
struct CellBox {
  tagRGBQUAD centre;
  int half[3];

  CellBox(int r, int g, int b)
      : centre{Centre(b), Centre(g), Centre(r), 0}, half{Half(r), Half(g), Half(b)} {}

  static uint8_t Centre(int k) { return static_cast<uint8_t>(k == 7 ? 239 : 16 + 32 * k); }
  static int Half(int k) { return k == 7 ? 15 : 16; }

  int Apart(const tagRGBQUAD& rgb, int axis) const {
    const int parts[] = {rgb.rgbRed - centre.rgbRed, rgb.rgbGreen - centre.rgbGreen,
                         rgb.rgbBlue - centre.rgbBlue};
    return std::abs(parts[axis]);
  }
  uint32_t Farthest(const tagRGBQUAD& rgb) const {
    uint32_t sum = 0;
    for (int axis = 0; axis < 3; ++axis) sum += quantize::Square(Apart(rgb, axis) + half[axis]);
    return sum;
  }
  uint32_t Nearest(const tagRGBQUAD& rgb) const {
    uint32_t sum = 0;
    for (int axis = 0; axis < 3; ++axis) {
      sum += quantize::Square(std::max(0, Apart(rgb, axis) - half[axis]));
    }
    return sum;
  }
};

void FillCellPlainly(CNiGoRo2& quantizer, uint32_t count, int r, int g, int b) {
  CColorTrans2* palette = quantizer.m_ColorTrans;
  const CellBox box(r, g, b);
  Qsort(palette, box.centre, static_cast<long>(count), CompareColor);
  quantizer.AddList(r, g, b, palette[0]);
  const uint32_t farthest = box.Farthest(palette[0].rgb);
  for (uint32_t i = 1; i < count && box.Nearest(palette[i].rgb) <= farthest; ++i) {
    quantizer.AddList(r, g, b, palette[i]);
  }
}

}  // namespace

uint32_t PruneByRounds(CNiGoRo2& quantizer, uint32_t limit) {
  for (;;) {
    unsigned long least = 0xFFFFFFFF;
    const unsigned long colors = quantizer.CountColors(0, least, 0);
    if (colors <= limit || quantizer.m_pTree[0].lPassCount == least) {
      return static_cast<uint32_t>(colors);
    }
    quantizer.CutBranches(0, least);
  }
}

uint64_t TreeDifferences(const CCube2* tree, const CCube2* wanted, size_t count) {
  uint64_t differences = 0;
  for (size_t node = 0; node < count; ++node) {
    const CCube2& a = tree[node];
    const CCube2& b = wanted[node];
    const bool same = a.lSumRed == b.lSumRed && a.lSumGreen == b.lSumGreen &&
                      a.lSumBlue == b.lSumBlue && a.lColorCount == b.lColorCount &&
                      a.lPassCount == b.lPassCount && a.byChildren == b.byChildren &&
                      a.iFixed == b.iFixed;
    differences += same ? 0u : 1u;
  }
  return differences;
}

void FillSearchCubePlainly(CNiGoRo2& quantizer, uint32_t count) {
  for (int r = 0; r < 8; ++r) {
    for (int g = 0; g < 8; ++g) {
      for (int b = 0; b < 8; ++b) FillCellPlainly(quantizer, count, r, g, b);
    }
  }
}

uint64_t CubeDifferences(const CNiGoRo2& is, const CNiGoRo2& wanted) {
  const CSearchCell* cells = &is.m_SearchCube[0][0][0];
  const CSearchCell* wantedCells = &wanted.m_SearchCube[0][0][0];
  uint64_t differences = 0;
  for (size_t cell = 0; cell < 512; ++cell) {
    const bool same = cells[cell].lCount == wantedCells[cell].lCount &&
                      SameEntries(cells[cell].pList, wantedCells[cell].pList,
                                  static_cast<size_t>(cells[cell].lCount));
    differences += same ? 0u : 1u;
  }
  return differences + (SameEntries(is.m_ColorTrans, wanted.m_ColorTrans, 256) ? 0u : 1u);
}

uint64_t CompareSorts(unsigned count, Random& random, CpuLevel family) {
  const tagRGBQUAD key = {random.Byte(), random.Byte(), random.Byte(), 0};
  const unsigned spread = 1 + random.Below(random.Below(3) != 0 ? 200 : 6);
  const bool ordered = random.Below(2) != 0;
  CColorTrans2 entries[256];
  quantize::SortKey keys[256];
  for (unsigned i = 0; i < count; ++i) {
    const auto part = [&] { return static_cast<uint8_t>(random.Below(spread)); };
    entries[i] = {{part(), part(), part(), 0}, 0, i};
    if (ordered) entries[i].rgb.rgbBlue = static_cast<uint8_t>(i / 2 + random.Below(5));
    keys[i] = quantize::Distance(entries[i].rgb, key) << quantize::kSortPlaceBits | i;
  }
  Qsort(entries, key, static_cast<long>(count), CompareColor);
  quantize::KernelsFor(family).sortKeys(keys, count);
  uint64_t differences = 0;
  for (unsigned i = 0; i < count; ++i) {
    differences += (keys[i] & 255) != entries[i].lIndex ? 1u : 0u;
  }
  return differences;
}

QuantizeComparison::QuantizeComparison(const QuantizeCase& quantizeCase, Random& random)
    : m_case(quantizeCase),
      m_image(Paint(quantizeCase, random)),
      m_stride(m_image.Stride()),
      m_rows(RowsOf(m_image), random.Below(2) != 0 ? GuardSide::kEnd : GuardSide::kStart),
      m_plain(m_image.Data(), quantizeCase.maxColors, quantizeCase.depth, 0),
      m_linear(m_image.Data(), quantizeCase.maxColors, quantizeCase.depth, 0) {
  m_rows.MakeReadOnly();
  m_plain.InitOctree();
  InsertFixedColors(random);
  m_started = CopyTree();
  FillPlainly();
  m_filled = CopyTree();
  m_colors = PruneByRounds(m_plain, Limit());
  m_pruned = CopyTree();
  unsigned long listed = 0;
  m_plain.CreateColorTableRec(0, listed);
  m_plain.m_lColorNum = static_cast<uint32_t>(std::min<unsigned long>(listed, 256));
  std::copy_n(m_plain.m_ColorTrans, 256, m_linear.m_ColorTrans);
  m_linear.m_lColorNum = m_plain.m_lColorNum;
  tagRGBQUAD table[256];
  m_linear.BuildPalette(table);
  BuildCubePlainly();
  m_byCube = MapPlainly(m_plain, &CNiGoRo2::GetNearestColorIndexC);
  m_byLine = MapPlainly(m_linear, &CNiGoRo2::GetNearestColorIndexL);
}

QuantizeComparison::Tree QuantizeComparison::CopyTree() const {
  return {m_plain.m_pTree, m_plain.m_pTree + NodeCount(m_case.depth)};
}

void QuantizeComparison::InsertFixedColors(Random& random) {
  for (unsigned i = 0; i < m_case.fixedColors; ++i) {
    const uint8_t* pixel = m_rows.data() + 3 * random.Below(Width());
    const bool own = i % 2 == 0;
    m_plain.InsertColor(own ? pixel[2] : random.Byte(), own ? pixel[1] : random.Byte(),
                        own ? pixel[0] : random.Byte(), 1);
  }
}

void QuantizeComparison::FillPlainly() {
  for (int turn = 0; turn < (m_case.twice ? 2 : 1); ++turn) {
    for (uint32_t y = 0; y < Height(); ++y) {
      const uint8_t* pixel = m_rows.data() + y * m_stride;
      for (uint32_t x = 0; x < Width(); ++x, pixel += 3) {
        m_plain.InsertColor(pixel[2], pixel[1], pixel[0], 0);
      }
    }
  }
}

void QuantizeComparison::BuildCubePlainly() {
  for (uint32_t i = 0; i < m_plain.m_lColorNum; ++i) m_plain.m_ColorTrans[i].lIndex = i;
  m_palette.assign(m_plain.m_ColorTrans, m_plain.m_ColorTrans + 256);
  for (int turn = 0; turn < (m_case.twice ? 2 : 1); ++turn) {
    FillSearchCubePlainly(m_plain, m_plain.m_lColorNum);
  }
}

std::vector<uint8_t> QuantizeComparison::MapPlainly(CNiGoRo2& quantizer, Nearest nearest) const {
  std::vector<uint8_t> indices(StrideOf(8, Width()) * Height(), kUnwritten);
  for (uint32_t y = 0; y < Height(); ++y) {
    const uint8_t* pixel = m_image.Row(y);
    for (uint32_t x = 0; x < Width(); ++x, pixel += 3) {
      indices[y * StrideOf(8, Width()) + x] = (quantizer.*nearest)(pixel[2], pixel[1], pixel[0]);
    }
  }
  return indices;
}

uint64_t QuantizeComparison::Fill(CpuLevel family) {
  Tree tree = m_started;
  for (int turn = 0; turn < (m_case.twice ? 2 : 1); ++turn) {
    quantize::FillTree24(tree.data(), m_case.depth, m_rows.data(), m_stride, Width(), Height(),
                         quantize::KernelsFor(family));
  }
  return TreeDifferences(tree.data(), m_filled.data(), tree.size());
}

uint64_t QuantizeComparison::Prune() {
  Tree tree = m_filled;
  uint32_t colors = 0;
  if (quantize::PruneTree(tree.data(), Limit(), colors)) {
    return TreeDifferences(tree.data(), m_pruned.data(), tree.size()) +
           (colors == m_colors ? 0u : 1u);
  }
  return TreeDifferences(tree.data(), m_filled.data(), tree.size()) +
         (m_case.fixedColors != 0 ? 0u : 1u);
}

uint64_t QuantizeComparison::SearchCube(CpuLevel family) {
  CNiGoRo2 fast(m_image.Data(), m_case.maxColors, m_case.depth, 0);
  std::copy(m_palette.begin(), m_palette.end(), fast.m_ColorTrans);
  for (int turn = 0; turn < (m_case.twice ? 2 : 1); ++turn) {
    quantize::FillSearchCube(fast.m_ColorTrans, m_plain.m_lColorNum, fast.m_SearchCube,
                             quantize::KernelsFor(family));
  }
  return CubeDifferences(fast, m_plain);
}

// Images of fewer than 256 pixels may be left to the plain form, which then finds nothing written.
template <typename Map>
uint64_t QuantizeComparison::CompareMap(const std::vector<uint8_t>& wanted, Map map) {
  const size_t stride = StrideOf(8, Width());
  const size_t bytes = stride * (Height() - 1) + Width();
  GuardedBytes out(bytes);
  std::fill_n(out.data(), bytes, kUnwritten);
  const bool mapped = map(quantize::MapJob{.source = m_rows.data(),
                                           .sourceStride = m_stride,
                                           .target = out.data(),
                                           .targetStride = stride,
                                           .width = Width(),
                                           .height = Height()});
  if (!mapped && Pixels() >= 256) return 1;
  uint64_t differences = 0;
  for (size_t i = 0; i < bytes; ++i) {
    differences += out[i] != (mapped ? wanted[i] : kUnwritten) ? 1u : 0u;
  }
  return differences;
}

uint64_t QuantizeComparison::MapByCube(CpuLevel family) {
  return CompareMap(m_byCube, [&](const quantize::MapJob& job) {
    return quantize::MapByCube(job, m_plain.m_SearchCube, quantize::KernelsFor(family));
  });
}

uint64_t QuantizeComparison::MapLinearly(CpuLevel family) {
  return CompareMap(m_byLine, [&](const quantize::MapJob& job) {
    return quantize::MapLinearly(job, m_linear.m_ColorTrans, m_linear.m_lColorNum,
                                 quantize::KernelsFor(family));
  });
}

std::string QuantizeComparison::Describe() const {
  std::ostringstream text;
  text << m_case.width << " x " << m_case.height << ", pixels of kind "
       << static_cast<int>(m_case.kind) << ", depth " << m_case.depth << ", at most "
       << m_case.maxColors << " colours, " << m_case.fixedColors << " fixed"
       << (m_case.twice ? ", twice" : "");
  return text.str();
}

void CompareQuantizer(const QuantizeCase& quantizeCase, Random& random,
                      std::vector<Tally>& tallies) {
  QuantizeComparison comparison(quantizeCase, random);
  const std::string where = comparison.Describe();
  const uint64_t pruning = comparison.Prune();
  for (Tally& tally : tallies) {
    tally.compared += comparison.Pixels();
    tally.Note(pruning, where + ": pruning");
    tally.Note(comparison.Fill(tally.family), where + ": tree");
    tally.Note(comparison.SearchCube(tally.family), where + ": search cube");
    tally.Note(comparison.MapByCube(tally.family), where + ": mapping by cube");
    tally.Note(comparison.MapLinearly(tally.family), where + ": mapping linearly");
  }
}

}  // namespace dibtest
