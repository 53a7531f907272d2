// SPDX-License-Identifier: Apache-2.0
//
// Structs of callers who were compiled with an earlier or a later version of dibkit/page.h.
#ifndef DIBKIT_PAGE_LIBRARY_SIZED_H
#define DIBKIT_PAGE_LIBRARY_SIZED_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "call.h"

namespace dibkit::page_library {

// No version has a larger struct: what says so was never set.
inline constexpr size_t kMostBytes = 4096;

// Of a struct that the caller fills: fields that it is too short for are zero, as they all are for
// null. kBadArgument when it is no struct, or holds something behind what is known here.
template <typename T>
T ReadSized(const T* given) {
  T known{};
  known.size = sizeof known;
  if (given == nullptr) {
    return known;
  }
  RequireArgument(given->size >= sizeof given->size && given->size <= kMostBytes,
                  "a struct does not say its size");
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  const bool isKnown =
      given->size <= sizeof known || std::all_of(bytes + sizeof known, bytes + given->size,
                                                 [](unsigned char byte) { return byte == 0; });
  RequireArgument(isKnown, "a struct asks for what only a later version knows");
  std::memcpy(&known, given, std::min(given->size, sizeof known));
  return known;
}

// Into a struct that the caller made: as many bytes of `known` as it says to have room for behind
// its size; those behind them are left alone.
template <typename T>
void WriteSized(const T& known, T* given) {
  const size_t bytes = std::min(given->size, sizeof known);
  if (bytes > sizeof known.size) {
    std::memcpy(reinterpret_cast<unsigned char*>(given) + sizeof known.size,
                reinterpret_cast<const unsigned char*>(&known) + sizeof known.size,
                bytes - sizeof known.size);
  }
}

}  // namespace dibkit::page_library

#endif  // DIBKIT_PAGE_LIBRARY_SIZED_H
