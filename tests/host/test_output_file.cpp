// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "bitmap_builder.h"
#include "dibkit/host/output_file.h"
#include "temporary_directory.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::ReadFile;
using test::TemporaryDirectory;

const Bytes kOld{1, 2, 3};
const Bytes kNew{9, 8, 7, 6};

void WriteAll(const std::string& path, const Bytes& bytes) {
  OutputFile file(path);
  file.Write(bytes);
  file.Commit();
}

using Names = std::vector<std::string>;

TEST(OutputFile, AppearsWithItsCommit) {
  const TemporaryDirectory directory;
  OutputFile file(directory.Path("out"));
  file.Write(kNew);
  EXPECT_FALSE(directory.Names().empty());
  EXPECT_NE(directory.Names(), Names{"out"});
  file.Commit();
  EXPECT_EQ(directory.Names(), Names{"out"});
  EXPECT_EQ(ReadFile(directory.Path("out")), kNew);
}

TEST(OutputFile, LeavesNothingWithoutACommit) {
  const TemporaryDirectory directory;
  {
    OutputFile file(directory.Path("out"));
    file.Write(kNew);
  }
  EXPECT_TRUE(directory.Names().empty());
}

TEST(OutputFile, ReplacesAFileOnlyWithItsCommit) {
  const TemporaryDirectory directory;
  const std::string path = directory.Write("out", kOld);
  {
    OutputFile file(path);
    file.Write(kNew);
    EXPECT_EQ(ReadFile(path), kOld);
  }
  EXPECT_EQ(ReadFile(path), kOld);
  WriteAll(path, kNew);
  EXPECT_EQ(ReadFile(path), kNew);
  EXPECT_EQ(directory.Names(), Names{"out"});
}

unsigned Mode(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 0777;
}

TEST(OutputFile, ANewFileFollowsTheUmaskAndAReplacedOneKeepsItsPermissions) {
  const TemporaryDirectory directory;
  const mode_t umaskBefore = umask(027);
  WriteAll(directory.Path("new"), kNew);
  const std::string old = directory.Write("old", kOld);
  EXPECT_EQ(chmod(old.c_str(), 0606), 0);
  WriteAll(old, kNew);
  umask(umaskBefore);
  EXPECT_EQ(Mode(directory.Path("new")), 0640U);
  EXPECT_EQ(Mode(old), 0606U);
}

TEST(OutputFile, ASymbolicLinkKeepsItsPlace) {
  const TemporaryDirectory directory;
  const std::string target = directory.Write("target", kOld);
  const std::string link = directory.Path("link");
  ASSERT_EQ(symlink("target", link.c_str()), 0);
  WriteAll(link, kNew);
  EXPECT_EQ(ReadFile(target), kNew);
  struct stat status {};
  ASSERT_EQ(lstat(link.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

int ErrorOf(const std::string& path, size_t bytes) {
  try {
    WriteAll(path, Bytes(bytes));
    return 0;
  } catch (const FileError& error) {
    return error.ErrorNumber();
  }
}

TEST(OutputFile, IsTheSameWhetherItWaitsForTheDiskOrNot) {
  const TemporaryDirectory directory;
  for (const Durability durability : {Durability::kSynced, Durability::kAsTheSystemLikes}) {
    OutputFile file(directory.Path("out"), nullptr, IfExists::kReplace, durability);
    file.Write(kNew);
    file.Commit();
    EXPECT_EQ(ReadFile(directory.Path("out")), kNew);
    EXPECT_EQ(directory.Names(), Names{"out"});
  }
}

TEST(OutputFile, SaysWhyItCannotWrite) {
  const TemporaryDirectory directory;
  EXPECT_EQ(ErrorOf(directory.Path("none/out"), 1), ENOENT);
  EXPECT_EQ(ErrorOf(directory.Path("."), 1), EISDIR);
  EXPECT_EQ(ErrorOf("/dev/full", 1), ENOSPC);
}

TEST(OutputFile, WritesToDevicesDirectly) {
  EXPECT_EQ(ErrorOf("/dev/null", 10'000'000), 0);
  struct stat status {};
  ASSERT_EQ(stat("/dev/null", &status), 0);
  EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST(OutputFile, TheCancelHookStopsItBeforeTheFileAppears) {
  const TemporaryDirectory directory;
  static bool stop = false;
  stop = false;
  {
    OutputFile file(directory.Path("out"), [] { return stop; });
    file.Write(kNew);
    stop = true;
    EXPECT_THROW(file.Write(kNew), Cancelled);
    EXPECT_THROW(file.Commit(), Cancelled);
  }
  EXPECT_TRUE(directory.Names().empty());
}

}  // namespace
}  // namespace dibkit::host
