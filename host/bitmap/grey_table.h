// SPDX-License-Identifier: Apache-2.0
//
// The colour table of a grey image.
#ifndef DIBKIT_HOST_BITMAP_GREY_TABLE_H
#define DIBKIT_HOST_BITMAP_GREY_TABLE_H

#include <cstddef>
#include <span>

namespace dibkit::host {

// Fills 2, 16 or 256 entries of 4 bytes in even steps from black to white.
inline void FillGreyTable(std::span<unsigned char> table) {
  const size_t last = table.size() / 4 - 1;
  for (size_t i = 0; i <= last; ++i) {
    for (size_t channel = 0; channel < 3; ++channel) {
      table[i * 4 + channel] = static_cast<unsigned char>(i * 255 / last);
    }
  }
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_GREY_TABLE_H
