// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/conversion.h"

#include <utility>

#include "convert/few_colours.h"
#include "convert/library_call.h"
#include "convert/plain.h"
#include "convert/widened.h"
#include "dibkit/DIBApi.h"
#include "dibkit/NiGoRo2.h"
#include "dibkit/host/remedies.h"

namespace dibkit::host {
namespace {

OwnedBlock AtDepth(const OwnedBlock& plain, uint16_t bits, const LibraryFunction& convert) {
  return FieldsOf(plain.get()).bitCount == bits ? OwnedBlock() : CallLibrary(plain, bits, convert);
}

}  // namespace

OwnedBlock PlainTo24(const OwnedBlock& plain) {
  return FieldsOf(plain.get()).bitCount == 16 ? Widened(plain)
                                              : AtDepth(plain, 24, ConvertTo24BPPDIB);
}

OwnedBlock PlainTo16(const OwnedBlock& plain) { return AtDepth(plain, 16, ConvertTo16BPPDIB); }

OwnedBlock OctreeReduced(const OwnedBlock& dib, uint16_t maxColors) {
  constexpr uint16_t kTreeDepth = 5;
  return CallLibrary(dib, 8, [maxColors](unsigned char* source) {
    return CNiGoRo2(source, maxColors, kTreeDepth, 0).QuantizeBitmap(0, 0);
  });
}

OwnedBlock PlainQuantized(const OwnedBlock& plain, uint16_t maxColors) {
  OwnedBlock few = WithFewColours(plain, maxColors);
  if (few) {
    return few;
  }
  const OwnedBlock widened = PlainTo24(plain);
  return OctreeReduced(widened ? widened : plain, maxColors);
}

OwnedBlock Normalized(OwnedBlock dib) {
  return TurnedBottomUp(BitFieldsWidened(Expanded(std::move(dib))));
}

OwnedBlock To24Bits(OwnedBlock dib) {
  OwnedBlock plain = Normalized(std::move(dib));
  OwnedBlock converted = PlainTo24(plain);
  return converted ? std::move(converted) : std::move(plain);
}

OwnedBlock To16Bits(OwnedBlock dib) {
  OwnedBlock plain = Normalized(std::move(dib));
  OwnedBlock converted = PlainTo16(plain);
  return converted ? std::move(converted) : std::move(plain);
}

OwnedBlock Quantized(OwnedBlock dib, uint16_t maxColors) {
  return PlainQuantized(To24Bits(std::move(dib)), maxColors);
}

OwnedBlock ToGrey(OwnedBlock dib, GreyRule rule, GreyLevels levels) {
  return PlainToGrey(To24Bits(std::move(dib)), rule, levels);
}

}  // namespace dibkit::host
