// SPDX-License-Identifier: Apache-2.0
//
// The frame of every function that can fail: exceptions become a status and a text.
#ifndef DIBKIT_PAGE_LIBRARY_CALL_H
#define DIBKIT_PAGE_LIBRARY_CALL_H

#include "dibkit/host/page_error.h"
#include "dibkit/page.h"

namespace dibkit::page_library {

// To be called inside a catch block: what the exception in hand means.
dibkit_status FailureInHand(dibkit_error* error) noexcept;

// Says in `error`, which may be null, that all is well.
dibkit_status Done(dibkit_error* error) noexcept;

template <typename Work>
dibkit_status Call(dibkit_error* error, Work&& work) noexcept {
  try {
    work();
    return Done(error);
  } catch (...) {
    return FailureInHand(error);
  }
}

// Throws kBadArgument unless `sound`.
void RequireArgument(bool sound, const char* message);

// What `pointer` points to.
template <typename T>
T& Required(T* pointer) {
  RequireArgument(pointer != nullptr, "a pointer is null that must not be");
  return *pointer;
}

// As Call, for what makes an object: null unless all is well.
template <typename T, typename Make>
dibkit_status CallToMake(T** made, dibkit_error* error, Make&& make) noexcept {
  return Call(error, [&] {
    Required(made) = nullptr;
    *made = new T{make()};
  });
}

}  // namespace dibkit::page_library

#endif  // DIBKIT_PAGE_LIBRARY_CALL_H
