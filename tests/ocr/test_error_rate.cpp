// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "ocr/error_rate.h"

namespace dibkit::bench::ocr {
namespace {

size_t Errors(const std::string& truth, const std::string& recognised) {
  return CompareTexts(truth, recognised).errors;
}

TEST(ErrorRate, EqualTextsHaveNone) {
  EXPECT_EQ(Errors("", ""), 0U);
  EXPECT_EQ(Errors("a page", "a page"), 0U);
}

TEST(ErrorRate, CountsWhatIsInsertedDeletedAndReplaced) {
  EXPECT_EQ(Errors("page", "pages"), 1U);
  EXPECT_EQ(Errors("page", "pge"), 1U);
  EXPECT_EQ(Errors("page", "pagc"), 1U);
  EXPECT_EQ(Errors("kitten", "sitting"), 3U);
  EXPECT_EQ(Errors("page", ""), 4U);
  EXPECT_EQ(Errors("", "page"), 4U);
}

TEST(ErrorRate, WhiteSpaceOfAnyLengthIsOneBlank) {
  EXPECT_EQ(Errors("two lines", "\n two \r\n\n lines\f"), 0U);
  EXPECT_EQ(Errors("two lines", "twolines"), 1U);
}

TEST(ErrorRate, CountsCharactersAndNotBytes) {
  EXPECT_EQ(Errors("caf\u00E9", "cafe"), 1U);
  EXPECT_EQ(CompareTexts("caf\u00E9", "").characters, 4U);
}

TEST(ErrorRate, TypographicFormsArePlainOnes) {
  EXPECT_EQ(Errors("'a' \"b\" c-d", "\u2018a\u2019 \u201Cb\u201D c\u2014d"), 0U);
  EXPECT_EQ(Errors("find flat offer", "\uFB01nd \uFB02at o\uFB00er"), 0U);
}

TEST(ErrorRate, IsInPercentOfTheTrueText) {
  EXPECT_DOUBLE_EQ(CompareTexts("abcdefghij", "abcdefghi").Percent(), 10.0);
  EXPECT_DOUBLE_EQ(CompareTexts("ab", "abxxx").Percent(), 150.0);
}

}  // namespace
}  // namespace dibkit::bench::ocr
