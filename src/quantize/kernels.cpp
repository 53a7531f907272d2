// SPDX-License-Identifier: Apache-2.0
#include "quantize/kernels.h"

namespace dibkit::quantize {

const QuantizeKernels kPortableKernels = {AddToCellsPortable, SortKeysPortable, MapRowPortable,
                                          SearchPortable};
#ifdef DIBKIT_X86
const QuantizeKernels kAvx2Kernels = {AddToCellsAvx2, SortKeysPortable, MapRowAvx2, SearchAvx2};
const QuantizeKernels kAvx512Kernels = {AddToCellsAvx512, SortKeysAvx512, MapRowAvx512,
                                        SearchAvx512};
#endif

}  // namespace dibkit::quantize
