// The order of the exchange on the wire. An upload's bytes (and the end of a zero-byte file)
// go out only after the server's 125/150 to STOR: pyftpdlib and Node.js servers reset a data
// connection on which anything arrived earlier, and in active mode a server may connect as
// soon as PORT is accepted.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace quorvi::test
