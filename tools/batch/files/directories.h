// SPDX-License-Identifier: Apache-2.0
//
// Folders for outputs.
#ifndef DIBKIT_TOOLS_BATCH_FILES_DIRECTORIES_H
#define DIBKIT_TOOLS_BATCH_FILES_DIRECTORIES_H

#include <string>

namespace dibkit::tool {

// Makes the folder that `path` lies in and those above it, where they are missing, with what
// permissions the umask leaves. Any thread may call it at any time; folders are left when the file
// never comes. Throws FileError.
void MakeDirectoriesFor(const std::string& path);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_DIRECTORIES_H
