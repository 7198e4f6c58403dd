// Failures from the fault server: a transient 421 is retried with the countdown notices and
// resumed, "Permission denied" is not retried, an early close of the data connection keeps a
// resumable partial file, and a download whose data never comes fails with the time-out.
#include <gtest/gtest.h>

#include <vector>

#include "component/core.h"

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class Stor421Once : public TransferSuite<Stor421Once> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "stor421once"}}; }
};

TEST_F(Stor421Once, RetriedAfterTheCountdownAndResumed) {
  const std::string content = Pattern(200000, 11);
  WriteBytes(dir_ / "up.bin", content);
  std::vector<std::string> notices, states;
  ftp_->OnServerMessage().Subscribe([&] {
    if (ftp_->MessageType() == FTP_SERVER_BAD_RESPONSE) notices.push_back(ftp_->MessageInfo());
  });
  ftp_->OnTransfer().Subscribe([&] {
    if (!ftp_->TransferState().empty()) states.push_back(ftp_->TransferState());
  });
  ftp_->ReplaceSetting(1);
  ftp_->LocalPath((dir_ / "up.bin").string());
  ftp_->RemotePath("/pub/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_EQ(ReadAll(server().root() / "pub" / "up.bin"), content);
  // The 421 itself is a bad response too; the countdown follows it, one notice a second.
  std::size_t first = 0;
  while (first < notices.size() && notices[first].find("retransfer") == std::string::npos) ++first;
  ASSERT_GE(notices.size(), first + 6);
  EXPECT_NE(notices[first].find("421"), std::string::npos) << notices[first];
  EXPECT_NE(notices[first].find("[Occur an error, retransfer 1st time after 5 second(s)]"),
            std::string::npos)
      << notices[first];
  EXPECT_NE(notices[first + 4].find("after 1 second(s)"), std::string::npos);
  EXPECT_EQ(notices[first + 5], "Retransfer,please wait ... ");
  ASSERT_FALSE(states.empty());
  EXPECT_NE(states[0].find("[Occur an error, retransfer 1st time after"), std::string::npos);
  EXPECT_EQ(ftp_->TransferState(), "");
  EXPECT_EQ(LogCount("STOR /pub/up.bin"), 2u);
}

class StorDenied : public TransferSuite<StorDenied> {
 public:
  static ServerSetup ServerToStart() {
    return {ServerKind::FaultFtpd, {"--reply", "STOR=550 Permission denied."}};
  }
};

TEST_F(StorDenied, NotRetried) {
  WriteBytes(dir_ / "up.bin", "data");
  ftp_->ReDoTimes(1);  // a wrongly retried refusal costs one countdown, not five
  ftp_->ReplaceSetting(1);
  ftp_->LocalPath((dir_ / "up.bin").string());
  ftp_->RemotePath("/pub/");
  bool ok = true;
  const double seconds = Timed([&] { ok = ftp_->UpLoad(); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(ftp_->ErrorNumber(), 16550);
  EXPECT_NE(ftp_->ErrorInfo().find("Permission denied"), std::string::npos);
  EXPECT_LT(seconds, 4.0);
  EXPECT_EQ(LogCount("STOR"), 1u);
}

class RetrAbort : public TransferSuite<RetrAbort> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "retr_abort"}}; }
};

TEST_F(RetrAbort, PartialFileKeptAndResumable) {
  const std::string content = Pattern(300000, 12);
  server().WriteFile("pub/r.bin", content);
  ftp_->ReDoTimes(0);
  ftp_->ReplaceSetting(2);
  ftp_->RemotePath("/pub/r.bin");
  ftp_->LocalPath((dir_ / "r.bin").string());
  EXPECT_FALSE(ftp_->DownLoad());
  EXPECT_EQ(ftp_->ErrorNumber(), 10061) << ftp_->ErrorInfo();  // 20061 reads as 10061
  const auto first = fs::file_size(dir_ / "r.bin");
  EXPECT_EQ(first, 65536u);

  EXPECT_FALSE(ftp_->DownLoad());
  EXPECT_EQ(fs::file_size(dir_ / "r.bin"), 2 * first);
  EXPECT_EQ(LogCount("REST 65536"), 1u);
  EXPECT_EQ(ReadAll(dir_ / "r.bin"), content.substr(0, 2 * first));
}

class NoData : public TransferSuite<NoData> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--fault", "no_data"}}; }
};

TEST_F(NoData, StalledDownloadFailsWithTheTimeOut) {
  server().WriteFile("pub/n.bin", "no data");
  ftp_->ReDoTimes(0);
  ftp_->core().settings.time_out = 2;  // below the property's minimum, to keep the test short
  ftp_->WithoutList(true);  // straight to RETR: the listing would wait for its own time-out
  ftp_->ReplaceSetting(1);
  ftp_->RemotePath("/pub/n.bin");
  ftp_->LocalPath((dir_ / "down.bin").string());
  const double seconds = Timed([&] { EXPECT_FALSE(ftp_->DownLoad()); });
  EXPECT_EQ(ftp_->ErrorNumber(), 20004) << ftp_->ErrorInfo();
  EXPECT_LT(seconds, 15);
}

}  // namespace
}  // namespace quorvi::test
