// SPDX-License-Identifier: Apache-2.0
//
// The version of dibkit, as macros only. The build, the CMake package, the pkg-config file and the
// command's --version all read this file, so a release changes the number here and nowhere else.
#ifndef DIBKIT_VERSION_H
#define DIBKIT_VERSION_H

#define DIBKIT_VERSION_MAJOR 1
#define DIBKIT_VERSION_MINOR 0
#define DIBKIT_VERSION_PATCH 0
#define DIBKIT_VERSION_STRING "1.0.0"

#endif  // DIBKIT_VERSION_H
