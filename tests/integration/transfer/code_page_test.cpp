// Without UTF-8 on the wire, names travel in the code page. A name the code page cannot hold
// would reach the server as another name (日本.txt and 中国.txt both as "??.txt", each
// overwriting the other): such a file fails with a clear error and the server is not touched.
#include <gtest/gtest.h>

#include <cstdlib>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class CodePage : public TransferSuite<CodePage> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

// QUORVI_CODEPAGE for one test.
class CodePageVariable {
 public:
  explicit CodePageVariable(const char* name) { ::setenv("QUORVI_CODEPAGE", name, 1); }
  ~CodePageVariable() { ::unsetenv("QUORVI_CODEPAGE"); }
  CodePageVariable(const CodePageVariable&) = delete;
  CodePageVariable& operator=(const CodePageVariable&) = delete;
};

TEST_F(CodePage, NamesTheCodePageCannotHoldFailInsteadOfBecomingOthers) {
  const CodePageVariable latin1("ISO-8859-1");
  ftp_->UTF8(false);
  struct Case {
    const char* name;
    bool ok;
    const char* on_server;  // the name's bytes on the server when it arrives
  };
  for (const Case& c : {Case{"\xE6\x97\xA5\xE6\x9C\xAC.txt", false, nullptr},   // 日本.txt
                        Case{"\xE4\xB8\xAD\xE5\x9B\xBD.txt", false, nullptr},   // 中国.txt
                        Case{"caf\xC3\xA9.txt", true, "caf\xE9.txt"}}) {        // café.txt
    SCOPED_TRACE(c.name);
    WriteBytes(dir_ / c.name, c.name);
    ftp_->ReplaceSetting(1);
    ftp_->RemotePath(std::string("/pub/cp/") + c.name);
    ftp_->LocalPath((dir_ / c.name).string());
    EXPECT_EQ(ftp_->UpLoad(), c.ok) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
    if (c.ok) {
      EXPECT_EQ(ReadAll(server().root() / "pub" / "cp" / c.on_server), c.name);
    } else {
      EXPECT_EQ(ftp_->ErrorNumber(), 16501);
      EXPECT_NE(ftp_->ErrorInfo().find("code page ISO-8859-1"), std::string::npos)
          << ftp_->ErrorInfo();
    }
  }
  EXPECT_FALSE(fs::exists(server().root() / "pub" / "cp" / "??.txt"));

  // The same for a download of a name the code page cannot hold.
  ftp_->RemotePath("/pub/cp/\xE4\xB8\xAD\xE5\x9B\xBD.txt");
  ftp_->LocalPath((dir_ / "down.txt").string());
  EXPECT_FALSE(ftp_->DownLoad());
  EXPECT_EQ(ftp_->ErrorNumber(), 16501) << ftp_->ErrorInfo();
  EXPECT_FALSE(fs::exists(dir_ / "down.txt"));
}

}  // namespace
}  // namespace quorvi::test
