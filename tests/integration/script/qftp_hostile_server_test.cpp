// A hostile or broken server as qftp meets it: one that ends the session during or right after
// the login (with or without TLS, with or without close_notify) fails the command once, and
// what a server says reaches the terminal escaped.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "script_runner.h"
#include "test_certificates.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

using namespace std::chrono_literals;

std::string Qftp() { return std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp"; }

struct Started {
  StartOutcome outcome;
  std::vector<std::string> qftp;  // qftp and its connection options
};

Started StartFaultServer(bool tls, std::vector<std::string> faults) {
  if (tls) faults.insert(faults.begin(), {"--tls", TestCerts().combined.string()});
  Started s{StartServer({ServerKind::FaultFtpd, faults}), {}};
  if (!s.outcome.server) return s;
  s.qftp = {Qftp(), "-q", "-H", "127.0.0.1", "-P", std::to_string(s.outcome.server->port()),
            "-u", "ftptest", "-p", "ftptest"};
  if (tls) s.qftp.insert(s.qftp.end(), {"--ftps", "--cacert", TestCerts().ca.string()});
  return s;
}

TEST(QftpHostileServer, AServerThatEndsTheSessionAroundTheLoginFailsItOnce) {
  const struct {
    const char* name;
    std::vector<std::string> fault;
  } cases[] = {
      {"close instead of the 230", {"--close-on", "PASS"}},
      {"close right after the 230", {"--fault", "end_after_login"}},
      {"cut right after the 230", {"--fault", "cut_after_login"}},
      {"close instead of the PBSZ reply", {"--close-on", "PBSZ"}},
      {"close instead of the PROT reply", {"--close-on", "PROT"}},
      {"close instead of the PWD reply", {"--close-on", "PWD"}},
  };
  for (bool tls : {true, false}) {
    for (const auto& c : cases) {
      if (!tls && std::string(c.name).find(" P") != std::string::npos) continue;  // PBSZ, PROT
      SCOPED_TRACE(std::string(c.name) + (tls ? " (TLS)" : " (plain)"));
      Started s = StartFaultServer(tls, c.fault);
      ASSERT_TRUE(s.outcome.server) << s.outcome.problem;
      auto argv = s.qftp;
      argv.insert(argv.end(), {"ls", "/"});
      const auto start = std::chrono::steady_clock::now();
      const ScriptResult run = RunScript(argv, {}, 20s);
      EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
      EXPECT_EQ(run.exit_code, 1) << run.err;
      EXPECT_NE(run.err.find("error 16011: Connection is interrupted"), std::string::npos) << run.err;
      EXPECT_EQ(Count(ReadAll(s.outcome.server->log_path()), "<- USER"), 1u);
    }
  }
}

TEST(QftpHostileServer, WhatTheServerSaysReachesTheTerminalEscaped) {
  // ESC sequences that clear the screen, retitle the window, colour; BEL; a C1 CSI (U+009B).
  Started s = StartFaultServer(false, {"--reply", "SYST=215 \x1b]0;owned\x07 UNIX",
                                       "--reply", "DELE=550 \x1b[2J\x1b[H gone \xc2\x9b" "31m"});
  ASSERT_TRUE(s.outcome.server) << s.outcome.problem;
  s.outcome.server->WriteFile("pub/\x1b[31mred\x07.txt", "x");
  const struct {
    const char* name;
    std::vector<std::string> args;
    bool on_stdout;
  } cases[] = {
      {"a raw command's reply", {"quote", "SYST"}, true},
      {"the error line", {"rm", "/pub/none"}, false},
      {"the -v transcript", {"-v", "quote", "SYST"}, false},
      {"a listing", {"ls", "/pub"}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto argv = s.qftp;
    argv.insert(argv.end(), c.args.begin(), c.args.end());
    const ScriptResult run = RunScript(argv, {}, 20s);
    const std::string& seen = c.on_stdout ? run.out : run.err;
    EXPECT_NE(seen.find("\\x1B"), std::string::npos) << run.out << run.err;
    for (const char* raw : {"\x1b", "\x07", "\xc2\x9b"})
      EXPECT_EQ((run.out + run.err).find(raw), std::string::npos) << run.out << run.err;
  }
}

}  // namespace
}  // namespace quorvi::test
