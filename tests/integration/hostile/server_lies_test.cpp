// Servers that lie: a listing without end, a file longer than its listed size, HTTP bodies
// longer than Content-Length, two lengths, redirects to other schemes, and URLs with line
// breaks. Memory and disk stay bounded, the true part is kept, the session stays usable.
#include <gtest/gtest.h>

#include <quorvi/ftp_library.h>

#include <unistd.h>

#include <filesystem>
#include <string>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

fs::path FreshFolder(const char* name) {
  const fs::path dir = fs::temp_directory_path() / (name + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

QUORVI_SERVER_SUITE(ListingFlood, ServerKind::FaultFtpd, {"--fault", "list_flood"});

TEST_F(ListingFlood, ALongListingFailsAndTheSessionGoesOn) {
  fs::create_directories(server().root() / "flood");
  server().WriteFile("calm/a.txt", "a");
  const struct {
    double mib;
    std::int32_t entries;
    std::int32_t error;
  } cases[] = {{1, 1000000, 22002}, {64, 1000, 22003}};
  for (const bool passive : {true, false}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::to_string(passive) + " " + std::to_string(c.error));
      auto ftp = UserClient(server(), passive);
      ftp->MaxListingBytes(c.mib);
      ftp->MaxListingEntries(c.entries);
      EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/flood"));
      EXPECT_EQ(ftp->ErrorNumber(), c.error) << ftp->ErrorInfo();
      // The same login lists again at once (the flood's late reply does not answer it).
      const auto calm = ftp->GetFtpDirectoryInfo("/calm");
      ASSERT_TRUE(calm) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
      EXPECT_EQ(Names(*calm), (std::vector<std::string>{"a.txt"}));
      EXPECT_EQ(ftp->GetFtpFileSize("/calm/a.txt"), 1) << ftp->ErrorInfo();
    }
  }
}

QUORVI_SERVER_SUITE(SizeLie, ServerKind::FaultFtpd, {"--fault", "retr_lie"});

// Listed and SIZE say 1000 bytes, 64 MiB come: the file keeps its 1000 true bytes and fails;
// without a size, MaxSize stops it.
TEST_F(SizeLie, BytesPastTheSizeStopTheDownload) {
  const std::string content = Pattern(1000, 7);
  server().WriteFile("lie.bin", content);
  const fs::path dir = FreshFolder("quorvi-lie-");
  const struct {
    bool without_list;
    std::int32_t error;
    std::uintmax_t kept;
  } cases[] = {{false, 22004, 1000}, {true, 20003, 1024 * 1024}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.without_list);
    auto ftp = UserClient(server());
    ftp->WithoutList(c.without_list);
    ftp->MaxSize(1);
    const fs::path local = dir / "lie.bin";
    fs::remove(local);
    EXPECT_FALSE(ftp->DownLoadFile("/lie.bin", local.string()));
    EXPECT_EQ(ftp->ErrorNumber(), c.error) << ftp->ErrorInfo();
    EXPECT_EQ(fs::file_size(local), c.kept);
    EXPECT_EQ(ReadAll(local).substr(0, 1000), content);
    EXPECT_EQ(ftp->GetFtpFileSize("/lie.bin"), 1000) << ftp->ErrorInfo();
  }
  fs::remove_all(dir);
}

QUORVI_SERVER_SUITE(HostileHttp, ServerKind::HostileHttp);

TEST_F(HostileHttp, LiesAndInjectionsFail) {
  const std::string origin = "http://127.0.0.1:" + std::to_string(server().port());
  const struct {
    const char* name;
    std::string url;
    std::int32_t error;
    bool requested;           // the server saw a request
    std::uintmax_t kept = 0;  // bytes in the local file afterwards
  } cases[] = {
      {"body past Content-Length", origin + "/lie/a.bin", 22004, true, 1000},
      {"two Content-Length", origin + "/twolen/a.bin", 22006, true},
      {"redirect to ftp://", origin + "/redirect?to=ftp%3A//127.0.0.1%3A21/a.bin", 22005, true},
      {"redirect to file:", origin + "/redirect?to=file%3A///etc/passwd", 22005, true},
      {"CR LF in the host", "http://127.0.0.1\r\nX-Evil: 1:" + std::to_string(server().port()) + "/a.bin",
       22000, false},
      {"LF in the path", origin + "/a\nX-Evil: 1/a.bin", 22000, false},
      {"NUL in the query", origin + "/a.bin?x=\0y"s, 22001, false},
  };
  const fs::path dir = FreshFolder("quorvi-hostile-http-");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(dir / "a.bin");
    const std::size_t before = Count(ReadAll(server().log_path()), "\n");
    FtpLibrary ftp;
    ftp.RemotePath(c.url);
    ftp.LocalPath((dir / "a.bin").string());
    EXPECT_FALSE(ftp.DownloadHttpFile());
    EXPECT_EQ(ftp.ErrorNumber(), c.error) << ftp.ErrorInfo();
    const std::string log = ReadAll(server().log_path());
    EXPECT_EQ(Count(log, "\n") > before, c.requested) << log;
    EXPECT_EQ(Count(log, "X-Evil"), 0u) << log;
    if (c.kept > 0) {
      EXPECT_EQ(fs::file_size(dir / "a.bin"), c.kept);
    }
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace quorvi::test
