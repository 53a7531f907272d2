// SPDX-License-Identifier: Apache-2.0
//
// Tesseract over the rows of a DIB.
#ifndef DIBKIT_EXAMPLES_OCR_RECOGNISER_H
#define DIBKIT_EXAMPLES_OCR_RECOGNISER_H

#include <tesseract/baseapi.h>

#include <string>

#include "prepared_page.h"
#include "recognised_page.h"

namespace ocr {

// One engine, for one thread, and any number of pages.
class Recogniser {
 public:
  // `language` as Tesseract names its data, "eng". Throws std::runtime_error when it is not there.
  explicit Recogniser(const std::string& language);
  Recogniser(const Recogniser&) = delete;
  Recogniser& operator=(const Recogniser&) = delete;
  ~Recogniser();

  // The boxes are in pixels of prepared.original. Throws std::runtime_error.
  RecognisedPage Read(const PreparedPage& prepared);

 private:
  tesseract::TessBaseAPI engine_;
};

}  // namespace ocr

#endif  // DIBKIT_EXAMPLES_OCR_RECOGNISER_H
