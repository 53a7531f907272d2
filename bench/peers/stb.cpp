// SPDX-License-Identifier: Apache-2.0
// The packaged build stops at an assertion when it halves and the like; compiled here it has none.
#define STB_IMAGE_RESIZE_IMPLEMENTATION
#define STBIR_ASSERT(condition) static_cast<void>(0)
#include <stb/stb_image_resize.h>

#include "peers/peers.h"

namespace dibkit::bench {

void AddStb(const PeerJob& job, Contenders& contenders) {
  const Pixels pixels = job.source.pixels;
  if (job.work != Work::kResize || (pixels != Pixels::kGray8 && pixels != Pixels::kBgr24)) return;
  const int channels = pixels == Pixels::kGray8 ? 1 : 3;
  contenders.push_back({"stb",
                        Standing::kPeer,
                        {job.source.View()},
                        [job, channels]() -> Bytes {
                          const size_t stride = StrideOf(job.result, job.width);
                          const size_t bytes = stride * static_cast<size_t>(job.height);
                          unsigned char* rows = ResultBlock(bytes);
                          const int done = stbir_resize_uint8_generic(
                              job.source.rows, job.source.width, job.source.height,
                              static_cast<int>(job.source.stride), rows, job.width, job.height,
                              static_cast<int>(stride), channels, STBIR_ALPHA_CHANNEL_NONE, 0,
                              STBIR_EDGE_CLAMP, STBIR_FILTER_TRIANGLE, STBIR_COLORSPACE_LINEAR,
                              nullptr);
                          return done != 0 ? Bytes{rows, bytes} : Bytes{};
                        },
                        {}});
}

}  // namespace dibkit::bench
