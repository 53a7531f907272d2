// SPDX-License-Identifier: Apache-2.0
//
// Other people's commands, where they are installed, and the plain format that all of them know.
#ifndef DIBKIT_TESTS_HOST_OUTSIDE_TOOLS_H
#define DIBKIT_TESTS_HOST_OUTSIDE_TOOLS_H

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap_builder.h"
#include "temporary_directory.h"

namespace dibkit::test {

// True when the first word of `command` is a command here; otherwise a line says that a step is
// left out.
bool CanRun(const std::string& command);

// Runs a shell command in the directory, its output thrown away; true when it ends with 0.
bool RunIn(const TemporaryDirectory& directory, const std::string& command);

// 0xRRGGBB from the top row on, as a PPM file.
Bytes Ppm(const std::vector<uint32_t>& colours, uint32_t width);

// The colours of a PBM, PGM or PPM file whose bytes stand for 0 to 255.
std::vector<uint32_t> ColoursOfPnm(const Bytes& file);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_OUTSIDE_TOOLS_H
