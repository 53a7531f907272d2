// SPDX-License-Identifier: Apache-2.0
//
// A byte sink as libtiff writes it.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_OUTPUT_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_OUTPUT_H

#include <tiffio.h>

#include <cstdint>
#include <exception>
#include <optional>
#include <span>

#include "dibkit/host/byte_sink.h"
#include "formats/tiff/directory.h"
#include "formats/tiff/messages.h"
#include "formats/tiff/metadata.h"
#include "formats/tiff/open_options.h"

namespace dibkit::host::tiff {

// A little-endian file that begins as a classic one, with room for the header of a BigTIFF file.
// Members throw what the sink throws, ImageError (kTooLarge) for what libtiff cannot write, and
// std::bad_alloc; the file is then of no further use.
class Output {
 public:
  // The sink must outlive the output.
  explicit Output(ByteSink& sink);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output();

  TIFF* Tiff() const { return tiff_.get(); }
  uint64_t Size() const { return size_; }
  bool IsBig() const { return form_.big; }

  // To be called after a call of libtiff, with what it says about its success.
  void Require(bool success);
  // Ends the page whose strips are written. libtiff rounds resolutions; the directory gets this one
  // exactly, if it has the tags.
  void EndPage(const std::optional<FileResolution>& resolution);
  // Between two pages: makes a BigTIFF file of what is there.
  void BecomeBig();
  // Sends everything on to the sink.
  void Finish();

 private:
  void Open(const char* mode);
  void Close();
  size_t ReadAt(uint64_t offset, std::span<unsigned char> into);
  void WriteAt(uint64_t offset, std::span<const unsigned char> bytes);
  void StoreRational(const Directory& directory, uint16_t tag, Rational value);

  static tmsize_t OnRead(thandle_t handle, void* into, tmsize_t bytes) noexcept;
  static tmsize_t OnWrite(thandle_t handle, void* from, tmsize_t bytes) noexcept;
  static toff_t OnSeek(thandle_t handle, toff_t offset, int from) noexcept;
  static int OnClose(thandle_t handle) noexcept;
  static toff_t OnSize(thandle_t handle) noexcept;

  std::optional<SpoolSink> spool_;  // in front of a sink that cannot go back
  ByteSink& sink_;
  ReadBytes read_;
  Form form_{false, false};
  Messages messages_;
  uint64_t at_ = 0;
  uint64_t size_ = 0;
  uint64_t linkAt_;       // where the offset of the next directory will stand
  bool closing_ = false;  // libtiff must not write any more
  std::exception_ptr failure_;
  OwnedTiff tiff_;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_OUTPUT_H
