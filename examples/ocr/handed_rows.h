// SPDX-License-Identifier: Apache-2.0
//
// The rows of a DIB in the form in which Tesseract takes an image: top row first, a number of bytes
// from each row to the next that may be negative, 1 bit with white as 1, grey, or red, green, blue.
//
// A DIB lies with its bottom row first, so its top row and a negative step are all that a grey page
// and most 1-bit pages want: they are handed over where they lie. Only colours, whose bytes stand
// in another order, and 1-bit pages with black as 1 are copied.
#ifndef DIBKIT_EXAMPLES_OCR_HANDED_ROWS_H
#define DIBKIT_EXAMPLES_OCR_HANDED_ROWS_H

#include <dibkit/host/page.h>

#include <vector>

namespace ocr {

// True for 8-bit pages whose every index is its own level of grey.
bool IsPlainGrey(const dibkit::host::PageRows& rows);

class HandedRows {
 public:
  // `rows`: 1 bit, plain grey, or 24 bits; must outlive this. Throws PageError for other depths.
  explicit HandedRows(const dibkit::host::PageRows& rows);

  const unsigned char* TopRow() const { return topRow_; }
  int BytesPerPixel() const { return bytesPerPixel_; }  // 0 for 1 bit
  int BytesPerLine() const { return bytesPerLine_; }
  bool IsCopy() const { return !copy_.empty(); }

 private:
  template <typename CopyRow>
  void Copy(const dibkit::host::PageRows& rows, CopyRow copyRow);

  std::vector<unsigned char> copy_;
  const unsigned char* topRow_;
  int bytesPerPixel_;
  int bytesPerLine_;
};

}  // namespace ocr

#endif  // DIBKIT_EXAMPLES_OCR_HANDED_ROWS_H
