// SPDX-License-Identifier: Apache-2.0
//
// Names of files that hold one page each, such as out-%03d.png.
#ifndef DIBKIT_TOOLS_BATCH_FILES_PAGE_PATTERN_H
#define DIBKIT_TOOLS_BATCH_FILES_PAGE_PATTERN_H

#include <cstdint>
#include <string>

namespace dibkit::tool {

// What -o names. "%d", "%3d" or "%03d" stands for the number of a page, filled up with blanks or
// zeros to 1 to 20 digits; "%%" is a percent sign, and so is a "%" before anything else.
class PagePattern {
 public:
  // Throws UsageError where there are two numbers or a width over 20.
  static PagePattern Parse(const std::string& text);
  // A name as it is.
  static PagePattern Plain(const std::string& name);
  // `stem`-NNN`suffix`, whatever characters these hold.
  static PagePattern Beside(const std::string& stem, const std::string& suffix);

  // False for a plain name.
  bool HasNumber() const { return hasNumber_; }
  // The name for a page; the plain name when there is no number in it.
  std::string Name(uint64_t number) const;

 private:
  std::string before_;
  std::string after_;
  unsigned width_ = 0;
  char fill_ = ' ';
  bool hasNumber_ = false;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_PAGE_PATTERN_H
