// SPDX-License-Identifier: Apache-2.0
//
// A program that brings its own global memory and its own Windows records.
#define DIBKIT_HOST_TYPES

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

struct tagRGBQUAD {
  uint8_t rgbBlue, rgbGreen, rgbRed, rgbReserved;
};
struct tagRGBTRIPLE {
  uint8_t rgbtBlue, rgbtGreen, rgbtRed;
};
struct BITMAPINFOHEADER {
  uint32_t biSize;
  int32_t biWidth, biHeight;
  uint16_t biPlanes, biBitCount;
  uint32_t biCompression, biSizeImage;
  int32_t biXPelsPerMeter, biYPelsPerMeter;
  uint32_t biClrUsed, biClrImportant;
};
struct BITMAPCOREHEADER {
  uint32_t bcSize;
  uint16_t bcWidth, bcHeight, bcPlanes, bcBitCount;
};
struct tagHANDLE {
  unsigned bytes;
  unsigned locks;
  void* data;
};

extern "C" {
tagHANDLE* GlobalAlloc(unsigned, unsigned bytes) {
  return new tagHANDLE{bytes, 0, std::calloc(bytes, 1)};
}
void* GlobalLock(tagHANDLE* handle) {
  ++handle->locks;
  return handle->data;
}
int GlobalUnlock(tagHANDLE* handle) { return --handle->locks != 0; }
tagHANDLE* GlobalFree(tagHANDLE* handle) {
  if (handle != nullptr) {
    std::free(handle->data);
    delete handle;
  }
  return nullptr;
}
unsigned GlobalSize(tagHANDLE* handle) { return handle->bytes; }
unsigned GlobalFlags(tagHANDLE* handle) { return handle->locks; }
}

#include <dibkit/Cnv_res_mem.h>
#include <dibkit/DIBHelp.h>

int main() {
  tagHANDLE* source = CreateDIB(2, 1, 24);
  auto* header = static_cast<BITMAPINFOHEADER*>(source->data);
  header->biXPelsPerMeter = 3937;
  header->biYPelsPerMeter = 3937;
  tagHANDLE* result = nullptr;
  if (ConvertResolution(source, &result, nullptr, 200, 128) != CNV_OK) {
    return 1;
  }
  auto* dib = static_cast<unsigned char*>(result->data);
  std::printf("%d x %d at 200 dpi\n", DIBWidth(dib), DIBHeight(dib));
  GlobalFree(source);
  GlobalFree(result);
  return 0;
}
