// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include "batch/report/sha256.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

std::string OfText(const std::string& text) {
  return Sha256OfBytes({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

class Sha256 : public testing::Test {
 protected:
  void SetUp() override {
    if (!HasSha256()) {
      GTEST_SKIP() << "libnettle is not built in";
    }
  }
};

TEST_F(Sha256, IsThatOfThePublishedExamples) {
  EXPECT_EQ(OfText(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(OfText("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(OfText(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST_F(Sha256, OfAFileIsThatOfItsBytes) {
  const test::FileTree tree;
  for (const size_t size : {size_t{0}, size_t{5}, size_t{256} << 10, (size_t{512} << 10) + 1}) {
    const std::string text(size, 'q');
    EXPECT_EQ(Sha256OfFile(tree.Write("file", text)), OfText(text));
  }
}

TEST_F(Sha256, OfNoFileIsAnError) {
  EXPECT_THROW(Sha256OfFile("/nowhere/file"), host::FileError);
  const test::FileTree tree;
  EXPECT_THROW(Sha256OfFile(tree.Write("file"), [] { return true; }), host::Cancelled);
}

TEST(Sha256Absent, WithoutTheLibraryTheTextIsEmpty) {
  if (HasSha256()) {
    GTEST_SKIP() << "libnettle is built in";
  }
  EXPECT_EQ(OfText("abc"), "");
  EXPECT_EQ(Sha256OfFile("/nowhere/file"), "");
}

}  // namespace
}  // namespace dibkit::tool
