// SPDX-License-Identifier: Apache-2.0
#include "DIBApi.h"

#include <algorithm>
#include <cstring>

#include "AutoClass.h"
#include "DIBHelp.h"
#include "dib/depth_rows.h"
#include "dib/depth_tables.h"
#include "dib/layout.h"
#include "dib/orientation.h"
#include "dib/rle.h"

using namespace dibkit;

namespace {

// Size and place of an image's rows.
struct Rows {
  unsigned char* bits;
  uint64_t stride;
  uint32_t width;
  uint32_t count;

  uint64_t Bytes() const { return stride * count; }
};

// Of an image whose width and height are positive, such as CreateDIB's.
Rows RowsOf(unsigned char* dib) {
  const uint32_t width = static_cast<uint32_t>(DIBWidth(dib));
  return {DIBBits(dib), RowStride(DIBBitCount(dib), width), width,
          static_cast<uint32_t>(DIBHeight(dib))};
}

bool IsCompressed(const unsigned char* dib) {
  if (!HasInfoHeader(dib)) return false;
  const uint32_t compression = Load32(dib + kBiCompression);
  return compression == BI_RLE8 || compression == BI_RLE4;
}

// The length of a run-length stream counts as a signed number.
uint32_t StreamBytes(const unsigned char* dib) {
  return static_cast<uint32_t>(std::max(LoadSigned32(dib + kBiSizeImage), int32_t{0}));
}

// A new image, or null; a negative width is no width.
tagHANDLE* CreateImage(int32_t width, uint32_t height, unsigned short bits) {
  return width < 0 ? nullptr : CreateDIB(static_cast<uint32_t>(width), height, bits);
}

tagHANDLE* HandOver(CHandle& image) {
  image.UnLock();
  return image.GetHandle();
}

tagHANDLE* Expand(unsigned char* dib, uint32_t compression, unsigned short bits,
                  void (*decode)(std::span<const unsigned char>, const RleTarget&)) {
  // Depth first: a core header of another depth may end before offset 16.
  if (DIBBitCount(dib) != bits || Load32(dib + kBiCompression) != compression) return nullptr;

  CHandle result(CreateImage(LoadSigned32(dib + kBiWidth), Load32(dib + kBiHeight), bits));
  unsigned char* image = result;
  if (image == nullptr) return nullptr;
  CopyColorTable(dib, image);
  const Rows rows = RowsOf(image);
  decode({DIBBits(dib), StreamBytes(dib)},
         {rows.bits, static_cast<size_t>(rows.stride), rows.width, rows.count});
  return HandOver(result);
}

// The whole of `working`, header included, as far as the image at `image` goes.
void CopyImage(unsigned char* working, unsigned char* image) {
  uint64_t bytes = std::min<uint64_t>(DIBSize(working), kInfoHeaderSize + RowsOf(image).Bytes());
  if (IsCompressed(working)) {
    const auto header = static_cast<uint64_t>(DIBBits(working) - working);
    bytes = std::min(bytes, header + StreamBytes(working));
  }
  std::memcpy(image, working, static_cast<size_t>(bytes));
}

bool ConvertImageRows(unsigned char* working, unsigned char* image, Preparation prepare) {
  WorkingTables tables;
  PixelMeaning meaning;
  const RowForms forms = prepare(working, tables, meaning);
  if (forms.plain == nullptr) return false;

  const Rows from = RowsOf(working);
  const Rows to = RowsOf(image);
  ConvertRows({.from = from.bits,
               .fromBits = DIBBitCount(working),
               .fromStride = from.stride,
               .fromBytes = IsCompressed(working) ? StreamBytes(working) : from.Bytes(),
               .to = to.bits,
               .toBits = DIBBitCount(image),
               .toStride = static_cast<size_t>(to.stride),
               .width = to.width,
               .rows = to.count},
              forms, meaning);
  return true;
}

tagHANDLE* ConvertDepth(unsigned char* dib, unsigned short bits, Preparation prepare) {
  const uint32_t headerSize = Load32(dib + kBiSize);
  if (headerSize != kInfoHeaderSize && headerSize != kCoreHeaderSize) return nullptr;

  CHandle normalized(NormalizeDIB(dib));
  unsigned char* working = normalized.IsEmpty() ? dib : normalized;
  if (working == nullptr) return nullptr;
  CHandle result(CreateImage(DIBWidth(working), static_cast<uint32_t>(DIBHeight(working)), bits));
  unsigned char* image = result;
  if (image == nullptr) return nullptr;

  if (DIBBitCount(working) == bits) {
    CopyImage(working, image);
  } else if (!ConvertImageRows(working, image, prepare)) {
    return nullptr;
  }
  return HandOver(result);
}

}  // namespace

tagHANDLE* RestoreRLE8(unsigned char* dib) { return Expand(dib, BI_RLE8, 8, DecodeRle8); }

tagHANDLE* RestoreRLE4(unsigned char* dib) { return Expand(dib, BI_RLE4, 4, DecodeRle4); }

// Nothing but RestoreRLE8 is called: hosts rely on null for every image of 4 bits.
tagHANDLE* RestoreRLE(unsigned char* dib) {
  return HasInfoHeader(dib) && DIBBitCount(dib) == 8 ? RestoreRLE8(dib) : nullptr;
}

tagHANDLE* TopDownToBottomUp(unsigned char* dib) {
  const int32_t height = DIBHeight(dib);
  // A run-length image cannot be expanded to a negative height first: no block holds it.
  if (height >= 0 || IsCompressed(dib)) return nullptr;

  const uint16_t bits = DIBBitCount(dib);
  const int32_t width = DIBWidth(dib);
  CHandle result(CreateImage(width, 0U - static_cast<uint32_t>(height), bits));
  unsigned char* image = result;
  if (image == nullptr) return nullptr;
  const Rows to = RowsOf(image);
  ReverseRows(DIBBits(dib), to.bits, RowStride(bits, to.width), to.count,
              static_cast<size_t>(to.Bytes()));
  return HandOver(result);
}

tagHANDLE* NormalizeDIB(unsigned char* dib) {
  if (!HasInfoHeader(dib)) return nullptr;
  return IsCompressed(dib) ? RestoreRLE(dib) : TopDownToBottomUp(dib);
}

tagHANDLE* ConvertTo16BPPDIB(unsigned char* dib) { return ConvertDepth(dib, 16, PrepareTo16); }

tagHANDLE* ConvertTo24BPPDIB(unsigned char* dib) { return ConvertDepth(dib, 24, PrepareTo24); }
