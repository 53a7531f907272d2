// SPDX-License-Identifier: Apache-2.0
//
// Byte sources for what programs hold: streams, and DIBs in blocks.
#ifndef DIBKIT_HOST_PAGE_SOURCE_OF_H
#define DIBKIT_HOST_PAGE_SOURCE_OF_H

#include <iosfwd>
#include <memory>
#include <span>

#include "dibkit/host/byte_source.h"

namespace dibkit::host {

// Reads `stream` as far as it is asked for, and keeps what it has read until it is forgotten.
std::unique_ptr<ByteSource> SourceOfStream(std::istream& stream, const CancelHook& cancelled);

// A packed DIB as the bitmap file that it would be. Throws ImageError (kUnsoundDib) when its header
// is not all there.
std::unique_ptr<ByteSource> SourceOfDib(std::span<const unsigned char> block);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PAGE_SOURCE_OF_H
