// SPDX-License-Identifier: Apache-2.0
//
// Where the exceptions of the rooms below become the one of the page classes.
#ifndef DIBKIT_HOST_PAGE_PAGE_ERROR_H
#define DIBKIT_HOST_PAGE_PAGE_ERROR_H

#include <utility>

#include "dibkit/host/page_error.h"

namespace dibkit::host {

// To be called inside a catch block: throws the PageError for the exception in hand. What a
// caller's own hook has thrown goes on as it is.
[[noreturn]] void RethrowAsPageError();

// Runs `work` and returns what it returns.
template <typename Work>
auto WithPageErrors(Work&& work) {
  try {
    return std::forward<Work>(work)();
  } catch (...) {
    RethrowAsPageError();
  }
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PAGE_PAGE_ERROR_H
