// SPDX-License-Identifier: Apache-2.0
#include "resample/conversion_limits.h"

#include <limits>
#include <string>

#include "convert/library_call.h"
#include "convert/new_dib.h"
#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/pixel_limit.h"

namespace dibkit::host {
namespace {

constexpr uint64_t kMostSide = 65535;
// Palette images are widened first, and the length of a widened row is kept in 16 bits.
constexpr uint32_t kMostRowBytes = 65535;
constexpr unsigned short kMemorySink = 1;
// File header, info header and full table: what the conversion allocates beside the rows.
constexpr uint64_t kResultHeaderBytes = 1078;

[[noreturn]] void Refuse(const std::string& message) {
  throw ImageError(ImageFault::kTooLarge, message);
}

std::string Size(uint64_t width, uint64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

// The side of the result before the conversion truncates it. Only where this is below 65536 does
// the conversion's 16-bit answer stand for the real size.
void CheckResultSide(const char* what, uint64_t side, unsigned from, unsigned dpi) {
  if (side * dpi >= (kMostSide + 1) * from) {
    Refuse("at " + std::to_string(dpi) + " dpi the result would have more than " +
           std::to_string(kMostSide) + " " + what);
  }
}

// Runs the engine with a destination that takes nothing: it computes the result's geometry and
// stops where it would write the header.
CLinearTransformMem AskEngine(tagHANDLE* dib, unsigned dpi) {
  CBufTransfer source;
  source.m_wKind = kMemorySink;
  source.m_hHandle = dib;
  source.m_pData = static_cast<unsigned char*>(GlobalLock(dib));
  CBufTransfer nowhere;
  nowhere.m_wKind = kMemorySink;
  CLinearTransformMem engine;
  engine.m_pSource = &source;
  engine.m_pDestination = &nowhere;
  const int status = engine.LinearTransform(TRANSFORM_SRC_MEMORY | TRANSFORM_DST_MEMORY, nullptr,
                                            static_cast<unsigned short>(dpi), 0);
  engine.m_pSource = nullptr;
  engine.m_pDestination = nullptr;
  if (status != CNV_HEADER_NOT_WRITTEN) {
    Refuse("the conversion cannot tell the size of its result");
  }
  return engine;
}

PixelSize CheckedSize(tagHANDLE* dib, unsigned dpi, uint64_t maxPixels) {
  const CLinearTransformMem engine = AskEngine(dib, dpi);
  const PixelSize size{engine.m_wOutputWidth, engine.m_wOutputHeight};
  if (size.width == 0 || size.height == 0) {
    Refuse("at " + std::to_string(dpi) + " dpi the result would have no " +
           (size.width == 0 ? "columns" : "rows"));
  }
  CheckPixels(size.width, size.height, maxPixels, "the result");
  return size;
}

// Bits per pixel of what the engine will scale.
uint16_t WorkingBits(tagHANDLE* dib, uint16_t bitCount) {
  if (bitCount != 4 && bitCount != 8) {
    return bitCount;
  }
  const LockedBlock lock(dib);
  return IsGreyTable(lock.Bytes().subspan(kInfoHeaderBytes, size_t{4} << bitCount)) ? 8 : 24;
}

void CheckWidening(uint32_t width, uint16_t bitCount, uint16_t workingBits) {
  if (workingBits != bitCount && RowStride(width, workingBits) > kMostRowBytes) {
    Refuse(std::string("palette images ") + (workingBits == 24 ? "in colour" : "in grey") +
           " can have " + (workingBits == 24 ? "21844" : "65532") +
           " columns at most, this one has " + std::to_string(width));
  }
}

}  // namespace

void CheckSides(uint32_t width, uint32_t height, Dpi from, unsigned dpi) {
  if (width > kMostSide || height > kMostSide) {
    Refuse("the image is " + Size(width, height) + ", more than " + std::to_string(kMostSide) +
           " columns or rows cannot be converted");
  }
  CheckResultSide("columns", width, from.x, dpi);
  CheckResultSide("rows", height, from.y, dpi);
}

void CheckConversion(tagHANDLE* dib, unsigned dpi, uint64_t maxPixels) {
  const DibFields fields = FieldsOf(dib);
  const uint16_t bits = WorkingBits(dib, fields.bitCount);
  CheckWidening(fields.width, fields.bitCount, bits);
  const PixelSize size = CheckedSize(dib, dpi, maxPixels);
  if (LayoutOf(size.width, size.height, bits).rowsBytes + kResultHeaderBytes >
      std::numeric_limits<unsigned>::max()) {
    Refuse("the result of " + Size(size.width, size.height) +
           " pixels would need more bytes than one block can hold");
  }
}

PixelSize SizeOfConversion(PixelSize size, PelsPerMetre from, unsigned dpi, uint64_t maxPixels) {
  // Header and table are all that the engine reads before it knows, and the depth does not matter.
  constexpr uint16_t kAnyDepth = 24;
  const DibLayout layout = LayoutOf(size.width, size.height, kAnyDepth);
  const OwnedBlock header(GlobalAlloc(GHND, layout.rowsOffset));
  if (!header) {
    throw ImageError(ImageFault::kNoMemory, "no memory for an image header");
  }
  WriteHeader(LockedBlock(header.get()).Bytes(), size.width, size.height, kAnyDepth, from);
  return CheckedSize(header.get(), dpi, maxPixels);
}

}  // namespace dibkit::host
