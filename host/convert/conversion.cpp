// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/conversion.h"

#include <utility>

#include "convert/library_call.h"
#include "dibkit/DIBApi.h"
#include "dibkit/NiGoRo2.h"
#include "dibkit/host/remedies.h"

namespace dibkit::host {
namespace {

OwnedBlock AtDepth(OwnedBlock plain, uint16_t bits, const LibraryFunction& convert) {
  return FieldsOf(plain.get()).bitCount == bits ? std::move(plain)
                                                : CallLibrary(plain, bits, convert);
}

}  // namespace

OwnedBlock Normalized(OwnedBlock dib) {
  return TurnedBottomUp(BitFieldsWidened(Expanded(std::move(dib))));
}

OwnedBlock To24Bits(OwnedBlock dib) {
  return AtDepth(Normalized(std::move(dib)), 24, ConvertTo24BPPDIB);
}

OwnedBlock To16Bits(OwnedBlock dib) {
  return AtDepth(Normalized(std::move(dib)), 16, ConvertTo16BPPDIB);
}

OwnedBlock Quantized(OwnedBlock dib, uint16_t maxColors) {
  constexpr uint16_t kTreeDepth = 5;
  return CallLibrary(To24Bits(std::move(dib)), 8, [maxColors](unsigned char* source) {
    return CNiGoRo2(source, maxColors, kTreeDepth, 0).QuantizeBitmap(0, 0);
  });
}

}  // namespace dibkit::host
