// SPDX-License-Identifier: Apache-2.0
#include "resolution/lines_avx2.h"

#ifdef DIBKIT_X86

namespace dibkit::resolution {

namespace avx2 {

namespace {

template <int kChunks>
DIBKIT_AVX2 void CopyRow(const LinePlan& plan, const uint8_t* rowA, const Traffic& traffic,
                         uint8_t* out) {
  const Tables tables(plan);
  const __m256i low = _mm256_set1_epi16(0xFF);
  RowTraffic beside(traffic, plan);
  for (uint32_t group = 0; group < tables.groups; group += 4) {
    const uint32_t done = group * (kGroupBytes / 2);
    beside.Carry(done);
    PrefetchOutput(tables.samples, out, done);
    const __m256i first = _mm256_and_si256(low, Pairs<kChunks>(tables, rowA, group));
    const __m256i second = _mm256_and_si256(low, Pairs<kChunks>(tables, rowA, group + 2));
    Store(tables, out, done, InOrder(_mm256_packus_epi16(first, second)));
  }
}

DIBKIT_AVX2 void CopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                          const uint8_t* /*rowB*/, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return CopyRow<1>(plan, rowA, traffic, out);
  if (plan.chunks == 2) return CopyRow<2>(plan, rowA, traffic, out);
  return CopyRow<0>(plan, rowA, traffic, out);
}

}  // namespace

}  // namespace avx2

const LineKernels kAvx2LineKernels = {
    {16, 2, 4}, {16, 4, 8}, EachRow<avx2::CopyLine>, avx2::MakeNarrowRows, avx2::MakeWideRows};

}  // namespace dibkit::resolution

#endif  // DIBKIT_X86
