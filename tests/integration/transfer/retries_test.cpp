// Retries. A server without REST cannot resume: the same REST is never tried again, the file
// goes again whole when the bytes it replaces are this job's own or the policy overwrites, and
// otherwise fails at once with the server's refusal, leaving the destination as it was. Once
// data flows again after a retry, the retry notice is gone and the file has its retries back.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "component/core.h"
#include "transfer/local_file.h"
#include "transfer_support.h"

namespace quorvi::test {
namespace {

constexpr const char* kRefusal = "REST=502 Command not implemented.";

class RestRefused : public TransferSuite<RestRefused> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--reply", kRefusal}}; }
};

// The user's own file at the destination and "resume" chosen: nothing may be overwritten.
TEST_F(RestRefused, ResumingTheUsersFileFailsAtOnceAndKeepsIt) {
  server().WriteFile("pub/r.bin", Pattern(100000, 1));
  server().WriteFile("pub/theirs.bin", "their part");
  WriteBytes(dir_ / "r.bin", "my part");
  WriteBytes(dir_ / "up.bin", Pattern(100000, 2));
  struct Case {
    const char* name;
    bool download;
  };
  for (const Case& c : {Case{"download", true}, Case{"upload", false}}) {
    SCOPED_TRACE(c.name);
    ftp_->ReplaceSetting(2);
    ftp_->RemotePath(c.download ? "/pub/r.bin" : "/pub/theirs.bin");
    ftp_->LocalPath((dir_ / (c.download ? "r.bin" : "up.bin")).string());
    bool ok = true;
    const double seconds = Timed([&] { ok = c.download ? ftp_->DownLoad() : ftp_->UpLoad(); });
    EXPECT_FALSE(ok);
    EXPECT_EQ(ftp_->ErrorNumber(), 16502) << ftp_->ErrorInfo();
    EXPECT_NE(ftp_->ErrorInfo().find("refused REST"), std::string::npos) << ftp_->ErrorInfo();
    EXPECT_LT(seconds, 3) << "retried";
    EXPECT_EQ(LogCount("REST "), 1u);  // the session remembers the refusal: never again
  }
  EXPECT_EQ(ReadAll(dir_ / "r.bin"), "my part");
  EXPECT_EQ(ReadAll(server().root() / "pub" / "theirs.bin"), "their part");
}

class RestRefusedAfterCut : public TransferSuite<RestRefusedAfterCut> {
 public:
  static ServerSetup ServerToStart() {
    return {ServerKind::FaultFtpd, {"--fault", "retr_421", "--retr-fault-once", "--reply", kRefusal}};
  }
};

// The part on disk is this job's own (nothing was there before): the retry fetches it whole.
TEST_F(RestRefusedAfterCut, ARetryOfTheJobsOwnPartStartsOver) {
  const std::string content = Pattern(300000, 8);
  server().WriteFile("pub/cut.bin", content);
  detail::TransferEngine::Of(ftp_->core()).retry_pause = 1;
  ftp_->ReplaceSetting(2);
  ftp_->RemotePath("/pub/cut.bin");
  ftp_->LocalPath((dir_ / "cut.bin").string());
  EXPECT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "cut.bin") == content) << fs::file_size(dir_ / "cut.bin");
  EXPECT_EQ(LogCount("REST "), 1u);
}

class CutOnce : public TransferSuite<CutOnce> {
 public:
  static ServerSetup ServerToStart() {
    return {ServerKind::FaultFtpd, {"--fault", "retr_421", "--retr-fault-once"}};
  }
};

TEST_F(CutOnce, TheRetryNoticeEndsWhenDataFlowsAgain) {
  const std::string content = Pattern(2 * 1024 * 1024, 6);
  server().WriteFile("pub/again.bin", content);
  detail::TransferEngine::Of(ftp_->core()).retry_pause = 1;
  std::vector<std::string> states_after_resume;
  int attempts_seen_after_resume = 0;
  ftp_->OnTransfer().Subscribe([&] {
    if (ftp_->TransferSize() <= 2.0 * 65536) return;  // still the first attempt's bytes
    states_after_resume.push_back(ftp_->TransferState());
    attempts_seen_after_resume = std::max<int>(attempts_seen_after_resume,
                                               detail::TransferEngine::Of(ftp_->core()).attempt);
  });
  ftp_->ReplaceSetting(2);
  ftp_->RemotePath("/pub/again.bin");
  ftp_->LocalPath((dir_ / "again.bin").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "again.bin") == content);
  EXPECT_EQ(LogCount("REST 65536"), 1u);
  ASSERT_FALSE(states_after_resume.empty());
  for (const std::string& state : states_after_resume) EXPECT_EQ(state, "");
  EXPECT_EQ(attempts_seen_after_resume, 1);  // the budget is whole again
}

}  // namespace
}  // namespace quorvi::test
