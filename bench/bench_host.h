// SPDX-License-Identifier: Apache-2.0
//
// The benchmarks' own host: the six global-memory functions over blocks whose price is known. Peers
// take their results from it as well, so that both sides pay the same for memory.
#ifndef DIBKIT_BENCH_BENCH_HOST_H
#define DIBKIT_BENCH_BENCH_HOST_H

#include <span>
#include <vector>

#include "GlobalMemory.h"
#include "buffer.h"

// A block. A source's handle is made by hand around memory that stays its maker's.
struct tagHANDLE {
  unsigned char* data;
  unsigned bytes;
  unsigned locks = 0;
  bool isPrepared = false;
  tagHANDLE* previous = nullptr;
  tagHANDLE* next = nullptr;
};

namespace dibkit::bench {

// From now on GlobalAlloc answers fresh calloc blocks and remembers their sizes.
void AllocateFresh();

// The sizes of all blocks asked for since AllocateFresh, in their order.
std::vector<unsigned> SizesAskedFor();

// From now on GlobalAlloc answers one block for each of `sizes`: zeroed, mapped and in no cache. A
// request of another size ends the program, because its price would be another one.
void PrepareBlocks(std::span<const unsigned> sizes);

// Frees every block that is still alive, those that the library never frees included.
void ReclaimBlocks();

// Gives the memory of the prepared blocks back to the system.
void DropPreparedBlocks();

// A new block for a peer's result, locked.
unsigned char* ResultBlock(size_t bytes);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_BENCH_HOST_H
