// Hostile and broken servers: every case ends within a bounded time with a clear error, and
// what reached the local disk is either the whole file or a true prefix kept for a resume.
// Nothing is ever written outside the folder that was asked for.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include "component/core.h"
#include "transfer/local_file.h"
#include "transfer_support.h"

namespace quorvi::test {
namespace {

constexpr std::size_t kCutAfter = 64 * 1024;  // where the fault server's RETR faults strike

// A download that the server breaks after kCutAfter bytes.
struct BrokenRetr {
  const char* fault;
  std::int32_t error;  // 0: any error
  double max_seconds;
};

void DownloadIsCutShort(TestServer& server, FtpLibrary& ftp, const fs::path& dir,
                        const BrokenRetr& c) {
  const std::string content = Pattern(300000, 21);
  server.WriteFile("pub/cut.bin", content);
  ftp.ReDoTimes(0);
  ftp.core().settings.time_out = 2;  // below the property's minimum, to keep the test short
  ftp.ReplaceSetting(2);
  ftp.RemotePath("/pub/cut.bin");
  ftp.LocalPath((dir / "cut.bin").string());
  bool ok = true;
  const double seconds = Timed([&] { ok = ftp.DownLoad(); });
  EXPECT_FALSE(ok) << c.fault;
  EXPECT_NE(ftp.ErrorNumber(), 0);
  if (c.error != 0) {
    EXPECT_EQ(ftp.ErrorNumber(), c.error) << ftp.ErrorInfo();
  }
  EXPECT_LT(seconds, c.max_seconds);
  EXPECT_EQ(ftp.TransferredFileCount(), 0);
  ASSERT_TRUE(fs::exists(dir / "cut.bin"));
  const std::string part = ReadAll(dir / "cut.bin");
  EXPECT_GE(part.size(), kCutAfter);
  EXPECT_LT(part.size(), content.size());
  EXPECT_EQ(part, content.substr(0, part.size()));  // a true prefix, resumable
}

#define QUORVI_RETR_FAULT(Suite, fault, error, seconds)                                     \
  class Suite : public TransferSuite<Suite> {                                               \
   public:                                                                                  \
    static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", fault}}; } \
  };                                                                                        \
  TEST_F(Suite, DownloadFailsAndKeepsATruePrefix) {                                         \
    DownloadIsCutShort(server(), *ftp_, dir_, {fault, error, seconds});                        \
  }

// The data connection ends early but the server says 226: only the byte count tells.
QUORVI_RETR_FAULT(ShortWith226, "retr_short226", 0, 10)
// The data connection goes quiet and stays open: the time-out ends the wait.
QUORVI_RETR_FAULT(StallMidRetr, "retr_stall", 20004, 15)
// 421 on the control connection in the middle of the data.
QUORVI_RETR_FAULT(ClosingMidRetr, "retr_421", 0, 15)

// Every attempt moves 64 KiB before the server drops it: a file that keeps moving earns its
// retries back, so one retry per cut is enough to finish it.
TEST_F(ClosingMidRetr, AFileThatKeepsMovingKeepsItsRetries) {
  const std::string content = Pattern(200000, 22);  // four cuts, then the rest
  server().WriteFile("pub/moving.bin", content);
  detail::TransferEngine::Of(ftp_->core()).retry_pause = 1;
  ftp_->ReDoTimes(1);
  ftp_->ReplaceSetting(2);
  ftp_->RemotePath("/pub/moving.bin");
  ftp_->LocalPath((dir_ / "moving.bin").string());
  EXPECT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "moving.bin") == content) << fs::file_size(dir_ / "moving.bin");
}

// A tree job checks the listed size too: no SIZE is asked for its files.
TEST_F(ShortWith226, ATreeFileCutShortFailsTheJob) {
  server().WriteFile("pub/tree/cut.bin", Pattern(200000, 5));
  server().WriteFile("pub/tree/a.txt", "small");
  ftp_->ReDoTimes(0);
  ftp_->ReplaceSetting(1);
  ftp_->RemotePath("/pub/tree/");
  ftp_->LocalPath((dir_ / "tree").string() + "/");
  EXPECT_FALSE(ftp_->DownLoad());
  EXPECT_NE(ftp_->ErrorNumber(), 0);
  EXPECT_EQ(ReadAll(dir_ / "tree" / "a.txt"), "small");
  EXPECT_LT(fs::file_size(dir_ / "tree" / "cut.bin"), 200000u);
  EXPECT_EQ(ftp_->TransferedRemoteFiles(), "/pub/tree/a.txt");
}

class ForeignPassiveHost : public TransferSuite<ForeignPassiveHost> {
 public:
  static ServerSetup ServerToStart() {
    return {ServerKind::FaultFtpd,
            {"--fault", "pasv_foreign_host", "--reply", "EPSV=502 Command not implemented."}};
  }
};

// A 227 that names another host (NAT, or a server pointing the client elsewhere): only its
// port is used, on the control connection's host. (EPSV is refused, so PASV is used.)
TEST_F(ForeignPassiveHost, TheDataConnectionGoesToTheControlHost) {
  server().WriteFile("pub/f.txt", "foreign");
  ftp_->RemotePath("/pub/f.txt");
  ftp_->LocalPath((dir_ / "f.txt").string());
  const double seconds = Timed([&] { EXPECT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo(); });
  EXPECT_EQ(ReadAll(dir_ / "f.txt"), "foreign");
  EXPECT_LT(seconds, 5);
}

class HostileNames : public TransferSuite<HostileNames> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "evil_list"}}; }
};

// A listing that names "../escape.txt", "a/b.txt" and ".." must not make the component write
// outside the target folder; the names it cannot use fail the job, the others arrive.
TEST_F(HostileNames, NothingIsWrittenOutsideTheTarget) {
  server().WriteFile("evil/ok.txt", "okay");
  server().WriteFile("evil/ctl\x01.txt", "ctrl");
  server().WriteFile("escape.txt", "outside");
  server().WriteFile("evil/a/b.txt", "deep");
  for (const bool passive : {true, false}) {
    SCOPED_TRACE(passive ? "passive" : "active");
    const fs::path target = dir_ / (passive ? "p" : "a") / "target";
    fs::create_directories(target);
    ftp_->PassiveMode(passive);
    ftp_->ReplaceSetting(1);
    ftp_->RemotePath("/evil/");
    ftp_->LocalPath(target.string() + "/");
    EXPECT_FALSE(ftp_->DownLoad());
    EXPECT_EQ(ftp_->ErrorNumber(), 16002) << ftp_->ErrorInfo();
    EXPECT_EQ(ReadAll(target / "ok.txt"), "okay");
    EXPECT_EQ(ReadAll(target / "ctl\x01.txt"), "ctrl");
    // Only the target holds anything: no escape.txt beside it, no b.txt made from "a/b.txt".
    std::vector<std::string> outside;
    for (const auto& e : fs::recursive_directory_iterator(target.parent_path())) {
      const auto rel = fs::relative(e.path(), target.parent_path()).string();
      if (rel != "target" && rel != "target/ok.txt" && rel != "target/ctl\x01.txt")
        outside.push_back(rel);
    }
    EXPECT_TRUE(outside.empty()) << outside.front();
  }
}

class DamagedLine : public TransferSuite<DamagedLine> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "damaged_line"}}; }
};

// One line no parser can read keeps the rest of the listing, but a folder download must not
// report success with the file that line may stand for left behind.
TEST_F(DamagedLine, TheRestIsListedAndTheDownloadFails) {
  server().WriteFile("damaged/ok.txt", "okay");
  server().WriteFile("damaged/hidden.txt", "hide");
  for (const bool mlsd : {false, true}) {
    SCOPED_TRACE(mlsd ? "MLSD" : "LIST");
    ftp_->ListDirByMLSD(mlsd);
    const auto files = ftp_->GetFtpDirectoryInfo("/damaged");
    ASSERT_TRUE(files) << ftp_->ErrorInfo();
    EXPECT_EQ(files->Count(), 1);
    EXPECT_NE(files->Item("ok.txt"), nullptr);
    const fs::path target = dir_ / (mlsd ? "m" : "l");
    fs::create_directories(target);
    ftp_->RemotePath("/damaged/");
    ftp_->LocalPath(target.string() + "/");
    EXPECT_FALSE(ftp_->DownLoad());
    EXPECT_EQ(ftp_->ErrorNumber(), 16002) << ftp_->ErrorInfo();
    EXPECT_EQ(ReadAll(target / "ok.txt"), "okay");
  }
}

// Replies that never end: the session gives up at its limit instead of growing without bound.
class EndlessReply : public ServerSuite<EndlessReply> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "endless_reply"}}; }
};
class HugeReplyLine : public ServerSuite<HugeReplyLine> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "huge_line"}}; }
};

long PeakRssKib() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void ConnectGivesUpOnAFlood(const TestServer& server) {
  auto ftp = UserClient(server);
  const long rss_before = PeakRssKib();
  bool ok = true;
  const double seconds = Timed([&] { ok = ftp->Connect(); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(ftp->ErrorNumber(), 16500) << ftp->ErrorInfo();
  EXPECT_LT(seconds, 10);
  EXPECT_FALSE(ftp->Connected());
  EXPECT_LT(PeakRssKib() - rss_before, 64 * 1024);  // a few MiB at most, never the flood
}

TEST_F(EndlessReply, ConnectFailsWithReplyTooLong) { ConnectGivesUpOnAFlood(server()); }
TEST_F(HugeReplyLine, ConnectFailsWithReplyTooLong) { ConnectGivesUpOnAFlood(server()); }

}  // namespace
}  // namespace quorvi::test
