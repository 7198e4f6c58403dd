// The order of the exchange on the wire, and retries of what the network breaks. An upload's bytes (and the end of a zero-byte file)
// go out only after the server's 125/150 to STOR: pyftpdlib and Node.js servers reset a data
// connection on which anything arrived earlier, and in active mode a server may connect as
// soon as PORT is accepted.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class EarlyDataReset : public TransferSuite<EarlyDataReset> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "early_data_reset"}}; }
};

TEST_F(EarlyDataReset, UploadsWaitForThe150) {
  struct Case {
    const char* name;
    bool passive;
    std::size_t size, on_server;  // on_server > 0: a resumed upload
  };
  const Case cases[] = {
      {"fresh passive", true, 200000, 0},  {"resumed passive", true, 200000, 70000},
      {"zero-byte passive", true, 0, 0},   {"fresh active", false, 200000, 0},
      {"resumed active", false, 200000, 70000}, {"zero-byte active", false, 0, 0},
  };
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string name = "up" + std::to_string(++n) + ".bin";
    const std::string content = Pattern(c.size, n);
    WriteBytes(dir_ / name, content);
    if (c.on_server > 0) server().WriteFile("pub/" + name, content.substr(0, c.on_server));
    ftp_->PassiveMode(c.passive);
    ftp_->ReDoTimes(0);
    ftp_->ReplaceSetting(2);
    ftp_->RemotePath("/pub/" + name);
    ftp_->LocalPath((dir_ / name).string());
    bool ok = false;
    const double seconds = Timed([&] { ok = ftp_->UpLoad(); });
    EXPECT_TRUE(ok) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
    EXPECT_TRUE(ReadAll(server().root() / "pub" / name) == content);
    EXPECT_LT(seconds, 5);
  }
  EXPECT_EQ(LogCount("connection reset"), 0u);
}

// A cut or refused data connection is transient: retried under ReDoTimes after RetryPause
// seconds, resuming. A retry after an attempt that never touched the destination still
// replaces the file it was asked to overwrite, never resumes onto it.
TEST(DataConnectionRetries, ACutOrRefusedDataConnectionIsRetried) {
  struct Case {
    const char* name;
    std::vector<std::string> args;
    bool download;
  };
  const std::string refused = "EPSV=229 Entering Extended Passive Mode (|||1|).";  // nobody listens
  const Case cases[] = {
      {"RETR cut, 426", {"--fault", "retr_abort"}, true},
      {"RETR cut, 226", {"--fault", "retr_short226"}, true},
      {"refused data port, download", {"--reply-once", refused}, true},
      {"refused data port, upload", {"--reply-once", refused}, false},
      {"450 before the first byte", {"--fault", "pending_once"}, true},
  };
  const fs::path dir = ScratchDir("retries");
  const std::string content = Pattern(300000, 9);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const StartOutcome started = StartServer({ServerKind::FaultFtpd, c.args});
    if (!started.server && started.missing && !RunningUnderCi()) GTEST_SKIP() << started.problem;
    ASSERT_TRUE(started.server) << started.problem;
    const TestServer& server = *started.server;
    // The destination holds an older, longer file that is to be overwritten.
    server.WriteFile("pub/f.bin", c.download ? content : Pattern(400000, 1));
    WriteBytes(dir / "f.bin", c.download ? Pattern(400000, 1) : content);
    auto ftp = UserClient(server);
    ftp->ReDoTimes(10);
    ftp->RetryPause(0);
    ftp->ReplaceSetting(1);
    bool ok = false;
    const double seconds = Timed([&] {
      ftp->RemotePath("/pub/f.bin");
      ftp->LocalPath((dir / "f.bin").string());
      ok = c.download ? ftp->DownLoad() : ftp->UpLoad(false);  // no MKD: the refusal hits STOR
    });
    EXPECT_TRUE(ok) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_TRUE(ReadAll(c.download ? dir / "f.bin" : server.root() / "pub/f.bin") == content);
    EXPECT_LT(seconds, 4) << "the pause is RetryPause, not the classic 5 s";
  }
  fs::remove_all(dir);
}

// pure-ftpd refuses some names ("553 Prohibited file name" for a backslash): that file fails,
// the rest of the tree is uploaded, and the job reports the refusal.
class PureFtpdNames : public TransferSuite<PureFtpdNames> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::PureFtpd}; }
};

TEST_F(PureFtpdNames, ARefusedNameFailsAloneInATreeJob) {
  const fs::path tree = dir_ / "tree";
  WriteBytes(tree / "a.txt", "a");
  WriteBytes(tree / "back\\slash.txt", "refused");
  WriteBytes(tree / "sub" / "z.txt", "z");
  WriteBytes(tree / "zz.txt", "zz");
  ftp_->ReplaceSetting(1);
  ftp_->LocalPath(tree.string() + "/");
  ftp_->RemotePath("/tree/");
  EXPECT_FALSE(ftp_->UpLoad());
  EXPECT_EQ(ftp_->ErrorNumber(), 16553) << ftp_->ErrorInfo();
  EXPECT_NE(ftp_->FailedFiles().find("slash.txt"), std::string::npos) << ftp_->FailedFiles();
  const fs::path remote = server().root() / "tree";
  EXPECT_EQ(ReadAll(remote / "a.txt"), "a");
  EXPECT_EQ(ReadAll(remote / "sub" / "z.txt"), "z");
  EXPECT_EQ(ReadAll(remote / "zz.txt"), "zz");
}

}  // namespace
}  // namespace quorvi::test
