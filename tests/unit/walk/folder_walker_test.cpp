#include "local/folder_walker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace quorvi::detail;

namespace {

class WalkTree : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() /
            ("quorvi_walk_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
             "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root_);
    fs::create_directories(root_);
    d_ = root_.string() + "/d";
  }
  void TearDown() override { fs::remove_all(root_); }

  void File(const std::string& rel, std::size_t bytes = 0) {
    const fs::path p = root_ / rel;
    fs::create_directories(p.parent_path());
    std::ofstream(p) << std::string(bytes, 'x');
  }
  void Folder(const std::string& rel) { fs::create_directories(root_ / rel); }
  // a.txt, sub/ with b.txt, z.txt and deeper/c.txt, and an empty folder e.
  void ClassicTree() {
    File("d/a.txt", 10);
    File("d/sub/b.txt", 20);
    File("d/sub/deeper/c.txt", 30);
    File("d/sub/z.txt", 40);
    Folder("d/e");
  }
  std::string Walk(std::string path, bool recursive = true, std::int16_t flag = 2,
                   const WalkHooks& hooks = {}) {
    return GetFolderFilePath(path, recursive, flag, hooks);
  }

  fs::path root_;
  std::string d_;
};

TEST_F(WalkTree, EntryListByFlagAndRecursion) {
  ClassicTree();
  // "@" stands for the folder d.
  struct Case { bool recursive; std::int16_t flag; std::string expected; } cases[] = {
      {true, 2,
       "@/a.txt|0*@/e|1*@/sub|1*@/sub/b.txt|0*@/sub/deeper|1*@/sub/z.txt|0*@/sub/deeper/c.txt|0"},
      {true, 7,
       "@/a.txt|0*@/e|1*@/sub|1*@/sub/b.txt|0*@/sub/deeper|1*@/sub/z.txt|0*@/sub/deeper/c.txt|0"},
      {true, 0, "@/a.txt*@/sub/b.txt*@/sub/z.txt*@/sub/deeper/c.txt"},
      {true, 1, "@/e*@/sub*@/sub/deeper"},
      {false, 0, "@/a.txt"},
      {false, 2, "@/a.txt|0*@/e|1*@/sub|1"}};
  for (const Case& c : cases) {
    std::string expected = c.expected;
    for (auto pos = expected.find('@'); pos != std::string::npos; pos = expected.find('@'))
      expected.replace(pos, 1, d_);
    EXPECT_EQ(Walk(d_, c.recursive, c.flag), expected) << c.recursive << " " << c.flag;
  }
}

TEST_F(WalkTree, EmptyAndFolderOnlyTreesAndBackslashes) {
  Folder("d");
  EXPECT_EQ(Walk(d_), "");
  Folder("d/p/q");
  EXPECT_EQ(Walk(d_), d_ + "/p|1*" + d_ + "/p/q|1");
  // A backslash is part of a name: "b\\p" is a folder of its own, not "b/p".
  Folder("d/b\\p");
  std::string with_backslash = d_ + "/b\\p";
  EXPECT_EQ(GetFolderFilePath(with_backslash), "");
  EXPECT_EQ(with_backslash, d_ + "/b\\p/");
}

// The typed walk keeps every name as it is: the text separators "|" and "*", pattern
// characters and backslashes are characters; special files are told apart from files.
TEST_F(WalkTree, TypedWalkKeepsAwkwardNamesAndTellsSpecialFiles) {
  const std::string names[] = {"-dash", "a b ", "back\\slash", "pi|pe", "que?ry", "st*ar"};
  for (const auto& n : names) File("d/" + n, 1);
  Folder("d/sub*dir");
  File("d/sub*dir/in|side", 1);
  ASSERT_EQ(::mkfifo((root_ / "d/fifo").c_str(), 0600), 0);
  fs::create_symlink(root_ / "d/none", root_ / "d/dangling");
  const auto entries = WalkFolder(d_);
  std::vector<std::pair<std::string, WalkKind>> got;
  for (const auto& e : entries) got.emplace_back(e.path.substr(d_.size() + 1), e.kind);
  const std::vector<std::pair<std::string, WalkKind>> expected = {
      {"-dash", WalkKind::kFile},        {"a b ", WalkKind::kFile},
      {"back\\slash", WalkKind::kFile},  {"dangling", WalkKind::kOther},
      {"fifo", WalkKind::kOther},        {"pi|pe", WalkKind::kFile},
      {"que?ry", WalkKind::kFile},       {"st*ar", WalkKind::kFile},
      {"sub*dir", WalkKind::kFolder},    {"sub*dir/in|side", WalkKind::kFile}};
  EXPECT_EQ(got, expected);
  // A pattern lists matching files of the folder itself only.
  const auto matched = WalkFolder(d_, "*r*");
  ASSERT_EQ(matched.size(), 2u);  // que?ry, st*ar (not the folder sub*dir)
  EXPECT_EQ(matched[0].path, d_ + "/que?ry");
}

TEST_F(WalkTree, PatternListsMatchingFilesOfThatFolderOnly) {
  File("d/a.txt");
  File("d/B.TXT");
  File("d/c.doc");
  File("d/sub/deep.txt");
  EXPECT_EQ(Walk(d_ + "/*.txt"), d_ + "/B.TXT*" + d_ + "/a.txt");
  EXPECT_EQ(Walk(d_ + "/?.doc"), d_ + "/c.doc");
  EXPECT_EQ(Walk(d_ + "/none/*.txt"), "Error:Path not found(" + d_ + "/none/)#|#76");
  FolderTotals totals;
  EXPECT_EQ(LocalFolderFileCount(totals, d_ + "/*.txt", 0), 2);
  EXPECT_EQ(LocalFolderFileCount(totals, d_, 0), 4);
}

TEST_F(WalkTree, HiddenEntriesAreListedButHiddenFoldersAreNotCounted) {
  File("d/.hidden", 5);
  File("d/.cache/inside", 7);
  File("d/v.txt", 3);
  EXPECT_EQ(Walk(d_),
            d_ + "/.cache|1*" + d_ + "/.hidden|0*" + d_ + "/v.txt|0*" + d_ + "/.cache/inside|0");
  FolderTotals totals;
  EXPECT_EQ(LocalFolderSize(totals, d_, 0), 8);
  EXPECT_EQ(LocalFolderFileCount(totals, d_, 0), 2);
}

TEST_F(WalkTree, SymlinkedFoldersAreListedNotDescended) {
  File("d/a.txt", 4);
  fs::create_directory_symlink(root_ / "d", root_ / "d/loop");
  fs::create_symlink(root_ / "d/missing", root_ / "d/dangling");
  EXPECT_EQ(Walk(d_), d_ + "/a.txt|0*" + d_ + "/dangling|0*" + d_ + "/loop|1");
  FolderTotals totals;
  EXPECT_EQ(LocalFolderSize(totals, d_, 0), 4);
  EXPECT_EQ(LocalFolderFileCount(totals, d_, 0), 2);
}

TEST_F(WalkTree, VanishedSubfolderBecomesAnErrorEntryAndTheWalkGoesOn) {
  ClassicTree();
  File("d/zz/c.txt");
  int pumps = 0;
  std::vector<std::string> log;
  WalkHooks hooks{[&] {
                    if (++pumps == 1) fs::remove_all(root_ / "d/sub");
                  },
                  [&](const std::string& line) { log.push_back(line); }};
  const std::string list = Walk(d_, true, 2, hooks);
  EXPECT_EQ(list, d_ + "/a.txt|0*" + d_ + "/e|1*" + d_ + "/sub|1*" + d_ +
                      "/zz|1*Error:Path not found(" + d_ + "/sub/)#|#76*" + d_ + "/zz/c.txt|0");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0], "ListDirs[" + d_ + "/sub/](" + d_ + "/sub/)Path not found");
  EXPECT_GE(pumps, 5);  // after every entry
  // The size walk skips the vanished folder too.
  File("d/sub/b.txt", 20);
  pumps = 0;
  FolderTotals totals;
  EXPECT_EQ(LocalFolderSize(totals, d_, 0, hooks), 10);
}

TEST_F(WalkTree, SizeWalkNormalisesAndCountsEveryLevel) {
  ClassicTree();
  File("d/sub/more/c.bin", 100);
  FolderTotals totals;
  EXPECT_EQ(LocalFolderSize(totals, d_ + "//", 0), 200);
  EXPECT_EQ(LocalFolderSize(totals, d_ + "//sub", 0), 190);
  EXPECT_EQ(LocalFolderSize(totals, d_ + "/none", 0), 0);
  EXPECT_EQ(LocalFolderSize(totals, "relative/path", 0), 0);
  EXPECT_EQ(LocalFolderFileCount(totals, d_ + "/none", 0), 0);
  // A nested call adds to the running total instead of resetting it.
  totals.size = 1000;
  EXPECT_EQ(LocalFolderSize(totals, d_ + "/sub/more/", 1), 1100);
}

}  // namespace
