// The engines' small text rules: path-list splitting, folder items, the folder a
// CreateCorrespondFolder item adds, and the retry countdown notice.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "transfer/download_engine_base.h"

namespace quorvi::detail {
namespace {

TEST(EngineRules, SplitListKeepsEmptyEntries) {
  EXPECT_EQ(SplitList(""), std::vector<std::string>{""});
  EXPECT_EQ(SplitList("/a|"), (std::vector<std::string>{"/a", ""}));
  EXPECT_EQ(SplitList("a||b"), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(SplitList("/x/a.txt*/x/b|1", '*'), (std::vector<std::string>{"/x/a.txt", "/x/b|1"}));
}

TEST(EngineRules, FolderItemsAndTheirCorrespondingFolder) {
  struct Case {
    std::string item;
    bool folder;
    std::string correspond;
  };
  const std::vector<Case> cases = {
      {"/pub/docs/", true, "docs"},
      {"/pub/*.txt", true, "pub"},
      {"/pub/report?.doc", true, "pub"},
      {"/pub/docs", false, "docs"},
      {"/pub/a.txt", false, "a.txt"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.item);
    EXPECT_EQ(IsFolderItem(c.item), c.folder);
    EXPECT_EQ(CorrespondName(c.item), c.correspond);
  }
}

TEST(EngineRules, OnlySeparatorsAndTrailingBar) {
  EXPECT_TRUE(OnlySeparators(""));
  EXPECT_TRUE(OnlySeparators("| | "));
  EXPECT_FALSE(OnlySeparators("|a|"));
  std::string list = "a|b||";
  DropTrailingBar(list);
  EXPECT_EQ(list, "a|b|");
}

TEST(EngineRules, RetryNoticeUsesEnglishOrdinalsUpToThree) {
  const std::string message = "Occur an error, retransfer {0}th time after {1} second(s)";
  const std::vector<std::pair<int, std::string>> cases = {
      {1, "Occur an error, retransfer 1st time after 5 second(s)"},
      {2, "Occur an error, retransfer 2nd time after 5 second(s)"},
      {3, "Occur an error, retransfer 3rd time after 5 second(s)"},
      {4, "Occur an error, retransfer 4th time after 5 second(s)"},
  };
  for (const auto& [attempt, expected] : cases)
    EXPECT_EQ(RetryNotice(message, attempt, 5), expected);
  // Another language's text has no "{0}th" and is only filled in.
  EXPECT_EQ(RetryNotice("第{0}次 {1}", 2, 3), "第2次 3");
}

}  // namespace
}  // namespace quorvi::detail
