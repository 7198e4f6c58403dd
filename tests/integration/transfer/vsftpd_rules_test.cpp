// The engines' rules against vsftpd: resume sends only the missing bytes, every replace
// setting against an existing destination, pattern and paired items, path errors, lists changed
// during the job, abort requests and the speed limit.
#include <gtest/gtest.h>

#include <vector>

#include "component/core.h"
#include "quorvi/user_interface.h"

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class VsftpdRules : public TransferSuite<VsftpdRules> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }

 protected:
  void SetUp() override {
    TransferSuite::SetUp();
    if (ftp_) ftp_->ReDoTimes(0);
  }
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
  EXPECT_EQ(ReadAll(dir_ / "down.bin"), content);
  EXPECT_EQ(LogCount("\"REST 123457\""), 1u);

  WriteBytes(dir_ / "up.bin", content);
  server().WriteFile("res/up.bin", content.substr(0, 99991));
  ftp_->LocalPath((dir_ / "up.bin").string());
  ftp_->RemotePath("/res/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ReadAll(server().root() / "res" / "up.bin"), content);
  EXPECT_EQ(LogCount("\"REST 99991\""), 1u);
  EXPECT_DOUBLE_EQ(ftp_->TransferSize(), static_cast<double>(content.size()));
}

// Every replace setting against an existing destination, downloading and uploading (a partial
// destination is the resume test above).
TEST_F(VsftpdRules, ReplaceSettingsAgainstAnExistingFile) {
  struct Case {
    const char* name;
    std::int16_t setting;  // 1 overwrite, 2 resume, 3 skip, 4 rename
    std::string existing, expected, renamed;  // renamed: content of f1.txt ("" = none made)
  };
  const Case cases[] = {
      {"overwrite", 1, "XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX", kRemote, ""},
      {"resume complete", 2, kRemote, kRemote, ""},
      {"skip", 3, "keep", "keep", ""},
      {"rename", 4, "keep", "keep", kRemote},
  };
  server().WriteFile("rep/f.txt", kRemote);
  WriteBytes(dir_ / "src" / "f.txt", kRemote);
  for (const bool download : {true, false}) {
    const fs::path dest = download ? dir_ : server().root() / "urep";
    const std::string source = download ? "/rep/f.txt" : (dir_ / "src" / "f.txt").string();
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(c.name) + (download ? " down" : " up"));
      if (download) WriteBytes(dest / "f.txt", c.existing);
      else server().WriteFile("urep/f.txt", c.existing);
      fs::remove(dest / "f1.txt");
      ftp_->ReplaceSetting(c.setting);
      ftp_->RemotePath(download ? source : "/urep/");
      ftp_->LocalPath(download ? dir_.string() + "/" : source);
      ASSERT_TRUE(download ? ftp_->DownLoad() : ftp_->UpLoad()) << ftp_->ErrorInfo();
      EXPECT_EQ(ReadAll(dest / "f.txt"), c.expected);
      EXPECT_EQ(fs::exists(dest / "f1.txt") ? ReadAll(dest / "f1.txt") : "", c.renamed);
      EXPECT_EQ(ftp_->SkippedFiles(), c.setting == 3 ? source : "");
    }
  }
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
  EXPECT_EQ(ReadAll(dir_ / "p" / "pat" / "x.txt"), "x");
  EXPECT_EQ(ReadAll(dir_ / "p" / "pat" / "y.txt"), "y");
  EXPECT_FALSE(fs::exists(dir_ / "p" / "pat" / "z.dat"));
  EXPECT_EQ(ReadAll(dir_ / "docs" / "d.txt"), "d");
  EXPECT_EQ(ReadAll(dir_ / "zz.dat"), "z");
  // The fourth item has no local entry: it goes beside the first local entry.
  EXPECT_EQ(ReadAll(dir_ / "x.txt"), "x");
  EXPECT_FALSE(ftp_->core().settings.create_correspond_folder);
}

// The path errors that need the server or the local file system (the admission rules and the
// path format are unit tests).
TEST_F(VsftpdRules, PathErrors) {
  server().WriteFile("err/a.txt", "aaaa");
  fs::create_symlink("/nonexistent-quorvi/dir/file", dir_ / "dangling");
  const struct {
    const char* name;
    bool download;
    std::string local, remote;  // local: relative to the scratch folder
    std::int32_t number;
  } cases[] = {
      {"missing local folder", true, "nofolder/sub/a.txt", "/err/a.txt", 20010},
      {"missing remote file", true, "b.txt", "/err/none.txt", 20007},
      {"cannot create the local file", true, "dangling", "/err/a.txt", 20023},
      {"missing local file", false, "none.txt", "/err/", 20009},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ftp_->ReplaceSetting(1);
    ftp_->LocalPath((dir_ / c.local).string());
    ftp_->RemotePath(c.remote);
    EXPECT_FALSE(c.download ? ftp_->DownLoad(false) : ftp_->UpLoad(false));
    EXPECT_EQ(ftp_->ErrorNumber(), c.number) << ftp_->ErrorInfo();
  }
}

// The lists changed from OnTransfer during an upload: a file removed from the folder item is not
// sent, and the appended files go in the queue pass without overwriting the job's file.
TEST_F(VsftpdRules, ListsChangedDuringTheJob) {
  WriteBytes(dir_ / "job" / "big.bin", Pattern(400000, 9));
  WriteBytes(dir_ / "job" / "q.txt", "job");
  WriteBytes(dir_ / "job" / "removed.txt", "r");
  WriteBytes(dir_ / "extra" / "q.txt", "queued");
  WriteBytes(dir_ / "extra" / "new.txt", "new");
  bool changed = false;
  ftp_->OnTransfer().Subscribe([&] {
    if (changed) return;
    changed = true;
    ftp_->RemoveTransferList((dir_ / "job" / "removed.txt").string());
    ftp_->AppendTransferList((dir_ / "extra" / "q.txt").string());
    ftp_->AppendTransferList((dir_ / "extra" / "new.txt").string());
  });
  ftp_->MaxSpeed(400);  // slow enough for a transfer event during the job
  ftp_->ReplaceSetting(1);
  ftp_->LocalPath((dir_ / "job").string() + "/");
  ftp_->RemotePath("/queue/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
  const fs::path remote = server().root() / "queue";
  EXPECT_EQ(ReadAll(remote / "q.txt"), "job");
  EXPECT_EQ(ReadAll(remote / "q1.txt"), "queued");
  EXPECT_EQ(ReadAll(remote / "new.txt"), "new");
  EXPECT_FALSE(fs::exists(remote / "removed.txt"));
  EXPECT_EQ(Entries(ftp_->TransferedLocalFiles()), 4);
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
    auto ftp = UserClient(server());
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

// A replace dialog closed without a button cancels that file and decides nothing else: the
// next clash asks again (it once turned on silent resume for every later file).
class ClosingDialog : public UserInterface {
 public:
  int shown = 0;
  ReplaceButton ShowReplaceDialog(const ReplaceDialogView&) override {
    ++shown;
    return ReplaceButton::kClosed;
  }
};

TEST_F(VsftpdRules, AClosedReplaceDialogCancelsThatFileAndAsksAgain) {
  server().WriteFile("dlg/a.txt", "remote a, longer than the local one");
  server().WriteFile("dlg/b.txt", "remote b, longer than the local one");
  WriteBytes(dir_ / "a.txt", "local a");
  WriteBytes(dir_ / "b.txt", "local b");
  auto ui = std::make_shared<ClosingDialog>();
  ftp_->SetUserInterface(ui);
  ftp_->ReplaceSetting(0);
  for (const char* name : {"a.txt", "b.txt"}) {
    SCOPED_TRACE(name);
    ftp_->RemotePath(std::string("/dlg/") + name);
    ftp_->LocalPath((dir_ / name).string());
    EXPECT_FALSE(ftp_->DownLoad());
    EXPECT_EQ(ftp_->ErrorNumber(), 16010) << ftp_->ErrorInfo();
    EXPECT_EQ(ftp_->ReplaceSetting(), 0);
  }
  EXPECT_EQ(ui->shown, 2);
  EXPECT_EQ(ReadAll(dir_ / "a.txt"), "local a");
  EXPECT_EQ(ReadAll(dir_ / "b.txt"), "local b");
}

}  // namespace
}  // namespace quorvi::test
