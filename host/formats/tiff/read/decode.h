// SPDX-License-Identifier: Apache-2.0
//
// The pixels of a page into a DIB.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_DECODE_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_DECODE_H

#include <cstdint>
#include <string>

#include "dibkit/host/errors.h"
#include "formats/row_placer.h"
#include "formats/tiff/read/input.h"
#include "formats/tiff/read/kind.h"
#include "formats/tiff/read/table.h"

namespace dibkit::host::tiff {

// Why no page of this kind is read: one strip or tile needs more scratch than there is. Empty where
// nothing stands in the way.
std::string Obstacle(TIFF* tiff, const Kind& kind);

// Throws ImageError before anything is allocated for the pixels: kDamaged where strips or tiles lie
// behind the end of the file, kUnsupported where there is an obstacle.
void CheckStored(Handle& handle, const Kind& kind);

// Rows that a placer must take together.
uint32_t GroupRows(const Kind& kind);

// Memory that Decode takes beside the DIB, roughly.
uint64_t WorkBytes(Handle& handle, const Kind& kind);

// Decodes all rows. `directoryOffset` is that of the handle's directory. Throws ImageError
// (kDamaged, kUnsupported), Cancelled, and what the input throws.
void Decode(Handle& handle, uint64_t directoryOffset, const Kind& kind, const Table& table,
            RowPlacer& placer, const CancelHook& cancelled);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_DECODE_H
