// SPDX-License-Identifier: Apache-2.0
//
// Lists of file names, as --files-from takes them.
#ifndef DIBKIT_TOOLS_BATCH_FILES_NAME_LIST_H
#define DIBKIT_TOOLS_BATCH_FILES_NAME_LIST_H

#include <string>
#include <vector>

namespace dibkit::tool {

// The names in the file `path` ("-": standard input), one a line; with `nullSeparated` each ends in
// a zero byte and may hold anything else. A carriage return that ends a line is no part of the
// name. Empty names are left out. Throws Failure, which names the list.
std::vector<std::string> ReadNameList(const std::string& path, bool nullSeparated);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_NAME_LIST_H
