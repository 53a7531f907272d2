// SPDX-License-Identifier: Apache-2.0
//
// A whole conversion with the plain line makers: what a small call costs without any set-up.
#ifndef DIBKIT_BENCH_SUITES_PLAIN_FORM_H
#define DIBKIT_BENCH_SUITES_PLAIN_FORM_H

#include "picture.h"

namespace dibkit::bench {

// Takes 1, 8 (grey) and 24 bits. The result is a block of the host.
Bytes ConvertPlainly(const Dib& source, unsigned dpi);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_SUITES_PLAIN_FORM_H
