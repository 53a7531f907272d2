// SPDX-License-Identifier: Apache-2.0
//
// Which file becomes which, settled before any work starts.
#ifndef DIBKIT_TOOLS_BATCH_FILES_PLAN_H
#define DIBKIT_TOOLS_BATCH_FILES_PLAN_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "batch/files/inputs.h"
#include "batch/files/page_pattern.h"
#include "dibkit/host/image_format.h"

namespace dibkit::tool {

struct OutputOptions {
  std::string output;     // -o: a file, "-" or a pattern for numbered pages; empty: not given
  std::string outputDir;  // --output-dir; empty: not given
  std::optional<host::ImageFormat> format{};  // --format
  bool force = false;                         // existing files may be replaced
  bool skipExisting = false;                  // existing files are left, their inputs too
  bool (*isBuiltIn)(host::ImageFormat) = host::IsBuiltIn;  // what can be written
};

// What the headers of an input tell of its pages.
struct InputPages {
  uint32_t count = 0;            // in the file; 0: it cannot be told now
  std::vector<uint32_t> chosen;  // those that will be made, from 1, ascending
};

// Asked only where the names of outputs depend on it. Throws nothing: a file that cannot be read
// fails when its turn comes.
using TellPages = std::function<InputPages(const std::string& path)>;

struct PlannedFile {
  Input input;
  PagePattern output;                         // "-": standard output
  std::optional<host::ImageFormat> format{};  // to write; none: that of the input
  uint64_t firstNumber = 1;                   // of the input's first page in numbered outputs
  bool skipped = false;                       // all its outputs are there and are left
  std::vector<uint32_t> skippedPages{};       // of numbered outputs: those that are there, from 1

  // One file a page; otherwise all pages go into one.
  bool IsNumbered() const { return output.HasNumber(); }
  // Where a page goes, from 1.
  std::string OutputOf(uint32_t page) const { return output.Name(firstNumber + page - 1); }
};

// One entry for each of the run's own inputs, in their order. Those of other shards are looked at
// only so that no two shards make the same file.
//
// Below outputDir an input keeps its relative path. Its suffix is replaced where `format` is given
// and is not what it names; a name without the suffix of a format gets one, that of `format` or of
// the input's content. Where several pages go into a format that holds one, each gets a file
// name-001.png and so on. With a pattern, pages count on through all inputs, which shards
// cannot do.
//
// Throws UsageError for no output or two, for several inputs in one plain file or in the
// pattern of a shard, for a name that tells no format, for a format that is not built in, for
// standard output that is a terminal, for a folder as -o; Failure for two inputs with one output,
// for an output that is an input, that is there (without `force` and `skipExisting`), that is a
// folder or that nobody may write. Nothing has been made then.
std::vector<PlannedFile> PlanOutputs(const InputList& inputs, const OutputOptions& options,
                                     const TellPages& tellPages = nullptr);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_PLAN_H
