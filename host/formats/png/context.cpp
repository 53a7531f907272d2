// SPDX-License-Identifier: Apache-2.0
#include "formats/png/context.h"

#include <new>
#include <string>

namespace dibkit::host::png {
namespace {

[[noreturn]] void Fail(int result) {
  switch (result) {
    case SPNG_EMEM:
    case SPNG_EZLIB_INIT:
      throw std::bad_alloc();
    case SPNG_IO_EOF:
    case SPNG_IO_ERROR:
      throw ImageError(ImageFault::kDamaged, "the file ends before its image does");
    case SPNG_ECHUNK_CRC:
      throw ImageError(ImageFault::kDamaged, "the file is damaged: a checksum does not fit");
    case SPNG_ECHUNK_LIMITS:
      throw ImageError(ImageFault::kDamaged,
                       "the texts and profile of the file take more memory than any page needs");
    case SPNG_EOVERFLOW:
      throw ImageError(ImageFault::kTooLarge, "the rows of the image are too long");
    default:
      throw ImageError(ImageFault::kDamaged,
                       std::string("the file is damaged: ") + spng_strerror(result));
  }
}

}  // namespace

Context::Context(int flags) : context_(spng_ctx_new(flags)) {
  if (!context_) {
    throw std::bad_alloc();
  }
}

void Context::Check(int result) const {
  if (met_) {
    std::rethrow_exception(met_);
  }
  if (result != SPNG_OK && result != SPNG_EOI) {
    Fail(result);
  }
}

}  // namespace dibkit::host::png
