// SPDX-License-Identifier: Apache-2.0
//
// Red, green, blue of files and blue, green, red of DIBs.
#ifndef DIBKIT_HOST_FORMATS_SWAP_CHANNELS_H
#define DIBKIT_HOST_FORMATS_SWAP_CHANNELS_H

#include <cstddef>

namespace dibkit::host {

// Copies `pixels` pixels of 3 bytes, first and third byte changing places. `to` is `from` or does
// not overlap it.
void SwapChannels(const unsigned char* from, unsigned char* to, size_t pixels);

// Likewise from pixels of 4 bytes, whose fourth is dropped; `to` does not overlap `from`.
void SwapChannelsOf32(const unsigned char* from, unsigned char* to, size_t pixels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_SWAP_CHANNELS_H
