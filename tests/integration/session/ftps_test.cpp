// FTPS against vsftpd and proftpd, which require TLS for logins and data and refuse a data
// connection that does not resume a session of the control connection, and pure-ftpd with TLS
// required: round trips in both modes (several data connections in a row), every verification
// outcome, and the refusals that must never turn into clear text.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <filesystem>
#include <string>

#include "component/core.h"
#include "net/tls_stream.h"
#include "test_certificates.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

const TestCertificates& Certs() { return TestCerts(); }

std::vector<std::string> TlsOptions(bool implicit, const fs::path& cert = Certs().cert) {
  const TestCertificates& c = Certs();
  std::vector<std::string> options = {"-ossl_enable=YES", "-orsa_cert_file=" + cert.string(),
                                      "-orsa_private_key_file=" + c.key.string(),
                                      "-oforce_local_logins_ssl=YES", "-oforce_local_data_ssl=YES"};
  if (implicit) options.push_back("-oimplicit_ssl=YES");
  return options;
}

QUORVI_SERVER_SUITE(VsftpdExplicitTls, ServerKind::Vsftpd, TlsOptions(false));
QUORVI_SERVER_SUITE(VsftpdImplicitTls, ServerKind::Vsftpd, TlsOptions(true));
QUORVI_SERVER_SUITE(VsftpdPlain, ServerKind::Vsftpd);
QUORVI_SERVER_SUITE(PureFtpdTls, ServerKind::PureFtpd,
                    {"-Y", "2", "-2", Certs().combined.string()});
QUORVI_SERVER_SUITE(ProftpdTls, ServerKind::Proftpd,
                    {"--tls", Certs().cert.string(), Certs().key.string()});

std::unique_ptr<FtpLibrary> TlsClient(const TestServer& server, std::int16_t security) {
  auto ftp = UserClient(server);
  ftp->Security(security);
  ftp->CAFile(Certs().ca.string());
  return ftp;
}

// Upload, two downloads and a listing per mode: four data connections on one session.
void RoundTrips(const TestServer& server) {
  const fs::path local = fs::path(Certs().dir) / "local";
  fs::create_directories(local);
  const std::string content = Pattern(700000, 17);
  {
    std::ofstream out(local / "up.bin", std::ios::binary);
    out << content;
  }
  for (const bool passive : {true, false}) {
    SCOPED_TRACE(passive ? "passive" : "active");
    auto ftp = TlsClient(server, 1);
    ftp->PassiveMode(passive);
    ftp->ReplaceSetting(1);
    ASSERT_TRUE(ftp->Connect()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    ftp->LocalPath((local / "up.bin").string());
    ftp->RemotePath("/pub/tls/up.bin");
    ASSERT_TRUE(ftp->UpLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_TRUE(ReadAll(server.root() / "pub" / "tls" / "up.bin") == content);
    for (const char* name : {"a.bin", "b.bin"}) {
      ftp->RemotePath("/pub/tls/up.bin");
      ftp->LocalPath((local / name).string());
      ASSERT_TRUE(ftp->DownLoad()) << name << ": " << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
      EXPECT_TRUE(ReadAll(local / name) == content) << name;
    }
    const auto files = ftp->GetFtpDirectoryInfo("/pub/tls");
    ASSERT_TRUE(files.has_value()) << ftp->ErrorInfo();
    EXPECT_EQ(Names(*files), std::vector<std::string>{"up.bin"});
  }
}

TEST_F(VsftpdExplicitTls, RoundTripsInBothModesResumeTheSession) {
  RoundTrips(server());
  // vsftpd logs a data connection that did not resume; there must be none.
  EXPECT_EQ(Count(ReadAll(server().log_path()), "No SSL session reuse"), 0u);
}

TEST_F(PureFtpdTls, RoundTripsInBothModes) { RoundTrips(server()); }
TEST_F(ProftpdTls, RoundTripsInBothModes) { RoundTrips(server()); }

TEST_F(VsftpdExplicitTls, VerificationOutcomes) {
  struct Case {
    const char* name;
    std::string host;
    std::function<void(FtpLibrary&)> set;
    std::int32_t error;  // 0: the connect succeeds
  };
  const std::string pin = detail::PublicKeyPin(Certs().cert.string());
  const Case cases[] = {
      {"the test CA", "127.0.0.1", [](FtpLibrary&) {}, 0},
      {"a host name", "localhost", [](FtpLibrary&) {}, 0},
      {"the system's store only", "127.0.0.1", [](FtpLibrary& f) { f.CAFile(""); }, 19003},
      {"another CA", "127.0.0.1", [](FtpLibrary& f) { f.CAFile(Certs().other_ca.string()); }, 19003},
      {"the pinned key", "127.0.0.1", [&](FtpLibrary& f) { f.PinnedPublicKey(pin); }, 0},
      {"another pinned key", "127.0.0.1",
       [](FtpLibrary& f) { f.PinnedPublicKey("sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="); },
       19005},
      {"no checks", "127.0.0.1",
       [](FtpLibrary& f) {
         f.CAFile("");
         f.VerifyCertificate(false);
       },
       0},
  };
  const std::size_t passwords_before = Count(ReadAll(server().log_path()), "\"PASS");
  std::size_t logins = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.error == 0) ++logins;
    auto ftp = TlsClient(server(), 1);
    ftp->ServerName(c.host);
    c.set(*ftp);
    EXPECT_EQ(ftp->Connect(), c.error == 0) << ftp->ErrorInfo();
    EXPECT_EQ(ftp->ErrorNumber(), c.error) << ftp->ErrorInfo();
    if (c.error != 0) {
      EXPECT_FALSE(ftp->Connected());
    }
  }
  // The password of a failed verification never went out.
  EXPECT_EQ(Count(ReadAll(server().log_path()), "\"PASS") - passwords_before, logins);
}

// Each case needs a server of its own: one presenting an expired certificate, one presenting a
// certificate for another name, one that demands a client certificate.
TEST(FtpsCertificates, ExpiredWrongNameAndClientCertificates) {
  std::vector<std::string> demanding = TlsOptions(false);
  for (const char* o : {"-orequire_cert=YES", "-ovalidate_cert=YES"}) demanding.push_back(o);
  demanding.push_back("-oca_certs_file=" + Certs().ca.string());
  struct Case {
    const char* name;
    std::vector<std::string> server;
    bool client_certificate;
    std::int32_t error;  // 0: the connect succeeds; -1: any error
    const char* reason;  // in ErrorInfo
  };
  const Case cases[] = {
      {"expired", TlsOptions(false, Certs().expired), false, 19003, "expired"},
      {"wrong name", TlsOptions(false, Certs().wrong_name), false, 19004, ""},
      {"client certificate demanded, none given", demanding, false, -1, ""},
      {"client certificate demanded and given", demanding, true, 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    StartOutcome started = StartServer({ServerKind::Vsftpd, c.server});
    if (!started.server && started.missing && !RunningUnderCi()) GTEST_SKIP() << started.problem;
    ASSERT_TRUE(started.server) << started.problem;
    auto ftp = TlsClient(*started.server, 1);
    if (c.client_certificate) {
      ftp->ClientCertificate(Certs().client_cert.string());
      ftp->ClientKey(Certs().client_key.string());
    }
    EXPECT_EQ(ftp->Connect(), c.error == 0) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    if (c.error > 0) {
      EXPECT_EQ(ftp->ErrorNumber(), c.error) << ftp->ErrorInfo();
    }
    if (c.error != 0) {
      EXPECT_NE(ftp->ErrorNumber(), 0);
      EXPECT_FALSE(ftp->Connected());
      EXPECT_NE(ftp->ErrorInfo().find(c.reason), std::string::npos) << ftp->ErrorInfo();
      EXPECT_EQ(Count(ReadAll(started.server->log_path()), "\"PASS"), 0u);
    } else {
      EXPECT_TRUE(ftp->GetFtpDirectoryInfo("/pub").has_value() || ftp->ErrorNumber() == 0)
          << ftp->ErrorInfo();
    }
  }
}

TEST_F(VsftpdExplicitTls, APlainLoginIsRefusedByTheServer) {
  auto ftp = UserClient(server());
  EXPECT_FALSE(ftp->Connect());
  EXPECT_EQ(ftp->ErrorNumber(), 16530) << ftp->ErrorInfo();
}

TEST_F(VsftpdPlain, AServerWithoutTlsIsNeverLoggedIntoInClearText) {
  auto ftp = TlsClient(server(), 1);
  EXPECT_FALSE(ftp->Connect());
  EXPECT_EQ(ftp->ErrorNumber(), 19001) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->Connected());
  const std::string log = ReadAll(server().log_path());
  EXPECT_EQ(Count(log, "\"USER"), 0u);
  EXPECT_EQ(Count(log, "\"PASS"), 0u);
}

TEST_F(VsftpdImplicitTls, ImplicitTlsListsAndExplicitTimesOut) {
  server().WriteFile("pub/implicit.txt", "implicit");
  auto ftp = TlsClient(server(), 2);
  const auto files = ftp->GetFtpDirectoryInfo("/pub");
  ASSERT_TRUE(files.has_value()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(Names(*files), std::vector<std::string>{"implicit.txt"});

  // A client that waits for a greeting in clear text gets none: the time-out ends it.
  auto plain = TlsClient(server(), 1);
  plain->core().settings.time_out = 2;  // below the property's minimum, to keep the test short
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(plain->Connect());
  EXPECT_NE(plain->ErrorNumber(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

}  // namespace
}  // namespace quorvi::test
