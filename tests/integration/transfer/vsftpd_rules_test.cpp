// The engines' rules against vsftpd: resume sends only the missing bytes, every replace
// setting against an existing destination, the rename rule, the queue pass, the local and
// remote path errors, abort requests and the speed limit.
#include <gtest/gtest.h>

#include <vector>

#include "component/core.h"

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class VsftpdRules : public ServerSuite<VsftpdRules> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }

 protected:
  void SetUp() override {
    ServerSuite<VsftpdRules>::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    dir_ = ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
    ftp_ = ClientOf(server());
    ftp_->ReDoTimes(0);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string Log() const { return ReadBytes(server().log_path()); }
  bool LogHas(const std::string& text) const { return Log().find(text) != std::string::npos; }

  fs::path dir_;
  std::unique_ptr<FtpLibrary> ftp_;
};

const std::string kRemote = "0123456789abcdefghij";

TEST_F(VsftpdRules, ResumeSendsOnlyTheMissingBytesBothWays) {
  const std::string content = Pattern(300000, 7);
  server().WriteFile("res/down.bin", content);
  WriteBytes(dir_ / "down.bin", content.substr(0, 123457));
  ftp_->ReplaceSetting(2);
  ftp_->RemotePath("/res/down.bin");
  ftp_->LocalPath((dir_ / "down.bin").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ReadBytes(dir_ / "down.bin"), content);
  EXPECT_TRUE(LogHas("\"REST 123457\""));

  WriteBytes(dir_ / "up.bin", content);
  server().WriteFile("res/up.bin", content.substr(0, 99991));
  ftp_->LocalPath((dir_ / "up.bin").string());
  ftp_->RemotePath("/res/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ReadBytes(server().root() / "res" / "up.bin"), content);
  EXPECT_TRUE(LogHas("\"REST 99991\""));
  EXPECT_DOUBLE_EQ(ftp_->TransferSize(), static_cast<double>(content.size()));
}

struct ReplaceCase {
  const char* name;
  std::int16_t setting;        // host value: 1 overwrite, 2 resume, 3 skip, 4 rename
  std::string existing;        // destination content before the transfer
  std::string expected;        // destination content after
  std::string renamed;         // content of the renamed file ("" = none made)
  bool skipped;
};

const std::vector<ReplaceCase> kReplaceCases = {
    {"overwrite", 1, "XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX", kRemote, "", false},
    {"resume", 2, "0123456789", kRemote, "", false},
    {"resume complete", 2, kRemote, kRemote, "", false},
    {"skip", 3, "keep", "keep", "", true},
    {"rename", 4, "keep", "keep", kRemote, false},
};

TEST_F(VsftpdRules, ReplaceSettingsAgainstAnExistingLocalFile) {
  server().WriteFile("rep/f.txt", kRemote);
  for (const auto& c : kReplaceCases) {
    SCOPED_TRACE(c.name);
    WriteBytes(dir_ / "f.txt", c.existing);
    fs::remove(dir_ / "f1.txt");
    ftp_->ReplaceSetting(c.setting);
    ftp_->RemotePath("/rep/f.txt");
    ftp_->LocalPath(dir_.string() + "/");
    ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
    EXPECT_EQ(ReadBytes(dir_ / "f.txt"), c.expected);
    EXPECT_EQ(fs::exists(dir_ / "f1.txt") ? ReadBytes(dir_ / "f1.txt") : "", c.renamed);
    EXPECT_EQ(ftp_->SkippedFiles(), c.skipped ? "/rep/f.txt" : "");
  }
}

TEST_F(VsftpdRules, ReplaceSettingsAgainstAnExistingRemoteFile) {
  WriteBytes(dir_ / "f.txt", kRemote);
  const fs::path remote = server().root() / "urep";
  for (const auto& c : kReplaceCases) {
    SCOPED_TRACE(c.name);
    server().WriteFile("urep/f.txt", c.existing);
    fs::remove(remote / "f1.txt");
    ftp_->ReplaceSetting(c.setting);
    ftp_->LocalPath((dir_ / "f.txt").string());
    ftp_->RemotePath("/urep/");
    ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
    EXPECT_EQ(ReadBytes(remote / "f.txt"), c.expected);
    EXPECT_EQ(fs::exists(remote / "f1.txt") ? ReadBytes(remote / "f1.txt") : "", c.renamed);
    EXPECT_EQ(ftp_->SkippedFiles(), c.skipped ? (dir_ / "f.txt").string() : "");
  }
}

TEST_F(VsftpdRules, RenameRuleFindsAFreeName) {
  server().WriteFile("ren/r.txt", "new");
  WriteBytes(dir_ / "r.txt", "old");
  WriteBytes(dir_ / "r_copy.txt", "older");
  ftp_->ReplaceSetting(4);
  ftp_->RenameRule("{oldname}_copy");
  ftp_->RemotePath("/ren/r.txt");
  ftp_->LocalPath((dir_ / "r.txt").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ReadBytes(dir_ / "r.txt"), "old");
  EXPECT_EQ(ReadBytes(dir_ / "r_copy.txt"), "older");
  EXPECT_EQ(ReadBytes(dir_ / "r_copy_copy.txt"), "new");
}

TEST_F(VsftpdRules, PairingAndPatternItems) {
  server().WriteFile("pat/x.txt", "x");
  server().WriteFile("pat/y.txt", "y");
  server().WriteFile("pat/z.dat", "z");
  server().WriteFile("pat/docs/d.txt", "d");
  // A pattern item and a folder item, each into a folder of its own name (the pattern's
  // folder for the pattern), and two paired files.
  ftp_->CreateCorrespondFolder(true);
  ftp_->RemotePath("/pat/*.txt|/pat/docs/|/pat/z.dat|/pat/x.txt");
  ftp_->LocalPath((dir_ / "p").string() + "|" + dir_.string() + "|" + (dir_ / "zz.dat").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ReadBytes(dir_ / "p" / "pat" / "x.txt"), "x");
  EXPECT_EQ(ReadBytes(dir_ / "p" / "pat" / "y.txt"), "y");
  EXPECT_FALSE(fs::exists(dir_ / "p" / "pat" / "z.dat"));
  EXPECT_EQ(ReadBytes(dir_ / "docs" / "d.txt"), "d");
  EXPECT_EQ(ReadBytes(dir_ / "zz.dat"), "z");
  // The fourth item has no local entry: it goes beside the first local entry.
  EXPECT_EQ(ReadBytes(dir_ / "x.txt"), "x");
  EXPECT_FALSE(ftp_->core().settings.create_correspond_folder);
}

struct PathErrorCase {
  const char* name;
  bool download;
  std::string local;   // relative to the scratch folder unless it starts with "!"
  std::string remote;
  std::int32_t number;
  std::function<void(FtpLibrary&)> setup;
};

TEST_F(VsftpdRules, PathAndAdmissionErrors) {
  server().WriteFile("err/a.txt", "aaaa");
  server().WriteFile("err/a.exe", "exe");
  fs::create_symlink("/nonexistent-quorvi/dir/file", dir_ / "dangling");
  const std::vector<PathErrorCase> cases = {
      {"relative local path", true, "!rel/a.txt", "/err/a.txt", 20011, {}},
      {"relative local file", true, "!a.txt", "/err/a.txt", 20011, {}},
      {"missing local folder", true, "nofolder/sub/a.txt", "/err/a.txt", 20010,
       [](FtpLibrary& f) { f.ReplaceSetting(1); }},
      {"missing remote file", true, "b.txt", "/err/none.txt", 20007, {}},
      {"forbidden extension", true, "a.exe", "/err/a.exe", 20022,
       [](FtpLibrary& f) { f.FileTypeForbid("*.exe"); }},
      {"extension not allowed", false, "a.exe", "/err/", 20021,
       [](FtpLibrary& f) { f.FileTypeAllow("*.txt"); }},
      {"above MaxSize", true, "big.txt", "/err/a.txt", 20003,
       [](FtpLibrary& f) { f.MaxSize(0.000001); }},
      {"cannot create the local file", true, "dangling", "/err/a.txt", 20023, {}},
      {"missing local file", false, "none.txt", "/err/", 20009, {}},
  };
  WriteBytes(dir_ / "a.exe", "exe");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto ftp = ClientOf(server());
    ftp->ReDoTimes(0);
    ftp->ReplaceSetting(1);
    if (c.setup) c.setup(*ftp);
    const std::string local = c.local[0] == '!' ? c.local.substr(1) : (dir_ / c.local).string();
    ftp->LocalPath(local);
    ftp->RemotePath(c.remote);
    EXPECT_FALSE(c.download ? ftp->DownLoad(false) : ftp->UpLoad(false));
    EXPECT_EQ(ftp->ErrorNumber(), c.number) << ftp->ErrorInfo();
  }
}

TEST_F(VsftpdRules, QueuePassUploadsAppendedFilesWithoutOverwritingTheJob) {
  WriteBytes(dir_ / "job" / "q.txt", "job");
  WriteBytes(dir_ / "job" / "big.bin", Pattern(400000, 9));
  WriteBytes(dir_ / "extra" / "q.txt", "queued");
  WriteBytes(dir_ / "extra" / "new.txt", "new");
  bool appended = false;
  ftp_->OnTransfer().Subscribe([&] {
    if (appended) return;
    appended = true;
    ftp_->AppendTransferList((dir_ / "extra" / "q.txt").string());
    ftp_->AppendTransferList((dir_ / "extra" / "new.txt").string());
  });
  ftp_->MaxSpeed(400);  // slow enough for a transfer event during the job
  ftp_->ReplaceSetting(1);
  ftp_->LocalPath((dir_ / "job" / "big.bin").string() + "|" + (dir_ / "job" / "q.txt").string());
  ftp_->RemotePath("/queue/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
  const fs::path remote = server().root() / "queue";
  EXPECT_EQ(ReadBytes(remote / "q.txt"), "job");
  EXPECT_EQ(ReadBytes(remote / "q1.txt"), "queued");
  EXPECT_EQ(ReadBytes(remote / "new.txt"), "new");
  EXPECT_EQ(Entries(ftp_->TransferedLocalFiles()), 4);
}

TEST_F(VsftpdRules, RemovedFileOfAFolderItemIsNotSent) {
  WriteBytes(dir_ / "tree" / "a.bin", Pattern(300000, 5));
  WriteBytes(dir_ / "tree" / "b.txt", "b");
  WriteBytes(dir_ / "tree" / "c.txt", "c");
  ftp_->MaxSpeed(300);
  bool removed = false;
  ftp_->OnTransfer().Subscribe([&] {
    if (!removed) ftp_->RemoveTransferList((dir_ / "tree" / "b.txt").string());
    removed = true;
  });
  ftp_->LocalPath((dir_ / "tree").string() + "/");
  ftp_->RemotePath("/removed/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
  EXPECT_TRUE(fs::exists(server().root() / "removed" / "a.bin"));
  EXPECT_FALSE(fs::exists(server().root() / "removed" / "b.txt"));
  EXPECT_TRUE(fs::exists(server().root() / "removed" / "c.txt"));
}

TEST_F(VsftpdRules, MaxSpeedHoldsTheRate) {
  const std::size_t size = 3u << 20;
  server().WriteFile("speed/s.bin", Pattern(size, 6));
  ftp_->MaxSpeed(1024);  // KiB/s: about three seconds for the file
  ftp_->ReplaceSetting(1);
  ftp_->RemotePath("/speed/s.bin");
  ftp_->LocalPath((dir_ / "s.bin").string());
  ASSERT_TRUE(ftp_->Connect());
  bool ok = false;
  const double seconds = Timed([&] { ok = ftp_->DownLoad(); });
  ASSERT_TRUE(ok) << ftp_->ErrorInfo();
  const double rate = static_cast<double>(size) / seconds / 1024;
  EXPECT_GT(rate, 1024 * 0.75) << seconds << " s";
  EXPECT_LT(rate, 1024 * 1.25) << seconds << " s";
}

// Abort requests from the host's handlers: Abort stops the job, AbortCurrent only the file,
// cancel.sta acts like Abort, another method from OnTransfer is refused while the transfer
// goes on.
TEST_F(VsftpdRules, AbortRequestsDuringABatch) {
  for (const char* name : {"1.bin", "2.bin", "3.bin"})
    server().WriteFile(std::string("ab/") + name, Pattern(600000, 8));
  const std::string items = "/ab/1.bin|/ab/2.bin|/ab/3.bin";

  struct Case {
    const char* name;
    // Runs at every transfer event while a file moves; true once it has acted.
    std::function<bool(FtpLibrary&)> act;
    bool result;
    int transferred;
    int aborted;
  };
  const fs::path status = dir_ / "status";
  fs::create_directories(status);
  int refused = 0;
  const std::vector<Case> cases = {
      {"Abort", [](FtpLibrary& f) { return f.Abort(); }, false, 0, 0},
      {"AbortCurrent",
       [](FtpLibrary& f) {
         if (f.QueueIndex() != 2) return false;
         f.AbortCurrent();
         return true;
       },
       true, 2, 1},
      {"cancel.sta",
       [&](FtpLibrary&) {
         WriteBytes(status / "cancel.sta", "");
         return true;
       },
       false, 0, 0},
      {"another method",
       [&](FtpLibrary& f) {
         refused += !f.CreateDirectory("/x") && f.ErrorNumber() == 16009;
         return false;
       },
       true, 3, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto ftp = ClientOf(server());
    ftp->MaxSpeed(600);
    ftp->ReplaceSetting(1);
    ftp->ReDoTimes(0);
    ftp->TranstatePath(status.string());
    bool acted = false;
    ftp->OnTransfer().Subscribe([&] {
      if (!acted && ftp->core().rt.operation == opDownload) acted = c.act(*ftp);
    });
    ftp->RemotePath(items);
    ftp->LocalPath(dir_.string() + "/" + c.name + "/");
    EXPECT_EQ(ftp->DownLoad(), c.result) << ftp->ErrorInfo();
    if (!c.result) {
      EXPECT_EQ(ftp->ErrorNumber(), 16010);
    }
    EXPECT_EQ(Entries(ftp->TransferedRemoteFiles()), c.transferred);
    EXPECT_EQ(Entries(ftp->AbortedFileList()), c.aborted);
  }
  EXPECT_GT(refused, 0);
}

TEST_F(VsftpdRules, AbortCurrentDuringAnUploadSkipsOnlyThatFile) {
  for (const char* name : {"1.bin", "2.bin", "3.bin"})
    WriteBytes(dir_ / "up" / name, Pattern(500000, 10));
  ftp_->MaxSpeed(800);
  ftp_->ReplaceSetting(1);
  bool acted = false;
  ftp_->OnTransfer().Subscribe([&] {
    if (acted || ftp_->core().rt.operation != opUpload || ftp_->QueueIndex() != 1) return;
    acted = true;
    ftp_->AbortCurrent();
  });
  ftp_->LocalPath((dir_ / "up").string() + "/");
  ftp_->RemotePath("/abup/");
  EXPECT_TRUE(ftp_->UpLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_EQ(ftp_->AbortedFileList(), (dir_ / "up" / "1.bin").string());
  EXPECT_EQ(Entries(ftp_->TransferedLocalFiles()), 2);
  EXPECT_EQ(fs::file_size(server().root() / "abup" / "2.bin"), 500000u);
}

}  // namespace
}  // namespace quorvi::test
