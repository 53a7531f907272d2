// SPDX-License-Identifier: Apache-2.0
//
// Colour reduction with the kernels, step by step, against the class's plain members: pixel by
// pixel, round by round, cell by cell.
#ifndef DIBKIT_TESTS_UNIT_QUANTIZE_COMPARISON_H
#define DIBKIT_TESTS_UNIT_QUANTIZE_COMPARISON_H

#include <cstdint>
#include <string>
#include <vector>

#include "NiGoRo2.h"
#include "kernel_tally.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"

namespace dibtest {

enum class PixelKind {
  kRandom,
  kWhite,
  kGradient,
  kText,
  kOneColorAndNoise,
  kCellCentres,  // many equal distances
  kFewColors,
  kGrid,  // many colours of equal weight
  kDots,
  kNearlyBlack,  // the colours 0 and 1 of every component
};
inline constexpr unsigned kPixelKinds = 10;

struct QuantizeCase {
  int32_t width;
  int32_t height;
  PixelKind kind;
  uint16_t depth = 5;
  uint16_t maxColors = 256;
  unsigned fixedColors = 0;  // colours to keep, some of them in the image
  bool twice = false;        // fill the tree and the cube twice
};

// The plain run of one image, each step kept to be compared with a family's. The answers count the
// nodes, cells, entries or pixels that differ.
class QuantizeComparison {
 public:
  QuantizeComparison(const QuantizeCase& quantize, Random& random);

  uint64_t Pixels() const { return static_cast<uint64_t>(m_case.width) * Height(); }
  uint64_t Fill(dibkit::CpuLevel family);
  // Also counts a pruning that is refused without need, or that leaves something behind then.
  uint64_t Prune();
  uint64_t SearchCube(dibkit::CpuLevel family);
  uint64_t MapByCube(dibkit::CpuLevel family);
  uint64_t MapLinearly(dibkit::CpuLevel family);
  std::string Describe() const;

 private:
  using Tree = std::vector<CCube2>;
  using Nearest = CNiGoRo2::Search;

  uint32_t Height() const { return static_cast<uint32_t>(m_case.height); }
  uint32_t Width() const { return static_cast<uint32_t>(m_case.width); }
  uint32_t Limit() const { return m_case.maxColors - m_case.fixedColors; }
  Tree CopyTree() const;
  void InsertFixedColors(Random& random);
  void FillPlainly();
  void BuildCubePlainly();
  std::vector<uint8_t> MapPlainly(CNiGoRo2& quantizer, Nearest nearest) const;
  template <typename Map>
  uint64_t CompareMap(const std::vector<uint8_t>& wanted, Map map);

  QuantizeCase m_case;
  Dib m_image;
  size_t m_stride;
  GuardedBytes m_rows;
  CNiGoRo2 m_plain;   // its cube holds the cells
  CNiGoRo2 m_linear;  // its palette is in blue order
  std::vector<CColorTrans2> m_palette;
  Tree m_started;
  Tree m_filled;
  Tree m_pruned;
  uint32_t m_colors = 0;
  std::vector<uint8_t> m_byCube;
  std::vector<uint8_t> m_byLine;
};

// Merges the lightest nodes round by round; the colours that are left.
uint32_t PruneByRounds(CNiGoRo2& quantizer, uint32_t limit);

// Nodes of two trees that differ in any field.
uint64_t TreeDifferences(const CCube2* tree, const CCube2* wanted, size_t count);

// Fills the cells of `quantizer` from its first `count` palette entries: sorts for every cell and
// appends entry by entry.
void FillSearchCubePlainly(CNiGoRo2& quantizer, uint32_t count);
// Cells that differ, and one more when the palettes' order does.
uint64_t CubeDifferences(const CNiGoRo2& is, const CNiGoRo2& wanted);

// Sorts `count` keys with the family and with the palette sort; the places that differ.
uint64_t CompareSorts(unsigned count, Random& random, dibkit::CpuLevel family);

// All of the above for one image.
void CompareQuantizer(const QuantizeCase& quantize, Random& random, std::vector<Tally>& tallies);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_UNIT_QUANTIZE_COMPARISON_H
