// A server that refuses a transfer explains why on the control connection, while the data
// connection may already be reset (proftpd resets it as it answers 550). The reply is what the
// host reads, and a refusal is not retried.
#include <gtest/gtest.h>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class ProftpdRefusals : public TransferSuite<ProftpdRefusals> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Proftpd}; }
};

TEST_F(ProftpdRefusals, TheReplyWinsOverTheResetAndIsNotRetried) {
  server().WriteFile("ro/locked.bin", Pattern(200000, 3));
  const fs::path locked = server().root() / "ro" / "locked.bin";
  fs::permissions(locked, fs::perms::none);
  fs::permissions(server().root() / "ro", fs::perms::owner_read | fs::perms::owner_exec |
                                              fs::perms::group_read | fs::perms::group_exec |
                                              fs::perms::others_read | fs::perms::others_exec);
  WriteBytes(dir_ / "up.bin", Pattern(200000, 4));
  struct Case {
    const char* name;
    bool download;
    bool passive;
  };
  for (const Case& c : {Case{"download passive", true, true}, Case{"download active", true, false},
                        Case{"upload passive", false, true}, Case{"upload active", false, false}}) {
    SCOPED_TRACE(c.name);
    ftp_->PassiveMode(c.passive);
    ftp_->ReplaceSetting(1);
    bool ok = true;
    const double seconds = Timed([&] {
      if (c.download) {
        ftp_->RemotePath("/ro/locked.bin");
        ftp_->LocalPath((dir_ / "down.bin").string());
        ok = ftp_->DownLoad();
      } else {
        ftp_->RemotePath("/ro/up.bin");
        ftp_->LocalPath((dir_ / "up.bin").string());
        ok = ftp_->UpLoad();
      }
    });
    EXPECT_FALSE(ok);
    EXPECT_EQ(ftp_->ErrorNumber(), 16550) << ftp_->ErrorInfo();
    EXPECT_NE(ftp_->ErrorInfo().find("Permission denied"), std::string::npos) << ftp_->ErrorInfo();
    EXPECT_LT(seconds, 4) << "retried";
    EXPECT_FALSE(fs::exists(dir_ / "down.bin"));
  }
  fs::permissions(server().root() / "ro", fs::perms::owner_all);
  fs::permissions(locked, fs::perms::owner_all);
}

}  // namespace
}  // namespace quorvi::test
