#include "local/shell.h"

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "component/component_error.h"
#include "platform/process.h"
#include "test_support.h"

namespace quorvi::detail {
namespace {

using quorvi::testing::ScopedEnv;
using quorvi::testing::TempDir;
using quorvi::testing::WaitForFile;
using quorvi::testing::WriteFile;
using Words = std::vector<std::string>;

TEST(SplitCommandLine, QuotesAndEscapes) {
  const std::pair<const char*, Words> cases[] = {
      {"", {}},
      {"  a   b\t c ", {"a", "b", "c"}},
      {"\"/opt/my app/x\" -a", {"/opt/my app/x", "-a"}},
      {"\"/x\" ", {"/x"}},
      {"'a \"b\" c' d", {"a \"b\" c", "d"}},
      {R"("say \"hi\" \\ \n")", {R"(say "hi" \ \n)"}},
      {R"(a\ b c\'d)", {"a b", "c'd"}},
      {"\"\" x", {"", "x"}},
      {"pre\"fix mid\"post", {"prefix midpost"}},
  };
  for (const auto& [line, words] : cases) EXPECT_EQ(SplitCommandLine(line), words) << line;
}

// Programs are small scripts that write the arguments they received, one per line, to
// $REC_OUT; "xdg-open" is such a script found first in PATH.
class LaunchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(dir / "bin");
    std::filesystem::create_directories(dir / "my folder");
    WriteFile(recorder, "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > \"$REC_OUT.tmp\"\n"
                        "mv \"$REC_OUT.tmp\" \"$REC_OUT\"\n", true);
    std::filesystem::copy_file(recorder, dir / "bin/xdg-open");
    WriteFile(dir / "my folder/doc.txt", "text");
  }
  std::string Recorded() {
    auto text = WaitForFile(out);
    std::filesystem::remove(out);
    return text.value_or("<nothing>");
  }

  TempDir dir;
  const std::string recorder = dir / "my folder/record args";
  const std::string out = dir / "out";
  ScopedEnv rec_out{"REC_OUT", out};
  ScopedEnv path{"PATH", dir / "bin" + ":/usr/bin:/bin"};
};

TEST_F(LaunchTest, RunPassesQuotedPathAndSplitParameters) {
  const std::int32_t pid = RunProgram(recorder, "-a 'x y' \"z\"", 1);
  ASSERT_GT(pid, 0);
  int status = 0;
  EXPECT_EQ(::waitpid(pid, &status, 0), pid);
  EXPECT_EQ(Recorded(), "-a\nx y\nz\n");
}

TEST_F(LaunchTest, RunFailures) {
  const std::pair<std::pair<std::string, std::int32_t>, std::int32_t> cases[] = {
      {{dir / "missing", 1}, 53},
      {{dir / "my folder/doc.txt", 1}, 70},  // not executable
      {{recorder, 5}, 5},                     // no such window style
  };
  for (const auto& [call, number] : cases) {
    try {
      RunProgram(call.first, "", call.second);
      ADD_FAILURE() << call.first << " started";
    } catch (const ComponentError& e) {
      EXPECT_EQ(e.number(), number) << call.first;
    }
  }
}

// Documents, folders and addresses go to xdg-open; programs start with their parameters.
TEST_F(LaunchTest, ExecuteOpensDocumentsAndStartsPrograms) {
  std::filesystem::copy_file(recorder, dir / "bin/recorder");
  const std::string doc = dir / "my folder/doc.txt";
  const std::string cases[][3] = {
      {doc, "ignored", doc + "\n"},
      {dir / "my folder", "", dir / "my folder\n"},
      {"https://example.org/a?b=c", "", "https://example.org/a?b=c\n"},
      {recorder, "p1 'p 2'", "p1\np 2\n"},
      {"recorder", "found-in-path", "found-in-path\n"},
  };
  for (const auto& [target, parameters, recorded] : cases) {
    EXPECT_GT(ExecuteFile(target, parameters), 32) << target;
    EXPECT_EQ(Recorded(), recorded) << target;
  }
}

TEST_F(LaunchTest, ExecuteMissingFileIsShellError) {
  EXPECT_EQ(ExecuteFile(dir / "nothing.txt", ""), kShellFileNotFound);
  EXPECT_EQ(ExecuteFile("no-such-program-here", ""), kShellFileNotFound);
  EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(LaunchTest, ExploreOpensFolderOrTheFilesFolder) {
  EXPECT_TRUE(ExploreFolder(dir / "my folder/doc.txt", 1));
  EXPECT_EQ(Recorded(), dir / "my folder\n");
  EXPECT_TRUE(ExploreFolder(dir / "my folder", 0));
  EXPECT_EQ(Recorded(), dir / "my folder\n");
}

TEST_F(LaunchTest, FinishedChildrenAreReaped) {
  EXPECT_GT(ExecuteFile(recorder, "x"), 32);
  Recorded();
  std::size_t running = 1;
  for (int i = 0; i < 500 && running > 0; ++i) {
    running = platform::ReapChildren();
    if (running > 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(running, 0u);
}

}  // namespace
}  // namespace quorvi::detail
