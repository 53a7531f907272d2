// SPDX-License-Identifier: Apache-2.0
//
// Files that are not sound, made of sound ones: each must be read or told, in bounded memory.
#ifndef DIBKIT_TESTS_HOST_DAMAGE_H
#define DIBKIT_TESTS_HOST_DAMAGE_H

#include <cstdint>
#include <functional>
#include <string>

#include "bitmap_builder.h"

namespace dibkit::test {

// Reads the first page of a file with at most a million pixels. Returns what it was told, "" when
// the page was read. Expects an ImageError and nothing else, no block left behind, and at most
// `mostBytes` in blocks on the way.
std::string ReadAnyhow(const Bytes& file, uint64_t mostBytes = uint64_t{8} << 20);

// Every file that ends early is told: all ends in the first kilobyte, then each `step`-th.
void ExpectEveryEndTold(const Bytes& file, size_t step = 1);

// `rounds` files with some bytes changed, the same every time; `repair` may put them in order again
// so far that a reader looks deeper. Returns how many could be read all the same.
int ReadChangedFiles(const Bytes& file, int rounds,
                     const std::function<Bytes(Bytes)>& repair = nullptr);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_DAMAGE_H
