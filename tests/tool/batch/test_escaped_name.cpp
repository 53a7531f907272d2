// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "batch/terminal/escaped_name.h"
#include "batch/terminal/utf8.h"

namespace dibkit::tool {
namespace {

TEST(EscapedName, OrdinaryNamesStayAsTheyAre) {
  for (const char* name : {"", "a.tif", "[a] *?", "C:\\scans\\n",
                           "Stra\xC3\x9F"
                           "e \xE2\x82\xAC \xF0\x9F\x93\x84"}) {
    EXPECT_EQ(EscapedName(name), name);
  }
}

TEST(EscapedName, ControlCharactersOfAllKindsAreWrittenOut) {
  EXPECT_EQ(EscapedName("a\nb\rc\td"), "a\\nb\\rc\\td");
  EXPECT_EQ(EscapedName("\033[2J\x7F\x01"), "\\x1B[2J\\x7F\\x01");
  EXPECT_EQ(EscapedName(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(EscapedName("\xC2\x9B"
                        "31m"),
            "\\xC2\\x9B31m");
  EXPECT_EQ(EscapedName("\xC2\xA0"), "\xC2\xA0");
}

TEST(EscapedName, BytesThatAreNoUtf8AreWrittenOut) {
  EXPECT_EQ(EscapedName("gr\xFC\xDF"), "gr\\xFC\\xDF");
  EXPECT_EQ(EscapedName("\xC0\xAF"), "\\xC0\\xAF");
  EXPECT_EQ(EscapedName("\xED\xA0\x80"), "\\xED\\xA0\\x80");
  EXPECT_EQ(EscapedName("\xE2\x82"), "\\xE2\\x82");
  EXPECT_EQ(EscapedName("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
}

TEST(EscapedName, EscapingTwiceChangesNothingMore) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  EXPECT_EQ(EscapedName(EscapedName(all)), EscapedName(all));
}

TEST(Utf8, TheLongestAndShortestCharactersOfEachLengthAreKnown) {
  for (const char* text : {"a", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                           "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(CharacterLength(text), std::string_view(text).size());
    EXPECT_TRUE(IsUtf8(text));
  }
  for (const char* text : {"\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                           "\xF5\x80\x80\x80", "\xC2", "\xC2\x41", "\xF0\x90\x80"}) {
    EXPECT_EQ(CharacterLength(text), 0U);
    EXPECT_FALSE(IsUtf8(text));
  }
  EXPECT_EQ(CharacterLength(""), 0U);
  EXPECT_TRUE(IsUtf8(""));
}

}  // namespace
}  // namespace dibkit::tool
