// SPDX-License-Identifier: Apache-2.0
//
// A FreeImage bitmap that unloads itself.
#ifndef DIBKIT_BENCH_PEERS_FREEIMAGE_BITMAP_H
#define DIBKIT_BENCH_PEERS_FREEIMAGE_BITMAP_H

#include <FreeImage.h>

#include "picture.h"

namespace dibkit::bench {

class FreeImageBitmap {
 public:
  explicit FreeImageBitmap(FIBITMAP* bitmap = nullptr) : bitmap_(bitmap) {}
  FreeImageBitmap(const FreeImageBitmap&) = delete;
  FreeImageBitmap& operator=(const FreeImageBitmap&) = delete;
  ~FreeImageBitmap() { Reset(nullptr); }

  // A bitmap over the picture's own rows; FreeImage only reads them unless told otherwise.
  static FreeImageBitmap Over(const Picture& picture);

  void Reset(FIBITMAP* bitmap) {
    if (bitmap_ != nullptr) {
      FreeImage_Unload(bitmap_);
    }
    bitmap_ = bitmap;
  }

  FIBITMAP* Get() const { return bitmap_; }

  // None when there is no bitmap.
  Bytes Rows() const {
    if (bitmap_ == nullptr) return {};
    return {FreeImage_GetBits(bitmap_),
            size_t{FreeImage_GetPitch(bitmap_)} * FreeImage_GetHeight(bitmap_)};
  }

 private:
  FIBITMAP* bitmap_;
};

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_PEERS_FREEIMAGE_BITMAP_H
