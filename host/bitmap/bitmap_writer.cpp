// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/bitmap_writer.h"

#include <array>
#include <limits>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"

namespace dibkit::host {

void WriteBitmap(ByteSink& file, const DibView& dib) {
  const uint64_t fileBytes = kFileHeaderBytes + dib.Layout().blockBytes;
  const bool fits = fileBytes <= std::numeric_limits<uint32_t>::max();
  std::array<unsigned char, kFileHeaderBytes> header{'B', 'M'};
  Store32(header.data() + kFileSizeField, fits ? static_cast<uint32_t>(fileBytes) : 0);
  Store32(header.data() + kPixelOffsetField,
          static_cast<uint32_t>(kFileHeaderBytes + dib.Layout().rowsOffset));
  file.Write(header);
  file.Write(dib.Bytes());
}

}  // namespace dibkit::host
