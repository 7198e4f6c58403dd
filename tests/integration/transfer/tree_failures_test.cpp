// A tree job never reads a part of the tree it could not reach as success: a remote folder
// that cannot be listed or a missing one fails the job (after the rest is transferred, with
// its path in FailedFiles); local entries that hold no file (a FIFO, a dangling link) are
// skipped without waiting on them.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class TreeFailures : public TransferSuite<TreeFailures> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

TEST_F(TreeFailures, AnUnreadableRemoteFolderFailsTheJobAfterTheRest) {
  server().WriteFile("perm/a.txt", "a");
  server().WriteFile("perm/locked/secret.txt", "s");
  server().WriteFile("perm/zz/after.txt", "after");
  const fs::path locked = server().root() / "perm" / "locked";
  fs::permissions(locked, fs::perms::none);

  ftp_->RemotePath("/perm/");
  ftp_->LocalPath((dir_ / "back").string() + "/");
  EXPECT_FALSE(ftp_->DownLoad());
  EXPECT_NE(ftp_->ErrorNumber(), 0);
  EXPECT_EQ(ftp_->FailedFiles(), "/perm/locked");
  // The rest of the tree is there.
  EXPECT_EQ(ReadAll(dir_ / "back" / "a.txt"), "a");
  EXPECT_EQ(ReadAll(dir_ / "back" / "zz" / "after.txt"), "after");
  fs::permissions(locked, fs::perms::owner_all);
}

TEST_F(TreeFailures, AMissingRemoteFolderIsAnErrorAndAnEmptyOneIsNot) {
  fs::create_directories(server().root() / "empty");
  struct Case {
    const char* remote;
    bool ok;
    std::int32_t error;
  };
  for (const Case& c : {Case{"/nope/", false, 20008}, Case{"/empty/", true, 0}}) {
    SCOPED_TRACE(c.remote);
    ftp_->RemotePath(c.remote);
    ftp_->LocalPath((dir_ / "into").string() + "/");
    EXPECT_EQ(ftp_->DownLoad(), c.ok);
    EXPECT_EQ(ftp_->ErrorNumber(), c.error) << ftp_->ErrorInfo();
  }
}

TEST_F(TreeFailures, LocalEntriesThatHoldNoFileAreSkipped) {
  WriteBytes(dir_ / "up" / "real.txt", "real");
  ASSERT_EQ(::mkfifo((dir_ / "up" / "fifo").c_str(), 0600), 0);
  fs::create_symlink(dir_ / "up" / "gone", dir_ / "up" / "dangling");
  ftp_->LocalPath((dir_ / "up").string() + "/");
  ftp_->RemotePath("/up/");
  const double seconds = Timed([&] { EXPECT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo(); });
  EXPECT_LT(seconds, 10);  // a FIFO opened for reading would wait for a writer for ever
  EXPECT_EQ(ReadAll(server().root() / "up" / "real.txt"), "real");
  EXPECT_FALSE(fs::exists(server().root() / "up" / "fifo"));
  const std::string skipped = ftp_->SkippedFiles();
  EXPECT_NE(skipped.find("/up/fifo"), std::string::npos) << skipped;
  EXPECT_NE(skipped.find("/up/dangling"), std::string::npos) << skipped;
}

// With ShowTotalPercent the totals are the job's from its first byte: every file of every
// folder, folders counting nothing.
TEST_F(TreeFailures, TotalsAreTheWholeJobs) {
  server().WriteFile("tot/a.bin", Pattern(1000, 1));
  server().WriteFile("tot/one/b.bin", Pattern(2000, 2));
  server().WriteFile("tot/one/two/c.bin", Pattern(3000, 3));
  ftp_->ShowTotalPercent(true);
  double first_total = -1;
  int most_files = 0;
  const auto id = ftp_->OnTransfer().Subscribe([&] {
    if (first_total < 0) first_total = ftp_->TotalFileSize();
    most_files = std::max(most_files, static_cast<int>(ftp_->QueueTotal()));
  });
  ftp_->RemotePath("/tot/");
  ftp_->LocalPath((dir_ / "tot").string() + "/");
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  ftp_->OnTransfer().Unsubscribe(id);
  EXPECT_EQ(first_total, 6000);
  EXPECT_EQ(most_files, 3);
  EXPECT_EQ(ftp_->TransferredFileCount(), 3);
  EXPECT_EQ(ftp_->TransferredBytes(), 6000);
  EXPECT_EQ(ftp_->TotalPercent(), 100);
}

// Abort called from an event handler in any phase of a tree job: while logging in, while the
// tree is looked up and listed, while data moves. An aborted listing looks like an empty or a
// missing folder; the job must read as cancelled, never as done or as "no such folder".
TEST_F(TreeFailures, AnAbortInAnyPhaseEndsTheJobAsCancelled) {
  server().WriteFile("ab/one.bin", Pattern(200000));
  server().WriteFile("ab/sub/two.bin", "two");
  WriteBytes(dir_ / "up" / "one.bin", Pattern(200000));
  WriteBytes(dir_ / "up" / "sub" / "two.bin", "two");
  for (const bool download : {true, false}) {
    for (const char* trigger : {"USER", "PASS", "TYPE", "EPSV", "LIST", "MLSD", "RETR", "STOR", "MKD"}) {
      SCOPED_TRACE(std::string(download ? "download, abort at " : "upload, abort at ") + trigger);
      auto ftp = UserClient(server());
      bool aborted = false;
      ftp->OnServerMessage().Subscribe([&] {
        if (!aborted && ftp->MessageInfo().starts_with(trigger)) {
          aborted = true;
          ftp->Abort();
        }
      });
      fs::remove_all(dir_ / "down");
      ftp->RemotePath(download ? "/ab/" : "/pub/ab" + std::string(trigger) + "/");
      ftp->LocalPath(download ? (dir_ / "down").string() + "/" : (dir_ / "up").string() + "/");
      const bool ok = download ? ftp->DownLoad() : ftp->UpLoad();
      if (!aborted) continue;  // this job never sends that command
      EXPECT_FALSE(ok);
      EXPECT_EQ(ftp->ErrorNumber(), 16010) << ftp->ErrorInfo();
    }
  }
}

}  // namespace
}  // namespace quorvi::test
