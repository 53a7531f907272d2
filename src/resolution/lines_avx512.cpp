// SPDX-License-Identifier: Apache-2.0
#include "resolution/lines_avx512.h"

#ifdef DIBKIT_X86
namespace dibkit::resolution {

namespace avx512 {

namespace {

template <int kChunks>
DIBKIT_AVX512 void CopyRow(const LinePlan& plan, const uint8_t* rowA, const Traffic& traffic,
                           uint8_t* out) {
  const Tables tables(plan);
  const __m512i low = _mm512_set1_epi16(0xFF);
  PassTraffic beside(traffic, tables.groups / 2);
  for (uint32_t group = 0; group < tables.groups; group += 2) {
    Carry(&beside);
    PrefetchOutput(tables, out, group * kGroup);
    const __m512i first = _mm512_and_si512(low, Pairs<kChunks>(tables, rowA, group));
    const __m512i second = _mm512_and_si512(low, Pairs<kChunks>(tables, rowA, group + 1));
    StorePass(tables, out, group * kGroup, _mm512_packus_epi16(first, second));
  }
}

DIBKIT_AVX512 void CopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                            const uint8_t* /*rowB*/, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return CopyRow<1>(plan, rowA, traffic, out);
  if (plan.chunks == 2) return CopyRow<2>(plan, rowA, traffic, out);
  return CopyRow<0>(plan, rowA, traffic, out);
}

}  // namespace

}  // namespace avx512

const LineKernels kAvx512LineKernels = {{64, 2, 2},
                                        {64, 4, 4},
                                        EachRow<avx512::CopyLine>,
                                        avx512::MakeNarrowRows,
                                        avx512::MakeWideRows};

}  // namespace dibkit::resolution

#endif  // DIBKIT_X86
