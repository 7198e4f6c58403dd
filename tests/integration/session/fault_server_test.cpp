// The session against the fault server: refusals, replies in odd pieces, probes, and connections
// that never get going. None may hang or leave the object unusable.
#include <gtest/gtest.h>

#include <chrono>

#include "component/core.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

using Clock = std::chrono::steady_clock;

QUORVI_SERVER_SUITE(PlainFault, ServerKind::FaultFtpd);

TEST_F(PlainFault, WrongPasswordShowsTheServersLineThenTheRightOneWorks) {
  auto ftp = ClientFor(server(), server().user(), "wrong");
  EXPECT_FALSE(ftp->Connect());
  EXPECT_EQ(ftp->ErrorNumber(), 16530);
  EXPECT_TRUE(ftp->ErrorInfo().starts_with("530 ")) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->Connected());
  ftp->PassWord(server().password());
  EXPECT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
}

QUORVI_SERVER_SUITE(SplitReplies, ServerKind::FaultFtpd, {"--fault", "split_replies"});

TEST_F(SplitReplies, RepliesInThreeBytePiecesAreAssembledWhole) {
  auto ftp = ClientFor(server(), server().user());
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
  const std::string feat = ftp->ExeFtpCmd("FEAT");
  EXPECT_TRUE(feat.starts_with("211-")) << feat;
  EXPECT_NE(feat.find("\r\n211 End"), std::string::npos) << feat;
  EXPECT_EQ(ftp->GetCurrentDirectory(), "/");
  EXPECT_FALSE(ftp->DeleteFile("/nothing.here"));
  EXPECT_EQ(ftp->ErrorNumber(), 16550);
  EXPECT_TRUE(ftp->ErrorInfo().starts_with("550 ")) << ftp->ErrorInfo();
}

QUORVI_SERVER_SUITE(ScriptedReplies, ServerKind::FaultFtpd,
                    {"--fault", "mlst451", "--fault", "noop500", "--reply",
                     "SYST=200 stale keep-alive\\n215 UNIX Type: L8", "--reply-once",
                     "RNFR=450 Another command is currently pending, try again later."});

TEST_F(ScriptedReplies, ProbesTurnOffMlsdAndKeepAlive) {
  auto ftp = ClientFor(server());
  ftp->ListDirByMLSD(true);
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
  EXPECT_EQ(ftp->core().rt.list_command, "LIST");
  EXPECT_EQ(ftp->core().settings.keep_alive_second, 0);
  EXPECT_EQ(ftp->core().settings.keep_alive_command, "");
}

// Replies are answered in order, one each: a second reply that came in the same piece is
// not this command's, and it is dropped before the next command rather than answering it.
TEST_F(ScriptedReplies, SeveralRepliesInOnePieceAreTakenOneAtATime) {
  auto ftp = ClientFor(server());
  EXPECT_EQ(ftp->ExeFtpCmd("SYST"), "200 stale keep-alive\r\n");
  EXPECT_EQ(ftp->MessageType(), FTP_SERVER_RESPONSE);
  const std::string next = ftp->ExeFtpCmd("PWD");
  EXPECT_TRUE(next.starts_with("257 ")) << next;
}

TEST_F(ScriptedReplies, AnotherCommandPendingSwitchesKeepAliveOff) {
  auto ftp = ClientFor(server(), server().user());
  ftp->KeepAliveCommand("SYST");
  ASSERT_TRUE(ftp->Connect());
  ASSERT_GT(ftp->core().settings.keep_alive_second, 0);
  EXPECT_FALSE(ftp->RenameFile("/a", "/b"));
  EXPECT_EQ(ftp->ErrorNumber(), 16450);
  EXPECT_EQ(ftp->core().settings.keep_alive_second, 0);
}

QUORVI_SERVER_SUITE(CloseOnConnect, ServerKind::FaultFtpd, {"--fault", "close_on_connect"});

TEST_F(CloseOnConnect, ClosingBeforeTheGreetingIsNoResponse) {
  auto ftp = ClientFor(server());
  const auto start = Clock::now();
  EXPECT_FALSE(ftp->Connect());
  EXPECT_EQ(ftp->ErrorNumber(), 16006);
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
  // Usable afterwards: the next call tries again and fails the same way.
  EXPECT_EQ(ftp->ExeFtpCmd("NOOP"), "");
  EXPECT_EQ(ftp->ErrorNumber(), 16006);
}

QUORVI_SERVER_SUITE(NoGreeting, ServerKind::FaultFtpd, {"--fault", "no_greeting"});

TEST_F(NoGreeting, SilentServerTimesOutAfterTimeOut) {
  auto ftp = ClientFor(server());
  ftp->TimeOut(30);  // the smallest allowed
  const auto start = Clock::now();
  EXPECT_FALSE(ftp->Connect());
  const auto took = Clock::now() - start;
  EXPECT_EQ(ftp->ErrorNumber(), 20004);
  EXPECT_GE(took, std::chrono::seconds(30));
  EXPECT_LT(took, std::chrono::seconds(40));
  EXPECT_EQ(ftp->FtpState(), ftpFreeState);
}

// No server needed: a port nobody listens on, and a name nobody resolves.
TEST(UnreachableServer, RefusedPortAndUnknownHostFailQuickly) {
  const struct {
    std::string host;
    std::uint16_t port;
    std::int32_t error;
  } cases[] = {{"127.0.0.1", FreeLoopbackPort(), 16006}, {"no.such.host.invalid", 21, 20002}};
  for (const auto& c : cases) {
    FtpLibrary ftp;
    ftp.ServerName(c.host);
    ftp.RemotePort(c.port);
    const auto start = Clock::now();
    EXPECT_FALSE(ftp.Connect()) << c.host;
    EXPECT_EQ(ftp.ErrorNumber(), c.error) << c.host << " " << ftp.ErrorInfo();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(10)) << c.host;
    EXPECT_FALSE(ftp.Connected());
  }
}

}  // namespace
}  // namespace quorvi::test
