// SPDX-License-Identifier: Apache-2.0
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <memory>

#include "peers/freeimage_bitmap.h"
#include "peers/peers.h"

namespace dibkit::bench {

void AddPaletteChain(const PeerJob& job, Contenders& contenders) {
  if (job.work != Work::kResizePalette) return;
  const auto made = std::make_shared<FreeImageBitmap>();
  contenders.push_back(
      {kPaletteChain,
       Standing::kPeer,
       {job.source.View()},
       [job, made]() -> Bytes {
         const Picture& source = job.source;
         const size_t stride = StrideOf(Pixels::kBgr24, job.width);
         unsigned char* wideRows = ResultBlock(static_cast<size_t>(source.width) *
                                               static_cast<size_t>(source.height) * 3);
         unsigned char* resizedRows = ResultBlock(stride * static_cast<size_t>(job.height));
         ExpandPalette(source, wideRows);
         const cv::Mat wide(source.height, source.width, CV_8UC3, wideRows);
         cv::Mat resized(job.height, job.width, CV_8UC3, resizedRows, stride);
         cv::resize(wide, resized, resized.size(), 0, 0, cv::INTER_LINEAR);
         const FreeImageBitmap view = FreeImageBitmap::Over(
             {Pixels::kBgr24, job.width, job.height, stride, resizedRows, nullptr});
         made->Reset(FreeImage_ColorQuantize(view.Get(), FIQ_WUQUANT));
         return made->Rows();
       },
       [made] { made->Reset(nullptr); }});
}

}  // namespace dibkit::bench
