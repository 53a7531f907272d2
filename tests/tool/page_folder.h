// SPDX-License-Identifier: Apache-2.0
//
// A folder with pages, and what runs over it leave.
#ifndef DIBKIT_TESTS_TOOL_PAGE_FOLDER_H
#define DIBKIT_TESTS_TOOL_PAGE_FOLDER_H

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "process.h"

namespace dibkit::test {

// Relative names of all files below a folder, with what is in them. Empty where there is no folder.
std::map<std::string, Bytes> FilesBelow(const std::string& folder);

// The objects of a report.
std::vector<nlohmann::json> ReadReport(const std::string& path);

// Small pages in `folder`: page-00.bmp and so on, no two alike, every third in a folder of its own.
void MakePages(const TemporaryDirectory& directory, const std::string& folder, int count);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_TOOL_PAGE_FOLDER_H
