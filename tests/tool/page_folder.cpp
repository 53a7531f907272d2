// SPDX-License-Identifier: Apache-2.0
#include "page_folder.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace dibkit::test {

namespace fs = std::filesystem;

std::map<std::string, Bytes> FilesBelow(const std::string& folder) {
  std::map<std::string, Bytes> files;
  if (!fs::exists(folder)) {
    return files;
  }
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files[fs::relative(entry.path(), folder).string()] = ReadFile(entry.path().string());
    }
  }
  return files;
}

std::vector<nlohmann::json> ReadReport(const std::string& path) {
  std::vector<nlohmann::json> objects;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    objects.push_back(nlohmann::json::parse(line));
  }
  return objects;
}

void MakePages(const TemporaryDirectory& directory, const std::string& folder, int count) {
  fs::create_directories(directory.Path(folder + "/inner/most"));
  for (int i = 0; i < count; ++i) {
    BitmapBuilder page;
    page.bitCount = i % 2 == 0 ? 8 : 24;
    page.width = 30 + i;
    page.height = 20;
    char name[32];
    std::snprintf(name, sizeof name, "%spage-%02d.bmp", i % 3 == 0 ? "/inner/most/" : "/", i);
    directory.Write(folder + name, page.Build());
  }
}

}  // namespace dibkit::test
