// TLS data connections that end badly, from the fault server over explicit FTPS: a stream that
// ends without close_notify is taken only when something else proves it whole (the byte count
// of a file, the line break that ends a listing); a stream cut in the middle fails and leaves
// a true prefix that the next download resumes.
#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "component/core.h"
#include "test_certificates.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> TlsFaults(std::initializer_list<const char*> faults) {
  std::vector<std::string> args = {"--tls", TestCerts().combined.string()};
  for (const char* fault : faults) {
    args.push_back("--fault");
    args.push_back(fault);
  }
  return args;
}

QUORVI_SERVER_SUITE(TlsWithoutCloseNotify, ServerKind::FaultFtpd, TlsFaults({"no_close_notify"}));
QUORVI_SERVER_SUITE(TlsListingCut, ServerKind::FaultFtpd,
                    TlsFaults({"no_close_notify", "list_cut"}));
QUORVI_SERVER_SUITE(TlsCutMidStream, ServerKind::FaultFtpd, [] {
  auto args = TlsFaults({"no_close_notify", "retr_short226"});
  args.push_back("--retr-fault-once");
  return args;
}());

std::unique_ptr<FtpLibrary> TlsClient(const TestServer& server, const fs::path& local) {
  fs::create_directories(local);
  auto ftp = UserClient(server);
  ftp->Security(1);
  ftp->CAFile(TestCerts().ca.string());
  ftp->ReDoTimes(0);
  ftp->ReplaceSetting(1);
  ftp->RemotePath("/pub/f.bin");
  ftp->LocalPath((local / "f.bin").string());
  return ftp;
}

TEST_F(TlsWithoutCloseNotify, WholeFilesAndListingsAreTakenAFileOfUnknownSizeIsNot) {
  const std::string content = Pattern(300000, 31);
  server().WriteFile("pub/f.bin", content);
  const fs::path local = TestCerts().dir / "no-notify";
  auto ftp = TlsClient(server(), local);
  ASSERT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_TRUE(ReadAll(local / "f.bin") == content);
  const auto files = ftp->GetFtpDirectoryInfo("/pub");
  ASSERT_TRUE(files.has_value()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(Names(*files), std::vector<std::string>{"f.bin"});

  // Without a size nothing tells a whole file from a cut one.
  ftp->WithoutList(true);
  ftp->LocalPath((local / "unknown.bin").string());
  EXPECT_FALSE(ftp->DownLoad());
  EXPECT_EQ(ftp->ErrorNumber(), 19007) << ftp->ErrorInfo();
  EXPECT_EQ(ftp->TransferredFileCount(), 0);
}

TEST_F(TlsListingCut, AListingCutInsideALineFails) {
  server().WriteFile("pub/one.txt", "1");
  server().WriteFile("pub/two.txt", "2");
  auto ftp = TlsClient(server(), TestCerts().dir / "cut-listing");
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub").has_value());
  EXPECT_EQ(ftp->ErrorNumber(), 19007) << ftp->ErrorInfo();
}

TEST_F(TlsCutMidStream, ACutFailsAndTheNextDownloadResumesIt) {
  const std::string content = Pattern(300000, 32);
  server().WriteFile("pub/f.bin", content);
  const fs::path local = TestCerts().dir / "cut-file";
  auto ftp = TlsClient(server(), local);
  ftp->ReplaceSetting(2);
  EXPECT_FALSE(ftp->DownLoad());
  EXPECT_NE(ftp->ErrorNumber(), 0);
  const std::string part = ReadAll(local / "f.bin");
  EXPECT_GE(part.size(), 64u * 1024);
  EXPECT_LT(part.size(), content.size());
  EXPECT_TRUE(part == content.substr(0, part.size()));

  EXPECT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_TRUE(ReadAll(local / "f.bin") == content);
  EXPECT_EQ(Count(ReadAll(server().log_path()), "REST " + std::to_string(part.size())), 1u);
}

// Implicit FTPS with the greeting in three TLS records (as aioftp sends it): the greeting is
// read through TLS whole, every login works at once, and a small file arrives whole.
QUORVI_SERVER_SUITE(ImplicitSplitGreeting, ServerKind::FaultFtpd,
                    {"--implicit-tls", TestCerts().combined.string()});

TEST_F(ImplicitSplitGreeting, GreetingAcrossRecordsAndSmallFiles) {
  server().WriteFile("pub/five.txt", "12345");
  const fs::path local = TestCerts().dir / "implicit";
  fs::create_directories(local);
  for (int round = 0; round < 5; ++round) {
    SCOPED_TRACE(round);
    auto ftp = UserClient(server());
    ftp->Security(2);
    ftp->CAFile(TestCerts().ca.string());
    ftp->ReplaceSetting(1);
    fs::remove(local / "five.txt");
    ASSERT_TRUE(ftp->Connect()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_TRUE(ftp->DownLoadFile("/pub/five.txt", (local / "five.txt").string()))
        << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(ReadAll(local / "five.txt"), "12345");
  }
  EXPECT_EQ(Count(ReadAll(server().log_path()), "<- USER"), 5u);  // no second login, no reconnect
  fs::remove_all(local);
}

}  // namespace
}  // namespace quorvi::test
