// SPDX-License-Identifier: Apache-2.0
//
// The shifts of a bit-field channel as one mask and one rotation, which gives the same bits.
#ifndef DIBKIT_SRC_DIB_FIELD_MOVE_H
#define DIBKIT_SRC_DIB_FIELD_MOVE_H

#include <cstdint>

#include "dib/pixels.h"

namespace dibkit {

// (pixel & mask), rotated left by `rotate`, is a channel where it is wanted.
struct FieldMove {
  uint32_t mask;
  unsigned rotate;  // 0 to 31
};

// Brings the top `bits` of the channel's 8-bit value to bit `place` and up. Bit i of the pixel is
// bit i - right + left of that value, if it is not shifted out on the way.
inline FieldMove MoveField(const BitField& field, unsigned bits, unsigned place) {
  FieldMove move = {0, (place + bits + field.left - field.right - 8) & 31};
  for (unsigned valueBit = 8 - bits; valueBit < 8; ++valueBit) {
    const unsigned pixelBit = valueBit + field.right - field.left;
    if (valueBit >= field.left && pixelBit < 32) move.mask |= field.mask & uint32_t{1} << pixelBit;
  }
  return move;
}

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_FIELD_MOVE_H
