// Real servers for integration tests: each started from tests/fixtures/ on a free loopback port
// with a fresh temporary root, stopped by PID when the object goes away.
//
//   QUORVI_SERVER_SUITE(VsftpdTest, ServerKind::Vsftpd);
//   TEST_F(VsftpdTest, Greets) { ... server().port() ... }
//
// A server whose program is not installed skips the suite's tests, except under CI (CI=true),
// where that is a failure: CI must prove the fixtures.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quorvi::test {

enum class ServerKind {
  Vsftpd,     ///< vsftpd 3.0: one-line greeting, no MLSD
  PureFtpd,   ///< pure-ftpd 1.0: multi-line greeting and 226, MLSD
  Proftpd,    ///< ProFTPD 1.3: MLSD, SIZE refused in TYPE A
  FaultFtpd,  ///< pyftpdlib with scripted faults (args: --fault NAME, --reply CMD=TEXT, ...)
  Nginx,      ///< HTTP/1.1 server over the root (Range, 206/416/404)
  Tinyproxy,  ///< HTTP proxy (GET and CONNECT)
  HostileHttp,  ///< hostile_http.py: size lies, two lengths, redirects to other schemes
};

/// Display name of a kind ("vsftpd", "pure-ftpd", ...).
const char* KindName(ServerKind kind);

/// What to start.
struct ServerSetup {
  ServerSetup(ServerKind k, std::vector<std::string> a = {}, std::string ip = "127.0.0.1")
      : kind(k), args(std::move(a)), bind_ip(std::move(ip)) {}

  ServerKind kind;
  std::vector<std::string> args;  ///< extra script arguments
  std::string bind_ip;            ///< the loopback address to listen on ("::1": IPv6)
};

/// One running server. The destructor stops it by PID and removes its temporary folder
/// (kept when QUORVI_KEEP_FIXTURES is set, for post-mortems).
class TestServer {
 public:
  TestServer(ServerKind kind, std::filesystem::path base, std::string host, std::uint16_t port,
             pid_t pid);
  ~TestServer();
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

  /// The address it listens on ("127.0.0.1" or "::1").
  const std::string& host() const { return host_; }
  std::uint16_t port() const { return port_; }
  /// Login of the FTP servers ("ftptest"/"ftptest"); anonymous works too. Empty for HTTP kinds.
  std::string user() const;
  std::string password() const;
  /// The served folder (FTP root, nginx document root); writable "pub/" inside for anonymous.
  const std::filesystem::path& root() const { return root_; }
  /// Config copies and logs.
  const std::filesystem::path& state_dir() const { return state_; }
  /// The log that shows the protocol or the requests (vsftpd.log, protocol.log, access.log, ...).
  std::filesystem::path log_path() const;
  /// Writes a file below root(), owned by the user the server writes as.
  std::filesystem::path WriteFile(const std::string& relative, const std::string& content) const;

 private:
  ServerKind kind_;
  std::filesystem::path base_, root_, state_;
  std::string host_;
  std::uint16_t port_;
  pid_t pid_;
};

/// Result of a start attempt.
struct StartOutcome {
  std::unique_ptr<TestServer> server;  ///< null when the start failed
  std::string problem;                 ///< why it failed
  bool missing = false;                ///< the program is not installed (or we are not root)
};

/// Starts a server on a free loopback port (a few retries if the port is taken meanwhile).
StartOutcome StartServer(const ServerSetup& setup);

/// A loopback port nobody listens on right now (the kernel's choice for an ephemeral bind).
std::uint16_t FreeLoopbackPort();
/// True when CI=true: missing servers fail instead of skipping.
bool RunningUnderCi();

/// One server per test suite: started in SetUpTestSuite, stopped in TearDownTestSuite.
/// `Suite` provides `static ServerSetup ServerToStart()`.
template <typename Suite>
class ServerSuite : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { Outcome() = StartServer(Suite::ServerToStart()); }
  static void TearDownTestSuite() { Outcome() = StartOutcome{}; }

  void SetUp() override {
    const StartOutcome& outcome = Outcome();
    if (outcome.server) return;
    if (outcome.missing && !RunningUnderCi()) GTEST_SKIP() << outcome.problem;
    FAIL() << outcome.problem;
  }

  static TestServer& server() { return *Outcome().server; }

 private:
  static StartOutcome& Outcome() {
    static StartOutcome outcome;
    return outcome;
  }
};

/// A ServerSuite that also runs an HTTP proxy (tinyproxy) for the suite's tests.
template <typename Suite>
class ServerSuiteWithProxy : public ServerSuite<Suite> {
 public:
  static void SetUpTestSuite() {
    ServerSuite<Suite>::SetUpTestSuite();
    Proxy() = StartServer({ServerKind::Tinyproxy});
  }
  static void TearDownTestSuite() {
    Proxy() = StartOutcome{};
    ServerSuite<Suite>::TearDownTestSuite();
  }
  static StartOutcome& Proxy() {
    static StartOutcome proxy;
    return proxy;
  }
};

}  // namespace quorvi::test

/// Declares the suite class `Name` (inside namespace quorvi::test) whose server is
/// ServerSetup(kind [, {script arguments}]).
#define QUORVI_SERVER_SUITE(Name, ...)                           \
  class Name : public ServerSuite<Name> {                        \
   public:                                                       \
    static ServerSetup ServerToStart() { return ServerSetup(__VA_ARGS__); } \
  }
