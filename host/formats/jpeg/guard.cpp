// SPDX-License-Identifier: Apache-2.0
#include "formats/jpeg/guard.h"

#include <algorithm>
#include <new>
#include <string>
// Behind jpeglib.h.
#include <jerror.h>

#include "formats/remark.h"

namespace dibkit::host::jpeg {
namespace {

[[noreturn]] void Unsupported(const std::string& message) {
  throw ImageError(ImageFault::kUnsupported, message);
}

[[noreturn]] void Damaged(const std::string& message) {
  throw ImageError(ImageFault::kDamaged, message);
}

}  // namespace

Guard::Guard(const WarningHook& warning) : warning_(warning) {
  jpeg_std_error(&manager_);
  manager_.error_exit = Exit;
  manager_.emit_message = Emit;
  manager_.output_message = Output;
}

void Guard::Leave() {
  std::longjmp(jump_, 1);  // NOLINT(cert-err52-cpp)
}

void Guard::Exit(j_common_ptr object) {
  Guard& self = Of(object);
  self.code_ = self.manager_.msg_code;
  self.manager_.format_message(object, self.message_.data());
  self.Leave();
}

// `level` is negative for remarks about damage; the others are of no interest.
void Guard::Emit(j_common_ptr object, int level) {
  Guard& self = Of(object);
  const int code = self.manager_.msg_code;
  if (level >= 0) {
    return;
  }
  if (code == JWRN_HIT_MARKER || code == JWRN_JPEG_EOF) {
    Exit(object);
  }
  if (!self.warning_ || !self.IsNew(code)) {
    return;
  }
  self.manager_.format_message(object, self.message_.data());
  if (!self.Caught([&self] { self.warning_(std::string(RemarkOf(self.message_.data()))); })) {
    self.Leave();
  }
}

void Guard::Output(j_common_ptr /*object*/) {}

bool Guard::IsNew(int code) {
  auto* const end = told_.begin() + toldCount_;
  if (toldCount_ == told_.size() || std::find(told_.begin(), end, code) != end) {
    return false;
  }
  told_[toldCount_++] = code;
  return true;
}

void Guard::Throw() const {
  if (met_) {
    std::rethrow_exception(met_);
  }
  switch (code_) {
    case JERR_OUT_OF_MEMORY:
      throw std::bad_alloc();
    case JERR_INPUT_EOF:
    case JERR_INPUT_EMPTY:
      Damaged("the file ends before its image does");
    case JWRN_HIT_MARKER:
    case JWRN_JPEG_EOF:
      Damaged("the file is damaged: a part of the image is missing");
    case JERR_BAD_PRECISION:
      Unsupported("JPEG files are read with 8 bits a channel only, and this has another depth");
    case JERR_SOF_UNSUPPORTED:
      Unsupported("lossless and hierarchical JPEG files are not read");
    case JERR_ARITH_NOTIMPL:
      Unsupported("JPEG files with arithmetic coding are not read");
    case JERR_IMAGE_TOO_BIG:
      Unsupported("JPEG files of more than " + std::to_string(JPEG_MAX_DIMENSION) +
                  " pixels in width or height are not read");
    case JERR_NO_BACKING_STORE:
    case JERR_WIDTH_OVERFLOW:
      throw ImageError(ImageFault::kTooLarge, "the image is too large for its codec");
    default:
      Damaged(std::string("the file is damaged: ") + message_.data());
  }
}

}  // namespace dibkit::host::jpeg
