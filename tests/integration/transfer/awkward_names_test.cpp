// Names that Linux and the servers allow go up and come back byte for byte, in both modes, on
// each real server: pattern characters, list separators, backslashes, quotes, blanks at either
// end, leading dashes. Look-alikes ("a?c" beside "abc", "dir?" beside "dirx") catch a name
// that is read as a pattern anywhere on the way.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

// Returns the number of files. Each server refuses a few names of its own (pure-ftpd any
// backslash, proftpd a "*" in a folder name); those are left out for it.
int MakeAwkwardTree(const fs::path& root, ServerKind kind) {
  std::vector<std::string> names = {
      "plain.txt", "que?ry.txt",     "a?c.txt",   "abc.txt",   "st*ar.txt",
      "pi|pe.txt", "#hash%20.txt",   "quo\"te's.txt", "-dash.txt", " lead.txt",
      "sp  ace.txt", "semi;colon.txt", "[br]{ce}.txt", "Ünïcödé.txt",
      "caf\xE9 latin1.txt"};  // not UTF-8: the bytes are the name
  std::vector<std::string> folders = {"dir?", "dirx", "-d", "pi|pe dir"};
  if (kind != ServerKind::PureFtpd) {
    names.push_back("bs\\name.txt");
    folders.push_back("back\\slash dir");
  }
  if (kind != ServerKind::Proftpd) folders.push_back("st*r");
  int files = 0, seed = 10;
  for (const auto& name : names) WriteBytes(root / name, Pattern(100 + 37 * files++, ++seed));
  for (const auto& folder : folders) {
    WriteBytes(root / folder / "in.txt", folder + " content");
    WriteBytes(root / folder / "pi|pe?.bin", Pattern(3000, ++seed));
    files += 2;
  }
  fs::create_directories(root / "dir?" / (kind == ServerKind::Proftpd ? "empty" : "empty *"));
  return files;
}

template <ServerKind Kind>
class AwkwardNames : public ServerSuite<AwkwardNames<Kind>> {
 public:
  static ServerSetup ServerToStart() { return {Kind}; }

 protected:
  void Run(bool passive) {
    const std::string mode = passive ? "passive" : "active";
    const fs::path base = ScratchDir(std::string("awkward-") + KindName(Kind) + "-" + mode);
    const int files = MakeAwkwardTree(base / "src", Kind);
    auto ftp = UserClient(this->server(), passive);
    ftp->UTF8(true);  // names travel as their bytes

    ftp->LocalPath((base / "src").string() + "/");
    ftp->RemotePath("/" + mode + "/");
    ASSERT_TRUE(ftp->UpLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(ftp->QueueTotal(), files);
    const fs::path on_server = this->server().root() / mode;
    EXPECT_EQ(TreeDiff(base / "src", on_server), "") << "upload changed names or bytes";

    ftp->RemotePath("/" + mode + "/");
    ftp->LocalPath((base / "back").string() + "/");
    ASSERT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(TreeDiff(base / "src", base / "back"), "") << "download changed names or bytes";

    // A host's item that the server's glob cannot match (vsftpd: "?" beside a blank) is the
    // file of exactly that name.
    WriteBytes(on_server / "f0 a?b.bin", "literal");
    ftp->RemotePath("/" + mode + "/f0 a?b.bin");
    ftp->LocalPath((base / "one").string() + "/");
    ASSERT_TRUE(ftp->DownLoad()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_EQ(ReadAll(base / "one" / "f0 a?b.bin"), "literal");

    // Removing "dir?" leaves its look-alike "dirx" alone.
    EXPECT_TRUE(ftp->RemoveDirectory("/" + mode + "/dir?")) << ftp->ErrorInfo();
    EXPECT_FALSE(fs::exists(on_server / "dir?"));
    EXPECT_EQ(ReadAll(on_server / "dirx" / "in.txt"), "dirx content");

    if (Kind == ServerKind::Proftpd) {
      // A folder the server refuses to create fails the upload, and is named.
      fs::create_directories(base / "refused" / "st*r");
      ftp->LocalPath((base / "refused").string() + "/");
      ftp->RemotePath("/" + mode + "/refused/");
      EXPECT_FALSE(ftp->UpLoad());
      EXPECT_NE(ftp->ErrorNumber(), 0);
      EXPECT_EQ(ftp->FailedFiles(), "/" + mode + "/refused/st*r");
    }
    fs::remove_all(base);
  }
};

using VsftpdAwkwardNames = AwkwardNames<ServerKind::Vsftpd>;
using PureFtpdAwkwardNames = AwkwardNames<ServerKind::PureFtpd>;
using ProftpdAwkwardNames = AwkwardNames<ServerKind::Proftpd>;

TEST_F(VsftpdAwkwardNames, Passive) { Run(true); }
TEST_F(VsftpdAwkwardNames, Active) { Run(false); }
TEST_F(PureFtpdAwkwardNames, Passive) { Run(true); }
TEST_F(PureFtpdAwkwardNames, Active) { Run(false); }
TEST_F(ProftpdAwkwardNames, Passive) { Run(true); }
TEST_F(ProftpdAwkwardNames, Active) { Run(false); }

}  // namespace
}  // namespace quorvi::test
