// SPDX-License-Identifier: Apache-2.0
//
// The two halves of the TIFF adapter.
#ifndef DIBKIT_HOST_FORMATS_TIFF_H
#define DIBKIT_HOST_FORMATS_TIFF_H

#include <cstdint>
#include <limits>

#include "formats/codec.h"

namespace dibkit::host {

std::unique_ptr<ImageReader> OpenTiff(std::unique_ptr<ByteSource> source,
                                      const ReadOptions& options);

// Offsets of the first kind of TIFF files have 32 bits.
inline constexpr uint64_t kMostClassicBytes = std::numeric_limits<uint32_t>::max();

// A file that could pass `mostClassicBytes` becomes a BigTIFF file on the way.
std::unique_ptr<ImageWriter> MakeTiff(ByteSink& sink,
                                      uint64_t mostClassicBytes = kMostClassicBytes);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_TIFF_H
