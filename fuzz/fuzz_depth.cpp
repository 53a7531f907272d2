// SPDX-License-Identifier: Apache-2.0
//
// A packed DIB goes through the turn and both depth conversions. The block is cut or padded to what
// its header claims, because that much a caller must see to; everything else may be as it likes.
#include <algorithm>
#include <cstddef>
#include <optional>

#include "DIBApi.h"
#include "check.h"
#include "reference/depth_model.h"

namespace {

using dibfuzz::Bytes;
using dibfuzz::Check;

constexpr uint64_t kLargestBlock = 1 << 16;
constexpr uint64_t kMostPixels = 1024;

uint64_t Load(const Bytes& dib, size_t at, size_t length) {
  uint64_t value = 0;
  for (size_t i = length; i > 0; --i) value = value << 8 | dib[at + i - 1];
  return value;
}

int64_t LoadSigned(const Bytes& dib, size_t at) {
  return static_cast<int32_t>(static_cast<uint32_t>(Load(dib, at, 4)));
}

struct Claims {
  uint64_t width;
  uint64_t rows;
  uint64_t bits;
  uint64_t colors;
  uint64_t entrySize;
  uint64_t streamBytes;
  bool packed;
};

// What the header says; nothing when the image is too large for a quick run.
std::optional<Claims> ReadClaims(const Bytes& dib) {
  const bool info = Load(dib, 0, 4) == 40;
  if (dib.size() < (info ? 40U : 12U)) return std::nullopt;
  Claims claims{};
  const int64_t width = info ? LoadSigned(dib, 4) : static_cast<int64_t>(Load(dib, 4, 2));
  const int64_t height = info ? LoadSigned(dib, 8) : static_cast<int64_t>(Load(dib, 6, 2));
  claims.width = static_cast<uint64_t>(std::max<int64_t>(width, 0));
  claims.rows = static_cast<uint64_t>(height < 0 ? -height : height);
  claims.bits = Load(dib, info ? 14 : 10, 2);
  claims.entrySize = info ? 4 : 3;
  const uint64_t used = info ? Load(dib, 32, 4) : 0;
  const bool table = claims.bits == 1 || claims.bits == 4 || claims.bits == 8;
  claims.colors = used != 0 ? used & 0xFFFF : table ? uint64_t{1} << claims.bits : 0;
  const uint64_t compression = info ? Load(dib, 16, 4) : 0;
  claims.packed = compression == 1 || compression == 2;
  claims.streamBytes =
      claims.packed ? static_cast<uint64_t>(std::max<int64_t>(LoadSigned(dib, 20), 0)) : 0;
  if (claims.width > kMostPixels || claims.rows > kMostPixels ||
      claims.width * claims.rows > kMostPixels) {
    return std::nullopt;
  }
  return claims;
}

uint64_t BlockBytes(const Claims& claims) {
  const uint64_t header = claims.entrySize == 4 ? 40 : 12;
  const uint64_t table = claims.colors * claims.entrySize;
  const uint64_t rows =
      claims.packed ? claims.streamBytes : (claims.bits * claims.width + 31) / 32 * 4 * claims.rows;
  // The masks are read wherever the rows begin, and entries wherever the table ends.
  return std::max({header + table, header + table % 65536 + rows, header + 12});
}

void Compare(tagHANDLE* (*function)(unsigned char*), const Bytes& dib,
             const std::optional<Bytes>& expected) {
  Bytes source = dib;
  const Bytes result = dibfuzz::TakeResult(function(source.data()));
  Check(source == dib, "the source is not changed");
  Check(result == expected.value_or(Bytes{}), "the result is the model's");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 12) return 0;
  Bytes dib(data, data + size);
  const std::optional<Claims> claims = ReadClaims(dib);
  if (!claims || BlockBytes(*claims) > kLargestBlock) return 0;
  dib.resize(static_cast<size_t>(BlockBytes(*claims)), 0x5A);
  Compare(TopDownToBottomUp, dib, dibtest::TurnSlowly(dib));
  Compare(ConvertTo16BPPDIB, dib, dibtest::ConvertSlowly(dib, 16));
  Compare(ConvertTo24BPPDIB, dib, dibtest::ConvertSlowly(dib, 24));
  return 0;
}
