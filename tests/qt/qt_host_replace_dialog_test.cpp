// The qt-host example on a virtual X server against vsftpd: a download over an existing local
// file shows the Qt replace confirmation, a key press answers it, and the file is replaced.
// The dialog's screenshot is kept in the build's test-artifacts folder.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "script_runner.h"
#include "server_fixture.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

const char* const kXvfb = QUORVI_XVFB;
const char* const kXdotool = QUORVI_XDOTOOL;
const char* const kQtHost = QUORVI_QT_HOST;

// A child process started with fork/exec, stopped by its PID (SIGTERM, then SIGKILL) when the
// object goes away. Output goes to a file; keep_fd (if >= 0) stays open in the child.
class Child {
 public:
  Child(const std::vector<std::string>& argv, const std::vector<std::string>& env,
        const fs::path& output, int keep_fd = -1) {
    pid_ = ::fork();
    if (pid_ != 0) return;
    const int out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out >= 0) {
      ::dup2(out, 1);
      ::dup2(out, 2);
    }
    if (keep_fd >= 0) ::fcntl(keep_fd, F_SETFD, 0);
    for (const auto& e : env) ::putenv(const_cast<char*>(e.c_str()));
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  ~Child() {
    if (pid_ <= 0 || exit_code_) return;
    ::kill(pid_, SIGTERM);
    if (!Wait(3s)) {
      ::kill(pid_, SIGKILL);
      Wait(3s);
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool started() const { return pid_ > 0; }
  /// The exit status once it ended within `limit` (-1 when killed by a signal).
  std::optional<int> Wait(std::chrono::milliseconds limit) {
    for (auto waited = 0ms; !exit_code_ && waited <= limit; waited += 20ms) {
      int status = 0;
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        break;
      }
      std::this_thread::sleep_for(20ms);
    }
    return exit_code_;
  }

 private:
  pid_t pid_ = -1;
  std::optional<int> exit_code_;
};

// Xvfb on a display it chooses itself (-displayfd), so parallel runs never collide.
class VirtualScreen {
 public:
  explicit VirtualScreen(const fs::path& log) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return;
    xvfb_.emplace(std::vector<std::string>{kXvfb, "-displayfd", std::to_string(fds[1]), "-screen",
                                           "0", "1024x768x24", "-nolisten", "tcp"},
                  std::vector<std::string>{}, log, fds[1]);
    ::close(fds[1]);
    // Xvfb writes the display number once it accepts clients; a bounded wait for it.
    std::string number;
    ::pollfd ready{fds[0], POLLIN, 0};
    for (int i = 0; i < 100 && number.find('\n') == std::string::npos; ++i) {
      if (::poll(&ready, 1, 100) != 1) continue;
      char buf[16];
      const ssize_t n = ::read(fds[0], buf, sizeof buf);
      if (n <= 0) break;
      number.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    if (number.find('\n') != std::string::npos) display_ = ":" + number.substr(0, number.find('\n'));
  }
  /// ":N", or "" when Xvfb did not come up.
  const std::string& display() const { return display_; }

 private:
  std::optional<Child> xvfb_;
  std::string display_;
};

bool Executable(const char* path) { return path[0] != '\0' && ::access(path, X_OK) == 0; }

fs::path ArtifactsDir() {
  const fs::path dir = fs::path(QUORVI_BINARY_DIR) / "test-artifacts";
  fs::create_directories(dir);
  return dir;
}

QUORVI_SERVER_SUITE(QtHost, ServerKind::Vsftpd);

TEST_F(QtHost, ReplaceDialogAnsweredByItsAccessKeyOverwritesTheLocalFile) {
  for (const char* program : {kXvfb, kXdotool}) {
    if (!Executable(program)) {
      if (RunningUnderCi()) FAIL() << "missing under CI: " << program << " (xvfb, xdotool)";
      GTEST_SKIP() << "not installed: " << program;
    }
  }
  const fs::path work = fs::path(QUORVI_BINARY_DIR) / "test-home" / "qt-host";
  fs::remove_all(work);
  fs::create_directories(work / "local");
  fs::create_directories(work / "shots");
  const std::string server_content = Pattern(300000);  // long enough to move the progress bar
  server().WriteFile("pub/report.bin", server_content);
  std::ofstream(work / "local" / "report.bin") << "an older local copy";

  VirtualScreen screen(work / "xvfb.log");
  ASSERT_FALSE(screen.display().empty()) << "Xvfb did not start; see " << work / "xvfb.log";
  const std::string display = "DISPLAY=" + screen.display();

  Child host({kQtHost, "--server", server().host(), "--port", std::to_string(server().port()),
              "--user", server().user(), "--password", server().password(), "--to",
              (work / "local").string(), "--download", "pub/report.bin", "--quit",
              "--screenshot-dir", (work / "shots").string()},
             {display, "QT_QPA_PLATFORM=xcb"},
             work / "host.log");
  ASSERT_TRUE(host.started());

  // The host saves the dialog as soon as it is up; then the window must be findable by title.
  const fs::path shot = work / "shots" / "confirm-file-replace.png";
  for (int i = 0; i < 300 && !fs::exists(shot) && !host.Wait(0ms); ++i)
    std::this_thread::sleep_for(100ms);
  ASSERT_TRUE(fs::exists(shot)) << "no replace dialog; host log:\n" << ReadAll(work / "host.log");
  fs::copy_file(shot, ArtifactsDir() / "qt-host-replace-dialog.png",
                fs::copy_options::overwrite_existing);
  EXPECT_EQ(ReadAll(work / "local" / "report.bin"), "an older local copy")
      << "the file changed before the dialog was answered";

  const std::vector<std::pair<std::string, std::string>> env{{"DISPLAY", screen.display()}};
  std::string window;
  for (int i = 0; i < 50 && window.empty(); ++i) {
    const auto found = RunScript({kXdotool, "search", "--name", "^Confirm File Replace$"}, env, 5s);
    window = found.out.substr(0, found.out.find('\n'));
    if (window.empty()) std::this_thread::sleep_for(100ms);
  }
  ASSERT_FALSE(window.empty()) << "no window titled \"Confirm File Replace\"";
  // The key alone, as the dialog's underlined letter says.
  const auto typed = RunScript({kXdotool, "windowfocus", "--sync", window, "key", "o"}, env, 10s);
  ASSERT_EQ(typed.exit_code, 0) << typed.err;

  const auto status = host.Wait(30s);
  ASSERT_TRUE(status) << "the host did not finish; log:\n" << ReadAll(work / "host.log");
  EXPECT_EQ(*status, 0) << ReadAll(work / "host.log");
  EXPECT_TRUE(ReadAll(work / "local" / "report.bin") == server_content)
      << "the local file does not hold the server's content";
  if (fs::exists(work / "shots" / "qt-host-window.png")) {
    fs::copy_file(work / "shots" / "qt-host-window.png", ArtifactsDir() / "qt-host-window.png",
                  fs::copy_options::overwrite_existing);
  }
}

}  // namespace
}  // namespace quorvi::test
