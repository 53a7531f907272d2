// SPDX-License-Identifier: Apache-2.0
//
// What a recogniser has read on a page.
#ifndef DIBKIT_EXAMPLES_OCR_RECOGNISED_PAGE_H
#define DIBKIT_EXAMPLES_OCR_RECOGNISED_PAGE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ocr {

// Pixels from the top left corner; right and bottom are the first beyond.
struct Box {
  uint32_t left;
  uint32_t top;
  uint32_t right;
  uint32_t bottom;
};

struct Word {
  std::string text;   // UTF-8
  double confidence;  // percent
  Box box;
};

struct RecognisedPage {
  std::string text;  // UTF-8, lines as they stand on the page
  int confidence;    // the mean of its words, percent
  std::vector<Word> words;
};

}  // namespace ocr

#endif  // DIBKIT_EXAMPLES_OCR_RECOGNISED_PAGE_H
