// The password never shows: not in the component's log file, not in qftp's -v trace, and not
// in the process's command line while qftp runs (ps, /proc/PID/cmdline).
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kUser = "someone";
constexpr const char* kPassword = "Pw-only-here-7";
QUORVI_SERVER_SUITE(QftpPassword, ServerKind::FaultFtpd,
                    {"--user", "someone", "--password", "Pw-only-here-7"});

std::string CommandLineOf(pid_t pid) {
  std::string line = ReadAll("/proc/" + std::to_string(pid) + "/cmdline");
  for (char& c : line) c = c == '\0' ? ' ' : c;
  return line;
}

TEST_F(QftpPassword, NeverInTheLogTheTraceOrTheCommandLine) {
  const std::string password = kPassword;
  server().WriteFile("pub/slow.bin", Pattern(400 * 1024, 3));
  const fs::path work = server().state_dir().parent_path() / "password";
  fs::create_directories(work / "windows" / "system");
  const fs::path output = work / "output.txt";

  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("QUORVI_WINDOWS_DIR", (work / "windows").c_str(), 1);
    freopen(output.c_str(), "w", stdout);
    dup2(fileno(stdout), STDERR_FILENO);
    const std::string qftp = std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp";
    const std::string port = std::to_string(server().port());
    const std::string local = work.string() + "/";
    execl(qftp.c_str(), qftp.c_str(), "-v", "--log", "-H", server().host().c_str(), "-P",
          port.c_str(), "-u", kUser, "-p", password.c_str(), "--replace",
          "overwrite", "--max-speed", "200", "download", "/pub/slow.bin", local.c_str(),
          static_cast<char*>(nullptr));
    _exit(127);
  }
  // While the throttled download runs (about two seconds), look at the command line.
  std::string seen;
  for (int i = 0; i < 20 && seen.find("download") == std::string::npos; ++i) {
    std::this_thread::sleep_for(50ms);
    seen = CommandLineOf(pid);
  }
  std::this_thread::sleep_for(300ms);
  const std::string running = CommandLineOf(pid);
  int status = 0;
  for (int i = 0; i < 600 && waitpid(pid, &status, WNOHANG) == 0; ++i) std::this_thread::sleep_for(50ms);
  if (waitpid(pid, &status, WNOHANG) == 0) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << ReadAll(output);
  EXPECT_NE(running.find("download"), std::string::npos) << running;
  EXPECT_EQ(running.find(password), std::string::npos) << running;

  const std::string trace = ReadAll(output);
  EXPECT_NE(trace.find("PASS "), std::string::npos) << trace;  // the command is traced, masked
  EXPECT_EQ(trace.find(password), std::string::npos) << trace;
  const std::string log = ReadAll(work / "windows" / "system" / "talvex.dat");
  EXPECT_FALSE(log.empty());
  EXPECT_EQ(log.find(password), std::string::npos) << log;
}

}  // namespace
}  // namespace quorvi::test
