// SPDX-License-Identifier: Apache-2.0
#include "convert/raw.h"

#include "convert/library_call.h"
#include "convert/plain.h"
#include "dibkit/DIBApi.h"
#include "dibkit/WinTypes.h"
#include "dibkit/host/errors.h"

namespace dibkit::host {

OwnedBlock RawTo24(const OwnedBlock& dib) { return CallLibrary(dib, 24, ConvertTo24BPPDIB); }

OwnedBlock RawTo16(const OwnedBlock& dib) {
  const DibFields image = FieldsOf(dib.get());
  if (image.compression == BI_BITFIELDS && image.bitCount == 16 && image.height > 0) {
    throw ImageError(ImageFault::kUnsupported,
                     "the library copies a 16-bit image with channel masks without its last bytes; "
                     "bring it to 24 bits first");
  }
  return CallLibrary(dib, 16, ConvertTo16BPPDIB);
}

OwnedBlock RawToGrey(const OwnedBlock& dib, GreyRule rule, GreyLevels levels) {
  return GreyOf24(RawTo24(dib), rule, levels);
}

OwnedBlock RawQuantized(const OwnedBlock& dib, uint16_t maxColors) {
  const DibFields image = FieldsOf(dib.get());
  const bool isTaken = image.bitCount > 8 && image.height > 0;
  return isTaken ? OctreeReduced(dib, maxColors) : OctreeReduced(RawTo24(dib), maxColors);
}

OwnedBlock RawNormalized(const OwnedBlock& dib) {
  const DibFields image = FieldsOf(dib.get());
  switch (image.compression) {
    case BI_RLE8:
      return CallLibrary(dib, image.bitCount, RestoreRLE8);
    case BI_RLE4:
      return CallLibrary(dib, image.bitCount, RestoreRLE4);
    case BI_BITFIELDS:
      return RawTo24(dib);
    default:
      return image.height < 0 ? CallLibrary(dib, image.bitCount, TopDownToBottomUp) : OwnedBlock();
  }
}

}  // namespace dibkit::host
