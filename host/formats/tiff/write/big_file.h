// SPDX-License-Identifier: Apache-2.0
//
// From a classic TIFF file to a BigTIFF one, in place.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_BIG_FILE_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_BIG_FILE_H

#include <cstdint>
#include <functional>
#include <span>

#include "formats/tiff/directory.h"

namespace dibkit::host::tiff {

using WriteBytes = std::function<void(uint64_t, std::span<const unsigned char>)>;

// Of a sound little-endian file of `size` bytes whose bytes 8 to 15 are free: writes its
// directories anew behind the end, then the header. Pixels and long values stay where they are, the
// old directories remain as so many dead bytes. Returns where the offset of a next directory will
// stand. Throws what `write` throws.
uint64_t MakeBigFile(const ReadBytes& read, uint64_t size, const WriteBytes& write);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_BIG_FILE_H
