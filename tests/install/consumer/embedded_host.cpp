// SPDX-License-Identifier: Apache-2.0
//
// A program without a host of its own. It calls none of the six functions itself: what the library
// needs must come in through the link alone.
#include <dibkit/Cnv_res_mem.h>
#include <dibkit/DIBHelp.h>
#include <dibkit/host/dib_view.h>
#include <dibkit/host/locked_block.h>

#include <cstdio>

int main() {
  tagHANDLE* source = CreateDIB(2, 1, 24);
  {
    const dibkit::host::LockedBlock lock(source);
    dibkit::host::DibView(lock.Bytes()).SetPelsPerMeter(3937, 3937);
  }
  tagHANDLE* result = nullptr;
  if (ConvertResolution(source, &result, nullptr, 200, 128) != CNV_OK) {
    return 1;
  }
  const dibkit::host::LockedBlock lock(result);
  const dibkit::host::DibView view(lock.Bytes());
  std::printf("%u x %u at 200 dpi\n", view.Width(), view.Height());
  return 0;
}
