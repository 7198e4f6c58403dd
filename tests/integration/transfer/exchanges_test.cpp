// The commands a transfer costs: TYPE goes once per session (and again only when the type
// changes), never per file; a session that had to log in again sends TYPE before its next data
// connection, or a binary file would travel in the server's default (ASCII) type.
#include <gtest/gtest.h>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class Exchanges : public TransferSuite<Exchanges> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

class ClosesOnHelp : public TransferSuite<ClosesOnHelp> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--close-on", "HELP"}}; }
};

// The login probes whether the keep-alive command exists: a server that drops the connection
// on it must not make every new login log in again.
class ClosesOnNoop : public TransferSuite<ClosesOnNoop> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::FaultFtpd, {"--close-on", "NOOP"}}; }
};

TEST_F(Exchanges, TypeOncePerSessionAndPerChange) {
  for (int i = 1; i <= 3; ++i) server().WriteFile("pub/three/f" + std::to_string(i) + ".bin", Pattern(1000, i));
  const std::size_t before = LogCount("\"TYPE ");
  ftp_->RemotePath("/pub/three/");
  ftp_->LocalPath(dir_.string() + "/");
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ftp_->TransferredFileCount(), 3);
  EXPECT_EQ(LogCount("\"TYPE ") - before, 1u);  // the listing's TYPE I serves the files too
  // A text transfer changes the type once, and back once.
  ftp_->TransferMode(FTP_ASCII_MODE);
  ftp_->RemotePath("/pub/three/f1.bin");
  ftp_->LocalPath((dir_ / "ascii.bin").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  ftp_->TransferMode(FTP_IMAGE_MODE);
  ftp_->LocalPath((dir_ / "image.bin").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(LogCount("\"TYPE A\""), 1u);
  EXPECT_EQ(LogCount("\"TYPE ") - before, 3u);
  EXPECT_TRUE(ReadAll(dir_ / "image.bin") == Pattern(1000, 1));
}

TEST_F(ClosesOnHelp, ANewLoginSendsTypeBeforeItsDataConnection) {
  // Bytes that an ASCII transfer would change (CR LF, lone LF, high bytes).
  std::string binary;
  for (int i = 0; i < 4096; ++i) binary += static_cast<char>(i % 7 == 0 ? '\n' : i % 256);
  server().WriteFile("pub/bin/a.bin", binary);
  server().WriteFile("pub/bin/b.bin", binary);
  ftp_->RemotePath("/pub/bin/a.bin");
  ftp_->LocalPath((dir_ / "a.bin").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorInfo();
  ftp_->ExeFtpCmd("HELP");  // the server closes the control connection instead of answering
  ftp_->RemotePath("/pub/bin/b.bin");
  ftp_->LocalPath((dir_ / "b.bin").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "b.bin") == binary);
  const std::string log = ReadAll(server().log_path());
  const auto second_login = log.rfind("<- PASS");
  ASSERT_NE(second_login, std::string::npos);
  const auto type = log.find("<- TYPE I", second_login);
  const auto retr = log.find("<- RETR", second_login);
  EXPECT_TRUE(type != std::string::npos && type < retr) << log.substr(second_login);
}

TEST_F(ClosesOnNoop, AProbeThatEndsTheConnectionEndsTheLoginOnce) {
  ftp_->KeepAliveCommand("NOOP");
  ftp_->KeepAliveSecond(60);
  server().WriteFile("pub/x.txt", "x");
  const double seconds = Timed([&] { ftp_->GetFtpFileSize("/pub/x.txt"); });
  EXPECT_LT(seconds, 20);
  EXPECT_LT(LogCount("<- PASS"), 5u);  // a few logins at most, not one after another for ever
}

// Files going into a folder the upload has just made need no lookup (the folder was empty);
// a name the job already sent there, or any name in a folder that was there before, does.
TEST_F(Exchanges, UploadsIntoAFolderItMadeSkipTheLookupButNeverOverwriteUnasked) {
  for (int i = 1; i <= 3; ++i) WriteBytes(dir_ / "tree" / ("f" + std::to_string(i) + ".txt"), "new");
  ftp_->ReplaceSetting(0);  // ask: the headless provider answers every question with Cancel
  ftp_->LocalPath((dir_ / "tree").string() + "/");
  ftp_->RemotePath("/pub/fresh/");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorInfo();
  EXPECT_EQ(ftp_->TransferredFileCount(), 3);
  EXPECT_EQ(LogCount("\"LIST /pub/fresh/f"), 0u) << "one lookup per file into a folder just made";

  struct Case {
    const char* name;
    std::string local;
    std::string remote;
  };
  WriteBytes(dir_ / "a" / "x.txt", "first");
  WriteBytes(dir_ / "b" / "x.txt", "second");
  server().WriteFile("pub/old/x.txt", "kept");
  const Case cases[] = {
      {"the same name twice into a new folder", (dir_ / "a" / "x.txt").string() + "|" + (dir_ / "b" / "x.txt").string(),
       "/pub/twice/|/pub/twice/"},
      {"a folder that was there", (dir_ / "b" / "x.txt").string(), "/pub/old/"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ftp_->LocalPath(c.local);
    ftp_->RemotePath(c.remote);
    ftp_->UpLoad();
    const std::string folder = std::string(c.remote).substr(0, std::string(c.remote).find('|'));
    const std::string now = ReadAll(server().root() / folder.substr(1) / "x.txt");
    EXPECT_TRUE(now == "first" || now == "kept") << "overwritten without asking: " << now;
  }
}

}  // namespace
}  // namespace quorvi::test
