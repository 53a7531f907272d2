// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include "NiGoRo2.h"
#include "reference/quantize_model.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

CColorTrans2 Entry(Rgb color, uint32_t denom = 0, uint32_t index = 0) {
  return {{color.blue, color.green, color.red, 0}, denom, index};
}

Rgb ColorOf(const CColorTrans2& entry) {
  return {entry.rgb.rgbRed, entry.rgb.rgbGreen, entry.rgb.rgbBlue};
}

// A quantiser over an image that nobody may write and nobody may read beyond.
class Subject {
 public:
  explicit Subject(const Dib& image, unsigned short maxColors = 256, unsigned short depth = 5)
      : m_bytes(image.Bytes()) {
    m_bytes.MakeReadOnly();
    m_quantizer = std::make_unique<CNiGoRo2>(m_bytes.data(), maxColors, depth, 0);
  }
  CNiGoRo2* operator->() { return m_quantizer.get(); }
  CNiGoRo2& operator*() { return *m_quantizer; }
  unsigned char* Data() { return m_bytes.data(); }

 private:
  GuardedBytes m_bytes;
  std::unique_ptr<CNiGoRo2> m_quantizer;
};

Dib TrueColor(int32_t width, int32_t height, Random& random) {
  Dib image({.width = width, .height = height, .bits = 24});
  image.FillRandom(random);
  return image;
}

// Any image to drive an object that does not look at it.
Dib Blank() { return Dib({.width = 1, .height = 1, .bits = 24}); }

class Quantizer : public HostTest {
 protected:
  static Bytes TakeBytes(tagHANDLE* handle) {
    if (handle == nullptr) return {};
    EXPECT_EQ(LockCount(handle), 0u);
    Bytes bytes = BytesOf(handle);
    GlobalFree(handle);
    return bytes;
  }

  static Bytes Run(const Dib& image, unsigned short maxColors = 256, unsigned short depth = 5) {
    Subject subject(image, maxColors, depth);
    return TakeBytes(subject->QuantizeBitmap(1, 0));
  }

  static void ExpectModel(const Dib& image, unsigned short maxColors = 256,
                          unsigned short depth = 5) {
    const Bytes expected = QuantizeModel(maxColors, depth).Quantize(image);
    const Bytes actual = Run(image, maxColors, depth);
    EXPECT_TRUE(actual == expected)
        << image.Bits() << " bits, " << image.Width() << " x " << image.Height() << ", "
        << maxColors << " colours, depth " << depth;
  }
};

// Sorting --------------------------------------------------------------------

std::vector<uint32_t> SortedOrder(std::vector<CColorTrans2> entries,
                                  int (*cmp)(CColorTrans2, CColorTrans2)) {
  Qsort(entries.data(), static_cast<long>(entries.size()), cmp);
  std::vector<uint32_t> order;
  for (const CColorTrans2& entry : entries) order.push_back(entry.lIndex);
  return order;
}

std::vector<CColorTrans2> EqualEntries(uint32_t n) {
  std::vector<CColorTrans2> entries;
  for (uint32_t i = 0; i != n; ++i) entries.push_back(Entry({1, 2, 3}, 4, i));
  return entries;
}

TEST(PaletteSort, EqualEntriesEndInTheirPeculiarOrder) {
  using Order = std::vector<uint32_t>;
  EXPECT_EQ(SortedOrder(EqualEntries(1), CompareBlue), (Order{0}));
  EXPECT_EQ(SortedOrder(EqualEntries(2), CompareBlue), (Order{1, 0}));
  EXPECT_EQ(SortedOrder(EqualEntries(3), CompareBlue), (Order{1, 2, 0}));
  EXPECT_EQ(SortedOrder(EqualEntries(4), CompareBlue), (Order{2, 0, 3, 1}));
}

TEST(PaletteSort, SmallCasesByHand) {
  // 2 0 1: the middle goes to the front (0 2 1), nothing is below it; then 2 1 becomes 1 2.
  const std::vector<CColorTrans2> entries = {Entry({}, 2, 0), Entry({}, 0, 1), Entry({}, 1, 2)};
  EXPECT_EQ(SortedOrder(entries, CompareDenom), (std::vector<uint32_t>{1, 2, 0}));
  // 1 1' 0 0': front 0 | 1' 1 0'; nothing below; 1' 1 0' -> 1 1' 0' -> 0' below: 1 0' 1' -> 0' 1
  // 1'.
  const std::vector<CColorTrans2> ties = {Entry({}, 1, 0), Entry({}, 1, 1), Entry({}, 0, 2),
                                          Entry({}, 0, 3)};
  EXPECT_EQ(SortedOrder(ties, CompareDenom), (std::vector<uint32_t>{2, 3, 0, 1}));
}

TEST(PaletteSort, NothingToSort) {
  CColorTrans2 one = Entry({1, 2, 3});
  Qsort(&one, 0, CompareBlue);
  Qsort(&one, 1, CompareBlue);
  Qsort(&one, -5, CompareBlue);
  Qsort(&one, {}, 0, CompareColor);
  EXPECT_EQ(ColorOf(one), (Rgb{1, 2, 3}));
}

std::vector<CColorTrans2> FewValued(uint32_t n, uint32_t values, Random& random) {
  std::vector<CColorTrans2> entries;
  for (uint32_t i = 0; i != n; ++i) {
    const auto part = [&] { return static_cast<uint8_t>(random.Below(values)); };
    entries.push_back(Entry({part(), part(), part()}, random.Below(values), i));
  }
  return entries;
}

std::vector<ModelColor> AsModel(const CColorTrans2* entries, size_t n) {
  std::vector<ModelColor> colors;
  for (size_t i = 0; i != n; ++i) {
    colors.push_back({ColorOf(entries[i]), entries[i].lDenom, entries[i].lIndex});
  }
  return colors;
}

TEST(PaletteSort, EveryLengthAgreesWithTheModel) {
  Random random(1);
  for (uint32_t n = 0; n <= 300; ++n) {
    for (const uint32_t values : {1u, 2u, 5u, 256u}) {
      std::vector<CColorTrans2> entries = FewValued(n, values, random);
      const tagRGBQUAD key{random.Byte(), random.Byte(), random.Byte(), 0};
      std::vector<ModelColor> model = AsModel(entries.data(), n);
      ModelSort<ModelColor>(model, 0, n, [](const ModelColor& x, const ModelColor& y) {
        return x.rgb.blue < y.rgb.blue;
      });
      Qsort(entries.data(), static_cast<long>(n), CompareBlue);
      ASSERT_EQ(AsModel(entries.data(), n), model);

      ModelSort<ModelColor>(
          model, 0, n, [](const ModelColor& x, const ModelColor& y) { return x.count < y.count; });
      Qsort(entries.data(), static_cast<long>(n), CompareDenom);
      ASSERT_EQ(AsModel(entries.data(), n), model);

      const auto distance = [key](Rgb c) {
        const int r = c.red - key.rgbRed, g = c.green - key.rgbGreen, b = c.blue - key.rgbBlue;
        return r * r + g * g + b * b;
      };
      ModelSort<ModelColor>(model, 0, n, [&](const ModelColor& x, const ModelColor& y) {
        return distance(x.rgb) < distance(y.rgb);
      });
      Qsort(entries.data(), key, static_cast<long>(n), CompareColor);
      ASSERT_EQ(AsModel(entries.data(), n), model);
    }
  }
}

TEST(PaletteSort, Comparisons) {
  const CColorTrans2 x = Entry({10, 20, 30}, 5);
  const CColorTrans2 y = Entry({13, 24, 30}, 9);
  EXPECT_EQ(CompareBlue(x, y), 0);
  EXPECT_EQ(CompareBlue(Entry({0, 0, 7}), Entry({0, 0, 250})), -243);
  EXPECT_EQ(CompareDenom(x, y), -4);
  EXPECT_EQ(CompareDenom(y, x), 4);
  const tagRGBQUAD key{30, 20, 10, 99};
  EXPECT_EQ(CompareColor(x, y, key), -25);
  EXPECT_EQ(CompareColor(y, x, key), 25);
  EXPECT_EQ(CompareColor(Entry({255, 255, 255}), Entry({0, 0, 0}), {0, 0, 0, 0}), 195075);
}

// Construction and destruction -----------------------------------------------

TEST_F(Quantizer, IsConstructedOverTheHeader) {
  Random random(2);
  Dib image = TrueColor(5, 3, random);
  image.Set32(20, 77);
  Subject subject(image, 17, 4);
  EXPECT_EQ(subject->m_pTree, nullptr);
  EXPECT_EQ(subject->m_wDepth, 4);
  EXPECT_EQ(subject->m_pBits, subject.Data() + 40);
  EXPECT_EQ(std::memcmp(&subject->m_bih, image.Data(), 40), 0);
  EXPECT_EQ(subject->m_wMaxColors, 17);
  EXPECT_EQ(subject->m_pDefaultColors, nullptr);
  EXPECT_EQ(subject->m_lColorNum, 0u);
  EXPECT_EQ(subject->m_lDefaultColorNum, 0u);
  EXPECT_EQ(subject->m_iPaletteMode, 0);
  EXPECT_EQ(subject->m_wLinearSearch, 0);
  EXPECT_EQ(ColorOf(subject->m_ColorTrans[0]), (Rgb{0, 0, 0}));
  EXPECT_EQ(subject->m_ColorTrans[0].lDenom, 0u);
  for (const auto& plane : subject->m_SearchCube) {
    for (const auto& line : plane) {
      for (const CSearchCell& cell : line) {
        EXPECT_EQ(cell.lCount, 0);
        EXPECT_EQ(cell.pList, nullptr);
      }
    }
  }
}

TEST_F(Quantizer, CopiesExactly40BytesWhateverTheSizeFieldSays) {
  Dib image({.width = 5, .height = 3, .bits = 24});
  image.Set32(0, 108);
  image.Bytes().resize(300);
  Subject subject(image);
  EXPECT_EQ(subject->m_bih.biSize, 108u);
  EXPECT_EQ(subject->m_bih.biWidth, 5);
  EXPECT_EQ(subject->m_pBits, subject.Data() + 108) << "the accessors' own reading";
}

TEST_F(Quantizer, StaysWithinAHeaderThatIsTheWholeBlock) {
  Subject subject(Dib({.bits = 24, .rowBytes = 0}));
  EXPECT_EQ(subject->m_pBits, subject.Data() + 40);
}

// The tree -------------------------------------------------------------------

TEST_F(Quantizer, TheTreeHasEveryPossibleNodeAndIsZero) {
  for (const auto& [depth, nodes] :
       {std::pair{0u, 1u}, {1u, 9u}, {2u, 73u}, {3u, 585u}, {5u, 37449u}}) {
    Subject subject(Blank(), 256, static_cast<unsigned short>(depth));
    ASSERT_EQ(subject->InitOctree(), 1);
    for (unsigned i = 0; i != nodes; ++i) {
      const CCube2& node = subject->m_pTree[i];
      ASSERT_EQ(node.lSumRed | node.lSumGreen | node.lSumBlue | node.lColorCount | node.lPassCount |
                    node.byChildren | static_cast<uint32_t>(node.iFixed),
                0u);
    }
  }
}

TEST_F(Quantizer, PaletteImagesAreNotReduced) {
  for (const uint16_t bits : {uint16_t{1}, uint16_t{4}, uint16_t{8}}) {
    Subject subject(Dib({.width = 4, .height = 4, .bits = bits}));
    EXPECT_EQ(subject->InitOctree(), 0);
    EXPECT_EQ(subject->m_pTree, nullptr);
    EXPECT_EQ(subject->QuantizeBitmap(1, 0), nullptr);
  }
  EXPECT_EQ(ReadHost().allocCalls, 0u);
}

uint32_t ChildOf(uint32_t node, unsigned child) { return 8 * node + 1 + child; }

// The node at a path of child numbers.
uint32_t NodeAt(const std::string& path) {
  uint32_t node = 0;
  for (const char digit : path) node = ChildOf(node, static_cast<unsigned>(digit - '0'));
  return node;
}

TEST_F(Quantizer, AColorGoesToTheLeafOfItsTopBits) {
  Subject subject(Blank(), 256, 2);
  subject->InitOctree();
  subject->InsertColor(0x80, 0x40, 0xC1, 0);  // level 0: red, blue (5); level 1: green, blue (6)
  const CCube2* tree = subject->m_pTree;
  EXPECT_EQ(tree[0].lPassCount, 1u);
  EXPECT_EQ(tree[0].byChildren, 1 << 5);
  EXPECT_EQ(tree[6].lPassCount, 1u);
  EXPECT_EQ(tree[6].byChildren, 1 << 6);
  const CCube2& leaf = tree[NodeAt("56")];
  EXPECT_EQ(leaf.lPassCount, 1u);
  EXPECT_EQ(leaf.lColorCount, 1u);
  EXPECT_EQ(leaf.lSumRed, 0x80u);
  EXPECT_EQ(leaf.lSumGreen, 0x40u);
  EXPECT_EQ(leaf.lSumBlue, 0xC1u);
  EXPECT_EQ(leaf.byChildren, 0);
  EXPECT_EQ(leaf.iFixed, 0);
  EXPECT_EQ(tree[0].lColorCount, 0u);
}

TEST_F(Quantizer, DepthZeroSumsInTheRoot) {
  Subject subject(Blank(), 256, 0);
  subject->InitOctree();
  subject->InsertColor(1, 2, 3, 0);
  subject->InsertColor(10, 20, 30, 0);
  EXPECT_EQ(subject->m_pTree[0].lColorCount, 2u);
  EXPECT_EQ(subject->m_pTree[0].lSumBlue, 33u);
  EXPECT_EQ(subject->m_pTree[0].lPassCount, 2u);
}

TEST_F(Quantizer, AFixedColorIsSummedOnceAndOutweighsItsPath) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  subject->InsertColor(0x80, 0, 0, 3);
  const CCube2& root = subject->m_pTree[0];
  const CCube2& leaf = subject->m_pTree[2];
  EXPECT_EQ(root.lPassCount, 0xFFFFu);
  EXPECT_EQ(leaf.lPassCount, 0xFFFFu);
  EXPECT_EQ(leaf.iFixed, 3);
  EXPECT_EQ(leaf.lColorCount, 1u);
  subject->InsertColor(0x90, 5, 5, 0);
  EXPECT_EQ(root.lPassCount, 0x10000u);
  EXPECT_EQ(leaf.lPassCount, 0x10000u) << "later pixels only raise its weight";
  EXPECT_EQ(leaf.lColorCount, 1u);
  EXPECT_EQ(leaf.lSumRed, 0x80u);
}

TEST_F(Quantizer, MakingAUsedLeafFixedSumsItOnceMore) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  subject->InsertColor(0x90, 0, 0, 0);
  subject->InsertColor(0x80, 0, 0, 1);
  const CCube2& leaf = subject->m_pTree[2];
  EXPECT_EQ(leaf.lSumRed, 0x110u) << "the flag is tested before it is set";
  EXPECT_EQ(leaf.lColorCount, 2u);
  EXPECT_EQ(leaf.lPassCount, 0xFFFFu);
}

TEST_F(Quantizer, DefaultColorsAreInsertedFixed) {
  Subject subject(Blank(), 256, 3);
  subject->InitOctree();
  subject->m_pDefaultColors = new tagRGBQUAD[3]{{1, 2, 0x80, 0}, {0x80, 2, 3, 0}, {9, 9, 9, 0}};
  subject->m_lDefaultColorNum = 2;
  subject->InsertDefaultColors();
  unsigned long least = 0xFFFFFFFF;
  EXPECT_EQ(subject->CountColors(0, least, 1), 2u);
  EXPECT_EQ(subject->CountColors(0, least, 0), 0u);
  EXPECT_EQ(least, 0xFFFFu);
  EXPECT_EQ(subject->m_pTree[NodeAt("100")].lSumRed, 0x80u);
  EXPECT_EQ(subject->m_pTree[NodeAt("400")].lSumBlue, 0x80u);
}

// The tree under `node` equals the model's under `path`.
void ExpectSameTree(const CNiGoRo2& quantizer, const QuantizeModel& model,
                    const std::string& path) {
  const CCube2& node = quantizer.m_pTree[NodeAt(path)];
  const QuantizeModel::Node& expected = model.Tree().at(path);
  ASSERT_EQ(node.lSumRed, expected.red) << path;
  ASSERT_EQ(node.lSumGreen, expected.green) << path;
  ASSERT_EQ(node.lSumBlue, expected.blue) << path;
  ASSERT_EQ(node.lColorCount, expected.count) << path;
  ASSERT_EQ(node.lPassCount, expected.pass) << path;
  ASSERT_EQ(node.iFixed != 0, expected.fixed) << path;
  unsigned children = 0;
  for (const char digit : expected.children) children |= 1u << (digit - '0');
  ASSERT_EQ(node.byChildren, children) << path;
  for (const char digit : expected.children) ExpectSameTree(quantizer, model, path + digit);
}

TEST_F(Quantizer, TreeAndPruningAgreeWithTheModel) {
  Random random(3);
  for (int round = 0; round != 60; ++round) {
    const unsigned depth = 1 + random.Below(5);
    const unsigned maxColors = 1 + random.Below(64);
    const unsigned fixed = random.Below(std::min(maxColors, 6u));
    Subject subject(Blank(), static_cast<unsigned short>(maxColors),
                    static_cast<unsigned short>(depth));
    QuantizeModel model(maxColors, depth);
    subject->InitOctree();
    subject->m_lDefaultColorNum = fixed;
    const unsigned spread = random.Below(2) == 0 ? 40 : 256;
    const auto insert = [&](int flag) {
      const auto part = [&] { return static_cast<uint8_t>(random.Below(spread)); };
      const Rgb color{part(), part(), part()};
      subject->InsertColor(color.red, color.green, color.blue, flag);
      model.Insert(color, flag != 0);
    };
    for (unsigned i = 0; i != fixed; ++i) insert(1);
    for (unsigned i = random.Below(400); i != 0; --i) insert(0);
    ExpectSameTree(*subject, model, "");
    EXPECT_EQ(subject->ReduceColors(), model.Reduce(fixed));
    ExpectSameTree(*subject, model, "");
    model.ListColors();
    EXPECT_EQ(subject->m_lColorNum, model.Palette().size());
    unsigned long index = 0;
    subject->CreateColorTableRec(0, index);
    EXPECT_EQ(index, model.Palette().size());
    EXPECT_EQ(AsModel(subject->m_ColorTrans, index), model.Palette());
  }
}

TEST_F(Quantizer, TwoLeavesOfEqualWeightAreMergedInOneRound) {
  Subject subject(Blank(), 2, 1);
  subject->InitOctree();
  subject->InsertColor(0, 0, 0, 0);
  subject->InsertColor(0xFF, 0, 0, 0);
  for (int i = 0; i != 3; ++i) subject->InsertColor(0, 0, 0xFF, 0);
  EXPECT_EQ(subject->ReduceColors(), 2u) << "the root, which took both, and the heavy leaf";
  EXPECT_EQ(subject->m_pTree[0].lColorCount, 2u);
  EXPECT_EQ(subject->m_pTree[0].lSumRed, 0xFFu);
  EXPECT_EQ(subject->m_pTree[0].byChildren, 1 << 4);

  Subject even(Blank(), 2, 1);
  even->InitOctree();
  even->InsertColor(0, 0, 0, 0);
  even->InsertColor(0xFF, 0, 0, 0);
  even->InsertColor(0, 0, 0xFF, 0);
  EXPECT_EQ(even->ReduceColors(), 1u) << "well below the limit";
}

TEST_F(Quantizer, AParentOfEqualWeightIsCutBeforeItsOnlyChild) {
  Subject subject(Blank(), 1, 2);
  subject->InitOctree();
  subject->InsertColor(0, 0, 0, 0);                                  // path 0 0
  for (int i = 0; i != 2; ++i) subject->InsertColor(0xFF, 0, 0, 0);  // path 1 1
  EXPECT_EQ(subject->CutBranches(0, 1), 0u);
  EXPECT_EQ(subject->m_pTree[0].byChildren, 1 << 1);
  EXPECT_EQ(subject->m_pTree[0].lColorCount, 1u);
  EXPECT_EQ(subject->m_pTree[1].byChildren, 1) << "the cut node itself is left as it was";
}

TEST_F(Quantizer, CuttingANodeAnswers1) {
  Subject subject(Blank(), 1, 1);
  subject->InitOctree();
  subject->InsertColor(0, 0, 0, 0);
  subject->InsertColor(0xFF, 0, 0, 0);
  EXPECT_EQ(subject->CutBranches(1, 1), 1u);
  EXPECT_EQ(subject->m_pTree[0].lColorCount, 1u);
  EXPECT_EQ(subject->m_pTree[0].byChildren, 3) << "the caller clears the bit";
}

TEST_F(Quantizer, CutAddsASubtree) {
  Subject subject(Blank(), 256, 2);
  subject->InitOctree();
  subject->InsertColor(1, 2, 3, 0);
  subject->InsertColor(0x40, 0, 0, 0);
  subject->InsertColor(0x41, 0, 0, 0);
  CCube2 into = {100, 100, 100, 5, 9, 0, 0};
  subject->Cut(NodeAt("0"), &into);
  EXPECT_EQ(into.lSumRed, 100u + 1 + 0x40 + 0x41);
  EXPECT_EQ(into.lSumGreen, 102u);
  EXPECT_EQ(into.lSumBlue, 103u);
  EXPECT_EQ(into.lColorCount, 8u);
  EXPECT_EQ(into.lPassCount, 9u) << "it counts the subtree already";
}

TEST_F(Quantizer, CutIntoAFixedColorChangesNothing) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  subject->InsertColor(1, 2, 3, 0);
  CCube2 into = {100, 100, 100, 5, 9, 0, 1};
  subject->Cut(1, &into);
  EXPECT_EQ(into.lSumRed, 100u);
  EXPECT_EQ(into.lColorCount, 5u);
}

TEST_F(Quantizer, CutOfAFixedColorReplacesTheSums) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  subject->InsertColor(1, 2, 3, 7);
  CCube2 into = {100, 100, 100, 5, 9, 0, 0};
  subject->Cut(1, &into);
  EXPECT_EQ(into.lSumRed, 1u);
  EXPECT_EQ(into.lSumGreen, 2u);
  EXPECT_EQ(into.lSumBlue, 3u);
  EXPECT_EQ(into.lColorCount, 1u);
  EXPECT_EQ(into.iFixed, 1);
}

TEST_F(Quantizer, ANodesOwnSumsComeOnTopOfAFixedChild) {
  Subject subject(Blank(), 256, 2);
  subject->InitOctree();
  subject->InsertColor(1, 2, 3, 1);
  CCube2& node = subject->m_pTree[NodeAt("0")];
  node.lSumRed = 1000;
  node.lColorCount = 10;
  CCube2 into = {};
  subject->Cut(NodeAt("0"), &into);
  EXPECT_EQ(into.iFixed, 1);
  EXPECT_EQ(into.lSumRed, 1001u);
  EXPECT_EQ(into.lColorCount, 11u);
}

TEST_F(Quantizer, CountingLowersTheSmallestWeightOnly) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  for (int i = 0; i != 3; ++i) subject->InsertColor(0, 0, 0, 0);
  for (int i = 0; i != 5; ++i) subject->InsertColor(0xFF, 0, 0, 0);
  unsigned long least = 0xFFFFFFFF;
  EXPECT_EQ(subject->CountColors(0, least, 0), 2u);
  EXPECT_EQ(least, 3u);
  least = 2;
  EXPECT_EQ(subject->CountColors(0, least, 0), 2u);
  EXPECT_EQ(least, 2u);
  least = 0xFFFFFFFF;
  EXPECT_EQ(subject->CountColors(2, least, 0), 1u) << "below a node";
  EXPECT_EQ(least, 5u);
}

TEST_F(Quantizer, ThePaletteIsListedInPreOrder) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  for (const int c : {7, 0, 4, 2, 1}) {
    subject->InsertColor(c & 1 ? 200 : 0, c & 2 ? 200 : 0, c & 4 ? 200 : 0, 0);
  }
  subject->m_pTree[0].lColorCount = 2;
  subject->m_pTree[0].lSumRed = 41;
  unsigned long index = 3;
  subject->CreateColorTableRec(0, index);
  EXPECT_EQ(index, 9u);
  const CColorTrans2* entries = subject->m_ColorTrans + 3;
  EXPECT_EQ(ColorOf(entries[0]), (Rgb{20, 0, 0})) << "the node comes first, its mean truncated";
  EXPECT_EQ(entries[0].lDenom, 2u);
  EXPECT_EQ(ColorOf(entries[1]), (Rgb{0, 0, 0}));
  EXPECT_EQ(ColorOf(entries[2]), (Rgb{200, 0, 0}));
  EXPECT_EQ(ColorOf(entries[3]), (Rgb{0, 200, 0}));
  EXPECT_EQ(ColorOf(entries[4]), (Rgb{0, 0, 200}));
  EXPECT_EQ(ColorOf(entries[5]), (Rgb{200, 200, 200}));
  EXPECT_EQ(subject->m_pTree[0].lSumRed, 3u) << "the red sum becomes the index";
  EXPECT_EQ(subject->m_pTree[8].lSumRed, 8u);
}

TEST_F(Quantizer, AFixedColorIsNotDivided) {
  Subject subject(Blank(), 256, 1);
  subject->InitOctree();
  subject->InsertColor(0x90, 0, 0, 0);
  subject->InsertColor(0x80, 0, 0, 1);
  unsigned long index = 0;
  subject->CreateColorTableRec(0, index);
  EXPECT_EQ(subject->m_ColorTrans[0].rgb.rgbRed, 0x10) << "0x110 / 1, in 8 bits";
  EXPECT_EQ(subject->m_ColorTrans[0].lDenom, 2u);
}

// Filling --------------------------------------------------------------------

TEST_F(Quantizer, EveryFormatFillsTheModelsTree) {
  Random random(4);
  const struct {
    uint16_t bits;
    uint32_t compression;
  } formats[] = {{16, 0}, {24, 0}, {32, 0}, {16, 3}, {32, 3}, {24, 3}, {24, 1}, {16, 2}, {12, 0}};
  for (const auto& format : formats) {
    for (int32_t width = 1; width <= 9; ++width) {
      Dib image({.width = width,
                 .height = 3,
                 .bits = format.bits,
                 .compression = format.compression,
                 .tableEntries = 0});
      image.FillRandom(random);
      Subject subject(image);
      subject->InitOctree();
      subject->FillTree();
      QuantizeModel model(256, 5);
      model.InsertPixels(image);
      ExpectSameTree(*subject, model, "");
    }
  }
}

TEST_F(Quantizer, ATopDownSourceInsertsNothing) {
  Random random(5);
  Dib image = TrueColor(4, 4, random);
  image.Set32(8, static_cast<uint32_t>(-4));
  Subject subject(image);
  EXPECT_EQ(subject->QuantizeBitmap(1, 0), nullptr) << "there is no image of negative height";
  EXPECT_EQ(subject->m_lColorNum, 0u);
  EXPECT_NE(subject->m_pTree, nullptr);
  EXPECT_EQ(subject->m_pTree[0].lPassCount, 0u);
}

TEST_F(Quantizer, ExtremeSizesInsertNothing) {
  for (const auto& [width, height] :
       {std::pair<uint32_t, uint32_t>{0, 4}, {4, 0}, {0x80000000, 1}, {1, 0x80000000}}) {
    Dib image({.width = 1, .height = 1, .bits = 24});
    image.Set32(4, width);
    image.Set32(8, height);
    Subject subject(image);
    EXPECT_EQ(subject->QuantizeBitmap(1, 0), nullptr);
    EXPECT_EQ(subject->m_lColorNum, 0u);
  }
}

// The whole run --------------------------------------------------------------

TEST_F(Quantizer, SmallImagesOfEveryFormatAgreeWithTheModel) {
  Random random(6);
  for (const uint16_t bits : {uint16_t{16}, uint16_t{24}}) {
    for (int32_t width = 1; width <= 40; width += 3) {
      Dib image({.width = width, .height = 11, .bits = bits});
      image.FillRandom(random);
      for (const unsigned short maxColors :
           std::initializer_list<unsigned short>{1, 2, 16, 100, 256}) {
        ExpectModel(image, maxColors);
      }
      ExpectModel(image, 256, 1);
      ExpectModel(image, 256, 3);
    }
  }
}

TEST_F(Quantizer, LargeImagesAgreeWithTheModelThroughTheCube) {
  Random random(7);
  for (const auto& [width, height] : {std::pair{16385, 1}, {129, 128}, {5, 3277}, {200, 150}}) {
    Dib image({.width = width, .height = height, .bits = 24});
    image.FillRandom(random);
    ExpectModel(image);
    image.FillSmooth(random);
    ExpectModel(image);
    Dib high({.width = width, .height = height, .bits = 16});
    high.FillRandom(random);
    ExpectModel(high);
  }
}

TEST_F(Quantizer, BrightAndDarkEdgesOfTheCubeAgreeWithTheModel) {
  Random random(8);
  Dib image({.width = 180, .height = 100, .bits = 24});
  for (size_t y = 0; y != 100; ++y) {
    for (size_t x = 0; x != 180; ++x) {
      uint32_t value = 0;
      for (unsigned c = 0; c != 3; ++c) {
        const uint32_t step = random.Below(6);
        value |= (step < 3    ? 255 - random.Below(9)
                  : step == 3 ? random.Below(9)
                              : 8 * random.Below(32))
                 << 8 * c;
      }
      image.SetPixel(x, y, value);
    }
  }
  ExpectModel(image);
}

TEST_F(Quantizer, TheSearchIsChosenByPixelsAndColors) {
  Random random(9);
  const struct {
    int32_t width, height;
    unsigned colors;
    uint16_t linear;
  } rows[] = {{128, 128, 256, 1}, {16385, 1, 256, 0}, {16385, 1, 64, 1}, {145, 113, 256, 0}};
  for (const auto& row : rows) {
    Subject subject(TrueColor(row.width, row.height, random),
                    static_cast<unsigned short>(row.colors));
    TakeBytes(subject->QuantizeBitmap(1, 0));
    EXPECT_EQ(subject->m_wLinearSearch, row.linear) << row.width << " x " << row.height;
  }
}

TEST_F(Quantizer, SixtyFiveColorsOn16385PixelsUseTheCube) {
  Dib image({.width = 16385, .height = 1, .bits = 24});
  for (size_t x = 0; x != 16385; ++x) {
    const uint32_t cell = x < 65 ? static_cast<uint32_t>(x) : 0;
    image.SetPixel(x, 0, (cell & 31) << 3 | (cell >> 5) << 11);
  }
  Subject subject(image);
  TakeBytes(subject->QuantizeBitmap(1, 0));
  EXPECT_EQ(subject->m_lColorNum, 65u);
  EXPECT_EQ(subject->m_wLinearSearch, 0);
  ExpectModel(image);
}

TEST_F(Quantizer, FewColorsAreKeptOnePerLeaf) {
  Dib image({.width = 4, .height = 1, .bits = 24});
  image.SetPixel(0, 0, 0x101010);
  image.SetPixel(1, 0, 0x111713);  // the same leaf
  image.SetPixel(2, 0, 0x800000);
  image.SetPixel(3, 0, 0x101010);
  const Dib result = Dib::FromBytes(Run(image));
  // Ordered by use: the lone colour first.
  EXPECT_EQ(result.Color(0), (Rgb{0x80, 0, 0}));
  EXPECT_EQ(result.Color(1), (Rgb{0x10, 0x12, 0x11}));  // means of 0x10 0x11 0x10 and so on
  EXPECT_EQ(result.Pixel(0, 0), 1u);
  EXPECT_EQ(result.Pixel(1, 0), 1u);
  EXPECT_EQ(result.Pixel(2, 0), 0u);
  EXPECT_EQ(result.Pixel(3, 0), 1u);
  EXPECT_EQ(result.Get32(40 + 8), 0u) << "unused entries stay 0";
}

TEST_F(Quantizer, OneColorIsIndex0) {
  Dib image({.width = 7, .height = 5, .bits = 24});
  for (size_t y = 0; y != 5; ++y) {
    for (size_t x = 0; x != 7; ++x) image.SetPixel(x, y, 0x123456);
  }
  const Dib result = Dib::FromBytes(Run(image));
  EXPECT_EQ(result.Color(0), (Rgb{0x12, 0x34, 0x56}));
  for (size_t x = 0; x != 7; ++x) EXPECT_EQ(result.Pixel(x, 4), 0u);
}

TEST_F(Quantizer, TheResultIsAFresh8BitImage) {
  Random random(10);
  Dib image = TrueColor(5, 3, random);
  const Dib result = Dib::FromBytes(Run(image));
  EXPECT_EQ(result.Width(), 5);
  EXPECT_EQ(result.Height(), 3);
  EXPECT_EQ(result.Bits(), 8);
  for (size_t offset = 16; offset != 40; offset += 4) EXPECT_EQ(result.Get32(offset), 0u);
  EXPECT_EQ(result.Bytes().size(), 1064u + 8 * 3);
  for (size_t i = 0; i != 256; ++i) EXPECT_EQ(result.Bytes()[43 + 4 * i], 0) << "reserved";
}

TEST_F(Quantizer, ASecondRunMakesASecondImageOfTheSameTree) {
  Random random(11);
  Subject subject(TrueColor(20, 20, random));
  const Bytes first = TakeBytes(subject->QuantizeBitmap(1, 0));
  const CCube2* tree = subject->m_pTree;
  const uint32_t passed = tree[0].lPassCount;
  const Bytes second = TakeBytes(subject->QuantizeBitmap(1, 0));
  EXPECT_EQ(subject->m_pTree, tree);
  EXPECT_EQ(tree[0].lPassCount, passed);
  EXPECT_EQ(first.size(), second.size());
  // The palette is sorted again, from blue order: the pictures are the same, the tables need not
  // be.
  const Dib a = Dib::FromBytes(first);
  const Dib b = Dib::FromBytes(second);
  for (size_t y = 0; y != 20; ++y) {
    for (size_t x = 0; x != 20; ++x) {
      const Rgb source = Dib::FromBytes(first).PixelColor(x, y);
      EXPECT_EQ(b.PixelColor(x, y), source);
      EXPECT_EQ(a.PixelColor(x, y), source);
    }
  }
}

TEST_F(Quantizer, WithDepth0NoTreeIsBuilt) {
  Random random(12);
  Subject subject(TrueColor(5, 3, random), 256, 0);
  const Bytes bytes = TakeBytes(subject->QuantizeBitmap(1, 0));
  EXPECT_EQ(subject->m_pTree, nullptr);
  EXPECT_EQ(subject->m_lColorNum, 0u);
  EXPECT_EQ(Bytes(bytes.begin() + 40, bytes.end()), Bytes(bytes.size() - 40, 0));
}

TEST_F(Quantizer, UnknownFormatsGiveAnImageOfIndex0) {
  Random random(13);
  const struct {
    uint16_t bits;
    uint32_t compression;
  } formats[] = {{32, 0}, {24, 3}, {12, 0}, {9, 0}, {48, 0}, {30000, 0}};
  for (const auto& format : formats) {
    Dib image({.width = 5,
               .height = 3,
               .bits = format.bits,
               .compression = format.compression,
               .tableEntries = 0});
    image.FillRandom(random);
    const Bytes bytes = Run(image);
    ASSERT_EQ(bytes.size(), 1064u + 24);
    EXPECT_EQ(Bytes(bytes.begin() + 40, bytes.end()), Bytes(bytes.size() - 40, 0)) << format.bits;
  }
}

// Bit fields -----------------------------------------------------------------

TEST_F(Quantizer, BitFieldsAreReadWithTheQuantizersOwnFields) {
  Random random(14);
  for (const uint16_t bits : {uint16_t{16}, uint16_t{32}}) {
    for (const unsigned short maxColors :
         std::initializer_list<unsigned short>{256, 255, 128, 31, 7, 2}) {
      Dib image({.width = 13, .height = 7, .bits = bits, .compression = 3});
      image.FillRandom(random);
      ExpectModel(image, maxColors);
    }
  }
}

TEST_F(Quantizer, TheSourcesOwnMasksAreReadAsPixels) {
  Dib image({.width = 2, .height = 1, .bits = 32, .compression = 3, .masks = {0x100, 0, 0xFF}});
  image.Row(0)[1] = 0xFF;  // never looked at: the rows begin at the masks
  const Bytes bytes = Run(image);
  // With a limit of 256 the red mask is bit 8: the first mask is red 128, the second 0. Both are
  // counted once; the sort for use and the sort by blue each swap the two.
  const Dib result = Dib::FromBytes(bytes);
  EXPECT_EQ(result.PixelColor(0, 0), (Rgb{0x80, 0, 0}));
  EXPECT_EQ(result.PixelColor(1, 0), (Rgb{0, 0, 0}));
}

TEST_F(Quantizer, NoPixelIsReadWithADefaultMask) {
  Dib image({.width = 2, .height = 1, .bits = 16, .compression = 3});
  image.Set16(40, 0xFEFF);
  image.Set16(42, 0x0100);
  Subject subject(image);
  subject->InitOctree();
  subject->FillTree();
  EXPECT_EQ(subject->m_pTree[0].byChildren, 3);
  EXPECT_EQ(subject->m_pTree[NodeAt("10000")].lSumRed, 0x80u);
  EXPECT_EQ(subject->m_pTree[NodeAt("00000")].lSumRed, 0u);
}

// Palette and searches -------------------------------------------------------

// A quantiser with a palette put in by hand.
void SetPalette(CNiGoRo2& quantizer, const std::vector<CColorTrans2>& entries) {
  std::copy(entries.begin(), entries.end(), quantizer.m_ColorTrans);
  quantizer.m_lColorNum = static_cast<uint32_t>(entries.size());
}

QuantizeModel ModelOf(const std::vector<CColorTrans2>& entries) {
  QuantizeModel model(256, 5);
  model.Palette() = AsModel(entries.data(), entries.size());
  return model;
}

std::vector<CColorTrans2> RandomPalette(uint32_t n, uint32_t values, Random& random) {
  std::vector<CColorTrans2> entries;
  for (uint32_t i = 0; i != n; ++i) {
    const auto part = [&] {
      return static_cast<uint8_t>(random.Below(values) * 255 / (values - 1));
    };
    entries.push_back(Entry({part(), part(), part()}, 1 + random.Below(values)));
  }
  return entries;
}

TEST_F(Quantizer, LinearPaletteAndSearchAgreeWithTheModel) {
  Random random(15);
  for (const uint32_t n : {1u, 2u, 3u, 10u, 64u, 256u}) {
    for (const uint32_t values : {2u, 4u, 16u, 256u}) {
      const std::vector<CColorTrans2> entries = RandomPalette(n, values, random);
      Subject subject(Blank());
      SetPalette(*subject, entries);
      GuardedBytes table(4 * n);
      subject->BuildPalette(reinterpret_cast<tagRGBQUAD*>(table.data()));
      QuantizeModel model = ModelOf(entries);
      model.SortLinear();
      ASSERT_EQ(AsModel(subject->m_ColorTrans, n), model.Palette());
      for (const ModelColor& color : model.Palette()) {
        const unsigned char* entry = table.data() + 4 * color.index;
        ASSERT_EQ((Rgb{entry[2], entry[1], entry[0]}), color.rgb);
        ASSERT_EQ(entry[3], 0);
      }
      for (int i = 0; i != 3000; ++i) {
        const Rgb c{random.Byte(), random.Byte(), random.Byte()};
        ASSERT_EQ(subject->GetNearestColorIndexL(c.red, c.green, c.blue), model.NearestLinear(c));
      }
    }
  }
}

TEST_F(Quantizer, TheLinearTableIsOrderedByUse) {
  Subject subject(Blank());
  SetPalette(*subject, {Entry({1, 0, 50}, 30), Entry({2, 0, 40}, 10), Entry({3, 0, 60}, 20)});
  tagRGBQUAD table[4] = {};
  subject->BuildPalette(table);
  EXPECT_EQ(table[0].rgbRed, 2);
  EXPECT_EQ(table[1].rgbRed, 3);
  EXPECT_EQ(table[2].rgbRed, 1);
  EXPECT_EQ(table[3].rgbRed, 0);
  EXPECT_EQ(subject->m_ColorTrans[0].rgb.rgbBlue, 40);
  EXPECT_EQ(subject->m_ColorTrans[0].lIndex, 0u);
  EXPECT_EQ(subject->m_ColorTrans[1].lIndex, 2u);
  EXPECT_EQ(subject->m_ColorTrans[2].lIndex, 1u);
}

TEST_F(Quantizer, LinearTiesGoToTheEntryMetFirst) {
  Subject subject(Blank());
  // Blue order; the pixel's blue is 20. The scan begins at the first entry with at least that.
  SetPalette(*subject, {Entry({0, 0, 10}, 0, 7), Entry({10, 0, 20}, 0, 5), Entry({0, 10, 20}, 0, 9),
                        Entry({0, 0, 30}, 0, 3)});
  EXPECT_EQ(subject->GetNearestColorIndexL(0, 0, 20), 5) << "downward from the start comes first";
  SetPalette(*subject, {Entry({0, 0, 10}, 0, 7), Entry({0, 0, 30}, 0, 3)});
  EXPECT_EQ(subject->GetNearestColorIndexL(0, 0, 20), 3) << "the start itself, then downward";
  SetPalette(*subject, {Entry({0, 0, 10}, 0, 7), Entry({0, 0, 10}, 0, 8), Entry({0, 0, 30}, 0, 3)});
  EXPECT_EQ(subject->GetNearestColorIndexL(0, 0, 10), 7) << "blue not above entry 0: start at 0";
  EXPECT_EQ(subject->GetNearestColorIndexL(0, 0, 11), 8) << "downward from the third entry";
}

TEST_F(Quantizer, TheLinearSearchAnswersTheLowByteOfTheIndex) {
  Subject subject(Blank());
  SetPalette(*subject, {Entry({0, 0, 0}, 0, 0x12345)});
  EXPECT_EQ(subject->GetNearestColorIndexL(9, 9, 9), 0x45);
}

TEST_F(Quantizer, AnEmptyPaletteAnswersTheIndexOfEntry0) {
  Subject subject(Blank());
  EXPECT_EQ(subject->GetNearestColorIndexL(9, 9, 9), 0);
  EXPECT_EQ(subject->GetNearestColorIndexC(9, 9, 9), 0);
}

TEST_F(Quantizer, SearchCubeAgreesWithTheModelCellByCell) {
  Random random(16);
  for (const uint32_t n : {1u, 2u, 33u, 100u, 256u}) {
    for (const uint32_t values : {2u, 5u, 33u, 256u}) {
      const std::vector<CColorTrans2> entries = RandomPalette(n, values, random);
      Subject subject(Blank());
      SetPalette(*subject, entries);
      GuardedBytes table(4 * n);
      subject->BuildSearchCube(reinterpret_cast<tagRGBQUAD*>(table.data()));
      QuantizeModel model = ModelOf(entries);
      for (uint32_t i = 0; i != n; ++i) {
        model.Palette()[i].index = i;
        const unsigned char* entry = table.data() + 4 * i;
        ASSERT_EQ((Rgb{entry[2], entry[1], entry[0]}), ColorOf(entries[i])) << "tree order";
      }
      for (unsigned i = 0; i != 512; ++i) {
        const CSearchCell& cell = subject->m_SearchCube[i / 64][i / 8 % 8][i % 8];
        const std::vector<ModelColor> expected = model.FillCell(i / 64, i / 8 % 8, i % 8);
        ASSERT_EQ(AsModel(cell.pList, static_cast<size_t>(cell.lCount)), expected) << "cell " << i;
      }
      ASSERT_EQ(AsModel(subject->m_ColorTrans, n), model.Palette()) << "the last cell's order";
    }
  }
}

TEST_F(Quantizer, ACellOfTheCubeByHand) {
  Subject subject(Blank());
  // Around cell (0, 0, 0) with centre 16 and half-width 16. The far bound of (16, 16, 16) is
  // 3 x 16 x 16 = 768; (60, 16, 16) has a near bound of 28 x 28 = 784, (59, 16, 16) of 729.
  SetPalette(*subject, {Entry({60, 16, 16}), Entry({16, 16, 16}), Entry({59, 16, 16})});
  tagRGBQUAD table[3];
  subject->BuildSearchCube(table);
  const CSearchCell& cell = subject->m_SearchCube[0][0][0];
  ASSERT_EQ(cell.lCount, 2);
  EXPECT_EQ(cell.pList[0].lIndex, 1u);
  EXPECT_EQ(cell.pList[1].lIndex, 2u);
}

TEST_F(Quantizer, TheLastCellOfAnAxisLeavesOut255) {
  Subject subject(Blank());
  // Centre 239, half-width 15, far bound of the centre colour 3 x 15 x 15 = 675. (199, 239, 239)
  // has a near bound of 25 x 25 = 625, (198, 239, 239) of 676.
  SetPalette(*subject, {Entry({239, 239, 239}), Entry({199, 239, 239}), Entry({198, 239, 239})});
  tagRGBQUAD table[3];
  subject->BuildSearchCube(table);
  EXPECT_EQ(subject->m_SearchCube[7][7][7].lCount, 2);
}

TEST_F(Quantizer, TheCubeSearchTakesOnlyWhatIsStrictlyCloser) {
  Subject subject(Blank());
  subject->AddList(0, 0, 0, Entry({10, 0, 0}, 0, 1));
  EXPECT_EQ(subject->GetNearestColorIndexC(31, 31, 31), 1) << "a lone candidate is the answer";
  subject->AddList(0, 0, 0, Entry({0, 10, 0}, 0, 2));
  subject->AddList(0, 0, 0, Entry({0, 0, 10}, 0, 3));
  EXPECT_EQ(subject->GetNearestColorIndexC(0, 0, 0), 1) << "a tie goes to the first";
  EXPECT_EQ(subject->GetNearestColorIndexC(0, 1, 0), 2);
  EXPECT_EQ(subject->GetNearestColorIndexC(0, 1, 1), 2);
  EXPECT_EQ(subject->GetNearestColorIndexC(0, 1, 2), 3);
  EXPECT_EQ(subject->GetNearestColorIndexC(32, 0, 0), 0) << "an empty cell gives 0";
}

TEST_F(Quantizer, ListsGrowInStepsOf32) {
  Subject subject(Blank());
  const CSearchCell& cell = subject->m_SearchCube[1][2][3];
  const CColorTrans2* last = nullptr;
  for (uint32_t i = 0; i != 100; ++i) {
    subject->AddList(1, 2, 3, Entry({static_cast<uint8_t>(i), 2, 3}, i, i));
    EXPECT_EQ(cell.lCount, static_cast<int32_t>(i + 1));
    if (i % 32 != 0) {
      EXPECT_EQ(cell.pList, last) << "room for 32 more";
    }
    last = cell.pList;
  }
  for (uint32_t i = 0; i != 100; ++i) EXPECT_EQ(cell.pList[i].lIndex, i);
  subject->DeleteSearchCube();
  EXPECT_EQ(cell.lCount, 0);
  EXPECT_EQ(cell.pList, nullptr);
  subject->DeleteSearchCube();
}

TEST_F(Quantizer, InitSearchCubeEmptiesWithoutFreeing) {
  Subject subject(Blank());
  subject->AddList(0, 0, 0, Entry({}));
  CColorTrans2* list = subject->m_SearchCube[0][0][0].pList;
  subject->InitSearchCube();
  EXPECT_EQ(subject->m_SearchCube[0][0][0].lCount, 0);
  EXPECT_EQ(subject->m_SearchCube[0][0][0].pList, nullptr);
  delete[] list;
}

TEST_F(Quantizer, ASecondFillingAppendsToTheCells) {
  Subject subject(Blank());
  SetPalette(*subject, {Entry({1, 2, 3}), Entry({4, 5, 6})});
  tagRGBQUAD table[2];
  subject->BuildSearchCube(table);
  const int32_t first = subject->m_SearchCube[0][0][0].lCount;
  subject->BuildSearchCube(table);
  EXPECT_EQ(subject->m_SearchCube[0][0][0].lCount, 2 * first);
}

TEST_F(Quantizer, PaletteModesSkipThePreparation) {
  Random random(17);
  const Dib image = TrueColor(5, 3, random);
  for (const int mode : {666, 884, 775}) {
    for (const uint16_t linear : {uint16_t{0}, uint16_t{1}}) {
      Subject subject(image);
      subject->m_iPaletteMode = mode;
      subject->m_wLinearSearch = linear;
      const Bytes bytes = TakeBytes(subject->QuantizeBitmap(1, 0));
      EXPECT_EQ(Bytes(bytes.begin() + 40, bytes.end()), Bytes(bytes.size() - 40, 0)) << mode;
      EXPECT_EQ(subject->m_wLinearSearch, linear);
      EXPECT_EQ(subject->m_SearchCube[0][0][0].lCount, 0);
    }
  }
  Subject other(image);
  other->m_iPaletteMode = 667;
  EXPECT_EQ(TakeBytes(other->QuantizeBitmap(1, 0)), Run(image));
}

// Mapping on its own ---------------------------------------------------------

using Mapper = void (*)(CNiGoRo2&, unsigned char* src, int w, int h, unsigned char* dst);

struct MappedFormat {
  uint16_t bits;
  uint32_t compression;
  Mapper map;
};

const MappedFormat kMappedFormats[] = {
    {16, 0,
     [](CNiGoRo2& q, unsigned char* src, int w, int h, unsigned char* dst) {
       q.QuantizeBM16(reinterpret_cast<unsigned short*>(src), w, h, dst, nullptr);
     }},
    {24, 0,
     [](CNiGoRo2& q, unsigned char* src, int w, int h, unsigned char* dst) {
       q.QuantizeBM24(src, w, h, dst, nullptr);
     }},
    {16, 3,
     [](CNiGoRo2& q, unsigned char* src, int w, int h, unsigned char* dst) {
       q.QuantizeBF16(reinterpret_cast<unsigned short*>(src), w, h, dst, nullptr);
     }},
    {32, 3,
     [](CNiGoRo2& q, unsigned char* src, int w, int h, unsigned char* dst) {
       q.QuantizeBF32(reinterpret_cast<unsigned long*>(src), w, h, dst, nullptr);
     }},
};

TEST_F(Quantizer, EachMapperMapsRowsOfEveryWidthAndNothingBeyond) {
  Random random(18);
  for (const MappedFormat& format : kMappedFormats) {
    for (int w = 1; w <= 70; ++w) {
      Dib image({.width = w, .height = 3, .bits = format.bits, .compression = format.compression});
      image.FillRandom(random);
      const std::vector<CColorTrans2> entries = RandomPalette(20, 256, random);
      Subject subject(image, 255);
      SetPalette(*subject, entries);
      GuardedBytes table(4 * entries.size());
      subject->BuildPalette(reinterpret_cast<tagRGBQUAD*>(table.data()));
      subject->m_wLinearSearch = 1;

      QuantizeModel model(255, 5);
      model.Palette() = AsModel(entries.data(), entries.size());
      const Dib expected = Dib::FromBytes(model.Map(image));

      const size_t stride = StrideOf(8, static_cast<size_t>(w));
      Bytes canvas(3 * stride, 0xEE);
      GuardedBytes out(canvas);
      format.map(*subject, subject.Data() + 40, w, 3, out.data());
      for (size_t y = 0; y != 3; ++y) {
        for (size_t x = 0; x != stride; ++x) {
          ASSERT_EQ(out[y * stride + x], x < static_cast<size_t>(w) ? expected.Pixel(x, y) : 0xEEu)
              << format.bits << " bits, width " << w << ", " << x << ", " << y;
        }
      }
    }
  }
}

TEST_F(Quantizer, NothingToMap) {
  Subject subject(Blank());
  GuardedBytes none(0);
  for (const MappedFormat& format : kMappedFormats) {
    for (const auto& [w, h] : {std::pair{0, 5}, {5, 0}, {-1, 5}, {5, -1}}) {
      format.map(*subject, none.data(), w, h, none.data());
    }
  }
}

TEST_F(Quantizer, TheSearchArgumentIsIgnored) {
  Subject subject(Blank());
  SetPalette(*subject, {Entry({0, 0, 0}, 0, 5)});
  subject->m_wLinearSearch = 1;
  subject->AddList(0, 0, 0, Entry({0, 0, 0}, 0, 9));
  unsigned char pixel[4] = {};
  unsigned char out[4] = {};
  subject->QuantizeBM24(pixel, 1, 1, out, &CNiGoRo2::GetNearestColorIndexC);
  EXPECT_EQ(out[0], 5);
  subject->m_wLinearSearch = 0;
  subject->QuantizeBM24(pixel, 1, 1, out, &CNiGoRo2::GetNearestColorIndexL);
  EXPECT_EQ(out[0], 9);
}

// Failures -------------------------------------------------------------------

TEST_F(Quantizer, EveryFailedAllocationAndLockGivesNull) {
  Random random(19);
  const Dib image = TrueColor(9, 9, random);
  for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
    const unsigned faults = FailEach(fault, [&](FaultRun& run) {
      Subject subject(image);
      tagHANDLE* result = run.Call([&] { return subject->QuantizeBitmap(1, 0); });
      EXPECT_EQ(result == nullptr, run.Met());
      if (result != nullptr) GlobalFree(result);
      EXPECT_EQ(ReadHost().liveBlocks, 0u);
    });
    EXPECT_EQ(faults, fault == Fault::kGlobalAlloc ? 1u : 2u);
  }
}

TEST_F(Quantizer, WithoutMemoryThereIsNoTree) {
  Random random(20);
  Subject subject(TrueColor(9, 9, random));
  ArmFault(Fault::kNew, 1);
  EXPECT_EQ(subject->InitOctree(), 0);
  EXPECT_TRUE(DisarmFault(Fault::kNew));
  EXPECT_EQ(subject->m_pTree, nullptr);
  ArmFault(Fault::kNew, 1);
  EXPECT_EQ(subject->QuantizeBitmap(1, 0), nullptr);
  EXPECT_TRUE(DisarmFault(Fault::kNew));
  EXPECT_EQ(ReadHost().allocCalls, 0u);
  tagHANDLE* result = subject->QuantizeBitmap(1, 0);
  EXPECT_NE(result, nullptr) << "the next call may succeed";
  GlobalFree(result);
}

TEST_F(Quantizer, ATreeThatCannotBeIsRefused) {
  for (const unsigned short depth : std::initializer_list<unsigned short>{12, 16, 100, 65535}) {
    Subject subject(Blank(), 256, depth);
    ArmFault(Fault::kNew, 1, FaultSpan::kFromThenOn);
    EXPECT_EQ(subject->InitOctree(), 0) << depth;
    DisarmFault(Fault::kNew);
    EXPECT_EQ(subject->m_pTree, nullptr);
  }
}

TEST_F(Quantizer, AFailedListKeepsWhatItHas) {
  Subject subject(Blank());
  for (uint32_t i = 0; i != 32; ++i) subject->AddList(0, 0, 0, Entry({1, 2, 3}, 0, i));
  const CSearchCell before = subject->m_SearchCube[0][0][0];
  ArmFault(Fault::kNew, 1);
  subject->AddList(0, 0, 0, Entry({4, 5, 6}, 0, 32));
  EXPECT_TRUE(DisarmFault(Fault::kNew));
  EXPECT_EQ(subject->m_SearchCube[0][0][0].lCount, 32);
  EXPECT_EQ(subject->m_SearchCube[0][0][0].pList, before.pList);
  subject->AddList(0, 0, 0, Entry({4, 5, 6}, 0, 33));
  EXPECT_EQ(subject->m_SearchCube[0][0][0].pList[32].lIndex, 33u);
}

TEST_F(Quantizer, FailedListsLeaveASoundCube) {
  Random random(21);
  const std::vector<CColorTrans2> entries = FewValued(100, 30, random);
  for (const unsigned nth : {1u, 2u, 100u, 300u, 512u}) {
    for (const FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      Subject subject(Blank());
      SetPalette(*subject, entries);
      tagRGBQUAD table[100];
      ArmFault(Fault::kNew, nth, span);
      subject->BuildSearchCube(table);
      EXPECT_TRUE(DisarmFault(Fault::kNew));
      for (const auto& plane : subject->m_SearchCube) {
        for (const auto& line : plane) {
          for (const CSearchCell& cell : line) {
            EXPECT_EQ(cell.lCount == 0, cell.pList == nullptr);
            for (int32_t i = 0; i != cell.lCount; ++i) EXPECT_LT(cell.pList[i].lIndex, 100u);
          }
        }
      }
      for (int i = 0; i != 1000; ++i) {
        EXPECT_LT(subject->GetNearestColorIndexC(random.Byte(), random.Byte(), random.Byte()), 100);
      }
    }
  }
}

TEST_F(Quantizer, AQuantizeThatRunsOutOfHeapStillMakesAnImage) {
  Random random(22);
  Subject subject(TrueColor(16385, 1, random));
  subject->InitOctree();
  subject->FillTree();
  subject->ReduceColors();
  unsigned long index = 0;
  subject->CreateColorTableRec(0, index);
  ASSERT_GT(subject->m_lColorNum, 64u);
  ArmFault(Fault::kNew, 300, FaultSpan::kFromThenOn);
  tagHANDLE* result = subject->Quantize();
  EXPECT_TRUE(DisarmFault(Fault::kNew));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(Dib::FromHandle(result).Width(), 16385);
  GlobalFree(result);
}

}  // namespace
}  // namespace dibtest
