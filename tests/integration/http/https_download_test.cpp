// https:// downloads: verified against the test CA, straight and through a proxy tunnel
// (CONNECT); an untrusted server and a port without TLS fail (19003, the time-out) and leave
// no file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "component/core.h"
#include "test_certificates.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

class HttpsDownload : public ServerSuiteWithProxy<HttpsDownload> {
 public:
  static ServerSetup ServerToStart() {
    return {ServerKind::Nginx, {"--tls", TestCerts().cert.string(), TestCerts().key.string()}};
  }

 protected:
  void SetUp() override {
    ServerSuiteWithProxy::SetUp();
    if (IsSkipped() || HasFailure()) return;
    dir_ = fs::temp_directory_path() / ("quorvi-https-it-" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
    server().WriteFile("s.bin", kContent);
    ftp_.CAFile(TestCerts().ca.string());
    ftp_.ReplaceSetting(1);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string Url(std::uint16_t port) const {
    return "https://127.0.0.1:" + std::to_string(port) + "/s.bin";
  }

  const std::string kContent = Pattern(300000, 5);
  fs::path dir_;
  FtpLibrary ftp_;
};

TEST_F(HttpsDownload, StraightAndThroughAProxyTunnel) {
  for (const bool proxy : {false, true}) {
    SCOPED_TRACE(proxy ? "proxy" : "straight");
    if (proxy) {
      ASSERT_TRUE(Proxy().server) << Proxy().problem;
      ftp_.ProxyServer("127.0.0.1");
      ftp_.ProxyPort(static_cast<std::int16_t>(Proxy().server->port()));
    }
    const fs::path local = dir_ / (proxy ? "p.bin" : "s.bin");
    ftp_.RemotePath(Url(server().port()));
    ftp_.LocalPath(local.string());
    ASSERT_TRUE(ftp_.DownloadHttpFile()) << ftp_.ErrorNumber() << " " << ftp_.ErrorInfo();
    EXPECT_TRUE(ReadAll(local) == kContent);
  }
  // The proxy saw a tunnel, never the request inside it.
  const std::string proxy_log = ReadAll(Proxy().server->log_path());
  EXPECT_EQ(Count(proxy_log, "s.bin"), 0u);
}

TEST_F(HttpsDownload, UntrustedOrPlainServersFailWithoutAFile) {
  ASSERT_TRUE(Proxy().server) << Proxy().problem;
  struct Case {
    const char* name;
    std::string url;
    std::string ca;
    std::int32_t error;
  };
  const Case cases[] = {
      {"another CA", Url(server().port()), TestCerts().other_ca.string(), 19003},
      {"a redirect to http://",
       "https://127.0.0.1:" + std::to_string(server().port()) + "/to-plain",
       TestCerts().ca.string(), 18000},
      // A plain HTTP proxy waits for a request line that never comes: the time-out ends it.
      {"no TLS on the port", Url(Proxy().server->port()), TestCerts().ca.string(), 20004},
  };
  ftp_.core().settings.time_out = 2;  // below the property's minimum, to keep the test short
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ftp_.CAFile(c.ca);
    ftp_.RemotePath(c.url);
    ftp_.LocalPath((dir_ / "never.bin").string());
    EXPECT_FALSE(ftp_.DownloadHttpFile());
    EXPECT_EQ(ftp_.ErrorNumber(), c.error) << ftp_.ErrorInfo();
    EXPECT_FALSE(fs::exists(dir_ / "never.bin"));
  }
}

}  // namespace
}  // namespace quorvi::test
