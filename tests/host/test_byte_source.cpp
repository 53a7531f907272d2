// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "bitmap_builder.h"
#include "dibkit/host/byte_source.h"
#include "temporary_directory.h"

namespace dibkit::host {
namespace {

using test::Bytes;

Bytes Counting(size_t size) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
  }
  return bytes;
}

void ExpectHolds(ByteSource& source, const Bytes& bytes) {
  EXPECT_EQ(source.SizeUpTo(0), 0U);
  EXPECT_EQ(source.SizeUpTo(5), 5U);
  Bytes middle(100);
  source.Read(1000, middle);
  EXPECT_EQ(middle, Bytes(bytes.begin() + 1000, bytes.begin() + 1100));
  EXPECT_EQ(source.SizeUpTo(bytes.size()), bytes.size());
  EXPECT_EQ(source.SizeUpTo(bytes.size() + 1), bytes.size());
  EXPECT_EQ(source.SizeUpTo(~uint64_t{0}), bytes.size());
  Bytes all(bytes.size());
  source.Read(0, all);
  EXPECT_EQ(all, bytes);
  source.Read(bytes.size(), {});
  Bytes beyond(2);
  EXPECT_THROW(source.Read(bytes.size() - 1, beyond), FileError);
}

TEST(ByteSource, Memory) {
  const Bytes bytes = Counting(3000);
  MemorySource source(bytes);
  ExpectHolds(source, bytes);
}

TEST(ByteSource, RegularFile) {
  const test::TemporaryDirectory directory;
  const Bytes bytes = Counting(300'000);
  ExpectHolds(*OpenSource(directory.Write("file", bytes)), bytes);
}

TEST(ByteSource, Pipe) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.Path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const Bytes bytes = Counting(300'000);
  std::thread writer([&] { directory.Write("pipe", bytes); });
  ExpectHolds(*OpenSource(path), bytes);
  writer.join();
}

TEST(ByteSource, AFileThatIsCutWhileItIsReadIsAnError) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.Write("file", Bytes(1000));
  const auto source = OpenSource(path);
  EXPECT_EQ(source->SizeUpTo(2000), 1000U);
  ASSERT_EQ(truncate(path.c_str(), 10), 0);
  Bytes all(1000);
  EXPECT_THROW(source->Read(0, all), FileError);
}

TEST(ByteSource, SaysWhyAFileDoesNotOpen) {
  const test::TemporaryDirectory directory;
  try {
    OpenSource(directory.Path("none"));
    FAIL();
  } catch (const FileError& error) {
    EXPECT_EQ(error.ErrorNumber(), ENOENT);
    EXPECT_STREQ(error.what(), "cannot open: No such file or directory");
  }
}

TEST(ByteSource, ADirectoryIsAnError) {
  const test::TemporaryDirectory directory;
  const auto source = OpenSource(directory.Path("."));
  EXPECT_THROW(source->SizeUpTo(1), FileError);
}

TEST(ByteSource, TheCancelHookStopsIt) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.Write("file", Bytes(10));
  static bool stop = false;
  stop = false;
  const auto source = OpenSource(path, [] { return stop; });
  Bytes all(10);
  EXPECT_NO_THROW(source->Read(0, all));
  stop = true;
  EXPECT_THROW(source->Read(0, all), Cancelled);
}

}  // namespace
}  // namespace dibkit::host
