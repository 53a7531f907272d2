// SPDX-License-Identifier: Apache-2.0
//
// Calls of libjpeg with errors that are exceptions on our side and long jumps on its own.
#ifndef DIBKIT_HOST_FORMATS_JPEG_GUARD_H
#define DIBKIT_HOST_FORMATS_JPEG_GUARD_H

#include <array>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <memory>
// Behind cstdio, whose types it takes for granted.
#include <jpeglib.h>

#include "dibkit/host/errors.h"
#include "dibkit/host/image_reader.h"

namespace dibkit::host::jpeg {

// An object that is destroyed whether or not it was created.
struct Decompressor : jpeg_decompress_struct {
  Decompressor() : jpeg_decompress_struct{} {}
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;
  ~Decompressor() { jpeg_destroy_decompress(this); }
};

struct Compressor : jpeg_compress_struct {
  Compressor() : jpeg_compress_struct{} {}
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor() { jpeg_destroy_compress(this); }
};

// The error manager of one libjpeg object. No exception flies through libjpeg, and no jump passes a
// frame that has something to destroy: callbacks do their work inside Caught and then Leave.
class Guard {
 public:
  // `warning` hears each kind of remark once. Such as tell that pixels are missing are errors.
  explicit Guard(const WarningHook& warning = nullptr);
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  // Makes `object` report here; to be called before it is created.
  template <typename Object>
  void Watch(Object& object) {
    object.err = &manager_;
    object.client_data = this;
  }
  static Guard& Of(j_common_ptr object) { return *static_cast<Guard*>(object->client_data); }

  // Runs calls of libjpeg; their errors come out as what a callback has met, ImageError (kDamaged,
  // kUnsupported, kTooLarge) or std::bad_alloc. `calls` owns nothing that would want destroying.
  template <typename Calls>
  void Run(const Calls& calls) {
    if (setjmp(jump_) == 0) {  // NOLINT(cert-err52-cpp)
      calls();
    } else {
      Throw();
    }
  }

  // Runs the work of a callback; false when it threw.
  template <typename Work>
  bool Caught(const Work& work) noexcept {
    try {
      work();
      return true;
    } catch (...) {
      met_ = std::current_exception();
      return false;
    }
  }

  // Ends the calls that are running.
  [[noreturn]] void Leave();

 private:
  static void Exit(j_common_ptr object);
  static void Emit(j_common_ptr object, int level);
  static void Output(j_common_ptr object);
  bool IsNew(int code);
  [[noreturn]] void Throw() const;

  jpeg_error_mgr manager_{};
  std::jmp_buf jump_{};
  const WarningHook warning_;
  std::array<int, 32> told_{};  // codes of remarks
  size_t toldCount_ = 0;
  std::exception_ptr met_;
  int code_ = 0;
  std::array<char, JMSG_LENGTH_MAX> message_{};
};

}  // namespace dibkit::host::jpeg

#endif  // DIBKIT_HOST_FORMATS_JPEG_GUARD_H
