// IPv6: vsftpd, pure-ftpd and proftpd listening on ::1 only, in both modes (EPSV, EPRT), with a
// resume; the ways ServerName may write an IPv6 address; FTPS and HTTP over ::1; a server that
// refuses EPSV on IPv6; and a name whose first address does not answer.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "component/core.h"
#include "component/thread_shared.h"
#include "test_certificates.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

QUORVI_SERVER_SUITE(VsftpdIPv6, ServerKind::Vsftpd, {}, "::1");
QUORVI_SERVER_SUITE(PureFtpdIPv6, ServerKind::PureFtpd, {}, "::1");
QUORVI_SERVER_SUITE(ProftpdIPv6, ServerKind::Proftpd, {}, "::1");
QUORVI_SERVER_SUITE(NoEpsvIPv6, ServerKind::FaultFtpd, {"--reply", "EPSV=500 Unknown command."},
                    "::1");
QUORVI_SERVER_SUITE(NginxIPv6, ServerKind::Nginx, {}, "::1");
QUORVI_SERVER_SUITE(VsftpdIPv4, ServerKind::Vsftpd);

fs::path LocalDir(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() / ("quorvi-ipv6-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// Upload, listing, a download cut short by hand and resumed, per mode.
void RoundTrips(const TestServer& server, const std::string& name) {
  const fs::path local = LocalDir(name);
  const std::string content = Pattern(300000, 41);
  std::ofstream(local / "up.bin", std::ios::binary) << content;
  for (const bool passive : {true, false}) {
    SCOPED_TRACE(passive ? "passive" : "active");
    auto ftp = UserClient(server, passive);
    ftp->ReplaceSetting(1);
    ftp->LocalPath((local / "up.bin").string());
    ftp->RemotePath("/pub/v6/up.bin");
    ASSERT_TRUE(ftp->UpLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    const auto files = ftp->GetFtpDirectoryInfo("/pub/v6");
    ASSERT_TRUE(files.has_value()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(Names(*files), std::vector<std::string>{"up.bin"});

    std::ofstream(local / "down.bin", std::ios::binary) << content.substr(0, 100000);
    ftp->ReplaceSetting(2);
    ftp->LocalPath((local / "down.bin").string());
    ASSERT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_TRUE(ReadAll(local / "down.bin") == content);
    EXPECT_EQ(ftp->ServerName(), "::1");
  }
  fs::remove_all(local);
}

TEST_F(VsftpdIPv6, RoundTripsWithEpsvAndEprt) {
  RoundTrips(server(), "vsftpd");
  const std::string log = ReadAll(server().log_path());
  EXPECT_GT(Count(log, "\"EPSV\""), 0u);
  EXPECT_GT(Count(log, "\"EPRT |2|::1|"), 0u);
  EXPECT_EQ(Count(log, "\"PASV\""), 0u);
  EXPECT_EQ(Count(log, "\"PORT "), 0u);
}
TEST_F(PureFtpdIPv6, RoundTripsWithEpsvAndEprt) { RoundTrips(server(), "pure-ftpd"); }
TEST_F(ProftpdIPv6, RoundTripsWithEpsvAndEprt) {
  RoundTrips(server(), "proftpd");
  const std::string log = ReadAll(server().log_path());
  EXPECT_GT(Count(log, "EPSV"), 0u);
  EXPECT_GT(Count(log, "EPRT"), 0u);
}

TEST_F(VsftpdIPv6, ServerNameFormsOfAnAddress) {
  struct Case {
    const char* given;
    const char* stored;
    std::int32_t error;  // 0: the connect succeeds
  };
  const Case cases[] = {
      {"::1", "::1", 0},
      {"[::1]", "::1", 0},
      {"0:0:0:0:0:0:0:1", "::1", 0},
      {"ftp://[::1]:21/", "::1", 0},
      {"[::1]:2121", "[::1]:2121", 21000},  // a port belongs in RemotePort
      {"localhost:21x", "localhost:21x", 21000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.given);
    auto ftp = UserClient(server());
    ftp->ServerName(c.given);
    EXPECT_EQ(ftp->ServerName(), c.stored);
    EXPECT_EQ(ftp->Connect(), c.error == 0) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(ftp->ErrorNumber(), c.error);
  }
}

TEST_F(VsftpdIPv6, FtpsOverIPv6VerifiesTheAddress) {
  StartOutcome tls = StartServer(
      {ServerKind::Vsftpd,
       {"-ossl_enable=YES", "-orsa_cert_file=" + TestCerts().cert.string(),
        "-orsa_private_key_file=" + TestCerts().key.string(), "-oforce_local_logins_ssl=YES",
        "-oforce_local_data_ssl=YES"},
       "::1"});
  ASSERT_TRUE(tls.server) << tls.problem;
  tls.server->WriteFile("pub/secret.txt", "over TLS and IPv6");
  const fs::path local = LocalDir("ftps");
  auto ftp = UserClient(*tls.server);
  ftp->Security(1);
  ftp->CAFile(TestCerts().ca.string());
  ftp->RemotePath("/pub/secret.txt");
  ftp->LocalPath((local / "secret.txt").string());
  ASSERT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(ReadAll(local / "secret.txt"), "over TLS and IPv6");
  fs::remove_all(local);
}

// PASV cannot name an IPv6 port: a server without EPSV gets its refusal reported.
TEST_F(NoEpsvIPv6, ARefusedEpsvIsTheAnswer) {
  server().WriteFile("pub/a.txt", "a");
  auto ftp = UserClient(server());
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub").has_value());
  EXPECT_EQ(ftp->ErrorNumber(), 16500) << ftp->ErrorInfo();
  EXPECT_EQ(Count(ReadAll(server().log_path()), "PASV"), 0u);
}

TEST_F(NginxIPv6, DownloadsFromABracketedAddress) {
  server().WriteFile("f.bin", "by IPv6");
  const fs::path local = LocalDir("http");
  FtpLibrary ftp;
  ftp.RemotePath("http://[::1]:" + std::to_string(server().port()) + "/f.bin");
  ftp.LocalPath((local / "f.bin").string());
  ASSERT_TRUE(ftp.DownloadHttpFile()) << ftp.ErrorNumber() << " " << ftp.ErrorInfo();
  EXPECT_EQ(ReadAll(local / "f.bin"), "by IPv6");
  EXPECT_EQ(Count(ReadAll(server().log_path()), "GET /f.bin"), 1u);
  fs::remove_all(local);
}

// A listener on [::1]:port whose accept queue is full: the kernel drops every further SYN, so
// a connect there neither succeeds nor fails (an address that does not answer).
class SilentIPv6Port {
 public:
  explicit SilentIPv6Port(std::uint16_t port) {
    sockaddr_in6 at{};
    at.sin6_family = AF_INET6;
    at.sin6_addr = in6addr_loopback;
    at.sin6_port = htons(port);
    listener_ = ::socket(AF_INET6, SOCK_STREAM, 0);
    ok_ = ::bind(listener_, reinterpret_cast<sockaddr*>(&at), sizeof at) == 0 &&
          ::listen(listener_, 0) == 0;
    for (int& filler : fillers_) {
      filler = ::socket(AF_INET6, SOCK_STREAM | SOCK_NONBLOCK, 0);
      ::connect(filler, reinterpret_cast<sockaddr*>(&at), sizeof at);
    }
  }
  ~SilentIPv6Port() {
    for (int filler : fillers_) ::close(filler);
    ::close(listener_);
  }
  bool ok() const { return ok_; }

 private:
  int listener_ = -1;
  int fillers_[2] = {-1, -1};
  bool ok_ = false;
};

// "dual.test" resolves (through a stub) to ::1 first and 127.0.0.1 second; the server listens
// on 127.0.0.1 only.
TEST_F(VsftpdIPv4, ANameWhoseFirstAddressFailsConnectsThroughTheNext) {
  for (const bool silent : {false, true}) {
    SCOPED_TRACE(silent ? "::1 does not answer" : "::1 refuses");
    std::optional<SilentIPv6Port> hole;
    if (silent) {
      hole.emplace(server().port());
      ASSERT_TRUE(hole->ok());
    }
    auto ftp = UserClient(server());
    ftp->ServerName("dual.test");
    int lookups = 0;
    detail::ThreadShared::Current()->resolve_host = [&lookups](const std::string& host) {
      ++lookups;
      std::vector<platform::IpAddress> addresses;
      if (host == "dual.test") {
        addresses.push_back(*platform::ParseIpAddress("::1"));
        addresses.push_back(*platform::ParseIpAddress("127.0.0.1"));
      }
      return addresses;
    };
    const auto start = std::chrono::steady_clock::now();
    const bool connected = ftp->Connect();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_TRUE(connected) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_LT(seconds, silent ? 6.0 : 1.5);
    if (silent) {
      EXPECT_GT(seconds, 1.5);  // it waited for ::1 before it went on
    }
    // The data connection goes where the control connection went, not to the name's first.
    server().WriteFile("pub/dual.txt", "dual");
    EXPECT_TRUE(ftp->GetFtpDirectoryInfo("/pub").has_value()) << ftp->ErrorInfo();
    EXPECT_EQ(lookups, 1);
    detail::ThreadShared::Current()->resolve_host = nullptr;
  }
}

}  // namespace
}  // namespace quorvi::test
