// The public members over the walker, the lists and the formatters.
#include <gtest/gtest.h>
#include <quorvi/ftp_library.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

TEST(LibraryMembers, NormaliseCountAndHideWalkErrors) {
  const fs::path dir = fs::temp_directory_path() / ("quorvi_members_" + std::to_string(::getpid()));
  fs::create_directories(dir / "x");
  std::ofstream(dir / "x/a.txt") << "abc";
  quorvi::FtpLibrary lib;
  EXPECT_EQ(lib.GetFolderFilePath(dir.string() + "/missing"), "");
  EXPECT_EQ(lib.GetFolderFilePath(dir.string() + "\\x", true, 0), dir.string() + "/x/a.txt");
  EXPECT_EQ(lib.GetLocalFolderSize(dir.string()), 3);
  lib.AppendTransferList(dir.string() + "//x/");  // a folder item counts its files
  lib.AppendTransferList(dir.string() + "/x/a.txt");
  EXPECT_EQ(lib.QueueTotal(), 2);
  lib.RemoveTransferList(" " + dir.string() + "\\y ");
  EXPECT_EQ(lib.CanceledFileList(), dir.string() + "/y");
  EXPECT_EQ(lib.FormatFileSize(1572864), "1.5 MB");
  fs::remove_all(dir);
}
