// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "batch/jobs/size_text.h"
#include "batch/usage_error.h"

namespace dibkit::tool {
namespace {

TEST(Sizes, AreDigitsAndPerhapsAUnit) {
  EXPECT_EQ(ParseSize("1"), 1U);
  EXPECT_EQ(ParseSize("100000"), 100'000U);
  EXPECT_EQ(ParseSize("0200"), 200U);
  EXPECT_EQ(ParseSize("3k"), 3U << 10);
  EXPECT_EQ(ParseSize("512M"), 512U << 20);
  EXPECT_EQ(ParseSize("2G"), uint64_t{2} << 30);
  EXPECT_EQ(ParseSize("7t"), uint64_t{7} << 40);
  EXPECT_EQ(ParseSize("18446744073709551615"), UINT64_MAX);
  EXPECT_EQ(ParseSize("16777215T"), uint64_t{16777215} << 40);
}

TEST(Sizes, EverythingElseIsWrongUsage) {
  for (const char* text :
       {"", "M", "-1", "+1", " 1", "1 ", "1.5G", "0x10", "1MB", "1MiB", "G1", "1GG", "0", "0M",
        "18446744073709551616", "16777216T", "99999999999999999999999K"}) {
    EXPECT_THROW(ParseSize(text), UsageError) << text;
  }
}

TEST(Sizes, AreToldInTheUnitThatFits) {
  EXPECT_EQ(SizeText(0), "0 bytes");
  EXPECT_EQ(SizeText(1), "1 byte");
  EXPECT_EQ(SizeText(10'239), "10239 bytes");
  EXPECT_EQ(SizeText(10'240), "10.0 KiB");
  EXPECT_EQ(SizeText(uint64_t{10} << 20), "10.0 MiB");
  EXPECT_EQ(SizeText((uint64_t{10} << 20) - 1), "10239.9 KiB");
  EXPECT_EQ(SizeText(uint64_t{3} << 29), "1536.0 MiB");
  EXPECT_EQ(SizeText(UINT64_MAX), "16777215.9 TiB");
}

TEST(Sizes, RoundAsTheyAreAskedTo) {
  EXPECT_EQ(SizeText(20'481, true), "20.1 KiB");
  EXPECT_EQ(SizeText(20'481, false), "20.0 KiB");
  EXPECT_EQ(SizeText(20'480, true), "20.0 KiB");
}

}  // namespace
}  // namespace dibkit::tool
