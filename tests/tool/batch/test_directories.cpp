// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "batch/files/directories.h"
#include "dibkit/host/errors.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using test::FileTree;

TEST(Directories, AreMadeAllTheWayDownWithWhatTheUmaskLeaves) {
  const FileTree tree;
  const mode_t before = umask(027);
  MakeDirectoriesFor(tree.Path("a/b/c/page.tif"));
  umask(before);
  for (const char* name : {"a", "a/b", "a/b/c"}) {
    struct stat status {};
    ASSERT_EQ(stat(tree.Path(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0750U);
  }
  EXPECT_FALSE(std::filesystem::exists(tree.Path("a/b/c/page.tif")));
}

TEST(Directories, ThatAreThereAndNoneAreFine) {
  const FileTree tree;
  MakeDirectoriesFor(tree.Path("page.tif"));
  MakeDirectoriesFor("page.tif");
  MakeDirectoriesFor("/page.tif");
}

TEST(Directories, AFileInTheirPlaceIsTold) {
  const FileTree tree;
  tree.Write("a");
  EXPECT_THROW(MakeDirectoriesFor(tree.Path("a/b/page.tif")), host::FileError);
}

TEST(Directories, SeveralThreadsMayMakeTheSame) {
  const FileTree tree;
  for (int round = 0; round < 50; ++round) {
    const std::string path = tree.Path(std::to_string(round) + "/b/c/d/page.tif");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] { EXPECT_NO_THROW(MakeDirectoriesFor(path)); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_TRUE(std::filesystem::is_directory(tree.Path(std::to_string(round) + "/b/c/d")));
  }
}

}  // namespace
}  // namespace dibkit::tool
