// SPDX-License-Identifier: Apache-2.0
//
// The input files of a run: what the command line names, what is in its folders and lists.
#ifndef DIBKIT_TOOLS_BATCH_FILES_INPUTS_H
#define DIBKIT_TOOLS_BATCH_FILES_INPUTS_H

#include <string>
#include <vector>

namespace dibkit::tool {

struct InputOptions {
  std::vector<std::string> paths;  // as the command line has them, never expanded
  bool recursive = false;          // folders are walked; otherwise one is an error
  std::string filesFrom;           // a list of further paths; "-": standard input; empty: none
  bool nullSeparated = false;      // the list's names end in zero bytes
  unsigned shardIndex = 0;         // below shardCount
  unsigned shardCount = 1;         // at least 1
};

struct Input {
  std::string path;      // to open; "-": standard input
  std::string relative;  // where it belongs below an output folder: no "..", not absolute
};

struct InputList {
  std::vector<Input> own;     // to work on
  std::vector<Input> others;  // in other shards
};

// Paths first, then the list's, in their order; what is in a folder is sorted by the bytes of its
// path. With several shards the whole is sorted so, and every shardCount-th from shardIndex on is
// the run's own: machines that see the same files under the same names agree.
//
// A folder gives the regular files below it, and symbolic links to such, whose suffix is that of an
// image format, under their path below it. Links to folders are not followed, and a folder below it
// that cannot be read is an input itself, which fails when its turn comes. Files that are named are
// taken whatever their name and whether or not they are there; a relative path of the list keeps
// its folders, any other gives its base name. A file that appears again, under whatever name, is
// left out.
//
// Throws UsageError (a folder without `recursive`, standard input twice, nothing named) and Failure
// (a list or a folder that is named cannot be read, there is no input at all; a shard may be
// empty).
InputList ListInputs(const InputOptions& options);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_INPUTS_H
