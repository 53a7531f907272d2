// SPDX-License-Identifier: Apache-2.0
#include "DIBApi.h"
#include "fuzz_rle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  dibfuzz::RunDecoder(4, RestoreRLE4, data, size);
  return 0;
}
