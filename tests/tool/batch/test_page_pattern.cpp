// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "batch/files/page_pattern.h"
#include "batch/usage_error.h"

namespace dibkit::tool {
namespace {

std::string Name(const std::string& pattern, uint64_t number) {
  return PagePattern::Parse(pattern).Name(number);
}

TEST(PagePattern, ANumberIsFilledUpAsItsPatternSays) {
  EXPECT_EQ(Name("out-%d.png", 7), "out-7.png");
  EXPECT_EQ(Name("out-%03d.png", 7), "out-007.png");
  EXPECT_EQ(Name("out-%3d.png", 7), "out-  7.png");
  EXPECT_EQ(Name("out-%03d.png", 12345), "out-12345.png");
  EXPECT_EQ(Name("%012d/%%", 7), "000000000007/%");
  EXPECT_EQ(Name("%0d", 4), "4");
  EXPECT_EQ(Name("%020d", UINT64_MAX), "18446744073709551615");
}

TEST(PagePattern, APlainNameIsTheSameForAllPages) {
  for (const char* name : {"out.png", "", "100%.png", "%", "%5", "%s%n%x", "a%-3d", "50% d"}) {
    const PagePattern pattern = PagePattern::Parse(name);
    EXPECT_FALSE(pattern.HasNumber()) << name;
    EXPECT_EQ(pattern.Name(1), name);
    EXPECT_EQ(pattern.Name(2), name);
  }
}

TEST(PagePattern, APercentSignCanBeWritten) {
  EXPECT_EQ(Name("100%%.png", 1), "100%.png");
  EXPECT_EQ(Name("%%d", 1), "%d");
  EXPECT_EQ(Name("%%%d", 1), "%1");
  EXPECT_FALSE(PagePattern::Parse("%%03d").HasNumber());
}

TEST(PagePattern, TwoNumbersAndAbsurdWidthsAreRefused) {
  EXPECT_THROW(PagePattern::Parse("%d-%d.png"), UsageError);
  EXPECT_THROW(PagePattern::Parse("%21d.png"), UsageError);
  EXPECT_THROW(PagePattern::Parse("%099999999999999999999d.png"), UsageError);
}

TEST(PagePattern, BesideAFileNothingInItsNameMeansAnything) {
  const PagePattern pattern = PagePattern::Beside("100%d", ".png");
  EXPECT_TRUE(pattern.HasNumber());
  EXPECT_EQ(pattern.Name(3), "100%d-003.png");
  EXPECT_EQ(PagePattern::Plain("%d").Name(3), "%d");
}

}  // namespace
}  // namespace dibkit::tool
