// qftp on a real terminal (tmux, read back with capture-pane): the progress display at 80 and
// 200 columns (one line per file, redrawn in place, never wider than the screen), and the
// replace prompt answered with a key and Enter followed by the rename prompt answered with a
// name.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "test_helpers.h"
#include "tmux_session.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

QUORVI_SERVER_SUITE(QftpTerminal, ServerKind::Vsftpd);

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string QftpCommand(const TestServer& s, const std::string& args) {
  return std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp -H " + s.host() + " -P " +
         std::to_string(s.port()) + " -u " + s.user() + " -p " + s.password() + " " + args;
}

TEST_F(QftpTerminal, TheProgressDisplayFitsTheScreen) {
  server().WriteFile("pub/two/first.bin", Pattern(600000, 1));
  server().WriteFile("pub/two/second-with-a-long-name-that-needs-room-on-any-screen.bin",
                     Pattern(600000, 2));
  for (const int columns : {80, 200}) {
    SCOPED_TRACE(columns);
    const fs::path local = server().state_dir().parent_path() / ("tty-" + std::to_string(columns));
    fs::remove_all(local);
    fs::create_directories(local);
    // 600 KB at 500 KiB/s: the line is redrawn for about a second per file.
    Tmux tmux(columns, QftpCommand(server(), "--max-speed 500k download /pub/two/ " + local.string() + "/"));
    const std::string screen = tmux.WaitFor("QFTP-EXIT=");
    ASSERT_NE(screen.find("QFTP-EXIT=0"), std::string::npos) << screen;
    int first = 0, second = 0;
    for (const std::string& line : Lines(screen)) {
      EXPECT_LT(line.size(), static_cast<std::size_t>(columns)) << line;
      if (line.starts_with("[1/2]")) ++first;
      if (line.starts_with("[2/2]")) ++second;
      EXPECT_FALSE(line.ends_with(" .")) << "a line for the folder itself: " << line;
    }
    EXPECT_EQ(first, 1) << screen;  // each file ends with exactly one line
    EXPECT_EQ(second, 1) << screen;
    EXPECT_NE(screen.find("100%"), std::string::npos) << screen;
    if (columns == 200) {
      EXPECT_NE(screen.find("second-with-a-long-name"), std::string::npos) << screen;
    }
  }
}

TEST_F(QftpTerminal, AKeyThenEnterThenANewName) {
  const std::string remote = Pattern(4000, 3);
  server().WriteFile("pub/ask/clash.bin", remote);
  const fs::path local = server().state_dir().parent_path() / "tty-ask";
  fs::remove_all(local);
  fs::create_directories(local);
  std::ofstream(local / "clash.bin", std::ios::binary) << "mine";
  Tmux tmux(100, QftpCommand(server(), "download /pub/ask/clash.bin " + (local / "clash.bin").string()));
  std::string screen = tmux.WaitFor("Choose [");
  ASSERT_NE(screen.find("Choose ["), std::string::npos) << screen;
  tmux.Keys({"N", "Enter"});  // rename, and the Enter many users press after a key
  screen = tmux.WaitFor(".bin is added");
  std::this_thread::sleep_for(milliseconds(500));  // the Enter must not answer the next prompt
  tmux.Keys({"a_new", "Enter"});  // the prompt says the extension is added
  screen = tmux.WaitFor("QFTP-EXIT=");
  EXPECT_NE(screen.find("QFTP-EXIT=0"), std::string::npos) << screen;
  EXPECT_EQ(ReadAll(local / "clash.bin"), "mine");
  EXPECT_TRUE(ReadAll(local / "a_new.bin") == remote) << screen;
}

}  // namespace
}  // namespace quorvi::test
