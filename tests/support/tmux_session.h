// A terminal for tests: one tmux server of its own (its own socket) with one window of a
// given size running a shell command, read back with capture-pane; stopped by the destructor.
#pragma once

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "script_runner.h"

namespace quorvi::test {

/// The command's exit status shows on the screen as "QFTP-EXIT=N" when it ends.
class Tmux {
 public:
  Tmux(int columns, const std::string& command)
      // A name of its own for every session: one made in the same place right after another
      // would otherwise reach the previous server while that one is still going away.
      : socket_("quorvi-test-" + std::to_string(::getpid()) + "-" + std::to_string(NextNumber())) {
    Run({"new-session", "-d", "-s", "t", "-x", std::to_string(columns), "-y", "30",
         command + "; echo QFTP-EXIT=$?; sleep 60"});
  }
  ~Tmux() { Run({"kill-server"}); }
  Tmux(const Tmux&) = delete;
  Tmux& operator=(const Tmux&) = delete;

  /// What the window shows now.
  std::string Screen() { return Run({"capture-pane", "-p", "-t", "t"}).out; }
  /// Types keys ("Enter" and the like are tmux key names).
  void Keys(const std::vector<std::string>& keys) {
    std::vector<std::string> args = {"send-keys", "-t", "t"};
    args.insert(args.end(), keys.begin(), keys.end());
    Run(args);
  }
  /// Waits (at most 30 s) until the screen shows text; returns the screen.
  std::string WaitFor(const std::string& text) {
    std::string screen;
    for (int i = 0; i < 300; ++i) {
      screen = Screen();
      if (screen.find(text) != std::string::npos) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return screen;
  }

 private:
  ScriptResult Run(std::vector<std::string> args) {
    args.insert(args.begin(), {"/usr/bin/tmux", "-L", socket_, "-f", "/dev/null"});
    return RunScript(args, {}, std::chrono::milliseconds(10000));
  }
  static int NextNumber() {
    static std::atomic<int> number{0};
    return ++number;
  }
  std::string socket_;
};

}  // namespace quorvi::test
