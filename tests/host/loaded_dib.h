// SPDX-License-Identifier: Apache-2.0
//
// From hand-made bitmap files to DIBs and back to bytes.
#ifndef DIBKIT_TESTS_HOST_LOADED_DIB_H
#define DIBKIT_TESTS_HOST_LOADED_DIB_H

#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>

#include "bitmap_builder.h"
#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::test {

inline host::OwnedBlock Load(const BitmapBuilder& file) {
  const Bytes bytes = file.Build();
  return host::BitmapFile(std::make_unique<host::MemorySource>(bytes)).ReadDib();
}

inline Bytes BlockBytes(const host::OwnedBlock& dib) {
  const host::LockedBlock lock(dib.get());
  return Bytes(lock.Bytes().begin(), lock.Bytes().end());
}

// From the first row on; the DIB must be plain.
inline Bytes RowBytes(const host::OwnedBlock& dib) {
  const host::LockedBlock lock(dib.get());
  const host::DibView view(lock.Bytes());
  const auto rows = view.Bytes().subspan(view.Layout().rowsOffset);
  return Bytes(rows.begin(), rows.end());
}

inline Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes whole;
  for (const Bytes& part : parts) {
    whole.insert(whole.end(), part.begin(), part.end());
  }
  return whole;
}

inline Bytes Words(std::initializer_list<uint32_t> values) {
  Bytes bytes;
  for (const uint32_t value : values) {
    Append32(bytes, value);
  }
  return bytes;
}

inline Bytes HalfWords(std::initializer_list<uint32_t> values) {
  Bytes bytes;
  for (const uint32_t value : values) {
    Append16(bytes, static_cast<uint16_t>(value));
  }
  return bytes;
}

// The fault with which `work` ends; nothing when it ends well. No block may be left behind.
template <typename Work>
std::optional<host::ImageFault> FaultOf(const Work& work) {
  const uint64_t blocks = host::ReadMemoryCounters().liveBlocks;
  try {
    work();
    return std::nullopt;
  } catch (const host::ImageError& error) {
    if (host::ReadMemoryCounters().liveBlocks != blocks) {
      throw std::logic_error("a block was left behind");
    }
    return error.Fault();
  }
}

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_LOADED_DIB_H
