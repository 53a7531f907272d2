// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <istream>
#include <streambuf>
#include <thread>

#include "address_space.h"
#include "bitmap_builder.h"
#include "dibkit/host/byte_source.h"
#include "page/source_of.h"
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

// Both ends of a named pipe, the writing one for the test.
class OpenPipe {
 public:
  OpenPipe() {
    const std::string path = directory_.Path("pipe");
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    // Opened for both, so that neither end waits for the other.
    writer_ = open(path.c_str(), O_RDWR);
    source_ = OpenSource(path);
  }
  ~OpenPipe() { CloseWriter(); }
  OpenPipe(const OpenPipe&) = delete;
  OpenPipe& operator=(const OpenPipe&) = delete;

  ByteSource& Source() { return *source_; }
  void Write(const Bytes& bytes) const {
    EXPECT_EQ(write(writer_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Bytes that nobody has read.
  int Unread() const {
    int count = 0;
    EXPECT_EQ(ioctl(writer_, FIONREAD, &count), 0);
    return count;
  }
  void CloseWriter() {
    if (writer_ >= 0) {
      close(writer_);
      writer_ = -1;
    }
  }

 private:
  test::TemporaryDirectory directory_;
  int writer_ = -1;
  std::unique_ptr<ByteSource> source_;
};

TEST(ByteSource, APipeIsReadNoFurtherThanItIsAskedFor) {
  OpenPipe pipe;
  pipe.Write(Bytes(1000));
  Bytes start(10);
  pipe.Source().Read(0, start);
  EXPECT_EQ(pipe.Unread(), 990);
  EXPECT_EQ(pipe.Source().SizeUpTo(100), 100U);
  EXPECT_EQ(pipe.Unread(), 900);
}

TEST(ByteSource, WhatIsThereIsReadWithoutWaitingForMore) {
  const Bytes bytes = Counting(1000);
  OpenPipe pipe;
  pipe.Write(bytes);
  Bytes some(2000);
  EXPECT_EQ(pipe.Source().ReadSome(0, some), 1000U);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), some.begin()));
  EXPECT_EQ(pipe.Source().ReadSome(990, some), 10U);
  EXPECT_EQ(some[0], bytes[990]);
  EXPECT_EQ(pipe.Source().ReadSome(0, {}), 0U);
  pipe.CloseWriter();
  EXPECT_EQ(pipe.Source().ReadSome(1000, some), 0U);
  EXPECT_EQ(pipe.Source().ReadSome(5000, some), 0U);
}

TEST(ByteSource, OtherSourcesHaveAllThatIsThere) {
  const Bytes bytes = Counting(1000);
  MemorySource source(bytes);
  Bytes some(600);
  EXPECT_EQ(source.ReadSome(0, some), 600U);
  EXPECT_EQ(source.ReadSome(600, some), 400U);
  EXPECT_EQ(some[399], bytes[999]);
  EXPECT_EQ(source.ReadSome(1000, some), 0U);
  EXPECT_EQ(source.ReadSome(1001, some), 0U);
}

TEST(ByteSource, WhatIsForgottenCannotBeReadAgainFromAPipe) {
  OpenPipe pipe;
  pipe.Write(Bytes(1000));
  Bytes ten(10);
  pipe.Source().Read(500, ten);
  pipe.Source().ForgetBefore(505);
  pipe.Source().ForgetBefore(100);
  EXPECT_NO_THROW(pipe.Source().Read(505, ten));
  try {
    pipe.Source().Read(504, ten);
    FAIL();
  } catch (const FileError& error) {
    EXPECT_EQ(error.ErrorNumber(), ESPIPE);
  }
}

TEST(ByteSource, OtherSourcesCanGoBack) {
  const Bytes bytes = Counting(1000);
  MemorySource source(bytes);
  source.ForgetBefore(1000);
  Bytes all(1000);
  source.Read(0, all);
  EXPECT_EQ(all, bytes);
}

// A stream that counts up and never ends.
class Endless : public std::streambuf {
 public:
  uint64_t Taken() const { return taken_; }

 private:
  int_type underflow() override {
    for (char& byte : buffer_) {
      byte = static_cast<char>(taken_++ % 251);
    }
    setg(buffer_.data(), buffer_.data(), buffer_.data() + buffer_.size());
    return traits_type::to_int_type(*gptr());
  }

  std::array<char, 1000> buffer_{};
  uint64_t taken_ = 0;
};

constexpr uint64_t kLittle = uint64_t{16} << 20;

TEST(ByteSource, AStreamIsKeptInConstantMemoryWhileItIsForgotten) {
  test::WithinAddressSpace(kLittle, [] {
    Endless endless;
    std::istream stream(&endless);
    const auto source = SourceOfStream(stream, nullptr);
    Bytes piece(100'000);
    for (uint64_t at = 0; at < 100'000'000; at += piece.size()) {
      source->Read(at, piece);
      EXPECT_EQ(piece[0], at % 251);
      source->ForgetBefore(at + piece.size());
    }
  });
}

TEST(ByteSource, WhatIsNotWantedGoesByWithoutBeingKept) {
  test::WithinAddressSpace(kLittle, [] {
    Endless endless;
    std::istream stream(&endless);
    const auto source = SourceOfStream(stream, nullptr);
    source->ForgetBefore(100'000'000);
    Bytes piece(10);
    source->Read(100'000'000, piece);
    EXPECT_EQ(piece[0], 100'000'000 % 251);
    EXPECT_LE(endless.Taken(), 100'001'000U);
  });
}

TEST(ByteSource, AStreamGivesWhatItHolds) {
  Endless endless;
  std::istream stream(&endless);
  const auto source = SourceOfStream(stream, nullptr);
  Bytes piece(100'000);
  EXPECT_EQ(source->ReadSome(0, piece), 1000U);
  EXPECT_EQ(piece[999], 999 % 251);
  EXPECT_EQ(endless.Taken(), 1000U);
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
