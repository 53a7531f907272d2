// SPDX-License-Identifier: Apache-2.0
//
// DIBKIT_API marks what the shared library exports; everything else is compiled hidden.
#ifndef DIBKIT_EXPORT_H
#define DIBKIT_EXPORT_H

#define DIBKIT_API __attribute__((visibility("default")))

#endif  // DIBKIT_EXPORT_H
