// Proves the fixtures: every server starts on loopback, answers with its own greeting or HTTP
// status, logs in the test user, and the fault server produces each scripted fault.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "raw_client.h"
#include "server_fixture.h"

namespace quorvi::test {
namespace {

using std::chrono::milliseconds;

// Greeting, login, PWD and QUIT over a raw connection.
void ExpectFtpSession(const TestServer& server, const std::string& greeting_mark) {
  EXPECT_LT(server.startup(), milliseconds(3000)) << KindName(server.kind()) << " started slowly";
  std::cout << KindName(server.kind()) << " started in " << server.startup().count() << " ms\n";
  RawClient client;
  ASSERT_TRUE(client.Connect(server.host(), server.port()));
  const auto greeting = client.ReadReply();
  ASSERT_TRUE(greeting.has_value());
  EXPECT_EQ(ReplyCode(*greeting), 220);
  EXPECT_NE(greeting->find(greeting_mark), std::string::npos) << *greeting;
  const std::vector<std::pair<std::string, int>> exchange = {
      {"USER " + server.user(), 331}, {"PASS " + server.password(), 230},
      {"PWD", 257}, {"QUIT", 221}};
  for (const auto& [command, code] : exchange) {
    ASSERT_TRUE(client.SendLine(command));
    const auto reply = client.ReadReply();
    ASSERT_TRUE(reply.has_value()) << command;
    EXPECT_EQ(ReplyCode(*reply), code) << command << " -> " << *reply;
  }
  EXPECT_TRUE(std::filesystem::exists(server.log_path())) << server.log_path();
}

QUORVI_SERVER_SUITE(VsftpdSmoke, ServerKind::Vsftpd);
QUORVI_SERVER_SUITE(PureFtpdSmoke, ServerKind::PureFtpd);
QUORVI_SERVER_SUITE(ProftpdSmoke, ServerKind::Proftpd);
QUORVI_SERVER_SUITE(FaultFtpdSmoke, ServerKind::FaultFtpd);

TEST_F(VsftpdSmoke, GreetsAndLogsIn) { ExpectFtpSession(server(), "vsFTPd"); }
TEST_F(PureFtpdSmoke, GreetsAndLogsIn) { ExpectFtpSession(server(), "Pure-FTPd"); }
TEST_F(ProftpdSmoke, GreetsAndLogsIn) { ExpectFtpSession(server(), "ProFTPD"); }
TEST_F(FaultFtpdSmoke, GreetsAndLogsIn) { ExpectFtpSession(server(), "pyftpdlib"); }

// Canned and scripted replies, all from one server.
QUORVI_SERVER_SUITE(ScriptedReplies, ServerKind::FaultFtpd,
                    {"--fault", "noop500", "--fault", "mkd550exists", "--fault", "mlst451",
                     "--fault", "dele550", "--fault", "pending_once",
                     "--reply", "SYST=200 stale keep-alive\\n215 UNIX Type: L8"});

TEST_F(ScriptedReplies, AnswerAsScripted) {
  RawClient client;
  ASSERT_TRUE(client.Connect(server().host(), server().port()));
  ASSERT_TRUE(client.ReadReply().has_value());
  struct Row { std::string command, reply; };
  const std::vector<Row> rows = {
      {"USER ftptest", "331 Username ok, send password."},
      {"PASS ftptest", "230 Login successful."},
      {"NOOP", "500 command not understood"},
      {"MKD x", "550 Directory already exists."},
      {"MLST /", "451 Requested action aborted: local error in processing."},
      {"DELE nothing", "550 cannot find file"},
      {"RETR nothing", "450 Another command is currently pending, try again later."},
      {"RETR nothing", "550 No such file or directory."},   // pending_once is used up
      {"SYST", "200 stale keep-alive"},
  };
  for (const auto& row : rows) {
    ASSERT_TRUE(client.SendLine(row.command));
    EXPECT_EQ(client.ReadLine().value_or("<none>"), row.reply) << row.command;
  }
  EXPECT_EQ(client.ReadLine().value_or("<none>"), "215 UNIX Type: L8");
}

QUORVI_SERVER_SUITE(SplitReplies, ServerKind::FaultFtpd, {"--fault", "split_replies"});

TEST_F(SplitReplies, GreetingArrivesInManyPieces) {
  RawClient client;
  ASSERT_TRUE(client.Connect(server().host(), server().port()));
  EXPECT_EQ(client.ReadLine().value_or(""), "220 pyftpdlib test server ready.");
  EXPECT_GT(client.Pieces(), 5);
}

QUORVI_SERVER_SUITE(CloseOnConnect, ServerKind::FaultFtpd, {"--fault", "close_on_connect"});

TEST_F(CloseOnConnect, ClosesBeforeTheGreeting) {
  RawClient client;
  ASSERT_TRUE(client.Connect(server().host(), server().port()));
  EXPECT_EQ(client.ReadUntilClose(milliseconds(2000)), "");
  EXPECT_TRUE(client.PeerClosed());
}

QUORVI_SERVER_SUITE(NoGreeting, ServerKind::FaultFtpd, {"--fault", "no_greeting"});

TEST_F(NoGreeting, StaysSilentButOpen) {
  RawClient client;
  ASSERT_TRUE(client.Connect(server().host(), server().port()));
  ASSERT_TRUE(client.SendLine("USER ftptest"));
  EXPECT_FALSE(client.ReadLine(milliseconds(300)).has_value());
  EXPECT_FALSE(client.PeerClosed());
}

QUORVI_SERVER_SUITE(NoData, ServerKind::FaultFtpd, {"--fault", "no_data", "--fault", "stor421once"});

TEST_F(NoData, PassivePortNeverServesAndTransfersGetNoReply) {
  RawClient client;
  ASSERT_TRUE(client.Connect(server().host(), server().port()));
  ASSERT_TRUE(client.ReadReply().has_value());
  for (const char* line : {"USER ftptest", "PASS ftptest"}) {
    ASSERT_TRUE(client.SendLine(line));
    ASSERT_TRUE(client.ReadReply().has_value());
  }
  ASSERT_TRUE(client.SendLine("EPSV"));
  const std::string epsv = client.ReadLine().value_or("");
  ASSERT_EQ(ReplyCode(epsv), 229) << epsv;
  const auto bar = epsv.find("|||");
  ASSERT_NE(bar, std::string::npos);
  RawClient data;
  ASSERT_TRUE(data.Connect("127.0.0.1", static_cast<std::uint16_t>(std::stoi(epsv.substr(bar + 3)))));
  ASSERT_TRUE(client.SendLine("RETR anything"));
  EXPECT_FALSE(client.ReadLine(milliseconds(300)).has_value());
  EXPECT_FALSE(data.ReadLine(milliseconds(50)).has_value());
  // The first STOR of the process is refused with 421 and the connection closes.
  ASSERT_TRUE(client.SendLine("STOR x"));
  EXPECT_EQ(ReplyCode(client.ReadLine().value_or("")), 421);
  client.ReadUntilClose(milliseconds(1000));
  EXPECT_TRUE(client.PeerClosed());
}

QUORVI_SERVER_SUITE(NginxSmoke, ServerKind::Nginx);

TEST_F(NginxSmoke, ServesFilesAndRanges) {
  std::cout << "nginx started in " << server().startup().count() << " ms\n";
  server().WriteFile("file.txt", "0123456789");
  struct Row { std::string extra_header, status, body; };
  const std::vector<Row> rows = {
      {"", "HTTP/1.1 200 OK", "0123456789"},
      {"Range: bytes=4-\r\n", "HTTP/1.1 206 Partial Content", "456789"},
      {"Range: bytes=50-\r\n", "HTTP/1.1 416 Requested Range Not Satisfiable", ""},
  };
  for (const auto& row : rows) {
    RawClient client;
    ASSERT_TRUE(client.Connect(server().host(), server().port()));
    ASSERT_TRUE(client.Send("GET /file.txt HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" +
                            row.extra_header + "\r\n"));
    const std::string response = client.ReadUntilClose();
    EXPECT_EQ(response.substr(0, response.find("\r\n")), row.status);
    if (!row.body.empty()) {
      EXPECT_TRUE(response.ends_with("\r\n\r\n" + row.body)) << response;
    }
  }
}

// The proxy forwards to an nginx of its own.
class TinyproxySmoke : public ServerSuite<TinyproxySmoke> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Tinyproxy}; }
  static void SetUpTestSuite() {
    ServerSuite::SetUpTestSuite();
    Upstream() = StartServer({ServerKind::Nginx});
  }
  static void TearDownTestSuite() {
    Upstream() = StartOutcome{};
    ServerSuite::TearDownTestSuite();
  }
  static StartOutcome& Upstream() {
    static StartOutcome upstream;
    return upstream;
  }
};

TEST_F(TinyproxySmoke, ForwardsGet) {
  if (!Upstream().server) GTEST_SKIP() << Upstream().problem;
  std::cout << "tinyproxy started in " << server().startup().count() << " ms\n";
  Upstream().server->WriteFile("hello.txt", "hello");
  RawClient client;
  ASSERT_TRUE(client.Connect(server().host(), server().port()));
  const std::string url =
      "http://127.0.0.1:" + std::to_string(Upstream().server->port()) + "/hello.txt";
  ASSERT_TRUE(client.Send("GET " + url + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n"));
  const std::string response = client.ReadUntilClose();
  EXPECT_TRUE(response.starts_with("HTTP/1.1 200 OK")) << response;
  EXPECT_NE(response.find("Via: 1.1 tinyproxy"), std::string::npos) << response;
  EXPECT_TRUE(response.ends_with("hello")) << response;
}

}  // namespace
}  // namespace quorvi::test
