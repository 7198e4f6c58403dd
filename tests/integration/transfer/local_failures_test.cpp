// Local failures that retrying cannot mend end the file at once, with the system's reason, and
// lose nothing: a disk that fills keeps the part written so far for a later resume. The local
// file is only touched once the server sends: a refused download leaves it as it was.
#include <gtest/gtest.h>

#include <sys/mount.h>

#include <cstdlib>
#include <fstream>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class LocalFailures : public TransferSuite<LocalFailures> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

// A small file system of its own in the test's folder, unmounted again at the end.
class SmallDisk {
 public:
  SmallDisk(const fs::path& where, const char* options) : where_(where) {
    fs::create_directories(where_);
    mounted_ = ::mount("tmpfs", where_.c_str(), "tmpfs", 0, options) == 0;
  }
  ~SmallDisk() {
    if (mounted_) ::umount(where_.c_str());
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  bool mounted() const { return mounted_; }

 private:
  fs::path where_;
  bool mounted_ = false;
};

TEST_F(LocalFailures, AFullDiskFailsAtOnceAndKeepsThePart) {
  const fs::path disk = dir_ / "small";
  SmallDisk small(disk, "size=256k");
  if (!small.mounted()) {
    if (std::getenv("CI")) FAIL() << "mounting a tmpfs needs root";
    GTEST_SKIP() << "mounting a tmpfs needs root";
  }
  server().WriteFile("pub/big.bin", Pattern(3 * 1024 * 1024, 9));
  ftp_->RemotePath("/pub/big.bin");
  ftp_->LocalPath((disk / "big.bin").string());
  ftp_->ReplaceSetting(2);  // resume: what is there stays
  bool ok = true;
  const double seconds = Timed([&] { ok = ftp_->DownLoad(); });
  EXPECT_FALSE(ok);
  EXPECT_NE(ftp_->ErrorInfo().find("No space left on device"), std::string::npos)
      << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_LT(seconds, 5.0);  // no retries: they cannot make room
  ASSERT_TRUE(fs::exists(disk / "big.bin"));
  const std::string part = ReadAll(disk / "big.bin");
  EXPECT_GT(part.size(), 0u);
  EXPECT_EQ(part, Pattern(3 * 1024 * 1024, 9).substr(0, part.size()));  // a true prefix
}

// The last buffered bytes reach the disk only when the file is closed: a disk that fills
// right at the end (1 MiB + 10 bytes on a 1 MiB file system) or in the middle fails the file,
// over FTP and HTTP alike, and what is on disk is a true prefix for a resume.
TEST_F(LocalFailures, ADiskThatFillsFailsTheFileOverFtpAndHttp) {
  const StartOutcome web = StartServer({ServerKind::Nginx});
  ASSERT_TRUE(web.server) << web.problem;
  struct Case {
    const char* name;
    bool http;
    std::size_t size;
  };
  for (const Case& c : {Case{"ftp, full at the close", false, (1u << 20) + 10},
                        Case{"http, full at the close", true, (1u << 20) + 10},
                        Case{"http, full in the middle", true, 3u << 20}}) {
    SCOPED_TRACE(c.name);
    const fs::path disk = dir_ / "small";
    SmallDisk small(disk, "size=1m");
    if (!small.mounted()) {
      if (std::getenv("CI")) FAIL() << "mounting a tmpfs needs root";
      GTEST_SKIP() << "mounting a tmpfs needs root";
    }
    const std::string content = Pattern(c.size, 7);
    bool ok = true;
    if (c.http) {
      web.server->WriteFile("f.bin", content);
      ftp_->RemotePath("http://127.0.0.1:" + std::to_string(web.server->port()) + "/f.bin");
      ftp_->LocalPath((disk / "f.bin").string());
      ok = ftp_->DownloadHttpFile();
    } else {
      server().WriteFile("pub/f.bin", content);
      ftp_->RemotePath("/pub/f.bin");
      ftp_->LocalPath((disk / "f.bin").string());
      ok = ftp_->DownLoad();
    }
    EXPECT_FALSE(ok);
    EXPECT_NE(ftp_->ErrorInfo().find("No space left on device"), std::string::npos)
        << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
    EXPECT_EQ(ftp_->TransferedLocalFiles(), "");
    const std::string part = ReadAll(disk / "f.bin");
    EXPECT_LT(part.size(), content.size());
    EXPECT_EQ(part, content.substr(0, part.size()));
  }
}

TEST_F(LocalFailures, AReadOnlyTargetFailsAtOnceWithItsReason) {
  const fs::path disk = dir_ / "readonly";
  SmallDisk small(disk, "size=64k");
  if (!small.mounted() || ::mount("tmpfs", disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
    if (std::getenv("CI")) FAIL() << "mounting a tmpfs needs root";
    GTEST_SKIP() << "mounting a tmpfs needs root";
  }
  server().WriteFile("pub/a.txt", "alpha");
  ftp_->RemotePath("/pub/a.txt");
  ftp_->LocalPath((disk / "a.txt").string());
  bool ok = true;
  const double seconds = Timed([&] { ok = ftp_->DownLoad(); });
  EXPECT_FALSE(ok);
  EXPECT_NE(ftp_->ErrorInfo().find("Read-only file system"), std::string::npos)
      << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_LT(seconds, 5.0);
}

TEST_F(LocalFailures, ARefusedDownloadLeavesTheLocalFileAsItWas) {
  server().WriteFile("pub/refused/locked.txt", "server copy");
  const fs::path locked = server().root() / "pub" / "refused" / "locked.txt";
  fs::permissions(locked, fs::perms::none);  // SIZE yes, RETR no
  struct Case {
    const char* name;
    std::int16_t replace;      // 1 overwrite, 2 resume
    const char* local;         // nullptr: no local file beforehand
  };
  for (const Case& c : {Case{"overwrite", 1, "precious local data"}, Case{"resume", 2, "pre"},
                        Case{"new", 1, nullptr}}) {
    SCOPED_TRACE(c.name);
    const fs::path local = dir_ / (std::string(c.name) + ".txt");
    if (c.local) WriteBytes(local, c.local);
    ftp_->ReDoTimes(0);
    ftp_->ReplaceSetting(c.replace);
    ftp_->RemotePath("/pub/refused/locked.txt");
    ftp_->LocalPath(local.string());
    EXPECT_FALSE(ftp_->DownLoad());
    EXPECT_NE(ftp_->ErrorNumber(), 0);
    if (c.local) {
      EXPECT_EQ(ReadAll(local), c.local);
    } else {
      EXPECT_FALSE(fs::exists(local));
    }
  }
  // The refused transfer's data connection, closed by the server later, must not end the next
  // operation: an active-mode listing once took that close for its own and read as empty.
  server().WriteFile("pub/refused/other.txt", "other");
  ftp_->PassiveMode(false);
  const auto files = ftp_->GetFtpDirectoryInfo("/pub/refused");
  ASSERT_TRUE(files.has_value()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_EQ(Names(*files), (std::vector<std::string>{"locked.txt", "other.txt"}));
  fs::permissions(locked, fs::perms::owner_all);
}

TEST_F(LocalFailures, AnEmptyRemoteFileGivesAnEmptyLocalOne) {
  server().WriteFile("pub/zero.bin", "");
  for (const char* before : {static_cast<const char*>(nullptr), "old contents"}) {
    SCOPED_TRACE(before ? before : "no local file");
    const fs::path local = dir_ / "zero.bin";
    fs::remove(local);
    if (before) WriteBytes(local, before);
    ftp_->ReplaceSetting(1);
    ftp_->RemotePath("/pub/zero.bin");
    ftp_->LocalPath(local.string());
    EXPECT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
    ASSERT_TRUE(fs::exists(local));
    EXPECT_EQ(fs::file_size(local), 0u);
  }
}

// The server gets the file as it was when the upload began; a file written to meanwhile is not
// what the server holds, so the upload does not read as done.
TEST_F(LocalFailures, AFileThatGrowsDuringItsUploadIsReported) {
  const std::string start = Pattern(600 * 1024, 5);
  WriteBytes(dir_ / "log.txt", start);
  ftp_->MaxSpeed(1024);  // KiB/s: time for the file to grow while it moves
  bool appended = false;
  ftp_->OnTransfer().Subscribe([&] {
    if (appended || ftp_->TransferSize() < 100 * 1024) return;
    std::ofstream(dir_ / "log.txt", std::ios::app) << "one more line\n";
    appended = true;
  });
  ftp_->ReplaceSetting(1);
  ftp_->RemotePath("/pub/grown/log.txt");
  ftp_->LocalPath((dir_ / "log.txt").string());
  EXPECT_FALSE(ftp_->UpLoad());
  ASSERT_TRUE(appended);
  EXPECT_EQ(ftp_->ErrorNumber(), 10061) << ftp_->ErrorInfo();  // 20061 reads as 10061
  EXPECT_NE(ftp_->ErrorInfo().find("changed while it was uploaded"), std::string::npos)
      << ftp_->ErrorInfo();
  EXPECT_EQ(ftp_->TransferedLocalFiles(), "");
  EXPECT_TRUE(ReadAll(server().root() / "pub" / "grown" / "log.txt") == start);
}

}  // namespace
}  // namespace quorvi::test
