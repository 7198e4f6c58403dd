// FileTypeAllow and FileTypeForbid hold for every file of every job: a file found in a folder
// or matched by a pattern is left out and listed in SkippedFiles; a file the host names itself
// refuses the job with 20021/20022 before anything moves.
#include <gtest/gtest.h>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class TypeFilter : public TransferSuite<TypeFilter> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

// a.txt, b.csv, sub/c.csv, sub/d.txt below root.
void MakeMixedTree(const fs::path& root) {
  for (const char* name : {"a.txt", "b.csv", "sub/c.csv", "sub/d.txt"})
    WriteBytes(root / name, std::string("content of ") + name);
}

std::vector<std::string> FilesBelow(const fs::path& root) {
  std::vector<std::string> files;
  if (!fs::exists(root)) return files;
  for (const auto& e : fs::recursive_directory_iterator(root))
    if (e.is_regular_file()) files.push_back(fs::relative(e.path(), root).string());
  std::sort(files.begin(), files.end());
  return files;
}

TEST_F(TypeFilter, EveryFileOfEveryJobInBothDirections) {
  MakeMixedTree(server().root() / "pub" / "tree");
  MakeMixedTree(dir_ / "tree");
  struct Filter {
    const char* allow;
    const char* forbid;
  };
  int round = 0;
  for (const Filter filter : {Filter{"", "csv"}, Filter{"txt", ""}}) {
    for (const bool download : {true, false}) {
      for (const bool pattern : {false, true}) {
        SCOPED_TRACE(std::string(download ? "download " : "upload ") +
                     (pattern ? "pattern" : "folder") + ", allow=" + filter.allow +
                     " forbid=" + filter.forbid);
        const std::string target = "to" + std::to_string(++round);
        const std::string item = pattern ? "*.*" : "";
        ftp_->FileTypeAllow(filter.allow);
        ftp_->FileTypeForbid(filter.forbid);
        fs::path arrived;
        bool ok = false;
        if (download) {
          arrived = dir_ / target;
          fs::create_directories(arrived);
          ftp_->RemotePath("/pub/tree/" + item);
          ftp_->LocalPath(arrived.string() + "/");
          ok = ftp_->DownLoad();
        } else {
          arrived = server().root() / "pub" / target;
          ftp_->LocalPath((dir_ / "tree").string() + "/" + item);
          ftp_->RemotePath("/pub/" + target + "/");
          ok = ftp_->UpLoad();
        }
        EXPECT_TRUE(ok) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
        const auto expected = pattern ? std::vector<std::string>{"a.txt"}
                                      : std::vector<std::string>{"a.txt", "sub/d.txt"};
        EXPECT_EQ(FilesBelow(arrived), expected);
        EXPECT_EQ(ftp_->SkippedFileCount(), pattern ? 1 : 2) << ftp_->SkippedFiles();
        EXPECT_NE(ftp_->SkippedFiles().find("b.csv"), std::string::npos) << ftp_->SkippedFiles();
      }
    }
  }
  // Files the host names itself refuse the job before anything moves.
  ftp_->FileTypeAllow("");
  ftp_->FileTypeForbid("csv");
  ftp_->RemotePath("/pub/tree/a.txt|/pub/tree/b.csv");
  ftp_->LocalPath((dir_ / "named").string() + "/");
  EXPECT_FALSE(ftp_->DownLoad());
  EXPECT_EQ(ftp_->ErrorNumber(), 20022);
  EXPECT_EQ(FilesBelow(dir_ / "named"), std::vector<std::string>{});
  ftp_->LocalPath((dir_ / "tree" / "a.txt").string() + "|" + (dir_ / "tree" / "b.csv").string());
  ftp_->RemotePath("/pub/named/");
  EXPECT_FALSE(ftp_->UpLoad());
  EXPECT_EQ(ftp_->ErrorNumber(), 20022);
  EXPECT_EQ(FilesBelow(server().root() / "pub" / "named"), std::vector<std::string>{});
}

}  // namespace
}  // namespace quorvi::test
