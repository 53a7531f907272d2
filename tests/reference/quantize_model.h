// SPDX-License-Identifier: Apache-2.0
//
// A slow model of the colour reduction: the tree as a map from paths to nodes, every search by
// looking at all candidates.
#ifndef DIBKIT_TESTS_REFERENCE_QUANTIZE_MODEL_H
#define DIBKIT_TESTS_REFERENCE_QUANTIZE_MODEL_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/dib.h"

namespace dibtest {

struct ModelColor {
  Rgb rgb;
  uint32_t count;
  uint32_t index;
  bool operator==(const ModelColor&) const = default;
};

// The unstable sort, whose order among equals counts. `less(x, y)`: x comes before y.
template <typename T>
void ModelSort(std::vector<T>& values, size_t first, size_t n,
               const std::function<bool(const T&, const T&)>& less) {
  if (n < 2) return;
  const auto at = [&](size_t i) -> T& { return values[first + i]; };
  std::swap(at(0), at(n / 2));
  size_t last = 0;
  for (size_t i = 1; i != n; ++i) {
    if (less(at(i), at(0))) std::swap(at(++last), at(i));
  }
  std::swap(at(0), at(last));
  ModelSort(values, first, last, less);
  ModelSort(values, first + last + 1, n - last - 1, less);
}

class QuantizeModel {
 public:
  QuantizeModel(unsigned maxColors, unsigned depth) : m_maxColors(maxColors), m_depth(depth) {}

  void Insert(Rgb color, bool fixed);
  void InsertPixels(const Dib& source);
  // Returns the colours that are not fixed.
  size_t Reduce(size_t defaultColors = 0);
  void ListColors();

  // The whole 8-bit block for the source.
  std::vector<uint8_t> Map(const Dib& source);

  // All of it: insert, reduce, list, map.
  std::vector<uint8_t> Quantize(const Dib& source);

  std::vector<ModelColor>& Palette() { return m_palette; }

  // One path per colour of the tree, in order, for comparison with the library's tree.
  struct Node {
    uint64_t red = 0, green = 0, blue = 0, count = 0, pass = 0;
    std::set<char> children = {};
    bool fixed = false;
  };
  const std::map<std::string, Node>& Tree() const { return m_tree; }
  std::set<std::string> LivePaths() const;

  // Candidates of the cell with these indices; the palette is left sorted around it.
  std::vector<ModelColor> FillCell(unsigned r, unsigned g, unsigned b);
  void SortLinear();
  unsigned NearestLinear(Rgb color) const;

 private:
  std::vector<std::string> ChildrenOf(const std::string& path) const;
  size_t Count(const std::string& path, uint64_t& least, bool withFixed) const;
  bool CutBranches(const std::string& path, uint64_t least);
  void Merge(const std::string& path, Node& into);
  void List(const std::string& path);
  Rgb Component(const Dib& source, size_t x, size_t y) const;
  std::array<uint32_t, 3> Masks() const;

  unsigned m_maxColors;
  unsigned m_depth;
  std::map<std::string, Node> m_tree = {{"", {}}};
  std::vector<ModelColor> m_palette;
};

}  // namespace dibtest

#endif  // DIBKIT_TESTS_REFERENCE_QUANTIZE_MODEL_H
