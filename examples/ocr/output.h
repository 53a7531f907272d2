// SPDX-License-Identifier: Apache-2.0
//
// What is told of a page, and of what could not be read.
#ifndef DIBKIT_EXAMPLES_OCR_OUTPUT_H
#define DIBKIT_EXAMPLES_OCR_OUTPUT_H

#include <cstdint>
#include <string>

#include "prepared_page.h"
#include "recognised_page.h"

namespace ocr {

// Pages count from 1. The text goes to standard output, the confidence to standard error.
void PrintText(const std::string& file, uint32_t number, const RecognisedPage& page);

// One object on one line of standard output: file, page, width and height (of the original, in
// whose pixels the boxes are), confidence, text, words with text, confidence and box.
void PrintJson(const std::string& file, uint32_t number, const dibkit::host::PixelSize& original,
               const RecognisedPage& page);

// One line on standard error and, with `json`, an object on standard output. `file` may be empty,
// and `number` 0, for what concerns no file or no page.
void PrintFailure(const std::string& file, uint32_t number, const std::string& message, bool json);

}  // namespace ocr

#endif  // DIBKIT_EXAMPLES_OCR_OUTPUT_H
