// SPDX-License-Identifier: Apache-2.0
//
// Rows of a PNG file as rows of a DIB: 16 bits rounded to 8, alpha laid over white, red and blue in
// the other order.
#ifndef DIBKIT_HOST_FORMATS_PNG_ROWS_H
#define DIBKIT_HOST_FORMATS_PNG_ROWS_H

#include <spng.h>

#include <cstdint>
#include <optional>
#include <span>

namespace dibkit::host::png {

// The colour that counts as transparent, in samples as the file holds them.
struct Key {
  uint32_t red;  // and grey
  uint32_t green;
  uint32_t blue;
};

class Rows {
 public:
  // `transparency`: what the file says of it, or null.
  Rows(const spng_ihdr& header, const spng_trns* transparency);

  // Of the DIB: 1, 4, 8 or 24.
  uint16_t BitCount() const { return bitCount_; }
  // True where a row of the file takes no more bytes than one of the DIB and may be made in place.
  bool InPlace() const { return inPlace_; }
  // `from` as the file holds it, `width` pixels. `to` may be `from` where InPlace().
  void Make(const unsigned char* from, unsigned char* to, uint32_t width) const {
    make_(from, to, width, key_);
  }

 private:
  using MakeRow = void (*)(const unsigned char* from, unsigned char* to, uint32_t width,
                           const Key& key);

  uint16_t bitCount_;
  bool inPlace_ = false;
  Key key_{};
  MakeRow make_ = nullptr;
};

// Fills the colour table of the DIB: `palette` is null for grey images.
void FillTable(std::span<unsigned char> table, const spng_ihdr& header, const spng_plte* palette,
               const spng_trns* transparency);

// Puts the pixels of a pass, a row of the DIB's depth, at every `step`-th place from `first` on.
// At 1 and 4 bits `to` holds zeros there.
void SpreadPixels(const unsigned char* from, unsigned char* to, uint16_t bitCount, uint32_t first,
                  uint32_t step, uint32_t count);

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_ROWS_H
