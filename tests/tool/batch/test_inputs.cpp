// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>

#include "batch/files/inputs.h"
#include "batch/files/name_list.h"
#include "batch/usage_error.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using test::FileTree;
using test::OrdinaryUser;
using test::WorkingDirectory;

using Names = std::vector<std::string>;

Names Paths(const std::vector<Input>& inputs) {
  Names names;
  for (const Input& input : inputs) names.push_back(input.path);
  return names;
}

Names Relatives(const std::vector<Input>& inputs) {
  Names names;
  for (const Input& input : inputs) names.push_back(input.relative);
  return names;
}

InputOptions Of(const Names& paths, bool recursive = false) {
  InputOptions options;
  options.paths = paths;
  options.recursive = recursive;
  return options;
}

std::string UsageText(const InputOptions& options) {
  try {
    ListInputs(options);
    return "";
  } catch (const UsageError& error) {
    return error.what();
  }
}

TEST(Inputs, NamedFilesAreTakenInTheirOrderWhateverTheirNames) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("b.tif");
  tree.Write("sub/a");
  const auto list = ListInputs(Of({"b.tif", "sub/a", "missing.png", "[a]*?.bmp", "-"}));
  EXPECT_EQ(Paths(list.own), (Names{"b.tif", "sub/a", "missing.png", "[a]*?.bmp", "-"}));
  EXPECT_EQ(Relatives(list.own), (Names{"b.tif", "a", "missing.png", "[a]*?.bmp", "-"}));
  EXPECT_TRUE(list.others.empty());
}

TEST(Inputs, AFolderIsAnErrorWithoutRecursive) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("scans\n/a.tif");
  EXPECT_EQ(UsageText(Of({"scans\n"})), "scans\\n is a folder: --recursive takes the images in it");
}

TEST(Inputs, AFolderGivesItsImagesSortedByTheirBytes) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  for (const char* name :
       {"scans/b.TIFF", "scans/a/z.png", "scans/a.bmp", "scans/B.jpg", "scans/\xFF.dib",
        "scans/notes.txt", "scans/noname", "scans/a/.dibkit-1-0.tmp"}) {
    tree.Write(name);
  }
  const Names below{"B.jpg", "a.bmp", "a/z.png", "b.TIFF", "\xFF.dib"};
  for (const char* folder : {"scans", "scans/", "scans//", "./scans"}) {
    EXPECT_EQ(Relatives(ListInputs(Of({folder}, true)).own), below);
  }
  EXPECT_EQ(
      Paths(ListInputs(Of({"scans/"}, true)).own),
      (Names{"scans/B.jpg", "scans/a.bmp", "scans/a/z.png", "scans/b.TIFF", "scans/\xFF.dib"}));
  EXPECT_EQ(Paths(ListInputs(Of({"."}, true)).own)[0], "./scans/B.jpg");
}

TEST(Inputs, LinksToFilesAreTakenAndLinksToFoldersAreNot) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("elsewhere/a.tif");
  tree.Write("elsewhere/more/c.tif");
  tree.MakeFolder("scans");
  tree.Link("../elsewhere/a.tif", "scans/link.tif");
  tree.Link("..", "scans/up");
  tree.Link("../elsewhere/more", "scans/more.tif");
  tree.Link("nowhere", "scans/broken.tif");
  tree.Link("ring.tif", "scans/ring.tif");
  ASSERT_EQ(mkfifo(tree.Path("scans/pipe.tif").c_str(), 0600), 0);
  EXPECT_EQ(Paths(ListInputs(Of({"scans"}, true)).own), Names{"scans/link.tif"});
  // A link that is named is followed.
  tree.Link("scans", "named");
  EXPECT_EQ(Paths(ListInputs(Of({"named"}, true)).own), Names{"named/link.tif"});
}

TEST(Inputs, AFileUnderTwoNamesIsTakenOnce) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("scans/a.tif");
  tree.Write("scans/b.tif");
  tree.Link("scans/a.tif", "c.tif");
  const auto list = ListInputs(Of({"scans/../scans/a.tif", "scans", "./scans/b.tif", "c.tif",
                                   tree.Path("scans/a.tif"), "gone.tif", "./gone.tif"},
                                  true));
  EXPECT_EQ(Paths(list.own), (Names{"scans/../scans/a.tif", "scans/b.tif", "gone.tif"}));
}

TEST(Inputs, AListKeepsTheFoldersOfItsEntries) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("list",
             "./a/b/c.tif\r\n\na//d.tif\n../up/e.tif\n/abs/f.tif\ng/../h.tif\n#i.tif\nlast.tif");
  InputOptions options = Of({"first/x.tif"});
  options.filesFrom = "list";
  const auto list = ListInputs(options);
  EXPECT_EQ(Paths(list.own), (Names{"first/x.tif", "./a/b/c.tif", "a//d.tif", "../up/e.tif",
                                    "/abs/f.tif", "g/../h.tif", "#i.tif", "last.tif"}));
  EXPECT_EQ(Relatives(list.own), (Names{"x.tif", "a/b/c.tif", "a/d.tif", "e.tif", "f.tif", "h.tif",
                                        "#i.tif", "last.tif"}));
}

TEST(Inputs, AListWithZeroBytesMayHoldAnyName) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  const std::string names("a\nb.tif\0c\r\0\0d.tif", 17);
  tree.Write("list", names);
  EXPECT_EQ(ReadNameList("list", true), (Names{"a\nb.tif", "c\r", "d.tif"}));
}

TEST(Inputs, AListMayNameFolders) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("x/scans/s/a.tif");
  tree.Write("list", "x/scans\n");
  InputOptions options = Of({}, true);
  options.filesFrom = "list";
  EXPECT_EQ(Relatives(ListInputs(options).own), Names{"s/a.tif"});
}

TEST(Inputs, AListThatCannotBeReadIsTold) {
  InputOptions options;
  options.filesFrom = "/nowhere/li\nst";
  try {
    ListInputs(options);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "/nowhere/li\\nst: cannot open: No such file or directory");
    EXPECT_EQ(failure.Code(), EXIT_CODE_FAILED);
  }
}

TEST(Inputs, NothingNamedAndNothingFoundAreErrors) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("scans/readme.txt");
  tree.Write("list", "\n\n");
  EXPECT_EQ(UsageText({}), "no input is named");
  EXPECT_NE(UsageText(Of({"a.tif", ""})), "");
  EXPECT_THROW(ListInputs(Of({"scans"}, true)), Failure);
  InputOptions options;
  options.filesFrom = "list";
  EXPECT_THROW(ListInputs(options), Failure);
}

TEST(Inputs, StandardInputIsReadOnlyOnce) {
  EXPECT_EQ(UsageText(Of({"-", "a.tif", "-"})), "standard input can be read only once");
  InputOptions options = Of({"-"});
  options.filesFrom = "-";
  EXPECT_EQ(UsageText(options), "standard input can be read only once");
}

TEST(Inputs, AFolderThatCannotBeReadIsNotPassedOver) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("scans/a.tif");
  tree.Write("scans/closed/b.tif");
  ASSERT_EQ(chmod(tree.Path(".").c_str(), 0755), 0);
  ASSERT_EQ(chmod(tree.Path("scans/closed").c_str(), 0), 0);
  Names found;
  bool refused = false;
  {
    const OrdinaryUser user;
    found = Relatives(ListInputs(Of({"scans"}, true)).own);
    try {
      ListInputs(Of({"scans/closed"}, true));
    } catch (const Failure& failure) {
      refused =
          std::string(failure.what()) == "cannot read the folder scans/closed: Permission denied";
    }
  }
  ASSERT_EQ(chmod(tree.Path("scans/closed").c_str(), 0755), 0);
  EXPECT_EQ(found, (Names{"a.tif", "closed"}));
  EXPECT_TRUE(refused);
}

InputOptions Shard(const Names& paths, unsigned index, unsigned count) {
  InputOptions options = Of(paths, true);
  options.shardIndex = index;
  options.shardCount = count;
  return options;
}

TEST(Shards, TakeEveryNthOfTheSortedList) {
  const Names names{"e.tif", "a.tif", "d.tif", "b.tif", "c.tif"};
  EXPECT_EQ(Paths(ListInputs(Shard(names, 0, 2)).own), (Names{"a.tif", "c.tif", "e.tif"}));
  EXPECT_EQ(Paths(ListInputs(Shard(names, 1, 2)).own), (Names{"b.tif", "d.tif"}));
  EXPECT_EQ(Paths(ListInputs(Shard(names, 1, 2)).others), (Names{"a.tif", "c.tif", "e.tif"}));
  EXPECT_TRUE(ListInputs(Shard(names, 6, 7)).own.empty());
}

TEST(Shards, OfOneListInAnyOrderAreTheListWithoutOverlap) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  Names names;
  for (int i = 0; i < 40; ++i) {
    names.push_back("scans/" + std::to_string(i * 37 % 40) + ".tif");
    tree.Write(names.back());
  }
  tree.Link("scans/7.tif", "again.tif");
  names.push_back("again.tif");
  Names reversed(names.rbegin(), names.rend());
  Names all;
  for (unsigned shard = 0; shard < 7; ++shard) {
    const Names forward = Paths(ListInputs(Shard(names, shard, 7)).own);
    EXPECT_EQ(forward, Paths(ListInputs(Shard(reversed, shard, 7)).own));
    all.insert(all.end(), forward.begin(), forward.end());
  }
  EXPECT_EQ(all.size(), 40U);
  EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), 40U);
}

}  // namespace
}  // namespace dibkit::tool
