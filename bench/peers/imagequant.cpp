// SPDX-License-Identifier: Apache-2.0
#include <libimagequant.h>

#include "peers/peers.h"

// In the OpenMP run-time that some builds of libimagequant bring in.
extern "C" void omp_set_num_threads(int) __attribute__((weak));

namespace dibkit::bench {
namespace {

void ReadRow(liq_color* row, int y, int width, void* job) {
  const Picture& source = static_cast<const PeerJob*>(job)->source;
  const unsigned char* from = source.rows + static_cast<size_t>(y) * source.stride;
  for (int x = 0; x < width; ++x, from += 3) {
    row[x] = {from[2], from[1], from[0], 255};
  }
}

// At its fastest, without dithering.
Bytes Reduce(PeerJob job) {
  constexpr int kFastest = 10;
  const size_t bytes = static_cast<size_t>(job.width) * static_cast<size_t>(job.height);
  unsigned char* indices = ResultBlock(bytes);
  liq_attr* attributes = liq_attr_create();
  liq_set_speed(attributes, kFastest);
  liq_image* image = liq_image_create_custom(attributes, ReadRow, &job, job.width, job.height, 0);
  liq_result* result = nullptr;
  bool succeeded = liq_image_quantize(image, attributes, &result) == LIQ_OK;
  if (succeeded) {
    liq_set_dithering_level(result, 0);
    succeeded = liq_write_remapped_image(result, image, indices, bytes) == LIQ_OK;
    liq_result_destroy(result);
  }
  liq_image_destroy(image);
  liq_attr_destroy(attributes);
  return succeeded ? Bytes{indices, bytes} : Bytes{};
}

}  // namespace

void AddImagequant(const PeerJob& job, Contenders& contenders) {
  if (job.work != Work::kReduceColors) return;
  if (omp_set_num_threads != nullptr) {
    omp_set_num_threads(1);
  }
  contenders.push_back(
      {"libimagequant", Standing::kPeer, {job.source.View()}, [job] { return Reduce(job); }, {}});
}

}  // namespace dibkit::bench
