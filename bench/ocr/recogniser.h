// SPDX-License-Identifier: Apache-2.0
//
// Tesseract with its English data, one page after the other.
#ifndef DIBKIT_BENCH_OCR_RECOGNISER_H
#define DIBKIT_BENCH_OCR_RECOGNISER_H

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>

#include <memory>
#include <string>

namespace dibkit::bench::ocr {

struct PixDeleter {
  void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using OwnedPix = std::unique_ptr<Pix, PixDeleter>;

// The image of a file with its resolution. Throws std::runtime_error.
OwnedPix ReadImage(const std::string& path);

// One engine, for one thread. What it reads on a page does not depend on the pages before.
class Recogniser {
 public:
  // Throws std::runtime_error when the data cannot be loaded.
  Recogniser();
  Recogniser(const Recogniser&) = delete;
  Recogniser& operator=(const Recogniser&) = delete;
  ~Recogniser();

  // The text of a page in UTF-8; the page's own resolution is told to the engine.
  std::string Text(Pix* page);

 private:
  tesseract::TessBaseAPI engine_;
};

}  // namespace dibkit::bench::ocr

#endif  // DIBKIT_BENCH_OCR_RECOGNISER_H
