// SPDX-License-Identifier: Apache-2.0
//
// Pages of the pixels that a program holds in memory of its own, and back: one bit or one byte a
// pixel, or red, green and blue, in rows with any step between them.
//
//   dibkit::host::Page page = dibkit::host::PageOfPixels(
//       {dibkit::host::PixelKind::kGrey, width, height, pixels},
//       dibkit::host::ResolutionOfDpi(200));
//
// All throw PageError and nothing else, and may run on any thread; the memory of a caller is its
// own again when a function returns.
#ifndef DIBKIT_HOST_PIXELS_H
#define DIBKIT_HOST_PIXELS_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "dibkit/host/page.h"

namespace dibkit::host {

enum class PixelKind {
  kBits,     // 8 a byte, the leftmost in the highest bit; 0 is black, 1 white
  kMask,     // a byte each; 0 is black, anything else white
  kGrey,     // a byte each, from 0, black, to 255, white
  kIndexed,  // a byte each, which is an entry of a palette
  kRgb       // 3 bytes each: red, green, blue
};

struct Pixels {
  PixelKind kind = PixelKind::kGrey;
  uint32_t width = 0;
  uint32_t height = 0;
  const unsigned char* top = nullptr;  // the top row
  // Bytes from a row to the one below it; may be negative. 0: no bytes between the rows.
  std::ptrdiff_t step = 0;
  // kIndexed: 3 bytes an entry, red, green, blue; at most 256 of them, those that lack are black.
  // Otherwise not looked at.
  std::span<const unsigned char> palette{};
};

// A page of 1 bit (kBits, kMask), 8 bits with a grey table (kGrey) or a palette (kIndexed), or 24
// bits. kBadArgument where there are none, a side is more than 2^31 - 1, or the palette is not 1 to
// 256 whole entries; kTooManyPixels; kTooLarge; kNoMemory.
Page PageOfPixels(const Pixels& pixels, const Resolution& resolution = {},
                  uint64_t maxPixels = kUsualMaxPixels);

// The kind that says all that the page does in the fewest bytes, and is not kBits or kIndexed:
// kMask at 1 bit in black and white, kGrey where the table is grey, otherwise kRgb.
PixelKind PlainKind(const PageRows& rows);

// Copies the pixels to rows of width x kind bytes (kBits: (width + 7) / 8, spare bits 0), the top
// one at `top`, each `step` bytes (0: as many as a row has) behind the one above. Masks are 0 and
// 1; channels of 5 bits are widened to the full range. kNotHeld where the kind cannot say what the
// page does: kBits and kMask take pages of 1 bit in black and white, kGrey pages with a grey table,
// kIndexed 1, 4 and 8 bits, kRgb all.
void CopyPixels(const PageRows& rows, PixelKind kind, unsigned char* top, std::ptrdiff_t step);

// The pixels of a page of 24 bits as kRgb, without bytes between the rows, in the memory that held
// them: no copy is made of a large page.
class TakenPixels {
 public:
  // The page is empty then. kNotHeld, with the page as it was, at another depth.
  explicit TakenPixels(Page&& page);

  uint32_t Width() const { return width_; }
  uint32_t Height() const { return height_; }
  // The top row, the others behind it; the caller may change them as long as this object lives.
  unsigned char* Top() { return top_; }

 private:
  uint32_t width_;
  uint32_t height_;
  OwnedBlock dib_;
  LockedBlock lock_;
  unsigned char* top_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PIXELS_H
