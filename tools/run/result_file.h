// SPDX-License-Identifier: Apache-2.0
//
// A file that pages go into.
#ifndef DIBKIT_TOOLS_RUN_RESULT_FILE_H
#define DIBKIT_TOOLS_RUN_RESULT_FILE_H

#include <string>

#include "dibkit/host/document.h"

namespace dibkit::tool {

// It appears when it is complete, and goes away with the object before.
class ResultFile {
 public:
  // `save` tells the format. Folders must be there.
  ResultFile(std::string path, const host::SaveOptions& save)
      : path_(std::move(path)), cancelled_(save.cancelled), writer_(path_, save) {}

  // As those of DocumentWriter.
  void Add(const host::Page& page);
  void Add(const host::EncodedPage& page);
  host::EncodedPage Encode(const host::Page& page) const { return writer_.Encode(page); }

  bool HasPages() const { return hasPages_; }
  // All pages were added. With `hashed`, returns the SHA-256, computed before the file appears, so
  // that no time lies between the file and its entry in a report; empty for what is no file, such
  // as standard output.
  std::string Finish(bool hashed);
  // The file is there.
  void Commit() { writer_.Commit(); }

  const std::string& Path() const { return path_; }

 private:
  const std::string path_;
  const host::CancelHook cancelled_;
  host::DocumentWriter writer_;
  bool hasPages_ = false;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_RESULT_FILE_H
