// SPDX-License-Identifier: Apache-2.0
#include "reference/quantize_model.h"

#include <algorithm>
#include <cstdlib>

namespace dibtest {
namespace {

int DistanceOf(Rgb a, Rgb b) {
  const int red = a.red - b.red, green = a.green - b.green, blue = a.blue - b.blue;
  return red * red + green * green + blue * blue;
}

uint8_t BitOf(uint8_t value, unsigned level) {
  return static_cast<uint8_t>(level < 8 ? value >> (7 - level) & 1 : 0);
}

// One channel of a pixel by its mask: the lowest run of set bits, moved to the top of a byte.
uint8_t MaskedChannel(uint32_t pixel, uint32_t mask) {
  if (mask == 0) return 0;
  int low = 0;
  while ((mask >> low & 1) == 0) ++low;
  int run = 1;
  while (low + run < 32 && (mask >> (low + run) & 1) != 0) ++run;
  const uint64_t value = pixel & mask;
  return static_cast<uint8_t>(run > 8 ? value >> (low + run - 8) : value >> low << (8 - run));
}

struct Centre {
  int at;
  int half;
};

Centre CentreOf(unsigned cell) {
  if (cell == 7) return {239, 15};
  return {static_cast<int>(16 + 32 * cell), 16};
}

}  // namespace

void QuantizeModel::Insert(Rgb color, bool fixed) {
  std::string path;
  for (unsigned level = 0; level != m_depth; ++level) {
    Node& node = m_tree[path];
    node.pass += fixed ? 0xFFFF : 1;
    const int child =
        BitOf(color.red, level) + 2 * BitOf(color.green, level) + 4 * BitOf(color.blue, level);
    const char digit = static_cast<char>('0' + child);
    node.children.insert(digit);
    path += digit;
  }
  Node& leaf = m_tree[path];
  leaf.pass += 1;
  if (!leaf.fixed) {
    leaf.red += color.red;
    leaf.green += color.green;
    leaf.blue += color.blue;
    leaf.count += 1;
  }
  leaf.children.clear();
  if (fixed) {
    leaf.pass = 0xFFFF;
    leaf.fixed = true;
  }
}

std::array<uint32_t, 3> QuantizeModel::Masks() const {
  if (m_palette.empty()) return {m_maxColors, 0, 0};
  const ModelColor& first = m_palette.front();
  const uint32_t word =
      first.rgb.blue | uint32_t{first.rgb.green} << 8 | uint32_t{first.rgb.red} << 16;
  return {m_maxColors, word, first.count};
}

Rgb QuantizeModel::Component(const Dib& source, size_t x, size_t y) const {
  const bool hasBitFields = source.Get32(16) == 3;
  if (!hasBitFields) return source.PixelColor(x, y);
  const uint32_t pixel = source.Pixel(x, y);
  const std::array<uint32_t, 3> masks = Masks();
  return {MaskedChannel(pixel, masks[0]), MaskedChannel(pixel, masks[1]),
          MaskedChannel(pixel, masks[2])};
}

namespace {

bool IsReadable(const Dib& source) {
  const bool hasBitFields = source.Get32(16) == 3;
  const unsigned bits = source.Bits();
  return hasBitFields ? bits == 16 || bits == 32 : bits == 16 || bits == 24;
}

}  // namespace

void QuantizeModel::InsertPixels(const Dib& source) {
  if (!IsReadable(source) || source.Width() <= 0 || source.Height() <= 0) return;
  for (size_t y = 0; y != source.Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(source.Width()); ++x) {
      Insert(Component(source, x, y), false);
    }
  }
}

std::vector<std::string> QuantizeModel::ChildrenOf(const std::string& path) const {
  std::vector<std::string> children;
  for (const char digit : m_tree.at(path).children) children.push_back(path + digit);
  return children;
}

size_t QuantizeModel::Count(const std::string& path, uint64_t& least, bool withFixed) const {
  const Node& node = m_tree.at(path);
  if (node.pass != 0) least = std::min(least, node.pass);
  size_t count = node.count != 0 && (withFixed || !node.fixed) ? 1 : 0;
  for (const std::string& child : ChildrenOf(path)) count += Count(child, least, withFixed);
  return count;
}

bool QuantizeModel::CutBranches(const std::string& path, uint64_t least) {
  if (m_tree.at(path).pass == least) {
    Merge(path, m_tree.at(path.substr(0, path.size() - 1)));
    return true;
  }
  for (const std::string& child : ChildrenOf(path)) {
    if (CutBranches(child, least)) m_tree.at(path).children.erase(child.back());
  }
  return false;
}

void QuantizeModel::Merge(const std::string& path, Node& into) {
  if (into.fixed) return;
  for (const std::string& child : ChildrenOf(path)) Merge(child, into);
  const Node& node = m_tree.at(path);
  if (node.fixed) {
    into.red = node.red;
    into.green = node.green;
    into.blue = node.blue;
    into.count = node.count;
    into.fixed = true;
    return;
  }
  into.red += node.red;
  into.green += node.green;
  into.blue += node.blue;
  into.count += node.count;
}

size_t QuantizeModel::Reduce(size_t defaultColors) {
  for (;;) {
    uint64_t least = 0xFFFFFFFF;
    const size_t count = Count("", least, false);
    if (count <= m_maxColors - defaultColors) return count;
    CutBranches("", least);
  }
}

std::set<std::string> QuantizeModel::LivePaths() const {
  std::set<std::string> paths;
  std::vector<std::string> open = {""};
  while (!open.empty()) {
    const std::string path = open.back();
    open.pop_back();
    paths.insert(path);
    for (const std::string& child : ChildrenOf(path)) open.push_back(child);
  }
  return paths;
}

void QuantizeModel::List(const std::string& path) {
  const Node& node = m_tree.at(path);
  if (node.count != 0) {
    const uint64_t divisor = node.fixed ? 1 : node.count;
    m_palette.push_back(
        {{static_cast<uint8_t>(node.red / divisor), static_cast<uint8_t>(node.green / divisor),
          static_cast<uint8_t>(node.blue / divisor)},
         static_cast<uint32_t>(node.count),
         0});
  }
  for (const std::string& child : ChildrenOf(path)) List(child);
}

void QuantizeModel::ListColors() {
  m_palette.clear();
  List("");
}

void QuantizeModel::SortLinear() {
  ModelSort<ModelColor>(m_palette, 0, m_palette.size(),
                        [](const ModelColor& x, const ModelColor& y) { return x.count < y.count; });
  for (size_t i = 0; i != m_palette.size(); ++i) m_palette[i].index = static_cast<uint32_t>(i);
  ModelSort<ModelColor>(
      m_palette, 0, m_palette.size(),
      [](const ModelColor& x, const ModelColor& y) { return x.rgb.blue < y.rgb.blue; });
}

unsigned QuantizeModel::NearestLinear(Rgb color) const {
  if (m_palette.empty()) return 0;
  size_t start = 0;
  while (start + 1 < m_palette.size() && m_palette[start].rgb.blue < color.blue) ++start;
  std::vector<size_t> order;
  for (size_t i = start + 1; i-- != 0;) order.push_back(i);
  for (size_t i = start + 1; i < m_palette.size(); ++i) order.push_back(i);
  const auto nearer = [&](size_t x, size_t y) {
    return DistanceOf(m_palette[x].rgb, color) < DistanceOf(m_palette[y].rgb, color);
  };
  return m_palette[*std::min_element(order.begin(), order.end(), nearer)].index;
}

std::vector<ModelColor> QuantizeModel::FillCell(unsigned r, unsigned g, unsigned b) {
  const Centre axes[3] = {CentreOf(r), CentreOf(g), CentreOf(b)};
  const Rgb key{static_cast<uint8_t>(axes[0].at), static_cast<uint8_t>(axes[1].at),
                static_cast<uint8_t>(axes[2].at)};
  ModelSort<ModelColor>(m_palette, 0, m_palette.size(),
                        [&](const ModelColor& x, const ModelColor& y) {
                          return DistanceOf(x.rgb, key) < DistanceOf(y.rgb, key);
                        });
  const auto bound = [&](Rgb color, int sign) {
    const int parts[3] = {color.red, color.green, color.blue};
    int sum = 0;
    for (size_t i = 0; i != 3; ++i) {
      const int reach = std::max(0, std::abs(axes[i].at - parts[i]) + sign * axes[i].half);
      sum += reach * reach;
    }
    return sum;
  };
  std::vector<ModelColor> cell = {m_palette.front()};
  const int far = bound(m_palette.front().rgb, +1);
  for (size_t i = 1; i != m_palette.size() && bound(m_palette[i].rgb, -1) <= far; ++i) {
    cell.push_back(m_palette[i]);
  }
  return cell;
}

std::vector<uint8_t> QuantizeModel::Map(const Dib& source) {
  Dib out({.width = source.Width(), .height = source.Height(), .bits = 8, .xPels = 0, .yPels = 0});
  const size_t pixels = static_cast<size_t>(source.Width()) * source.Rows();
  const bool linear = pixels <= 16384 || m_palette.size() <= 64;
  std::vector<std::vector<ModelColor>> cells;
  if (linear) {
    SortLinear();
    for (const ModelColor& color : m_palette) out.SetColor(color.index, color.rgb);
  } else {
    for (size_t i = 0; i != m_palette.size(); ++i) {
      m_palette[i].index = static_cast<uint32_t>(i);
      out.SetColor(i, m_palette[i].rgb);
    }
    for (unsigned cell = 0; cell != 512; ++cell) {
      cells.push_back(FillCell(cell / 64, cell / 8 % 8, cell % 8));
    }
  }
  if (!IsReadable(source)) return out.Bytes();
  for (size_t y = 0; y != source.Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(source.Width()); ++x) {
      const Rgb color = Component(source, x, y);
      unsigned index = 0;
      if (linear) {
        index = NearestLinear(color);
      } else {
        const auto& cell = cells[color.red / 32u * 64 + color.green / 32u * 8 + color.blue / 32u];
        index = std::min_element(cell.begin(), cell.end(),
                                 [&](const ModelColor& a, const ModelColor& b) {
                                   return DistanceOf(a.rgb, color) < DistanceOf(b.rgb, color);
                                 })
                    ->index;
      }
      out.SetPixel(x, y, index);
    }
  }
  return out.Bytes();
}

std::vector<uint8_t> QuantizeModel::Quantize(const Dib& source) {
  InsertPixels(source);
  Reduce();
  ListColors();
  return Map(source);
}

}  // namespace dibtest
