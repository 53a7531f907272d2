// SPDX-License-Identifier: Apache-2.0
//
// What both halves of the PNG adapter need of libspng: an owner and clear errors.
#ifndef DIBKIT_HOST_FORMATS_PNG_CONTEXT_H
#define DIBKIT_HOST_FORMATS_PNG_CONTEXT_H

#include <spng.h>

#include <exception>
#include <memory>

#include "dibkit/host/errors.h"

namespace dibkit::host::png {

// One context, and the exception that a callback met: it must not fly through libspng.
class Context {
 public:
  // `flags` as spng_ctx_new takes them. Throws std::bad_alloc.
  explicit Context(int flags);

  spng_ctx* Spng() const { return context_.get(); }

  // To be asked of the result of each call: returns on SPNG_OK and on SPNG_EOI, the last row.
  // Otherwise throws what a callback has met, ImageError (kDamaged, kUnsupported, kTooLarge) or
  // std::bad_alloc.
  void Check(int result) const;

  // Asks for a chunk: false when there is none.
  template <typename Chunk>
  bool Has(int (*get)(spng_ctx*, Chunk*), Chunk& chunk) const {
    const int result = get(Spng(), &chunk);
    if (result == SPNG_ECHUNKAVAIL) {
      return false;
    }
    Check(result);
    return true;
  }

  // Runs the work of a callback; false when it threw.
  template <typename Work>
  bool Caught(Work work) noexcept {
    try {
      work();
      return true;
    } catch (...) {
      met_ = std::current_exception();
      return false;
    }
  }

 private:
  struct Deleter {
    void operator()(spng_ctx* context) const { spng_ctx_free(context); }
  };

  std::unique_ptr<spng_ctx, Deleter> context_;
  std::exception_ptr met_;
};

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_CONTEXT_H
