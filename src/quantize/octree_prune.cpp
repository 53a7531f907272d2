// SPDX-License-Identifier: Apache-2.0
//
// The rounds, foreseen. A round merges every node whose weight is the smallest in the tree; a
// weight never changes and no node outweighs its parent, so after the rounds up to weight W exactly
// the nodes heavier than W are left. Such a node is a colour when it had pixels of its own from the
// start or has lost a child, that is, when its lightest child weighs at most W. So node v is a
// colour for every W from a(v) to p(v) - 1, where p is its weight and a its lightest child's weight
// (0 with pixels of its own). The smallest W that leaves few enough colours is found by counting,
// and one pass from the leaves up then does all merges of all rounds.
#include <algorithm>
#include <memory>
#include <new>

#include "quantize/octree.h"

namespace dibkit::quantize {
namespace {

// The live nodes in ascending order, so that children follow their parents.
struct LiveNodes {
  std::unique_ptr<uint32_t[]> memory;
  uint32_t* nodes = nullptr;
  uint32_t* weights = nullptr;
  uint32_t* colorFrom = nullptr;  // the smallest W for which the node is a colour
  size_t count = 0;
};

size_t CountLive(const CCube2* tree, size_t node) {
  size_t count = 1;
  for (unsigned i = 0; i < 8; ++i) {
    if ((tree[node].byChildren >> i & 1) != 0) count += CountLive(tree, node * 8 + 1 + i);
  }
  return count;
}

bool ListLive(const CCube2* tree, LiveNodes& live) {
  const size_t room = CountLive(tree, 0);
  live.memory.reset(new (std::nothrow) uint32_t[3 * room]);
  if (live.memory == nullptr) return false;
  live.nodes = live.memory.get();
  live.weights = live.nodes + room;
  live.colorFrom = live.weights + room;
  live.nodes[0] = 0;
  live.count = 1;
  for (size_t at = 0; at < live.count; ++at) {
    const uint32_t node = live.nodes[at];
    for (unsigned i = 0; i < 8; ++i) {
      if ((tree[node].byChildren >> i & 1) != 0) live.nodes[live.count++] = node * 8 + 1 + i;
    }
  }
  return true;
}

// Fills in the weights. False unless every weight is the node's own pixels plus its children's
// weights, without wrapping and not 0, and nothing is fixed: only then do the rounds run as
// foreseen.
bool Weigh(const CCube2* tree, LiveNodes& live) {
  for (size_t at = 0; at < live.count; ++at) {
    const CCube2& cube = tree[live.nodes[at]];
    uint64_t sum = cube.lColorCount;
    uint32_t lightest = UINT32_MAX;
    for (unsigned i = 0; i < 8; ++i) {
      if ((cube.byChildren >> i & 1) == 0) continue;
      const uint32_t weight = tree[live.nodes[at] * 8 + 1 + i].lPassCount;
      sum += weight;
      lightest = std::min(lightest, weight);
    }
    if (cube.iFixed != 0 || cube.lPassCount == 0 || sum != cube.lPassCount) return false;
    live.weights[at] = cube.lPassCount;
    live.colorFrom[at] = cube.lColorCount != 0 ? 0 : lightest;
  }
  return true;
}

// The number of colours when all nodes up to `weight` are merged. A node is a colour from colorFrom
// on and no more from its own weight on.
uint32_t ColorsAbove(const LiveNodes& live, uint32_t weight) {
  uint32_t begun = 0;
  uint32_t ended = 0;
  for (size_t at = 0; at < live.count; ++at) {
    begun += live.colorFrom[at] <= weight;
    ended += live.weights[at] <= weight;
  }
  return begun - ended;
}

// The smallest W, 0 for no round at all, that leaves at most `limit` colours. A round never raises
// the number of colours, so halving finds it.
uint32_t LastRound(const LiveNodes& live, uint32_t limit) {
  uint32_t low = 0;
  uint32_t high = live.weights[0];
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (ColorsAbove(live, middle) <= limit) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

// Merges every node up to `weight` into the nearest heavier node above it. A node as light as its
// parent goes in the same round as part of the parent's subtree: the parent keeps its bit.
void Merge(CCube2* tree, const LiveNodes& live, uint32_t weight) {
  for (size_t at = live.count; at-- > 1;) {
    if (live.weights[at] > weight) continue;
    const size_t node = live.nodes[at];
    const CCube2& cut = tree[node];
    size_t into = (node - 1) / 8;
    if (tree[into].lPassCount > cut.lPassCount) {
      const unsigned bit = 1u << ((node - 1) & 7);
      tree[into].byChildren = static_cast<uint8_t>(tree[into].byChildren & ~bit);
    }
    while (tree[into].lPassCount == cut.lPassCount) into = (into - 1) / 8;
    tree[into].lSumRed += cut.lSumRed;
    tree[into].lSumGreen += cut.lSumGreen;
    tree[into].lSumBlue += cut.lSumBlue;
    tree[into].lColorCount += cut.lColorCount;
  }
}

}  // namespace

bool PruneTree(CCube2* tree, uint32_t limit, uint32_t& colors) {
  LiveNodes live;
  if (limit == 0 || !ListLive(tree, live) || !Weigh(tree, live)) return false;
  const uint32_t last = LastRound(live, limit);
  colors = ColorsAbove(live, last);
  if (last != 0) Merge(tree, live, last);
  return true;
}

}  // namespace dibkit::quantize
