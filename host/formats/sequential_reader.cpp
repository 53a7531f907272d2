// SPDX-License-Identifier: Apache-2.0
#include "formats/sequential_reader.h"

#include "dibkit/host/errors.h"

namespace dibkit::host {

size_t SequentialReader::ReadSome(std::span<unsigned char> into) {
  if (at_ > most_) {
    throw ImageError(ImageFault::kDamaged, "the file goes on longer than its image can need");
  }
  const size_t got = source_.ReadSome(at_, into);
  at_ += got;
  source_.ForgetBefore(at_);
  return got;
}

bool SequentialReader::ReadFully(std::span<unsigned char> into) {
  while (!into.empty()) {
    const size_t got = ReadSome(into);
    if (got == 0) {
      return false;
    }
    into = into.subspan(got);
  }
  return true;
}

}  // namespace dibkit::host
