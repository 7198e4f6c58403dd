// Browsing against the fault server: DOS/IIS listings, MLSD with MLST, a refused MKD, a
// malformed 227, a refused LIST and a taken active port.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <regex>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

QUORVI_SERVER_SUITE(DosListing, ServerKind::FaultFtpd, {"--fault", "dos_list"});
QUORVI_SERVER_SUITE(PlainFault, ServerKind::FaultFtpd);
QUORVI_SERVER_SUITE(MkdRefused, ServerKind::FaultFtpd, {"--fault", "mkd550"});
// A server without EPSV (the session falls back to PASV) whose first PASV reply names no
// usable port.
QUORVI_SERVER_SUITE(BrokenListing, ServerKind::FaultFtpd,
                    {"--reply", "EPSV=500 Unknown command.", "--reply-once",
                     "PASV=227 Entering Passive Mode (127,0,0,1,300,7).", "--reply",
                     "LIST=550 No such directory."});

TEST_F(DosListing, ParsesIisLines) {
  server().WriteFile("pub/dos/a file.txt", "12345");
  server().WriteFile("pub/dos/sub/x", "");
  for (bool passive : {true, false}) {
    auto ftp = UserClient(server(), passive);
    const auto files = ftp->GetFtpDirectoryInfo("/pub/dos");
    ASSERT_TRUE(files) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(Names(*files), (std::vector<std::string>{"a file.txt", "sub/"}));
    EXPECT_EQ(files->Item(1)->FileSize(), 5);
    EXPECT_TRUE(std::regex_match(files->Item(1)->LastWriteTime(),
                                 std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d)")));
    EXPECT_TRUE(ftp->ExistDirectory("/pub/dos/sub"));
    EXPECT_EQ(ftp->GetFtpFileSize("/pub/dos/a file.txt"), 5);
  }
}

TEST_F(PlainFault, MlsdChangesDirectoryAndMlstAnswersSingleFiles) {
  server().WriteFile("pub/m/a.txt", "abc");
  server().WriteFile("pub/m/d/b.txt", "b");
  auto ftp = UserClient(server());
  ftp->ListDirByMLSD(true);
  ftp->CacheListing(false);
  ASSERT_TRUE(ftp->Connect());
  const std::size_t before = ReadAll(server().log_path()).size();

  const auto files = ftp->GetFtpDirectoryInfo("/pub/m");
  ASSERT_TRUE(files) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(Names(*files), (std::vector<std::string>{"a.txt", "d/"}));
  const auto info = ftp->GetFtpFileInfo("/pub/m/d/b.txt");
  ASSERT_TRUE(info) << ftp->ErrorInfo();
  EXPECT_EQ(info->FileSize(), 1);
  EXPECT_FALSE(ftp->GetFtpFileInfo("/pub/m/d"));  // a directory is not a file
  EXPECT_EQ(ftp->ErrorNumber(), 20007);
  // MLSD takes no pattern: LIST is sent (this server does not expand it), then MLSD again.
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/m/*.txt"));
  const auto sub = ftp->GetFtpDirectoryInfo("/pub/m/d");
  ASSERT_TRUE(sub) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(Names(*sub), (std::vector<std::string>{"b.txt"}));

  const std::string log = ReadAll(server().log_path()).substr(before);
  const auto cwd = log.find("CWD /pub/m");
  const auto mlsd = log.find("MLSD", cwd);
  const auto back = log.find("CWD /", mlsd);
  EXPECT_TRUE(cwd != std::string::npos && mlsd != std::string::npos && back != std::string::npos)
      << log;
  EXPECT_EQ(Count(log, "MLST /pub/m/d/b.txt"), 1u) << log;
  EXPECT_EQ(Count(log, "EPSV"), 3u) << log;  // the listings; MLST needs no data connection
  EXPECT_EQ(Count(log, "LIST /pub/m/*.txt"), 1u) << log;
  EXPECT_EQ(Count(log, "MLSD"), 2u) << log;
}

TEST_F(PlainFault, ActiveModeSkipsATakenPort) {
  server().WriteFile("pub/act/a.txt", "a");
  auto ftp = UserClient(server(), false);
  ASSERT_TRUE(ftp->GetFtpDirectoryInfo("/pub/act")) << ftp->ErrorInfo();
  const std::string log = ReadAll(server().log_path());
  std::smatch port;
  ASSERT_TRUE(std::regex_search(log, port, std::regex(R"(PORT 127,0,0,1,(\d+),(\d+))")));
  const int first = std::stoi(port[1]) * 256 + std::stoi(port[2]);
  EXPECT_GE(first, 20000);
  EXPECT_LE(first, 40001);

  // The next port is taken by someone else: the one after it is used.
  const int blocker = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in at{};
  at.sin_family = AF_INET;
  at.sin_port = htons(static_cast<std::uint16_t>(first + 1));
  ASSERT_EQ(::bind(blocker, reinterpret_cast<sockaddr*>(&at), sizeof at), 0);
  ASSERT_EQ(::listen(blocker, 1), 0);
  ASSERT_TRUE(ftp->GetFtpDirectoryInfo("/pub/act")) << ftp->ErrorInfo();
  ::close(blocker);
  const int next = first + 2;
  EXPECT_EQ(Count(ReadAll(server().log_path()), "PORT 127,0,0,1," + std::to_string(next / 256) + "," +
                                         std::to_string(next % 256)),
            1u);
}

TEST_F(MkdRefused, ReportsTheServersText) {
  auto ftp = UserClient(server());
  EXPECT_FALSE(ftp->CreateDirectory("/pub/x/y"));
  EXPECT_EQ(ftp->ErrorNumber(), 16550);
  EXPECT_EQ(ftp->ErrorInfo(), "550 Permission denied.");
  // An extra phrase that means "exists" is believed only when the folder is really there.
  ftp->MKDInfo("denied");
  EXPECT_FALSE(ftp->CreateDirectory("/pub/x/y"));
  EXPECT_EQ(ftp->ErrorNumber(), 16550);
  std::filesystem::create_directories(server().root() / "pub/x/y");
  EXPECT_TRUE(ftp->CreateDirectory("/pub/x/y")) << ftp->ErrorInfo();
}

TEST_F(BrokenListing, MalformedPassiveReplyThenRefusedList) {
  server().WriteFile("pub/l/a.txt", "a");
  auto ftp = UserClient(server());
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/l"));
  EXPECT_EQ(ftp->ErrorNumber(), 16227);
  EXPECT_NE(ftp->ErrorInfo().find("(127,0,0,1,300,7)"), std::string::npos) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->Busy());

  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/l"));
  EXPECT_EQ(ftp->ErrorNumber(), 16550);
  EXPECT_EQ(ftp->ErrorInfo(), "550 No such directory.");
  EXPECT_EQ(ftp->GetFtpFileSize("/pub/l/a.txt"), -1);  // the refusal says it is not there
  EXPECT_TRUE(ftp->Connected());
  // EPSV was asked once: the session remembers the refusal.
  const std::string log = ReadAll(server().log_path());
  EXPECT_EQ(Count(log, "EPSV"), 1u) << log;
  EXPECT_GE(Count(log, "PASV"), 2u) << log;
}

}  // namespace
}  // namespace quorvi::test
