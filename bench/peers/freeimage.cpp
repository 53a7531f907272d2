// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>

#include "peers/freeimage_bitmap.h"
#include "peers/peers.h"

namespace dibkit::bench {
namespace {

// FreeImage allocates every result itself.
template <typename Call>
void Add(const char* name, Bytes cold, Call call, Contenders& contenders) {
  const auto made = std::make_shared<FreeImageBitmap>();
  contenders.push_back({name,
                        Standing::kPeer,
                        {cold},
                        [made, call] {
                          made->Reset(call());
                          return made->Rows();
                        },
                        [made] { made->Reset(nullptr); }});
}

void AddResize(const PeerJob& job, Contenders& contenders) {
  if (job.source.pixels != Pixels::kGray8 && job.source.pixels != Pixels::kBgr24) return;
  Add(
      "FreeImage", job.source.View(),
      [job] {
        const FreeImageBitmap source = FreeImageBitmap::Over(job.source);
        return FreeImage_Rescale(source.Get(), job.width, job.height, FILTER_BILINEAR);
      },
      contenders);
}

void AddReduction(const PeerJob& job, Contenders& contenders) {
  Add(
      kFreeImageWu, job.source.View(),
      [job] {
        const FreeImageBitmap source = FreeImageBitmap::Over(job.source);
        return FreeImage_ColorQuantize(source.Get(), FIQ_WUQUANT);
      },
      contenders);
}

// The reading of a bitmap file in memory is the only way to FreeImage's decoder.
void AddDecoding(const PeerJob& job, Contenders& contenders) {
  Add(
      "FreeImage", job.file,
      [job] {
        FIMEMORY* file = FreeImage_OpenMemory(const_cast<unsigned char*>(job.file.data()),
                                              static_cast<DWORD>(job.file.size()));
        FIBITMAP* bitmap = FreeImage_LoadFromMemory(FIF_BMP, file);
        FreeImage_CloseMemory(file);
        return bitmap;
      },
      contenders);
}

void AddConversion(const PeerJob& job, Contenders& contenders) {
  const bool toWords = job.result == Pixels::kWord555;
  Add(
      "FreeImage", job.source.View(),
      [job, toWords] {
        const FreeImageBitmap source = FreeImageBitmap::Over(job.source);
        return toWords ? FreeImage_ConvertTo16Bits555(source.Get())
                       : FreeImage_ConvertTo24Bits(source.Get());
      },
      contenders);
}

// In place, on a copy of its own: it needs no result.
void AddFlip(const PeerJob& job, Contenders& contenders) {
  const Bytes rows = job.source.View();
  const auto copy = std::make_shared<Buffer>(rows.size());
  std::memcpy(copy->Data(), rows.data(), rows.size());
  Picture picture = job.source;
  picture.rows = copy->Data();
  contenders.push_back({"FreeImage, in place",
                        Standing::kOtherWork,
                        {copy->View()},
                        [picture, copy]() -> Bytes {
                          const FreeImageBitmap bitmap = FreeImageBitmap::Over(picture);
                          return FreeImage_FlipVertical(bitmap.Get()) ? copy->View() : Bytes{};
                        },
                        {}});
}

}  // namespace

FreeImageBitmap FreeImageBitmap::Over(const Picture& picture) {
  const unsigned bits = BitsOf(picture.pixels);
  const bool isWords = picture.pixels == Pixels::kWord555;
  FIBITMAP* bitmap = FreeImage_ConvertFromRawBitsEx(
      FALSE, const_cast<unsigned char*>(picture.rows), FIT_BITMAP, picture.width, picture.height,
      static_cast<int>(picture.stride), bits, isWords ? FI16_555_RED_MASK : 0,
      isWords ? FI16_555_GREEN_MASK : 0, isWords ? FI16_555_BLUE_MASK : 0, FALSE);
  if (picture.colors != nullptr) {
    std::memcpy(FreeImage_GetPalette(bitmap), picture.colors, size_t{4} << bits);
  }
  return FreeImageBitmap(bitmap);
}

void AddFreeImage(const PeerJob& job, Contenders& contenders) {
  switch (job.work) {
    case Work::kResize:
      AddResize(job, contenders);
      break;
    case Work::kReduceColors:
      AddReduction(job, contenders);
      break;
    case Work::kDecodeRuns:
      AddDecoding(job, contenders);
      break;
    case Work::kConvert:
      AddConversion(job, contenders);
      break;
    case Work::kFlip:
      AddFlip(job, contenders);
      break;
    case Work::kResizePalette:
      break;
  }
}

}  // namespace dibkit::bench
