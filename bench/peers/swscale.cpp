// SPDX-License-Identifier: Apache-2.0
extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>
#include <optional>

#include "peers/peers.h"

namespace dibkit::bench {
namespace {

std::optional<AVPixelFormat> FormatOf(Pixels pixels) {
  switch (pixels) {
    case Pixels::kBilevel:
      return AV_PIX_FMT_MONOBLACK;
    case Pixels::kGray8:
      return AV_PIX_FMT_GRAY8;
    case Pixels::kPalette8:
      return AV_PIX_FMT_PAL8;
    case Pixels::kWord555:
      return AV_PIX_FMT_RGB555LE;
    case Pixels::kBgr24:
      return AV_PIX_FMT_BGR24;
    case Pixels::kBgrx32:
      return AV_PIX_FMT_BGR0;
    case Pixels::kPalette4:
      break;
  }
  return std::nullopt;
}

using Context = std::shared_ptr<SwsContext>;

Context NewContext(const PeerJob& job) {
  const std::optional<AVPixelFormat> from = FormatOf(job.source.pixels);
  const std::optional<AVPixelFormat> to = FormatOf(job.result);
  if (!from || !to) return nullptr;
  return Context(sws_getContext(job.source.width, job.source.height, *from, job.width, job.height,
                                *to, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr),
                 sws_freeContext);
}

Bytes Scale(const PeerJob& job, SwsContext* context) {
  const size_t stride = StrideOf(job.result, job.width);
  const size_t bytes = stride * static_cast<size_t>(job.height);
  unsigned char* rows = ResultBlock(bytes);
  const uint8_t* const from[4] = {job.source.rows, job.source.colors, nullptr, nullptr};
  const int fromStride[4] = {static_cast<int>(job.source.stride), 0, 0, 0};
  uint8_t* const to[4] = {rows, nullptr, nullptr, nullptr};
  const int toStride[4] = {static_cast<int>(stride), 0, 0, 0};
  const int made = sws_scale(context, from, fromStride, 0, job.source.height, to, toStride);
  return made == job.height ? Bytes{rows, bytes} : Bytes{};
}

}  // namespace

void AddSwscale(const PeerJob& job, Contenders& contenders) {
  const bool isResize = job.work == Work::kResize && job.source.pixels != Pixels::kBilevel;
  if (!isResize && job.work != Work::kConvert) return;
  const Context context = NewContext(job);
  if (context == nullptr) return;
  contenders.push_back({"swscale",
                        Standing::kPeer,
                        {job.source.View()},
                        [job, context] { return Scale(job, context.get()); },
                        {}});
}

}  // namespace dibkit::bench
