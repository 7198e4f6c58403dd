// DownloadHttpFile against nginx on loopback, directly and through tinyproxy.
#include <unistd.h>

#include <gtest/gtest.h>

#include <quorvi/ftp_library.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

class HttpDownload : public ServerSuiteWithProxy<HttpDownload> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Nginx}; }

 protected:
  void SetUp() override {
    ServerSuiteWithProxy::SetUp();
    if (IsSkipped() || HasFailure()) return;
    dir_ = fs::temp_directory_path() / ("quorvi-http-it-" + std::to_string(::getpid()));
    Fresh();
    server().WriteFile("a.bin", kA);
    server().WriteFile("c.bin", "third");
  }
  void TearDown() override { fs::remove_all(dir_); }
  void Fresh() {
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  std::string Url(const std::string& name) const {
    return "http://127.0.0.1:" + std::to_string(server().port()) + "/" + name;
  }
  std::string AccessLog() const { return ReadAll(server().log_path()); }  // status after request

  const std::string kA = Pattern(1000, 1);
  fs::path dir_;
  FtpLibrary ftp_;
};

TEST_F(HttpDownload, TwoFilesDirectAndThroughTheProxy) {
  int transfers = 0;
  ftp_.OnTransfer().Subscribe([&] { ++transfers; });
  for (const bool proxy : {false, true}) {
    if (proxy && !Proxy().server) {  // the proxy's only test: CI must have it
      if (!Proxy().missing || RunningUnderCi()) FAIL() << Proxy().problem;
      GTEST_SKIP() << Proxy().problem;
    }
    Fresh();
    if (proxy) {
      ftp_.ProxyServer(" 127.0.0.1 ");
      ftp_.ProxyPort(static_cast<std::int16_t>(Proxy().server->port()));
    }
    ftp_.RemotePath(Url("a.bin") + "|" + Url("c.bin"));
    ftp_.LocalPath(dir_.string() + "/");
    ASSERT_TRUE(ftp_.DownloadHttpFile()) << proxy << ": " << ftp_.ErrorInfo();
    EXPECT_EQ(ReadAll(dir_ / "a.bin"), kA);
    EXPECT_EQ(ReadAll(dir_ / "c.bin"), "third");
    EXPECT_EQ(ftp_.Percent(), 100);
    EXPECT_EQ(ftp_.FtpState(), ftpDownloadCompleted);
    EXPECT_EQ(ftp_.TransferedRemoteFiles(), Url("a.bin") + "|" + Url("c.bin"));
  }
  EXPECT_GE(transfers, 4);
  EXPECT_EQ(Count(ReadAll(Proxy().server->log_path()), "/c.bin"), 1u);
}

// An existing local file meets the replace setting: resume (206), already complete (416), overwrite
// (whole file again), skip (no request), rename (a second file).
TEST_F(HttpDownload, ExistingLocalFile) {
  const struct {
    std::int16_t setting;  // 1 overwrite, 2 resume, 3 skip, 4 rename
    std::size_t local_bytes;
    const char* logged;  // nginx's log for the request; "" when none is made
    const char* file;    // the file that ends up with the whole content
  } cases[] = {{2, 600, "\" 206 ", "a.bin"}, {2, 1000, "\" 416 ", "a.bin"},
               {1, 600, "\" 200 ", "a.bin"}, {3, 600, "", ""}, {4, 600, "\" 200 ", "a1.bin"}};
  for (const auto& c : cases) {
    Fresh();
    std::ofstream(dir_ / "a.bin", std::ios::binary) << kA.substr(0, c.local_bytes);
    const bool requested = *c.logged != '\0';
    const std::size_t before = Count(AccessLog(), "GET /a.bin");
    const std::size_t before_status = requested ? Count(AccessLog(), c.logged) : 0u;
    ftp_.ReplaceSetting(c.setting);
    ftp_.RemotePath(Url("a.bin"));
    ftp_.LocalPath(dir_.string() + "/");
    ASSERT_TRUE(ftp_.DownloadHttpFile()) << c.setting << ": " << ftp_.ErrorInfo();
    EXPECT_EQ(Count(AccessLog(), "GET /a.bin"), before + (requested ? 1u : 0u)) << c.setting;
    if (requested) {
      EXPECT_EQ(Count(AccessLog(), c.logged), before_status + 1u) << c.setting;
      EXPECT_EQ(ReadAll(dir_ / c.file), kA) << c.setting;
    } else {
      EXPECT_EQ(ftp_.SkippedFiles(), Url("a.bin"));
    }
  }
}

// What the scripted peer of the unit tests cannot show: nginx's own chunked answer (a folder
// listing), and failures before any response.
TEST_F(HttpDownload, Failures) {
  const std::tuple<std::string, std::string, std::int32_t> cases[] = {
      {Url("a.bin"), "rel/dir/", 20011},
      {"http://127.0.0.1:1/a.bin", dir_.string() + "/", 10061},
      // Encryption was asked for: a plain server fails the handshake and never sees the path.
      {"https://127.0.0.1:" + std::to_string(server().port()) + "/never.bin", dir_.string() + "/",
       19002},
  };
  for (const auto& [remote, local, number] : cases) {
    ftp_.RemotePath(remote);
    ftp_.LocalPath(local);
    EXPECT_FALSE(ftp_.DownloadHttpFile()) << remote;
    EXPECT_EQ(ftp_.ErrorNumber(), number) << remote << ": " << ftp_.ErrorInfo();
    EXPECT_EQ(ftp_.FtpState(), ftpFreeState) << remote;
  }
  EXPECT_FALSE(fs::exists(dir_ / "never.bin"));
  EXPECT_EQ(Count(AccessLog(), "/never.bin"), 0u);
}

TEST_F(HttpDownload, SecondOfThreeFailsAndTheThirdIsNeverRequested) {
  ftp_.RemotePath(Url("a.bin") + "|" + Url("missing2.bin") + "|" + Url("c3.bin"));
  ftp_.LocalPath(dir_.string() + "/new/folder/||" + dir_.string() + "/c3.bin");
  EXPECT_FALSE(ftp_.DownloadHttpFile());
  EXPECT_EQ(ftp_.ErrorNumber(), 18404);
  EXPECT_EQ(ReadAll(dir_ / "new/folder/a.bin"), kA);  // the folder was created
  EXPECT_EQ(ftp_.TransferedRemoteFiles(), Url("a.bin"));
  EXPECT_EQ(Count(AccessLog(), "GET /missing2.bin"), 1u);
  EXPECT_EQ(Count(AccessLog(), "GET /c3.bin"), 0u);
}

// Redirects are followed (the file keeps the name asked for) up to ten; a loop fails. Names
// with blanks and other unsafe characters are sent %-encoded.
TEST_F(HttpDownload, RedirectsAndEncodedPaths) {
  server().WriteFile("file.bin", "redirected");
  server().WriteFile("a b#c.txt", "blank");
  struct Case {
    const char* remote;
    const char* local;
    bool ok;
    const char* content;
  };
  for (const Case& c : {Case{"redirect", "redirect", true, "redirected"},
                        Case{"a b%23c.txt", "a b%23c.txt", true, "blank"},
                        Case{"loop", "loop", false, nullptr}}) {
    SCOPED_TRACE(c.remote);
    ftp_.ReplaceSetting(1);
    ftp_.RemotePath(Url(c.remote));
    ftp_.LocalPath((dir_ / c.local).string());
    EXPECT_EQ(ftp_.DownloadHttpFile(), c.ok) << ftp_.ErrorNumber() << " " << ftp_.ErrorInfo();
    if (c.ok) {
      EXPECT_EQ(ReadAll(dir_ / c.local), c.content);
      EXPECT_EQ(ftp_.TransferedRemoteFiles(), Url(c.remote));
    } else {
      EXPECT_EQ(ftp_.ErrorNumber(), 18000);
      EXPECT_NE(ftp_.ErrorInfo().find("More than 10 redirects"), std::string::npos) << ftp_.ErrorInfo();
      EXPECT_FALSE(fs::exists(dir_ / c.local));
    }
  }
  EXPECT_EQ(Count(AccessLog(), "GET /a%20b%23c.txt"), 1u);

  // nginx sends folder listings chunked.
  ftp_.RemotePath(Url(""));
  ftp_.LocalPath((dir_ / "index.html").string());
  ASSERT_TRUE(ftp_.DownloadHttpFile()) << ftp_.ErrorNumber() << " " << ftp_.ErrorInfo();
  EXPECT_NE(ReadAll(dir_ / "index.html").find("a%20b%23c.txt"), std::string::npos);
}

TEST_F(HttpDownload, LargeFileByteForByte) {
  const std::string big = Pattern(64u << 20, 7);
  server().WriteFile("big.bin", big);
  ftp_.RemotePath(Url("big.bin"));
  ftp_.LocalPath(dir_.string() + "/");
  ASSERT_TRUE(ftp_.DownloadHttpFile()) << ftp_.ErrorNumber() << " " << ftp_.ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "big.bin") == big);
  EXPECT_EQ(ftp_.FileSize(), static_cast<double>(big.size()));
}

}  // namespace
}  // namespace quorvi::test
