// SPDX-License-Identifier: Apache-2.0
//
// The exported entries: conversion, driver and size queries.
#include "Cnv_res_mem.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>

#include "NiGoRo2.h"
#include "dib/layout.h"
#include "resolution/geometry.h"
#include "resolution/preconversion.h"
#include "resolution/sinks.h"
#include "resolution/transform.h"

using namespace dibkit;
using namespace dibkit::resolution;

namespace {

constexpr unsigned short kMemoryToMemory = TRANSFORM_SRC_MEMORY | TRANSFORM_DST_MEMORY;

// Both answer whether there was something to read.
bool ReadBlock(tagHANDLE* handle, SourceGeometry& geometry) {
  const void* dib = handle != nullptr ? GlobalLock(handle) : nullptr;
  if (dib == nullptr) return false;
  geometry = ReadSourceGeometry(static_cast<const unsigned char*>(dib));
  GlobalUnlock(handle);
  return true;
}

bool ReadHeaderOf(const char* path, SourceGeometry& geometry) {
  const int file = ::open(path, O_RDWR);
  if (file == -1) return false;
  unsigned char headers[kFileHeaderSize + kInfoHeaderSize];
  const bool complete = ReadFile(file, headers, sizeof headers);
  ::close(file);
  if (complete) geometry = ReadSourceGeometry(headers + kFileHeaderSize);
  return complete;
}

// The answer of the general size query, with the size in full.
int QuerySize(unsigned short mode, void const* src, unsigned short dpi, uint64_t& size) {
  size = 0;
  SourceGeometry source{};
  bool isRead = false;
  if ((mode & TRANSFORM_SRC_FILE) != 0) {
    isRead = ReadHeaderOf(static_cast<const char*>(src), source);
  } else if ((mode & TRANSFORM_SRC_MEMORY) != 0) {
    isRead = ReadBlock(*static_cast<tagHANDLE* const*>(src), source);
  } else {
    return CNV_BAD_SOURCE;
  }
  if (!isRead) return CNV_SOURCE_UNREADABLE;
  size = ResultSize(Scale(source, dpi), source.bitCount);
  return CNV_OK;
}

bool Failed(Widening widening) {
  return widening == Widening::kNotLockable || widening == Widening::kNoMemory;
}

// The status of a conversion that ends with a failed widening.
int StatusOf(Widening failure, tagHANDLE** dst) {
  if (failure == Widening::kNotLockable) return CNV_SOURCE_UNREADABLE;
  *dst = nullptr;
  return CNV_NO_MEMORY;
}

tagHANDLE* QuantizeTo256(void* dib) {
  constexpr unsigned short kColors = 256;
  constexpr unsigned short kDepth = 5;
  CNiGoRo2 quantizer(static_cast<unsigned char*>(dib), kColors, kDepth, 0);
  return quantizer.QuantizeBitmap(1, 0);
}

// Replaces a 24-bit image by its reduction to 256 colours, or by null when that fails.
void ReduceColorsOf(tagHANDLE*& image) {
  tagHANDLE* reduced = nullptr;
  if (void* dib = GlobalLock(image); dib != nullptr) {
    reduced = QuantizeTo256(dib);
    GlobalUnlock(image);
  }
  GlobalFree(image);
  image = reduced;
}

}  // namespace

int ConvertResolution(tagHANDLE* src, tagHANDLE** dst, int (*progress)(unsigned short),
                      unsigned short dpi, int threshold) {
  tagHANDLE* working = src;
  // Both widenings write this one slot: a copy widened from a colour palette is then referenced by
  // nothing but `working`, and is never freed. So is every copy when the conversion ends early.
  tagHANDLE* temporary = nullptr;
  const Widening toTrueColor = WidenColorPalette(working, temporary);
  if (Failed(toTrueColor)) return StatusOf(toTrueColor, dst);
  if (toTrueColor == Widening::kDone) working = temporary;
  const Widening toGray8 = WidenGray4(working, temporary);
  if (Failed(toGray8)) return StatusOf(toGray8, dst);
  if (toGray8 == Widening::kDone) working = temporary;

  uint64_t size = 0;
  int status = QuerySize(kMemoryToMemory, &working, dpi, size);
  if (status != CNV_OK) return status;
  *dst = size <= UINT32_MAX ? GlobalAlloc(GHND, static_cast<unsigned>(size)) : nullptr;
  if (*dst == nullptr) return CNV_NO_MEMORY;

  status = LinearTransformMain(kMemoryToMemory, &working, dst, progress, dpi, threshold);
  if (status != CNV_OK) {
    GlobalFree(*dst);
    *dst = nullptr;
  }
  if (toTrueColor == Widening::kDone && *dst != nullptr) {
    ReduceColorsOf(*dst);
    GlobalFree(temporary);  // the null handle, see above
  }
  if (toGray8 == Widening::kDone) GlobalFree(temporary);
  return status;
}

int LinearTransformMain(unsigned short mode, void const* src, void* dst,
                        int (*progress)(unsigned short), unsigned short dpi, int threshold) {
  // The destination is released before the source: destructors run in reverse order.
  CBufTransfer source;
  CBufTransfer destination;
  CLinearTransformMem engine;
  engine.m_pSource = &source;
  engine.m_pDestination = &destination;
  OpenSource(mode, src, source);
  OpenDestination(mode, dst, destination);
  return Transform(engine, mode, progress, dpi, threshold, HistogramUse::kUnseen);
}

int GetTransformImageMemorySize(unsigned short mode, void const* src, unsigned short dpi,
                                unsigned long* size) {
  uint64_t bytes = 0;
  const int status = QuerySize(mode, src, dpi, bytes);
  *size = static_cast<uint32_t>(bytes);
  return status;
}

int GetBufferSize(tagHANDLE* src, unsigned short dpi, unsigned long* size) {
  SourceGeometry source{};
  if (!ReadBlock(src, source)) return CNV_NO_SOURCE;
  const uint16_t bitCount = source.bitCount == 4 ? uint16_t{24} : source.bitCount;
  *size = static_cast<uint32_t>(ResultSize(Scale(source, dpi), bitCount));
  return CNV_OK;
}
