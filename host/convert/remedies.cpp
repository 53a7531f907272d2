// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/remedies.h"

#include <cstdlib>

#include "convert/library_call.h"
#include "dibkit/DIBApi.h"
#include "dibkit/DIBHelp.h"
#include "dibkit/WinTypes.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {

OwnedBlock Expanded(OwnedBlock dib) {
  const DibFields image = FieldsOf(dib.get());
  switch (image.compression) {
    case BI_RLE8:
      return CallLibrary(dib, image.bitCount, RestoreRLE8);
    case BI_RLE4:
      return CallLibrary(dib, image.bitCount, RestoreRLE4);
    default:
      return dib;
  }
}

OwnedBlock BitFieldsWidened(OwnedBlock dib) {
  const DibFields image = FieldsOf(dib.get());
  if (image.compression != BI_BITFIELDS) {
    return dib;
  }
  // A positive height keeps ConvertTo24BPPDIB from turning the image on its own.
  SetHeight(dib.get(), std::abs(image.height));
  OwnedBlock result = CallLibrary(dib, 24, ConvertTo24BPPDIB);
  SetHeight(result.get(), image.height);
  return result;
}

OwnedBlock TurnedBottomUp(OwnedBlock dib) {
  const DibFields image = FieldsOf(dib.get());
  if (image.height >= 0) {
    return dib;
  }
  OwnedBlock result = CallLibrary(dib, image.bitCount, TopDownToBottomUp);
  const LockedBlock from(dib.get());
  const LockedBlock to(result.get());
  CopyColorTable(from.Bytes().data(), to.Bytes().data());
  return result;
}

}  // namespace dibkit::host
