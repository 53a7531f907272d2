// SPDX-License-Identifier: Apache-2.0
//
// The files that the pages of one input become: one for all, or one for each.
#ifndef DIBKIT_TOOLS_RUN_FILE_OUTPUTS_H
#define DIBKIT_TOOLS_RUN_FILE_OUTPUTS_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "batch/files/plan.h"
#include "run/result_file.h"

namespace dibkit::tool {

// For one thread at a time. What has not appeared goes away with the object.
class FileOutputs {
 public:
  // `plan` must outlive the object; `save` tells the format. With `makesFolders`, folders that are
  // missing are made.
  FileOutputs(const PlannedFile& plan, host::SaveOptions save, bool makesFolders)
      : plan_(plan), save_(std::move(save)), makesFolders_(makesFolders) {}

  // The file for page `number` of the input, from 1: nothing of the page has been read yet, so that
  // what cannot be written fails early.
  std::shared_ptr<ResultFile> For(uint32_t number);
  // The one for all pages; null where there is none, or no page has come so far.
  const std::shared_ptr<ResultFile>& Joined() const { return joined_; }
  // A finished file appears.
  void Commit(ResultFile& file);
  // Takes away the files that have appeared, too.
  void Withdraw();

 private:
  const PlannedFile& plan_;
  const host::SaveOptions save_;
  const bool makesFolders_;
  std::shared_ptr<ResultFile> joined_;
  std::vector<std::string> complete_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_FILE_OUTPUTS_H
