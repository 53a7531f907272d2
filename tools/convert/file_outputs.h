// SPDX-License-Identifier: Apache-2.0
//
// The files that the pages of one input become: one for all, or one for each.
#ifndef DIBKIT_TOOLS_CONVERT_FILE_OUTPUTS_H
#define DIBKIT_TOOLS_CONVERT_FILE_OUTPUTS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "batch/files/plan.h"
#include "dibkit/host/document.h"

namespace dibkit::tool {

// A file appears when it is complete. What has not appeared goes away with the object.
class FileOutputs {
 public:
  // `plan` must outlive the object; `save` tells the format. With `makesFolders`, folders that are
  // missing are made.
  FileOutputs(const PlannedFile& plan, host::SaveOptions save, bool makesFolders)
      : plan_(plan), save_(std::move(save)), makesFolders_(makesFolders) {}

  // Makes ready for page `number` of the input, from 1: nothing of it has been read yet, so that
  // what cannot be written fails early.
  void Open(uint32_t number);
  // Adds the page that was made ready for.
  void Add(const host::Page& page);
  // There is no such page after all.
  void PassOver();
  // Completes the file that is being made, if a page was added. With `hashed`, returns its SHA-256,
  // computed before it appears, so that no time lies between the file and its entry in a report;
  // empty for what is no file, such as standard output.
  std::string Complete(bool hashed);
  // Takes away the completed files too.
  void Withdraw();

  // Where the page that was made ready for last goes.
  const std::string& Path() const { return path_; }

 private:
  const PlannedFile& plan_;
  const host::SaveOptions save_;
  const bool makesFolders_;
  std::optional<host::DocumentWriter> writer_;
  bool added_ = false;  // a page to the writer
  std::string path_;
  std::vector<std::string> complete_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_FILE_OUTPUTS_H
