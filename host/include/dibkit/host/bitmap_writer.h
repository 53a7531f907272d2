// SPDX-License-Identifier: Apache-2.0
//
// Packed DIBs into Windows bitmap files.
#ifndef DIBKIT_HOST_BITMAP_WRITER_H
#define DIBKIT_HOST_BITMAP_WRITER_H

#include "dibkit/host/byte_sink.h"
#include "dibkit/host/dib_view.h"

namespace dibkit::host {

// Writes the DIB as a bitmap file, straight from its block. The file size in the header is the true
// one, or 0 where it does not fit. The sink need not be seekable.
void WriteBitmap(ByteSink& file, const DibView& dib);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_WRITER_H
