// SPDX-License-Identifier: Apache-2.0
//
// Colour to grey, by three rules, on a scale of 256 or of 16 levels.
//
// A colour value holds red in bits 0 to 7, green in 8 to 15 and blue in 16 to 23; all other bits
// are ignored, and are 0 in results. Every function answers the grey colour value whose three
// components are the grey level. All divisions truncate. Pure functions: any value, any thread, no
// failure.
#ifndef DIBKIT_COLOR_H
#define DIBKIT_COLOR_H

#include "Export.h"

// 256 levels: the mean of the three components; of the largest and the smallest; the luminance
// (16 red + 38 green + 8 blue) / 64. The luminance weights sum to 62, so white becomes 247: hosts
// rely on it.
DIBKIT_API unsigned long ColorToMono256Easy(unsigned long color);
DIBKIT_API unsigned long ColorToMono256MinMax(unsigned long color);
DIBKIT_API unsigned long ColorToMono256(unsigned long color);

// 16 levels, 0, 17, 34 to 255: the grey level cut down to a multiple of 17. The grey level is one
// of the two means above, or the luminance (30 red + 59 green + 11 blue) / 100, rounded half up.
DIBKIT_API unsigned long ColorToMono16Easy(unsigned long color);
DIBKIT_API unsigned long ColorToMono16MinMax(unsigned long color);
DIBKIT_API unsigned long ColorToMono16(unsigned long color);

#endif  // DIBKIT_COLOR_H
