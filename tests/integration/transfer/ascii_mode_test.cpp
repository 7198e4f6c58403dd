// ASCII mode (TYPE A) converts line ends: CR LF on the wire, LF in local files. A server that
// stores and sends raw bytes shows the wire; vsftpd converting too gives exact round trips.
// Resuming is never done in ASCII mode (the byte counts differ on both sides).
#include <gtest/gtest.h>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class AsciiRaw : public TransferSuite<AsciiRaw> {
 public:
  static ServerSetup ServerToStart() {
    return {ServerKind::Vsftpd, {"-oascii_upload_enable=NO", "-oascii_download_enable=NO"}};
  }
};

class AsciiConverting : public TransferSuite<AsciiConverting> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

// A text of many lines, so that line ends fall on the edges of network reads too.
std::string Lines(const char* end) {
  std::string text;
  for (int i = 0; i < 40000; ++i) text += "line " + std::to_string(i) + end;
  return text;
}

TEST_F(AsciiRaw, TheWireCarriesCrLfAndTheLocalFileLf) {
  ftp_->TransferMode(FTP_ASCII_MODE);
  ftp_->ReplaceSetting(1);
  server().WriteFile("pub/crlf.txt", Lines("\r\n"));
  ftp_->RemotePath("/pub/crlf.txt");
  ftp_->LocalPath((dir_ / "crlf.txt").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "crlf.txt") == Lines("\n"));

  WriteBytes(dir_ / "lf.txt", Lines("\n"));
  ftp_->LocalPath((dir_ / "lf.txt").string());
  ftp_->RemotePath("/pub/lf.txt");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(server().root() / "pub" / "lf.txt") == Lines("\r\n"));
}

TEST_F(AsciiConverting, RoundTripsAreExactAndResumingIsRefused) {
  ftp_->TransferMode(FTP_ASCII_MODE);
  ftp_->ReplaceSetting(1);
  WriteBytes(dir_ / "text.txt", Lines("\n"));
  ftp_->LocalPath((dir_ / "text.txt").string());
  ftp_->RemotePath("/pub/text.txt");
  ASSERT_TRUE(ftp_->UpLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(server().root() / "pub" / "text.txt") == Lines("\n"));
  ftp_->LocalPath((dir_ / "back.txt").string());
  ASSERT_TRUE(ftp_->DownLoad()) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
  EXPECT_TRUE(ReadAll(dir_ / "back.txt") == Lines("\n"));

  // A part of the user's at the destination: resuming would splice at a wrong offset.
  ftp_->ReplaceSetting(2);
  for (const bool download : {true, false}) {
    SCOPED_TRACE(download ? "download" : "upload");
    const std::string part = Lines("\n").substr(0, 1000);
    if (download) {
      WriteBytes(dir_ / "part.txt", part);
      ftp_->LocalPath((dir_ / "part.txt").string());
      ftp_->RemotePath("/pub/text.txt");
    } else {
      server().WriteFile("pub/part.txt", part);
      ftp_->LocalPath((dir_ / "text.txt").string());
      ftp_->RemotePath("/pub/part.txt");
    }
    EXPECT_FALSE(download ? ftp_->DownLoad() : ftp_->UpLoad());
    EXPECT_EQ(ftp_->ErrorNumber(), 22042) << ftp_->ErrorInfo();
    EXPECT_TRUE(ReadAll(download ? dir_ / "part.txt" : server().root() / "pub" / "part.txt") == part);
  }
}

}  // namespace
}  // namespace quorvi::test
