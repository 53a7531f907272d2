// SPDX-License-Identifier: Apache-2.0
//
// A slow model of the resolution conversion: image in, image out, one pixel at a time.
#ifndef DIBKIT_TESTS_REFERENCE_RESAMPLE_MODEL_H
#define DIBKIT_TESTS_REFERENCE_RESAMPLE_MODEL_H

#include <array>
#include <cstdint>
#include <vector>

#include "support/dib.h"

namespace dibtest {

// Dots per inch that a header's pixels per metre stand for.
unsigned ModelDpi(uint32_t pelsPerMeter);

// Columns (or rows) of a result: the low 16 bits of the truncated product.
unsigned ModelLength(unsigned sourceLength, unsigned sourceDpi, unsigned dpi);

// Where an output index lies, with all bits of the significand kept.
struct ModelPlace {
  unsigned first;
  unsigned second;
  long double fraction;
};
ModelPlace ModelLocate(unsigned index, double scale, unsigned sourceLength);

// The interpolated value of four samples, truncated, low 8 bits.
unsigned ModelBlend(int leftA, int rightA, int leftB, int rightB, long double fx, double fy);

// The fixed colour cube: 252 entries in the order blue, green, red, and two black ones.
std::vector<Rgb> ModelColorCube();
unsigned ModelCubeIndex(Rgb color);

// Bytes that the result's block is asked for.
uint64_t ModelSize(const Dib& source, unsigned dpi, unsigned bits);

// The whole block that the engine makes of a source of 1, 4, 8, 16, 24 or 32 bits with an info
// header and a full table, in a block of ModelSize zero bytes.
std::vector<uint8_t> ModelTransform(const Dib& source, unsigned dpi, int threshold);

// A 4- or 8-bit image in colour as 24 bits; a 4-bit image in grey as 8 bits.
bool ModelHasGrayTable(const Dib& source);
Dib ModelWidenColor(const Dib& source);
Dib ModelWidenGray(const Dib& source);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_REFERENCE_RESAMPLE_MODEL_H
