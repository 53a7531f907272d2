// SPDX-License-Identifier: Apache-2.0
//
// A byte source as libtiff reads it.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_INPUT_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_INPUT_H

#include <tiffio.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>

#include "dibkit/host/byte_source.h"
#include "formats/tiff/messages.h"
#include "formats/tiff/open_options.h"

namespace dibkit::host::tiff {

// Scratch for one strip, one row or one row of tiles of a page; what would need more is refused.
inline constexpr uint64_t kMostScratchBytes = uint64_t{64} << 20;

// One file, shared by all that read it.
class Input {
 public:
  // Of a pipe, which is kept in memory, no more is read than pages of `maxPixels` can need.
  Input(std::unique_ptr<ByteSource> source, uint64_t maxPixels);

  // Returns how many of the bytes are there. Throws FileError, Cancelled, std::bad_alloc, and
  // ImageError (kTooManyPixels) for a place in a pipe that is too far away.
  size_t ReadAt(uint64_t offset, std::span<unsigned char> into);
  // True when the file has all those bytes; throws as ReadAt.
  bool Holds(uint64_t offset, uint64_t bytes);
  // The size of a file; of a pipe the most that is read of it, without reading.
  uint64_t Size() const;

 private:
  uint64_t Reach(uint64_t offset, uint64_t bytes);

  std::unique_ptr<ByteSource> source_;
  uint64_t most_;
};

// libtiff's own handle, at one directory of the file. Each is for itself: several may read
// different planes of a page side by side.
class Handle {
 public:
  // Throws ImageError (kDamaged), and what Input throws.
  Handle(Input& input, uint64_t directoryOffset);
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() = default;

  TIFF* Tiff() const { return tiff_.get(); }
  Input& Source() const { return input_; }
  Messages& Said() { return messages_; }

  // To be called after a call of libtiff, with what it says about its success. Throws what the
  // input threw meanwhile, or ImageError (kDamaged) that begins with `what`, for errors too that
  // the call itself got over.
  void Require(bool success, const char* what);
  // The same, but errors that the call got over become warnings.
  void RequireAtLeast(bool success, const char* what);

 private:
  static tmsize_t OnRead(thandle_t handle, void* into, tmsize_t bytes) noexcept;
  static tmsize_t OnWrite(thandle_t handle, void* from, tmsize_t bytes) noexcept;
  static toff_t OnSeek(thandle_t handle, toff_t offset, int from) noexcept;
  static int OnClose(thandle_t handle) noexcept;
  static toff_t OnSize(thandle_t handle) noexcept;

  Input& input_;
  Messages messages_;
  uint64_t at_ = 0;
  std::exception_ptr failure_;
  OwnedTiff tiff_;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_INPUT_H
