// SPDX-License-Identifier: Apache-2.0
//
// A public suite of good (g), questionable (q) and bad (b) bitmap files, and what becomes of each
// of them. The files are not in the tree: DIBKIT_SAMPLES_DIR, from the environment or the build,
// names the directory that holds them as bmpsuite/.
#ifndef DIBKIT_TESTS_HOST_BITMAP_SUITE_H
#define DIBKIT_TESTS_HOST_BITMAP_SUITE_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "dibkit/host/errors.h"
#include "dibkit/host/image_format.h"

namespace dibkit::test {

struct SuiteFile {
  const char* name;                       // without .bmp
  std::optional<host::ImageFault> fault;  // why it is refused; the next three then mean nothing
  uint32_t width;
  uint32_t height;
  uint64_t checksum;                            // of the pixels at 24 bits, see PixelChecksum
  const char* reason;                           // what is special about the file
  std::optional<host::ImageFormat> embedded{};  // the file that the pixels are
};

// All 60. The checksums of g come from the suite's reference images, those of q and b from a
// decoder that shares nothing with this one: what mainstream viewers show, without alpha, and with
// index 0 where a run-length stream skips pixels. None was recorded from dibkit's own output.
std::span<const SuiteFile> BitmapSuite();

// FNV-1a, 64 bits.
class Checksum {
 public:
  void Add(unsigned char byte) { value_ = (value_ ^ byte) * 0x100000001b3U; }
  uint64_t Value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325U;
};

std::filesystem::path SuiteDirectory();
std::filesystem::path SuitePath(const SuiteFile& file);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_BITMAP_SUITE_H
