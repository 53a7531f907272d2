// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/remedies.h"

#include <utility>

#include "convert/library_call.h"
#include "convert/widened.h"
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
  return image.compression == BI_BITFIELDS ? Widened(dib) : std::move(dib);
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
