// SPDX-License-Identifier: Apache-2.0
#include "run/result_file.h"

#include "batch/report/sha256.h"

namespace dibkit::tool {

void ResultFile::Add(const host::Page& page) {
  writer_.Add(page);
  hasPages_ = true;
}

void ResultFile::Add(const host::EncodedPage& page) {
  writer_.Add(page);
  hasPages_ = true;
}

std::string ResultFile::Finish(bool hashed) {
  const std::string finished = writer_.Finish();
  return hashed && !finished.empty() ? Sha256OfFile(finished, cancelled_) : std::string();
}

}  // namespace dibkit::tool
