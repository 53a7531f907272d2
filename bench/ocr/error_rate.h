// SPDX-License-Identifier: Apache-2.0
//
// How far a recognised text is from the true one.
#ifndef DIBKIT_BENCH_OCR_ERROR_RATE_H
#define DIBKIT_BENCH_OCR_ERROR_RATE_H

#include <cstddef>
#include <string>

namespace dibkit::bench::ocr {

struct CharacterErrors {
  size_t errors;      // characters to insert, delete or replace
  size_t characters;  // of the true text

  // May pass 100 where more was recognised than there is.
  double Percent() const {
    return 100.0 * static_cast<double>(errors) / static_cast<double>(characters ? characters : 1);
  }
};

// The Levenshtein distance over characters, not bytes, of two texts in UTF-8. Runs of white space
// count as one blank and none at either end; typographic quotes, dashes and ligatures count as
// their plain forms.
CharacterErrors CompareTexts(const std::string& truth, const std::string& recognised);

}  // namespace dibkit::bench::ocr

#endif  // DIBKIT_BENCH_OCR_ERROR_RATE_H
