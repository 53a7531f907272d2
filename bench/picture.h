// SPDX-License-Identifier: Apache-2.0
//
// What is converted: pages drawn by code, and packed DIBs made of them.
#ifndef DIBKIT_BENCH_PICTURE_H
#define DIBKIT_BENCH_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench_host.h"
#include "buffer.h"

namespace dibkit::bench {

enum class Content {
  kText,    // black and coloured letters with soft edges on clean paper
  kPhoto,   // a picture in soft colours over most of the page, some text
  kNoise,   // the photo page with the noise of a scanner in every pixel
  kRandom,  // random bytes
};

inline constexpr Content kContents[] = {Content::kText, Content::kPhoto, Content::kNoise,
                                        Content::kRandom};

std::string NameOf(Content content);

// A page as blue, green, red bytes without padding.
struct Page {
  int width;
  int height;
  Buffer pixels;

  const unsigned char* Row(int y) const {
    return pixels.Data() + static_cast<size_t>(y) * static_cast<size_t>(width) * 3;
  }
};

// The page of that content and size, the same on every run. The last one is kept, so a reference
// holds until the next call.
const Page& DrawPage(Content content, int width, int height);

// Distinct colours of a page.
size_t CountColors(const Page& page);

enum class Pixels { kBilevel, kPalette4, kGray8, kPalette8, kWord555, kBgr24, kBgrx32 };

unsigned BitsOf(Pixels pixels);
size_t StrideOf(Pixels pixels, int width);

// Rows of pixels, the first in memory first.
struct Picture {
  Pixels pixels;
  int width;
  int height;
  size_t stride;
  const unsigned char* rows;
  const unsigned char* colors;  // 2^bits entries of 4 bytes: blue, green, red, 0; null above 8 bits

  Bytes View() const { return {rows, stride * static_cast<size_t>(height)}; }
};

// A packed DIB in memory of its own, with a handle. It begins behind the 14 bytes of a bitmap
// file's header, so that a peer can read the same bytes as a file.
class Dib {
 public:
  Dib(const Page& page, Pixels pixels, unsigned dpi);

  // Replaces the rows by a run-length stream of the same picture.
  void Compress();
  // Replaces the rows by a stream of runs of two pixels each.
  void CompressToPairs();
  // Makes the height negative: the rows stay as they are.
  void TurnTopDown();

  unsigned char* Data() const { return file_.Data() + kFileHeader; }
  tagHANDLE* Handle() { return &handle_; }
  Picture View() const;
  // The rows, or the stream.
  Bytes Stored() const;
  Bytes File() const;

 private:
  static constexpr size_t kFileHeader = 14;

  void WriteHeader(unsigned dpi);
  void WriteTable();
  void WriteRow(const unsigned char* bgr, unsigned char* to, int y) const;
  void StoreStream(const std::vector<unsigned char>& stream, uint32_t compression);

  Pixels pixels_;
  int width_;
  int height_;
  size_t stride_;
  size_t tableBytes_;
  size_t storedBytes_;
  Buffer file_;
  tagHANDLE handle_;
};

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_PICTURE_H
