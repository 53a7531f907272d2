// SPDX-License-Identifier: Apache-2.0
//
// handles IN.bmp OUT.bmp: a host that works with global-memory handles itself: a bitmap file into a
// packed DIB, through the steps that the resolution conversion wants, and out again.
#include <dibkit/Cnv_res_mem.h>
#include <dibkit/host/bitmap_file.h>
#include <dibkit/host/bitmap_writer.h>
#include <dibkit/host/conversion.h>
#include <dibkit/host/left_behind.h>
#include <dibkit/host/locked_block.h>
#include <dibkit/host/output_file.h>

#include <cstdio>
#include <exception>

namespace host = dibkit::host;

// The page at 200 dpi, or null. `page` must be plain rows of 1, 4, 8 or 24 bits.
static host::OwnedBlock At200(const host::OwnedBlock& page) {
  host::LeftBehind scope;  // takes back the widened copy of a palette image
  tagHANDLE* result = nullptr;
  ConvertResolution(page.get(), &result, nullptr, 200, 128);
  scope.Keep(result);
  return host::OwnedBlock(result);
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: handles IN.bmp OUT.bmp\n");
    return 2;
  }
  try {
    host::BitmapFile file = host::BitmapFile::Open(argv[1]);
    const uint16_t bits = file.Description().bitCount;
    // Top-down, run-length and bit-field images become plain; 16 and 32 bits are not resampled.
    const host::OwnedBlock page = bits == 16 || bits == 32 ? host::To24Bits(file.ReadDib())
                                                           : host::Normalized(file.ReadDib());
    const host::OwnedBlock result = At200(page);
    if (!result) {
      std::fprintf(stderr, "the page cannot be converted\n");
      return 1;
    }
    const host::LockedBlock lock(result.get());
    host::OutputFile out(argv[2]);
    host::WriteBitmap(out, host::DibView(lock.Bytes()));
    out.Commit();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
