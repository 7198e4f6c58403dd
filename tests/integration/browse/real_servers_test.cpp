// Browsing vsftpd, pure-ftpd and proftpd in passive and active mode (and with MLSD where the
// server has it): list a prepared tree, query files and folders, create a path recursively,
// remove a populated tree, change directories.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

struct Mode {
  const char* name;
  bool passive;
  bool mlsd;
};

void PrepareTree(const TestServer& server, const std::string& base) {
  server.WriteFile(base + "/b.txt", "bb");
  server.WriteFile(base + "/A.txt", "a");
  server.WriteFile(base + "/c.dat", "");
  server.WriteFile(base + "/sub/inner.txt", "inner");
  server.WriteFile(base + "/sub/deeper/x.bin", "xyz");
}

void ListsAndQueries(FtpLibrary& ftp, const std::string& dir) {
  const auto files = ftp.GetFtpDirectoryInfo(dir);
  ASSERT_TRUE(files) << ftp.ErrorNumber() << " " << ftp.ErrorInfo();
  EXPECT_EQ(Names(*files), (std::vector<std::string>{"A.txt", "b.txt", "c.dat", "sub/"}));
  EXPECT_EQ(files->Item("B.TXT")->FileSize(), 2);
  EXPECT_EQ(files->Item("b.txt")->FilePath(), dir + "/b.txt");
  EXPECT_EQ(files->Item("b.txt")->LastWriteTime().size(), 16u);  // YYYY-MM-DD HH:MM
  EXPECT_EQ(ftp.FtpState(), ftpDirectoryInfoRetrieved);

  EXPECT_TRUE(ftp.ExistFile(dir + "/c.dat")) << ftp.ErrorInfo();  // zero bytes
  EXPECT_FALSE(ftp.ExistFile(dir + "/sub"));
  EXPECT_FALSE(ftp.ExistFile(dir + "/missing.txt"));
  EXPECT_EQ(ftp.GetFtpFileSize(dir + "/b.txt"), 2);
  EXPECT_EQ(ftp.GetFtpFileSize(dir + "/sub/missing.txt"), -1);

  const auto inner = ftp.GetFtpFileInfo(dir + "/sub/inner.txt");
  ASSERT_TRUE(inner) << ftp.ErrorNumber() << " " << ftp.ErrorInfo();
  EXPECT_EQ(inner->FileName(), "inner.txt");
  EXPECT_EQ(inner->FileSize(), 5);
  EXPECT_FALSE(ftp.GetFtpFileInfo(dir + "/sub/deeper"));
  EXPECT_EQ(ftp.ErrorNumber(), 20007);

  EXPECT_TRUE(ftp.ExistDirectory(dir + "/sub"));
  EXPECT_TRUE(ftp.ExistDirectory(dir + "/sub/"));
  EXPECT_FALSE(ftp.ExistDirectory(dir + "/b.txt"));
  EXPECT_FALSE(ftp.ExistDirectory(dir + "/nothing"));
  EXPECT_TRUE(ftp.ExistDirectory("/"));
}

void CreatesRemovesAndChanges(FtpLibrary& ftp, const TestServer& server, const std::string& dir) {
  EXPECT_TRUE(ftp.CreateDirectory(dir + "/new/a/b")) << ftp.ErrorInfo();
  EXPECT_TRUE(fs::is_directory(server.root() / ("." + dir) / "new/a/b"));
  EXPECT_TRUE(ftp.CreateDirectory(dir + "/new/a/b")) << ftp.ErrorInfo();  // exists: fine
  // Without Recursive only the last level is asked for; the servers' refusals ("can't
  // create", "create ... failed") count as "exists" by the default reply phrases.
  ftp.CreateDirectory(dir + "/none/x", false);
  EXPECT_FALSE(fs::exists(server.root() / ("." + dir) / "none"));

  EXPECT_TRUE(ftp.RemoveDirectory(dir + "/sub")) << ftp.ErrorNumber() << " " << ftp.ErrorInfo();
  EXPECT_FALSE(fs::exists(server.root() / ("." + dir) / "sub"));
  EXPECT_TRUE(fs::exists(server.root() / ("." + dir) / "b.txt"));
  EXPECT_TRUE(ftp.RemoveDirectory(dir + "/new/a/b/"));  // an empty one: one RMD
  EXPECT_FALSE(fs::exists(server.root() / ("." + dir) / "new/a/b"));

  ASSERT_TRUE(ftp.SetCurrentDirectory(dir + "/new/")) << ftp.ErrorInfo();
  EXPECT_EQ(ftp.CurrentDirectory(), dir + "/new");
  EXPECT_EQ(ftp.GetParentDirectory(), dir);
  ASSERT_TRUE(ftp.SetCurrentDirectory("a"));
  EXPECT_EQ(ftp.CurrentDirectory(), dir + "/new/a");
  ASSERT_TRUE(ftp.SetCurrentDirectory(".."));
  EXPECT_EQ(ftp.CurrentDirectory(), dir + "/new");
  EXPECT_FALSE(ftp.SetCurrentDirectory(dir + "/missing"));
  EXPECT_EQ(ftp.ErrorNumber(), 16550);
  EXPECT_EQ(ftp.CurrentDirectory(), dir + "/new");
  ASSERT_TRUE(ftp.SetCurrentDirectory("/"));
  EXPECT_EQ(ftp.CurrentDirectory(), "");
}

void Browses(const TestServer& server, const std::vector<Mode>& modes) {
  for (const auto& mode : modes) {
    SCOPED_TRACE(mode.name);
    const std::string base = std::string("pub/") + mode.name;
    PrepareTree(server, base);
    auto ftp = UserClient(server, mode.passive);
    ftp->ListDirByMLSD(mode.mlsd);
    ListsAndQueries(*ftp, "/" + base);
    CreatesRemovesAndChanges(*ftp, server, "/" + base);
    EXPECT_FALSE(ftp->Busy());
    ftp->CloseConnection();
  }
}

QUORVI_SERVER_SUITE(VsftpdBrowse, ServerKind::Vsftpd);
QUORVI_SERVER_SUITE(PureFtpdBrowse, ServerKind::PureFtpd);
QUORVI_SERVER_SUITE(ProftpdBrowse, ServerKind::Proftpd);

TEST_F(VsftpdBrowse, PassiveAndActive) {
  Browses(server(), {{"passive", true, false}, {"active", false, false}});
}

TEST_F(PureFtpdBrowse, PassiveActiveAndMlsd) {
  Browses(server(), {{"passive", true, false}, {"active", false, false}, {"mlsd", true, true}});
}

TEST_F(ProftpdBrowse, PassiveActiveAndMlsd) {
  Browses(server(), {{"passive", true, false}, {"active", false, false}, {"mlsd", false, true}});
}

TEST_F(PureFtpdBrowse, ALinkToItsOwnFolderIsRemovedAsAnEntry) {
  // A link to "." would be a tree without end if it were entered; it is deleted instead.
  server().WriteFile("pub/loop/f.txt", "f");
  fs::create_directory_symlink(".", server().root() / "pub/loop/again");
  auto ftp = UserClient(server());
  ftp->ListDirByMLSD(true);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(ftp->RemoveDirectory("/pub/loop")) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_FALSE(fs::exists(fs::symlink_status(server().root() / "pub/loop")));
  EXPECT_FALSE(ftp->Busy());
}

TEST_F(VsftpdBrowse, EmptyFolderFilePathAndCaseClash) {
  server().WriteFile("pub/solo/only.txt", "1");
  std::filesystem::create_directories(server().root() / "pub/empty");
  std::filesystem::permissions(server().root() / "pub/empty", fs::perms::all);
  auto ftp = UserClient(server());
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/empty"));
  EXPECT_EQ(ftp->ErrorNumber(), 0);
  EXPECT_EQ(ftp->FtpState(), ftpDirectoryInfoRetrieved);
  // A path that names a file: vsftpd lists the file itself.
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/solo/only.txt"));
  EXPECT_EQ(ftp->ErrorNumber(), 20008);
  EXPECT_EQ(ftp->ErrorInfo(), "Can't find the folder[ /pub/solo/only.txt/ ]");
  // Names that differ only in case are two files; a key finds its exact name first.
  server().WriteFile("pub/case/README", "1");
  server().WriteFile("pub/case/readme", "22");
  const auto both = ftp->GetFtpDirectoryInfo("/pub/case");
  ASSERT_TRUE(both) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(both->Count(), 2);
  EXPECT_EQ(both->Item(std::string("readme"))->FileSize(), 2);
  EXPECT_EQ(both->Item(std::string("README"))->FileSize(), 1);
  EXPECT_FALSE(ftp->RemoveDirectory(""));
  EXPECT_EQ(ftp->ErrorNumber(), 20005);
}

TEST_F(PureFtpdBrowse, FolderAndFileNamesWithBlanks) {
  // pure-ftpd splits a LIST argument at its blanks: such folders are changed into instead.
  server().WriteFile("pub/with space/a b.txt", "ab");
  server().WriteFile("pub/with space/inner dir/x.txt", "x");
  server().WriteFile("pub/plain/my file.txt", "mine");
  for (const bool passive : {true, false}) {
    SCOPED_TRACE(passive ? "passive" : "active");
    auto ftp = UserClient(server(), passive);
    ftp->CacheListing(false);  // every query lists
    ftp->ListAll(!passive);    // "LIST -al" without a path as well
    ASSERT_TRUE(ftp->SetCurrentDirectory("/pub"));
    const auto files = ftp->GetFtpDirectoryInfo("/pub/with space");
    ASSERT_TRUE(files) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(Names(*files), (std::vector<std::string>{"a b.txt", "inner dir/"}));
    EXPECT_EQ(files->Item("a b.txt")->FilePath(), "/pub/with space/a b.txt");
    EXPECT_EQ(ftp->CurrentDirectory(), "/pub");  // changed back
    // A file: its folder is listed (ListDirForFile, on for pure-ftpd) or, with the option
    // off, the folder is listed and only the name is kept.
    for (const bool for_file : {true, false}) {
      ftp->ListDirForFile(for_file);
      EXPECT_EQ(ftp->GetFtpFileSize("/pub/with space/a b.txt"), 2) << for_file;
      EXPECT_EQ(ftp->GetFtpFileSize("/pub/plain/my file.txt"), 4) << for_file;
      EXPECT_EQ(ftp->GetFtpFileSize("with space/inner dir/x.txt"), 1) << for_file;
      EXPECT_FALSE(ftp->ExistFile("/pub/with space/inner dir")) << for_file;
      EXPECT_FALSE(ftp->ExistFile("/pub/with space/b")) << for_file;
      EXPECT_EQ(ftp->CurrentDirectory(), "/pub");
    }
  }
  auto ftp = UserClient(server());
  EXPECT_TRUE(ftp->RemoveDirectory("/pub/with space")) << ftp->ErrorNumber() << " "
                                                       << ftp->ErrorInfo();
  EXPECT_FALSE(fs::exists(server().root() / "pub/with space"));
}

}  // namespace
}  // namespace quorvi::test
