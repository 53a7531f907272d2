// SPDX-License-Identifier: Apache-2.0
#include <pixman.h>

#include <memory>

#include "peers/peers.h"

namespace dibkit::bench {
namespace {

pixman_image_t* Over(pixman_format_code_t format, int width, int height, const unsigned char* rows,
                     size_t stride) {
  // pixman counts in words and has one type for what it reads and what it writes.
  void* bits = const_cast<unsigned char*>(rows);
  return pixman_image_create_bits(format, width, height, static_cast<uint32_t*>(bits),
                                  static_cast<int>(stride));
}

struct Source {
  pixman_format_code_t format;
  Pixels pixels;
  int width;
  int height;
  const unsigned char* rows;
  size_t stride;
};

Bytes Resize(const Source& from, int width, int height) {
  const size_t stride = StrideOf(from.pixels, width);
  const size_t bytes = stride * static_cast<size_t>(height);
  unsigned char* rows = ResultBlock(bytes);
  pixman_image_t* source = Over(from.format, from.width, from.height, from.rows, from.stride);
  pixman_image_t* made = Over(from.format, width, height, rows, stride);
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, pixman_double_to_fixed(1.0 * from.width / width),
                              pixman_double_to_fixed(1.0 * from.height / height));
  pixman_image_set_transform(source, &transform);
  pixman_image_set_filter(source, PIXMAN_FILTER_BILINEAR, nullptr, 0);
  pixman_image_set_repeat(source, PIXMAN_REPEAT_PAD);
  pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, made, 0, 0, 0, 0, 0, 0, width, height);
  pixman_image_unref(source);
  pixman_image_unref(made);
  return {rows, bytes};
}

void Add(const char* name, Standing standing, const Source& source, const PeerJob& job,
         Contenders& contenders, const std::shared_ptr<Buffer>& kept = nullptr) {
  const Bytes cold{source.rows, source.stride * static_cast<size_t>(source.height)};
  const int width = job.width;
  const int height = job.height;
  contenders.push_back({name,
                        standing,
                        {cold},
                        [source, width, height, kept] { return Resize(source, width, height); },
                        {}});
}

}  // namespace

void AddPixman(const PeerJob& job, Contenders& contenders) {
  if (job.work != Work::kResize) return;
  const Picture& picture = job.source;
  Source source{PIXMAN_a8,      picture.pixels, picture.width,
                picture.height, picture.rows,   picture.stride};
  if (picture.pixels == Pixels::kGray8) {
    Add("pixman", Standing::kPeer, source, job, contenders);
  } else if (picture.pixels == Pixels::kBgr24) {
    source.format = PIXMAN_r8g8b8;
    Add("pixman", Standing::kPeer, source, job, contenders);
    const auto wide = std::make_shared<Buffer>(WithFourBytes(picture));
    Add("pixman, 32 bits", Standing::kOtherFormat,
        {PIXMAN_x8r8g8b8, Pixels::kBgrx32, picture.width, picture.height, wide->Data(),
         StrideOf(Pixels::kBgrx32, picture.width)},
        job, contenders, wide);
  }
}

}  // namespace dibkit::bench
