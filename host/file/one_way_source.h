// SPDX-License-Identifier: Apache-2.0
//
// Sources that cannot go back, such as pipes: what was read is kept until nobody wants it any more.
#ifndef DIBKIT_HOST_FILE_ONE_WAY_SOURCE_H
#define DIBKIT_HOST_FILE_ONE_WAY_SOURCE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>

#include "dibkit/host/byte_source.h"

namespace dibkit::host {

// Reads no further than it is asked for. What it keeps lies in blocks, so that it grows with the
// bytes that have come and by nothing else.
class OneWaySource : public ByteSource {
 public:
  uint64_t SizeUpTo(uint64_t limit) override;
  void Read(uint64_t offset, std::span<unsigned char> into) override;
  size_t ReadSome(uint64_t offset, std::span<unsigned char> into) override;
  bool IsInPlace() const override { return false; }
  void ForgetBefore(uint64_t offset) override;

 private:
  static constexpr size_t kBlockBytes = size_t{64} << 10;
  using Block = std::array<unsigned char, kBlockBytes>;

  // Reads at least one byte and returns how many; 0 at the end. May wait until `wanted` bytes have
  // come, 1 to into.size().
  virtual size_t Fetch(std::span<unsigned char> into, size_t wanted) = 0;

  // Reads once, no further than `limit`, and may wait for `wanted` bytes; false at the end.
  bool FetchTowards(uint64_t limit, size_t wanted);
  std::span<unsigned char> RoomAtEnd();
  void DropForgotten();
  void CopyKept(uint64_t offset, std::span<unsigned char> into) const;

  std::deque<std::unique_ptr<Block>> blocks_;
  uint64_t begin_ = 0;      // of the first block, a multiple of its size
  uint64_t end_ = 0;        // behind the last byte that has come
  uint64_t forgotten_ = 0;  // nothing before is wanted
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FILE_ONE_WAY_SOURCE_H
