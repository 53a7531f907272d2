// SPDX-License-Identifier: Apache-2.0
//
// The rows of a page in strips, or of one of its planes, one after the other.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_ROWS_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_ROWS_H

#include <cstdint>
#include <memory>

#include "formats/tiff/read/input.h"
#include "formats/tiff/read/kind.h"

namespace dibkit::host::tiff {

class RowReader {
 public:
  RowReader() = default;
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;
  virtual ~RowReader() = default;

  // Row `y`, decoded: in `scratch`, which has TIFFScanlineSize bytes, or in the reader's own memory
  // until the next call. Rows are asked for from top to bottom. Throws what Handle::Require throws.
  virtual const unsigned char* Row(uint32_t y, unsigned char* scratch) = 0;
};

// `plane`: where they are separate; otherwise 0. The handle must outlive the reader.
std::unique_ptr<RowReader> MakeRowReader(Handle& handle, const Kind& kind, uint16_t plane);

// Memory that a reader takes beside its scratch row, roughly.
uint64_t RowReaderBytes(Handle& handle, const Kind& kind);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_ROWS_H
