// qftp against another local user: a password on the command line or in QFTP_PASSWORD leaves
// /proc/PID/cmdline and /proc/PID/environ before qftp talks to anyone, the programs it starts
// never get QFTP_PASSWORD, and a ~/.netrc that others may read is refused.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "script_runner.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kSecret = "Sekr1t-only-here";

std::string Qftp() { return std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp"; }

// A loopback listener that accepts and never says anything: qftp waits there.
class SilentListener {
 public:
  SilentListener() : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    ::bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    ::listen(fd_, 8);
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = std::to_string(ntohs(addr.sin_port));
  }
  ~SilentListener() { ::close(fd_); }
  const std::string& port() const { return port_; }
  /// Waits (at most 10 s) for the next connection; closes it at once. True when one came.
  bool Accepted() {
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, 10000) != 1) return false;
    const int conn = ::accept(fd_, nullptr, nullptr);
    if (conn >= 0) ::close(conn);
    return conn >= 0;
  }

 private:
  int fd_;
  std::string port_;
};

std::string ProcFile(pid_t pid, const char* name) {
  return ReadAll("/proc/" + std::to_string(pid) + "/" + name);
}

TEST(QftpLocalUser, SecretsLeaveTheCommandLineAndTheEnvironmentBeforeAnyConnection) {
  SilentListener listener;
  const std::string secret = kSecret, port = listener.port();
  const std::string host_port = "127.0.0.1:" + port;
  const std::vector<std::string> to = {"-H", "127.0.0.1", "-P", port, "-u", "me"};
  const struct {
    const char* name;
    std::vector<std::string> args;
    bool env;  // QFTP_PASSWORD=secret
  } cases[] = {
      {"-p SECRET", {"-p", secret, "ls"}, false},
      {"-pSECRET", {"-p" + secret, "ls"}, false},
      {"-qvpSECRET", {"-qvp" + secret, "ls"}, false},
      {"--password SECRET", {"ls", "--password", secret}, false},
      {"--password=SECRET", {"--password=" + secret, "ls"}, false},
      {"ftp URL", {"ls", "ftp://me:" + secret + "@" + host_port + "/pub/"}, false},
      {"QFTP_PASSWORD", {"ls"}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::string> argv = {Qftp(), "-q"};
    if (std::string(c.name).find("URL") == std::string::npos)
      argv.insert(argv.end(), to.begin(), to.end());
    argv.insert(argv.end(), c.args.begin(), c.args.end());
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      if (c.env) ::setenv("QFTP_PASSWORD", kSecret, 1);
      std::vector<char*> raw;
      for (auto& a : argv) raw.push_back(a.data());
      raw.push_back(nullptr);
      ::execv(raw[0], raw.data());
      ::_exit(127);
    }
    const bool connected = listener.Accepted();
    const std::string cmdline = ProcFile(pid, "cmdline"), environ = ProcFile(pid, "environ");
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    EXPECT_TRUE(connected);
    EXPECT_FALSE(cmdline.empty());
    EXPECT_EQ(cmdline.find(secret), std::string::npos) << cmdline;
    EXPECT_EQ(environ.find(secret), std::string::npos);
  }
}

TEST(QftpLocalUser, ProgramsQftpStartsDoNotGetQftpPassword) {
  const fs::path dir = fs::temp_directory_path() / ("qftp-child-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const fs::path dump = dir / "dump.sh", seen = dir / "seen.txt", script = dir / "run.qftp";
  std::ofstream(dump) << "#!/bin/sh\nenv > " << seen.string() << ".part && mv "
                      << seen.string() << ".part " << seen.string() << "\n";
  fs::permissions(dump, fs::perms::owner_all);
  std::ofstream(script) << "call Run " << dump.string() << "\n";
  const ScriptResult run =
      RunScript({Qftp(), "script", script.string()}, {{"QFTP_PASSWORD", kSecret}}, 20s);
  EXPECT_EQ(run.exit_code, 0) << run.err;
  for (int i = 0; i < 200 && !fs::exists(seen); ++i) std::this_thread::sleep_for(25ms);
  const std::string env = ReadAll(seen);
  EXPECT_NE(env.find("PATH="), std::string::npos);  // the child ran and wrote its environment
  EXPECT_EQ(env.find(kSecret), std::string::npos) << env;
  fs::remove_all(dir);
}

QUORVI_SERVER_SUITE(QftpNetrc, ServerKind::FaultFtpd);

TEST_F(QftpNetrc, ANetrcOthersMayReadIsRefused) {
  server().WriteFile("pub/netrc/here.txt", "here");
  const fs::path home = server().state_dir().parent_path() / "netrc-home";
  fs::create_directories(home);
  const fs::path netrc = home / ".netrc";
  const struct {
    const char* name;
    fs::perms mode;
    bool foreign_owner;
    int exit_code;
  } cases[] = {
      {"0600", fs::perms(0600), false, 0},
      {"0644", fs::perms(0644), false, 2},
      {"0640", fs::perms(0640), false, 2},
      {"0604", fs::perms(0604), false, 2},
      {"0600 but another user's", fs::perms(0600), true, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(netrc);
    std::ofstream(netrc) << "machine 127.0.0.1 login ftptest password ftptest\n";
    fs::permissions(netrc, c.mode);
    if (c.foreign_owner) {
      ASSERT_EQ(::chown(netrc.c_str(), 65534, 65534), 0);
    }
    const ScriptResult run =
        RunScript({Qftp(), "-q", "-H", "127.0.0.1", "-P", std::to_string(server().port()), "ls",
                   "/pub/netrc"},
                  {{"HOME", home.string()}}, 30s);
    EXPECT_EQ(run.exit_code, c.exit_code) << run.out << run.err;
    const std::string expected = c.exit_code == 0 ? "here.txt" : "may be read or changed by other";
    EXPECT_NE((run.out + run.err).find(expected), std::string::npos) << run.out << run.err;
  }
}

}  // namespace
}  // namespace quorvi::test
