// SPDX-License-Identifier: Apache-2.0
//
// Pages of image files and their pixels as colours.
#ifndef DIBKIT_TESTS_HOST_IMAGE_PAGES_H
#define DIBKIT_TESTS_HOST_IMAGE_PAGES_H

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "bitmap_builder.h"
#include "dibkit/host/image_reader.h"
#include "dibkit/host/image_writer.h"

namespace dibkit::test {

// 0xRRGGBB from the top row on, whatever the depth.
std::vector<uint32_t> Colours(const host::OwnedBlock& dib);

unsigned BitCountOf(const host::OwnedBlock& dib);
bool HasGreyTable(const host::OwnedBlock& dib);

// `file` must outlive the reader.
std::unique_ptr<host::ImageReader> OpenBytes(const Bytes& file,
                                             const host::ReadOptions& options = {});
host::PageImage ReadPage(const Bytes& file, uint32_t page = 0);

// A DIB whose table and rows look random, the same every time, or are grey.
host::OwnedBlock SomeDib(uint32_t width, uint32_t height, uint16_t bitCount,
                         bool greyTable = false);
// A DIB of 24 bits, or of 8 with a grey table, that changes little from pixel to pixel.
host::OwnedBlock SmoothDib(uint32_t width, uint32_t height, uint16_t bitCount);
void SetTable(const host::OwnedBlock& dib, const std::vector<uint32_t>& colours);

// A file of one page.
Bytes WritePage(host::ImageFormat format, const host::OwnedBlock& dib,
                const host::PageMetadata& metadata = {}, const host::PageOptions& options = {});

// Peak signal-to-noise ratio of the colours, in decibels; 100 for equal ones.
double Psnr(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_IMAGE_PAGES_H
