// What the browsing and remote operations report must be true on the server afterwards: the
// listing cache answers only for its own folder and forgets the component's own changes, a
// refusal read as "already exists" is checked, links are never entered, and a server that
// closes instead of answering is an error.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "component/core.h"

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

QUORVI_SERVER_SUITE(VsftpdTrust, ServerKind::Vsftpd);
QUORVI_SERVER_SUITE(PureFtpdTrust, ServerKind::PureFtpd);
QUORVI_SERVER_SUITE(ProftpdTrust, ServerKind::Proftpd);
QUORVI_SERVER_SUITE(ClosingServer, ServerKind::FaultFtpd,
                    {"--close-on", "DELE", "--close-on", "RNFR", "--close-on", "MKD",
                     "--close-on", "RMD", "--close-on", "SITE"});

TEST_F(VsftpdTrust, CacheAnswersOnlyForItsFolderAndForgetsChanges) {
  server().WriteFile("pub/a.txt", "123456");
  server().WriteFile("pub/tree/other.txt", "o");
  auto ftp = UserClient(server());
  EXPECT_EQ(ftp->GetFtpFileSize("/pub/a.txt"), 6);
  // The same name in another folder: the cached /pub listing says nothing about it.
  EXPECT_EQ(ftp->GetFtpFileSize("/pub/tree/a.txt"), -1);
  EXPECT_FALSE(ftp->ExistFile("/pub/tree/a.txt"));

  EXPECT_TRUE(ftp->ExistFile("/pub/a.txt"));
  ASSERT_TRUE(ftp->DeleteFile("/pub/a.txt")) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->ExistFile("/pub/a.txt"));

  server().WriteFile("pub/b.txt", "12");
  EXPECT_TRUE(ftp->ExistFile("/pub/b.txt"));
  ASSERT_TRUE(ftp->RenameFile("/pub/b.txt", "/pub/c.txt"));
  EXPECT_FALSE(ftp->ExistFile("/pub/b.txt"));
  EXPECT_EQ(ftp->GetFtpFileSize("/pub/c.txt"), 2);

  // With the cache turned off, a change made by someone else is seen at once.
  fs::remove(server().root() / "pub/c.txt");
  ftp->CacheListing(false);
  EXPECT_FALSE(ftp->ExistFile("/pub/c.txt"));
}

TEST_F(VsftpdTrust, CreateDirectoryChecksARefusalReadAsExists) {
  server().WriteFile("pub/afile", "f");
  auto ftp = UserClient(server());
  // vsftpd's "Create directory operation failed." reads as "exists" by the default phrases.
  EXPECT_FALSE(ftp->CreateDirectory("/pub/none/x", false));
  EXPECT_NE(ftp->ErrorNumber(), 0);
  EXPECT_FALSE(fs::exists(server().root() / "pub/none"));
  EXPECT_FALSE(ftp->CreateDirectory("/pub/afile"));  // a file of that name is no folder
  EXPECT_TRUE(fs::is_regular_file(server().root() / "pub/afile"));
  ASSERT_TRUE(ftp->CreateDirectory("/pub/made")) << ftp->ErrorInfo();
  EXPECT_TRUE(ftp->CreateDirectory("/pub/made")) << ftp->ErrorInfo();  // really exists: fine
}

TEST_F(VsftpdTrust, MlsdRequestedFromAServerWithoutItFallsBackToList) {
  server().WriteFile("pub/m/a.txt", "abc");
  auto ftp = UserClient(server());
  ftp->ListDirByMLSD(true);
  const auto files = ftp->GetFtpDirectoryInfo("/pub/m");
  ASSERT_TRUE(files) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(Names(*files), (std::vector<std::string>{"a.txt"}));
}

TEST_F(VsftpdTrust, RawCommandsKeepTheCaseOfTheirArguments) {
  auto ftp = UserClient(server());
  ftp->ExeFtpCmd("MKD /pub/MixedCase", "");
  ftp->ExeFtpCmd("mkd", "/pub/Other Case");
  EXPECT_TRUE(fs::is_directory(server().root() / "pub/MixedCase"));
  EXPECT_TRUE(fs::is_directory(server().root() / "pub/Other Case"));
}

// deep/keeplink -> ../keep: removing deep deletes the link, never what it points to.
void RemovalLeavesLinkTargets(const TestServer& server) {
  server.WriteFile("pub/keep/precious.txt", "keep me");
  server.WriteFile("pub/deep/own.txt", "x");
  fs::create_directory_symlink("../keep", server.root() / "pub/deep/keeplink");
  auto ftp = UserClient(server);
  ftp->ListDirByMLSD(true);
  EXPECT_TRUE(ftp->RemoveDirectory("/pub/deep")) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(ReadAll(server.root() / "pub/keep/precious.txt"), "keep me");
  EXPECT_FALSE(fs::exists(fs::symlink_status(server.root() / "pub/deep")));
}

TEST_F(VsftpdTrust, FolderNamesMatchWhateverTheCaseOfTheirLetters) {
  fs::create_directories(server().root() / "pub/Dir \xC3\x9Cmlaut");  // "Dir Ümlaut"
  auto ftp = UserClient(server());
  EXPECT_TRUE(ftp->ExistDirectory("/pub/dir \xC3\xBCmlaut")) << ftp->ErrorInfo();  // "dir ümlaut"
  EXPECT_FALSE(ftp->ExistDirectory("/pub/dir umlaut"));
}

// A missing folder is an error; an empty one is an empty listing without an error.
void MissingIsNotEmpty(const TestServer& server) {
  fs::create_directories(server.root() / "pub/empty");
  fs::permissions(server.root() / "pub/empty", fs::perms::all);
  auto ftp = UserClient(server);
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/empty"));
  EXPECT_EQ(ftp->ErrorNumber(), 0) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->GetFtpDirectoryInfo("/pub/nope"));
  EXPECT_EQ(ftp->ErrorNumber(), 20008) << ftp->ErrorInfo();
  EXPECT_EQ(ftp->CurrentDirectory(), "");  // back where it was
}

TEST_F(VsftpdTrust, AMissingFolderIsNotAnEmptyOne) { MissingIsNotEmpty(server()); }
TEST_F(ProftpdTrust, AMissingFolderIsNotAnEmptyOne) { MissingIsNotEmpty(server()); }

TEST_F(PureFtpdTrust, RemovalNeverEntersALink) { RemovalLeavesLinkTargets(server()); }
TEST_F(ProftpdTrust, RemovalNeverEntersALink) { RemovalLeavesLinkTargets(server()); }

TEST_F(VsftpdTrust, AnErrorRaisedByNumberCarriesItsOwnText) {
  auto ftp = UserClient(server());
  EXPECT_FALSE(ftp->DeleteFile("/pub/missing.txt"));
  EXPECT_EQ(ftp->ErrorNumber(), 16550);
  EXPECT_FALSE(ftp->DeleteFile(""));
  EXPECT_EQ(ftp->ErrorNumber(), 20005);
  EXPECT_EQ(ftp->ErrorInfo().find("550"), std::string::npos) << ftp->ErrorInfo();
  EXPECT_FALSE(ftp->ErrorInfo().empty());
}

// vsftpd answers a keep-alive sent during a transfer only after the transfer's 226, in the same
// piece: both replies must be seen, the 226 for the upload and the 200 as the keep-alive's.
TEST_F(VsftpdTrust, KeepAliveRepliesNeverHideATransferReply) {
  const std::string content = Pattern(3 * 1024 * 1024, 5);
  const fs::path local = fs::temp_directory_path() / ("quorvi-ka-" + std::to_string(::getpid()));
  std::ofstream(local, std::ios::binary) << content;
  auto ftp = UserClient(server());
  ftp->core().settings.keep_alive_second = 1;  // below the property's minimum, to stay quick
  ftp->MaxSpeed(600);                          // KiB/s: about five seconds
  int logins = 0;
  ftp->OnServerMessage().Subscribe([&] {
    if (ftp->MessageInfo().starts_with("USER")) ++logins;
  });
  ASSERT_TRUE(ftp->Connect());
  ftp->LocalPath(local.string());
  ftp->RemotePath("/pub/");
  ftp->ReplaceSetting(1);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(ftp->UpLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(12));
  EXPECT_EQ(logins, 1);  // no dropped session
  EXPECT_EQ(ReadAll(server().root() / "pub" / local.filename()), content);
  // The next command gets its own reply, not a keep-alive's.
  EXPECT_TRUE(ftp->DeleteFile("/pub/" + local.filename().string())) << ftp->ErrorInfo();
  fs::remove(local);
}

// The operations a host may run while its event handlers call the component again.
struct RunningOperation {
  const char* name;
  std::function<bool(FtpLibrary&)> run;
};

std::vector<RunningOperation> RunningOperations(const fs::path& dir) {
  return {
      {"UpLoad", [dir](FtpLibrary& f) {
         f.LocalPath((dir / "up.bin").string());
         f.RemotePath("/pub/");
         return f.UpLoad();
       }},
      {"DownLoad", [dir](FtpLibrary& f) {
         f.RemotePath("/pub/up.bin");
         f.LocalPath((dir / "down.bin").string());
         return f.DownLoad();
       }},
      {"GetFtpDirectoryInfo", [](FtpLibrary& f) { return f.GetFtpDirectoryInfo("/pub").has_value(); }},
  };
}

// Runs each operation on ftp with nested(n) called from its first two state changes; the
// operation must succeed and leave no error, whatever the nested calls did.
void RunWithNestedCalls(TestServer& server, FtpLibrary& ftp,
                        const std::function<void(int call)>& nested) {
  const std::string content = Pattern(3 * 1024 * 1024, 6);
  const fs::path dir = fs::temp_directory_path() / ("quorvi-nest-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "up.bin", std::ios::binary) << content;
  ftp.ReplaceSetting(1);
  for (const auto& op : RunningOperations(dir)) {
    SCOPED_TRACE(op.name);
    int calls = 0;
    const auto id = ftp.OnStateChange().Subscribe([&] {
      if (calls >= 2 || !ftp.Busy()) return;
      nested(++calls);
    });
    EXPECT_TRUE(op.run(ftp)) << ftp.ErrorNumber() << " " << ftp.ErrorInfo();
    EXPECT_EQ(ftp.ErrorNumber(), 0) << ftp.ErrorInfo();
    EXPECT_EQ(calls, 2);
    ftp.OnStateChange().Unsubscribe(id);
  }
  EXPECT_EQ(ReadAll(dir / "down.bin"), content);
  EXPECT_EQ(ReadAll(server.root() / "pub/up.bin"), content);
  fs::remove_all(dir);
}

// A host call from inside an event of a running operation is refused (16009) and changes
// nothing of that operation: not its result, not its error afterwards.
TEST_F(VsftpdTrust, ARefusedNestedCallLeavesTheRunningOperationAlone) {
  server().WriteFile("pub/keep.txt", "keep");
  auto ftp = UserClient(server());
  int refused = 0;
  RunWithNestedCalls(server(), *ftp, [&](int call) {
    // Bad arguments are refused before they are looked at; a good call is refused too.
    const bool ok = call == 1 ? ftp->DeleteFile("") : ftp->DeleteFile("/pub/keep.txt");
    if (!ok && ftp->ErrorNumber() == 16009) ++refused;
  });
  EXPECT_EQ(refused, 6);
  EXPECT_EQ(ReadAll(server().root() / "pub/keep.txt"), "keep");
}

// Another component on the same thread, called from an event handler, works on its own: its
// failures are its own errors and never end or fail the running operation, and its successes
// are real.
TEST_F(VsftpdTrust, AnotherComponentsFailureLeavesTheRunningOperationAlone) {
  auto ftp = UserClient(server());
  auto other = UserClient(server());
  FtpLibrary unconnected;
  unconnected.ServerName("127.0.0.1");
  unconnected.RemotePort(1);  // nothing listens there
  unconnected.TimeOut(5);
  int other_failures = 0, other_successes = 0;
  RunWithNestedCalls(server(), *ftp, [&](int call) {
    if (call == 1) {
      if (!other->DeleteFile("/pub/no-such-file") && other->ErrorNumber() != 0) ++other_failures;
      if (!unconnected.Connect() && unconnected.ErrorNumber() != 0) ++other_failures;
    } else if (other->GetFtpDirectoryInfo("/pub").has_value() && other->ErrorNumber() == 0) {
      ++other_successes;
    }
  });
  EXPECT_EQ(other_failures, 6);
  EXPECT_EQ(other_successes, 3);
  // Neither component is left wedged.
  EXPECT_TRUE(ftp->GetFtpDirectoryInfo("/pub").has_value()) << ftp->ErrorInfo();
  EXPECT_TRUE(other->GetFtpDirectoryInfo("/").has_value()) << other->ErrorInfo();
}

TEST_F(ClosingServer, ACloseInsteadOfAReplyIsAnError) {
  server().WriteFile("pub/a.txt", "a");
  fs::create_directories(server().root() / "pub/d");
  struct Case {
    const char* name;
    std::function<bool(FtpLibrary&)> call;
  };
  const Case cases[] = {
      {"DeleteFile", [](FtpLibrary& f) { return f.DeleteFile("/pub/a.txt"); }},
      {"RenameFile", [](FtpLibrary& f) { return f.RenameFile("/pub/a.txt", "/pub/b.txt"); }},
      {"CreateDirectory", [](FtpLibrary& f) { return f.CreateDirectory("/pub/n", false); }},
      {"RemoveDirectory", [](FtpLibrary& f) { return f.RemoveDirectory("/pub/d"); }},
      {"ExeFtpCmd", [](FtpLibrary& f) { return !f.ExeFtpCmd("SITE", "CHMOD 600 /pub/a.txt").empty() &&
                                               f.ErrorNumber() == 0; }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto ftp = UserClient(server());
    EXPECT_FALSE(c.call(*ftp));
    EXPECT_EQ(ftp->ErrorNumber(), 16011);
    EXPECT_EQ(ftp->ErrorInfo(), "Connection is interrupted");
    EXPECT_FALSE(ftp->Busy());
  }
  EXPECT_TRUE(fs::exists(server().root() / "pub/a.txt"));
}

}  // namespace
}  // namespace quorvi::test
