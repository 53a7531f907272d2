// SPDX-License-Identifier: Apache-2.0
//
// A page that was packed as a file of its own, into another file, its strips as they are.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_COPY_PAGE_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_COPY_PAGE_H

#include <cstdint>
#include <optional>
#include <span>

#include "formats/tiff/directory.h"
#include "formats/tiff/read/input.h"
#include "formats/tiff/write/output.h"

namespace dibkit::host::tiff {

// The first page of a file that TiffWriter has made. Members throw ImageError and std::bad_alloc.
class PackedPage {
 public:
  // The bytes must outlive the object.
  explicit PackedPage(std::span<const unsigned char> file);

  // More than it can take in a file, as it was counted before it was packed.
  uint64_t MostBytes() const;
  // As the next page; throws what the output throws too.
  void CopyTo(Output& output) const;

 private:
  void CopyStrips(Output& output) const;
  std::optional<FileResolution> ExactResolution() const;

  std::span<const unsigned char> file_;
  Input input_;
  ReadBytes read_;
  Header header_;
  Handle handle_;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_COPY_PAGE_H
