// A generated tree goes up and comes back byte for byte, against each real server, in passive
// and active mode.
#include <gtest/gtest.h>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

constexpr std::size_t kLargeFile = 64u << 20;

template <ServerKind Kind>
class RoundTrip : public ServerSuite<RoundTrip<Kind>> {
 public:
  static ServerSetup ServerToStart() { return {Kind}; }

 protected:
  void Run(bool passive) {
    const std::string mode = passive ? "passive" : "active";
    const fs::path base = ScratchDir(std::string(KindName(Kind)) + "-" + mode);
    const int files = MakeTree(base / "src", kLargeFile);
    auto ftp = UserClient(this->server(), passive);
    // With the system's default send buffer the kernel takes about 64 KiB per send and each
    // send-complete notification pauses 10 ms; a larger buffer keeps the 64 MiB file quick.
    ftp->Sndbuf(4 << 20);

    ftp->LocalPath((base / "src").string() + "/");
    ftp->RemotePath("/" + mode + "/");
    ASSERT_TRUE(ftp->UpLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(Entries(ftp->TransferedLocalFiles()), files);
    EXPECT_EQ(ftp->QueueTotal(), files);
    EXPECT_TRUE(fs::is_directory(this->server().root() / mode / "nested" / "empty too"));

    ftp->RemotePath("/" + mode + "/");
    ftp->LocalPath((base / "back").string() + "/");
    ASSERT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(Entries(ftp->TransferedRemoteFiles()), files);
    EXPECT_EQ(ftp->TotalPercent(), 100);
    EXPECT_TRUE(TreeOf(base / "src") == TreeOf(base / "back"));
    fs::remove_all(base);
  }
};

using VsftpdRoundTrip = RoundTrip<ServerKind::Vsftpd>;
using PureFtpdRoundTrip = RoundTrip<ServerKind::PureFtpd>;
using ProftpdRoundTrip = RoundTrip<ServerKind::Proftpd>;

TEST_F(VsftpdRoundTrip, Passive) { Run(true); }
TEST_F(VsftpdRoundTrip, Active) { Run(false); }
TEST_F(PureFtpdRoundTrip, Passive) { Run(true); }
TEST_F(PureFtpdRoundTrip, Active) { Run(false); }
TEST_F(ProftpdRoundTrip, Passive) { Run(true); }
TEST_F(ProftpdRoundTrip, Active) { Run(false); }

}  // namespace
}  // namespace quorvi::test
