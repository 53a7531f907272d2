// SPDX-License-Identifier: Apache-2.0
#include "conversion_limits.h"

#include <limits>
#include <string>

#include "conversion.h"
#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "failure.h"
#include "resolution.h"

namespace dibkit::tool {
namespace {

constexpr uint64_t kMostSide = 65535;
// Palette images are widened first, and the length of a widened row is kept in 16 bits.
constexpr uint32_t kMostRowBytes = 65535;
constexpr unsigned short kMemorySink = 1;
// File header, info header and full table: what the conversion allocates beside the rows.
constexpr uint64_t kResultHeaderBytes = 1078;

std::string Size(uint64_t width, uint64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

// The side of the result before the conversion truncates it. Only where this is below 65536 does
// the conversion's 16-bit answer stand for the real size.
void CheckResultSide(const char* what, uint64_t side, unsigned from, unsigned dpi) {
  if (side * dpi >= (kMostSide + 1) * from) {
    throw Failure("at " + std::to_string(dpi) + " dpi the result would have more than " +
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
    throw Failure("the conversion cannot tell the size of its result");
  }
  return engine;
}

// Bits per pixel of what the engine will scale.
uint16_t WorkingBits(const host::DibView& dib) {
  if (dib.BitCount() != 4 && dib.BitCount() != 8) {
    return dib.BitCount();
  }
  return dib.HasGreyTable() ? 8 : 24;
}

void CheckWidening(const host::DibView& dib, uint16_t workingBits) {
  if (workingBits == dib.BitCount()) {
    return;
  }
  if (host::RowStride(dib.Width(), workingBits) > kMostRowBytes) {
    throw Failure(std::string("palette images ") + (workingBits == 24 ? "in colour" : "in grey") +
                  " can have " + (workingBits == 24 ? "21844" : "65532") +
                  " columns at most, this one has " + std::to_string(dib.Width()));
  }
}

}  // namespace

Resolution SourceResolution(const host::BitmapDescription& bitmap, unsigned fromDpi) {
  if (fromDpi != 0) {
    return {fromDpi, fromDpi};
  }
  const Resolution own{DotsPerInch(bitmap.xPelsPerMeter), DotsPerInch(bitmap.yPelsPerMeter)};
  if (own.x == 0 || own.y == 0) {
    throw Failure("the file does not give a usable resolution (" +
                  std::to_string(bitmap.xPelsPerMeter) + " x " +
                  std::to_string(bitmap.yPelsPerMeter) +
                  " pixels per metre); say what it is with --from-dpi");
  }
  return own;
}

void CheckSides(const host::BitmapDescription& bitmap, Resolution from, unsigned dpi) {
  if (bitmap.width > kMostSide || bitmap.height > kMostSide) {
    throw Failure("the image is " + Size(bitmap.width, bitmap.height) + ", more than " +
                  std::to_string(kMostSide) + " columns or rows cannot be converted");
  }
  CheckResultSide("columns", bitmap.width, from.x, dpi);
  CheckResultSide("rows", bitmap.height, from.y, dpi);
}

void CheckConversion(tagHANDLE* dib, unsigned dpi, uint64_t maxPixels) {
  const host::LockedBlock lock(dib);
  const host::DibView view(lock.Bytes());
  const uint16_t bits = WorkingBits(view);
  CheckWidening(view, bits);
  const CLinearTransformMem engine = AskEngine(dib, dpi);
  const uint32_t width = engine.m_wOutputWidth;
  const uint32_t height = engine.m_wOutputHeight;
  if (width == 0 || height == 0) {
    throw Failure("at " + std::to_string(dpi) + " dpi the result would have no " +
                  (width == 0 ? "columns" : "rows"));
  }
  CheckPixels("the result", width, height, maxPixels);
  if (host::LayoutOf(width, height, bits).rowsBytes + kResultHeaderBytes >
      std::numeric_limits<unsigned>::max()) {
    throw Failure("the result of " + Size(width, height) +
                  " pixels would need more bytes than one block can hold");
  }
}

}  // namespace dibkit::tool
