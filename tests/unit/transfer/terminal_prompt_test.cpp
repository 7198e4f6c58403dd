// Runs the terminal replace prompt on a real terminal (a detached tmux session) and checks
// what the screen shows and what the keys answer.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "english_texts.h"
#include "platform/terminal_user_interface.h"
#include "transfer/replace_dialog.h"

namespace fs = std::filesystem;
using namespace quorvi::detail;

namespace {

constexpr const char* kHelperVariable = "QUORVI_REPLACE_PROMPT_RESULT";

std::string Run(const std::string& command) {
  std::string out;
  if (FILE* p = ::popen(command.c_str(), "r")) {
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    ::pclose(p);
  }
  return out;
}

class TmuxSession {
 public:
  explicit TmuxSession(const std::string& command)
      : tmux_("tmux -L quorvi_prompt_" + std::to_string(::getpid())) {
    Run(tmux_ + " new-session -d -x 100 -y 40 '" + command + "' 2>&1");
  }
  ~TmuxSession() { Run(tmux_ + " kill-server 2>/dev/null"); }
  std::string Screen() { return Run(tmux_ + " capture-pane -p"); }
  void Keys(const std::string& keys) { Run(tmux_ + " send-keys " + keys); }
  // Polls the screen until text shows (at most about five seconds).
  bool WaitFor(const std::string& text) {
    for (int i = 0; i < 100 && Screen().find(text) == std::string::npos; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return Screen().find(text) != std::string::npos;
  }

 private:
  std::string tmux_;
};

// The program inside the terminal: this test binary again, running only this helper.
TEST(TerminalReplacePromptHelper, Run) {
  const char* result = std::getenv(kHelperVariable);
  if (!result) GTEST_SKIP() << "runs inside the terminal test only";
  quorvi::platform::TerminalUserInterface ui;
  const ReplaceQuestion q{"a.txt", 500, "2026-01-02 03:04:05", "300", "2026-01-01 00:00:00", 6};
  const ReplaceAnswer a = AskReplace(ui, English, false, q, "QuorviFtp");
  std::ofstream(result) << a.answer << "|" << a.new_name;
}

TEST(TerminalReplacePrompt, ShowsTheMessageAndAnswersKeys) {
  if (std::system("command -v tmux >/dev/null 2>&1") != 0) GTEST_SKIP() << "tmux is missing";
  const fs::path result =
      fs::temp_directory_path() / ("quorvi_prompt_" + std::to_string(::getpid()));
  fs::remove(result);
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  TmuxSession tmux(std::string(kHelperVariable) + "=" + result.string() + " " + self +
                   " --gtest_filter=TerminalReplacePromptHelper.Run; sleep 10");
  ASSERT_TRUE(tmux.WaitFor("Choose [")) << tmux.Screen();
  const std::string screen = tmux.Screen();
  // Resume is disabled (the existing file is larger), so R is neither offered nor taken.
  for (const char* shown : {"== Confirm File Replace ==",
                            "This folder already contains a file named 'a.txt'.\n\n"
                            "Would you like to replace the existing file\n\n"
                            " 500 Bytes , 2026-01-02 03:04:05\n\nwith this one?\n\n"
                            "300 Bytes , 2026-01-01 00:00:00\n\n",
                            "O=Overwrite  S=Skip  N=Rename  F=Overwrite All  X=Resume All  "
                            "T=Skip All  C=Cancel",
                            "Choose [OSNFXTC]"}) {
    EXPECT_NE(screen.find(shown), std::string::npos) << shown << "\n---\n" << screen;
  }
  tmux.Keys("r n");
  ASSERT_TRUE(tmux.WaitFor("New Filename [a]")) << tmux.Screen();
  tmux.Keys("b Enter");
  for (int i = 0; i < 100 && !fs::exists(result); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::ifstream in(result);
  std::string answer;
  std::getline(in, answer);
  EXPECT_EQ(answer, "4|b.txt");
  fs::remove(result);
}

}  // namespace
