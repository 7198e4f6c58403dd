// The engines' small text rules: path-list splitting, folder items, the folder a
// CreateCorrespondFolder item adds, and the retry countdown notice.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "transfer/download_engine_base.h"

namespace quorvi::detail {
namespace {

TEST(EngineRules, ListSplittingKeepsEmptyEntries) {
  EXPECT_EQ(SplitList(""), std::vector<std::string>{""});
  EXPECT_EQ(SplitList("/a|"), (std::vector<std::string>{"/a", ""}));
  EXPECT_EQ(SplitList("a||b"), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(SplitList("/x/a.txt*/x/b|1", '*'), (std::vector<std::string>{"/x/a.txt", "/x/b|1"}));
  EXPECT_TRUE(OnlySeparators("") && OnlySeparators("| | "));
  EXPECT_FALSE(OnlySeparators("|a|"));
  std::string list = "a|b||";
  DropTrailingBar(list);
  EXPECT_EQ(list, "a|b|");
}

TEST(EngineRules, FolderItemsAndTheirCorrespondingFolder) {
  struct Case { std::string item; bool folder; std::string correspond; };
  const std::vector<Case> cases = {
      {"/pub/docs/", true, "docs"},
      {"/pub/*.txt", true, "pub"},
      {"/pub/report?.doc", true, "pub"},
      {"/pub/docs", false, "docs"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.item);
    EXPECT_EQ(IsFolderItem(c.item), c.folder);
    EXPECT_EQ(CorrespondName(c.item), c.correspond);
  }
}

TEST(EngineRules, RetryNoticeUsesEnglishOrdinalsUpToThree) {
  const std::pair<int, const char*> cases[] = {{1, "1st"}, {2, "2nd"}, {3, "3rd"}, {4, "4th"}};
  for (const auto& [attempt, ordinal] : cases)
    EXPECT_EQ(RetryNotice("Occur an error, retransfer {0}th time after {1} second(s)", attempt, 5),
              "Occur an error, retransfer " + std::string(ordinal) + " time after 5 second(s)");
  // Another language's text has no "{0}th" and is only filled in.
  EXPECT_EQ(RetryNotice("第{0}次 {1}", 2, 3), "第2次 3");
}

}  // namespace
}  // namespace quorvi::detail
