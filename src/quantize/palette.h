// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_QUANTIZE_PALETTE_H
#define DIBKIT_SRC_QUANTIZE_PALETTE_H

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "NiGoRo2.h"

namespace dibkit::quantize {

// The palette entries that there are: a host that asks for more than 256 colours gets no more.
inline int EntryCount(const CNiGoRo2& quantizer) {
  return static_cast<int>(
      std::min<size_t>(quantizer.m_lColorNum, std::size(quantizer.m_ColorTrans)));
}

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_PALETTE_H
