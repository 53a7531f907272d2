// SPDX-License-Identifier: Apache-2.0
#include <libyuv.h>
#include <libyuv/scale_rgb.h>

#include <memory>

#include "peers/peers.h"

namespace dibkit::bench {
namespace {

int Stride(Pixels pixels, int width) { return static_cast<int>(StrideOf(pixels, width)); }

Bytes NewResult(const PeerJob& job, Pixels pixels, unsigned char*& rows, int& stride) {
  stride = Stride(pixels, job.width);
  const size_t bytes = static_cast<size_t>(stride) * static_cast<size_t>(job.height);
  rows = ResultBlock(bytes);
  return {rows, bytes};
}

using PictureToPicture = int (*)(const PeerJob&, unsigned char* rows, int stride);

void Add(const PeerJob& job, const char* name, Standing standing, Pixels result,
         PictureToPicture call, Contenders& contenders) {
  contenders.push_back({name,
                        standing,
                        {job.source.View()},
                        [job, result, call]() -> Bytes {
                          unsigned char* rows = nullptr;
                          int stride = 0;
                          const Bytes made = NewResult(job, result, rows, stride);
                          return call(job, rows, stride) == 0 ? made : Bytes{};
                        },
                        {}});
}

int ResizeGray(const PeerJob& job, unsigned char* rows, int stride) {
  libyuv::ScalePlane(job.source.rows, static_cast<int>(job.source.stride), job.source.width,
                     job.source.height, rows, stride, job.width, job.height,
                     libyuv::kFilterBilinear);
  return 0;
}

int ResizeBgr(const PeerJob& job, unsigned char* rows, int stride) {
  return libyuv::RGBScale(job.source.rows, static_cast<int>(job.source.stride), job.source.width,
                          job.source.height, rows, stride, job.width, job.height,
                          libyuv::kFilterBilinear);
}

void AddResizeOn32Bits(const PeerJob& job, Contenders& contenders) {
  const auto wide = std::make_shared<Buffer>(WithFourBytes(job.source));
  contenders.push_back({"libyuv, 32 bits",
                        Standing::kOtherFormat,
                        {wide->View()},
                        [job, wide]() -> Bytes {
                          unsigned char* rows = nullptr;
                          int stride = 0;
                          const Bytes made = NewResult(job, Pixels::kBgrx32, rows, stride);
                          const int status =
                              libyuv::ARGBScale(wide->Data(), job.source.width * 4,
                                                job.source.width, job.source.height, rows, stride,
                                                job.width, job.height, libyuv::kFilterBilinear);
                          return status == 0 ? made : Bytes{};
                        },
                        {}});
}

int Drop4thByte(const PeerJob& job, unsigned char* rows, int stride) {
  return libyuv::ARGBToRGB24(job.source.rows, static_cast<int>(job.source.stride), rows, stride,
                             job.width, job.height);
}

int WordsTo32Bits(const PeerJob& job, unsigned char* rows, int stride) {
  return libyuv::ARGB1555ToARGB(job.source.rows, static_cast<int>(job.source.stride), rows, stride,
                                job.width, job.height);
}

int Flip(const PeerJob& job, unsigned char* rows, int stride) {
  libyuv::CopyPlane(job.source.rows, static_cast<int>(job.source.stride), rows, stride,
                    static_cast<int>(job.source.stride), -job.height);
  return 0;
}

void AddConversions(const PeerJob& job, Contenders& contenders) {
  if (job.result != Pixels::kBgr24) return;
  if (job.source.pixels == Pixels::kBgrx32) {
    Add(job, kLibyuvName, Standing::kPeer, Pixels::kBgr24, Drop4thByte, contenders);
  } else if (job.source.pixels == Pixels::kWord555) {
    Add(job, "libyuv, to 32 bits", Standing::kOtherFormat, Pixels::kBgrx32, WordsTo32Bits,
        contenders);
  }
}

}  // namespace

void AddLibyuv(const PeerJob& job, Contenders& contenders) {
  switch (job.work) {
    case Work::kResize:
      if (job.source.pixels == Pixels::kGray8) {
        Add(job, kLibyuvName, Standing::kPeer, Pixels::kGray8, ResizeGray, contenders);
      } else if (job.source.pixels == Pixels::kBgr24) {
        Add(job, kLibyuvName, Standing::kPeer, Pixels::kBgr24, ResizeBgr, contenders);
        AddResizeOn32Bits(job, contenders);
      }
      break;
    case Work::kConvert:
      AddConversions(job, contenders);
      break;
    case Work::kFlip:
      Add(job, kLibyuvName, Standing::kPeer, job.result, Flip, contenders);
      break;
    default:
      break;
  }
}

}  // namespace dibkit::bench
