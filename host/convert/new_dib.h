// SPDX-License-Identifier: Apache-2.0
//
// Where the host's own DIBs begin.
#ifndef DIBKIT_HOST_CONVERT_NEW_DIB_H
#define DIBKIT_HOST_CONVERT_NEW_DIB_H

#include <cstdint>
#include <span>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/resolution.h"

namespace dibkit::host {

// Writes the 40-byte header of a plain DIB to zero-filled memory.
void WriteHeader(std::span<unsigned char> header, uint32_t width, uint32_t height,
                 uint16_t bitCount, PelsPerMetre resolution);

// A new plain DIB of zeros with its header; its colour table is black. Throws ImageError
// (kTooLarge, kNoMemory).
OwnedBlock NewDib(uint32_t width, uint32_t height, uint16_t bitCount, PelsPerMetre resolution);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_NEW_DIB_H
