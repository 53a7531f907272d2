// SPDX-License-Identifier: Apache-2.0
//
// Pages whose text and words are known, drawn by bench/ocr/make_pages.py.
#ifndef DIBKIT_TESTS_OCR_SCANNED_PAGES_H
#define DIBKIT_TESTS_OCR_SCANNED_PAGES_H

#include <string>
#include <vector>

#include "temporary_directory.h"

namespace dibkit::test {

struct TrueWord {
  std::string text;
  double left;  // edges of its ink, in pixels of the page
  double top;
  double right;
  double bottom;
};

class ScannedPages {
 public:
  // `options` as the script takes them.
  explicit ScannedPages(const std::string& options);

  // Why there are none, in one line; empty where there are.
  const std::string& Missing() const { return missing_; }
  std::string Path(const std::string& name) const { return directory_.Path(name); }
  // Of a page, without the suffix of its name.
  std::string Text(const std::string& page) const;
  std::vector<TrueWord> Words(const std::string& page) const;

 private:
  TemporaryDirectory directory_;
  std::string missing_;
};

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_OCR_SCANNED_PAGES_H
