// The session against vsftpd, pure-ftpd and proftpd: login, the host's view of the states,
// closing, raw commands, delete and rename, and a session the server dropped.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <vector>

#include "component/core.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// Every FtpState seen in OnStateChange, in order (until the recorder goes away).
struct StateRecorder {
  explicit StateRecorder(FtpLibrary& ftp) : ftp_(ftp) {
    id_ = ftp.OnStateChange().Subscribe([this] { states.push_back(ftp_.FtpState()); });
  }
  ~StateRecorder() { ftp_.OnStateChange().Unsubscribe(id_); }
  StateRecorder(const StateRecorder&) = delete;
  StateRecorder& operator=(const StateRecorder&) = delete;
  std::vector<int> states;

 private:
  FtpLibrary& ftp_;
  Event::Id id_;
};

// Pumps the thread's events until done() holds or 5 s pass; returns done().
bool PumpUntil(FtpLibrary& ftp, const std::function<bool()>& done) {
  const auto end = Clock::now() + std::chrono::seconds(5);
  while (!done() && Clock::now() < end) ftp.core().pump().Sleep(10);
  return done();
}

void LogsInAndCloses(const TestServer& server, const std::string& user) {
  auto ftp = ClientFor(server, user);
  StateRecorder recorder(*ftp);
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_TRUE(ftp->Connected());
  EXPECT_EQ(ftp->ErrorNumber(), 0);
  // Connecting, connected, USER, PASS, then the login's end; a server that takes USER alone
  // (pure-ftpd's anonymous) shows ftpUserLoggedIn instead of the PASS step.
  ASSERT_GE(recorder.states.size(), 5u);
  const std::vector<int> seen(recorder.states.begin(), recorder.states.begin() + 5);
  const std::vector<int> with_pass = {ftpConnecting, ftpConnected, ftpAuthentication,
                                      ftpAuthentication, ftpFreeState};
  const std::vector<int> user_only = {ftpConnecting, ftpConnected, ftpAuthentication,
                                      ftpUserLoggedIn, ftpFreeState};
  EXPECT_TRUE(seen == with_pass || seen == user_only) << ::testing::PrintToString(seen);
  EXPECT_EQ(ftp->GetCurrentDirectory(), "/");
  EXPECT_TRUE(ftp->Connect());  // already logged in: nothing happens

  recorder.states.clear();
  const auto start = Clock::now();
  EXPECT_TRUE(ftp->CloseConnection());
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1500));
  EXPECT_FALSE(ftp->Connected());
  EXPECT_EQ(ftp->FtpState(), ftpClosed);
  EXPECT_EQ(std::count(recorder.states.begin(), recorder.states.end(), int(ftpClosed)), 0);
  EXPECT_EQ(recorder.states.front(), ftpQuiting);
}

void RawCommands(const TestServer& server) {
  auto ftp = ClientFor(server);
  const std::string syst = ftp->ExeFtpCmd("syst");
  EXPECT_TRUE(syst.starts_with("215 ")) << syst;
  EXPECT_TRUE(syst.ends_with("\r\n"));
  const std::string feat = ftp->ExeFtpCmd("FEAT");
  EXPECT_TRUE(feat.starts_with("211-")) << feat;
  EXPECT_NE(feat.find("\r\n211 End"), std::string::npos) << feat;
  const std::string unknown = ftp->ExeFtpCmd("XYZZY", "now");
  EXPECT_TRUE(unknown.starts_with("500")) << unknown;
  EXPECT_EQ(ftp->ErrorNumber(), 0);
  EXPECT_EQ(ftp->MessageType(), FTP_SERVER_BAD_RESPONSE);
}

void DeletesAndRenames(const TestServer& server) {
  server.WriteFile("pub/old.txt", "data");
  auto ftp = ClientFor(server, server.user());
  EXPECT_TRUE(ftp->RenameFile(" /pub/old.txt ", "/pub/new.txt")) << ftp->ErrorInfo();
  EXPECT_TRUE(fs::exists(server.root() / "pub/new.txt"));
  EXPECT_TRUE(ftp->DeleteFile("/pub/new.txt")) << ftp->ErrorInfo();
  EXPECT_FALSE(fs::exists(server.root() / "pub/new.txt"));

  EXPECT_FALSE(ftp->DeleteFile("/pub/new.txt"));
  EXPECT_EQ(ftp->ErrorNumber(), 16550);
  EXPECT_TRUE(ftp->ErrorInfo().starts_with("550")) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->RenameFile("/pub/missing.txt", "/pub/other.txt"));
  EXPECT_GT(ftp->ErrorNumber(), 16000);
  EXPECT_FALSE(ftp->DeleteFile("  "));
  EXPECT_EQ(ftp->ErrorNumber(), 20005);
  // The object is still usable after the refusals.
  EXPECT_EQ(ftp->GetCurrentDirectory(), "/");
}

void ReconnectsAfterTheServerDropped(const TestServer& server) {
  auto ftp = ClientFor(server);
  ASSERT_TRUE(ftp->Connect());
  // The server closes the connection after answering QUIT; the component is not told.
  EXPECT_TRUE(ftp->ExeFtpCmd("QUIT").starts_with("221"));
  EXPECT_TRUE(PumpUntil(*ftp, [&] { return !ftp->Connected(); }));
  EXPECT_TRUE(PumpUntil(*ftp, [&] { return ftp->FtpState() == ftpClosed; }));
  EXPECT_EQ(ftp->GetCurrentDirectory(), "/") << ftp->ErrorInfo();
  EXPECT_TRUE(ftp->Connected());
}

#define SESSION_SUITE(Name, Kind)                                      \
  QUORVI_SERVER_SUITE(Name, Kind);                                     \
  TEST_F(Name, LogsInAnonymously) { LogsInAndCloses(server(), ""); }   \
  TEST_F(Name, LogsInAsUser) { LogsInAndCloses(server(), "ftptest"); } \
  TEST_F(Name, RawCommands) { RawCommands(server()); }                 \
  TEST_F(Name, DeletesAndRenames) { DeletesAndRenames(server()); }     \
  TEST_F(Name, ReconnectsAfterTheServerDropped) { ReconnectsAfterTheServerDropped(server()); }

SESSION_SUITE(VsftpdSession, ServerKind::Vsftpd)
SESSION_SUITE(PureFtpdSession, ServerKind::PureFtpd)
SESSION_SUITE(ProftpdSession, ServerKind::Proftpd)

}  // namespace
}  // namespace quorvi::test
