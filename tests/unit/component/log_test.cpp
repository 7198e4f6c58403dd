// The log file: location, line format, header, trimming and the switches that suppress lines.
#include <gtest/gtest.h>
#include <quorvi/ftp_library.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include <stdlib.h>
#include <unistd.h>

#include "component/core.h"

namespace quorvi {
namespace {

namespace fs = std::filesystem;

const std::string kStamp = R"(  \{\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\}\r\n)";
const std::string kHeader = "-------------------QuorviFtp ActiveX Control V4\\.5\\.10---------------";

// The component's "Windows folder" is a fresh temporary folder for each test.
class LogFile : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(root());
    fs::create_directories(root());
    setenv("QUORVI_WINDOWS_DIR", root().c_str(), 1);
  }
  void TearDown() override {
    unsetenv("QUORVI_WINDOWS_DIR");
    fs::remove_all(root());
  }
  static fs::path root() {
    return fs::temp_directory_path() / ("quorvi-windows-" + std::to_string(getpid()));
  }
  static fs::path LogPath() { return root() / "system" / "talvex.dat"; }
  static std::string ReadLog() {
    std::ostringstream text;
    text << std::ifstream(LogPath(), std::ios::binary).rdbuf();
    return text.str();
  }
};

TEST_F(LogFile, EnablingWritesTheHeaderAndErrorsFollow) {
  FtpLibrary lib;
  EXPECT_EQ(lib.core().error().LogFilePath(), LogPath().string());
  EXPECT_FALSE(fs::exists(LogPath()));  // off by default
  lib.EnableLog(true);
  lib.core().ReportError("GetFtpFileSize", 20061, detail::GetErrorText(20061));
  FtpLibrary second;  // a later component writes its header to the same log
  lib.Text("too|few");  // the headless message box goes to the log
  EXPECT_TRUE(std::regex_match(
      ReadLog(),
      std::regex(kHeader + kStamp +
                 R"(FtpLibrary\.GetFtpFileSize\|Data Socket Error: Connection failed\(20061\))" +
                 kStamp + kHeader + kStamp +
                 R"(MessageBox:QuorviFtp\|Invalid value for 'Text' Property)" + kStamp)))
      << ReadLog();
}

TEST_F(LogFile, NoLineWhenDisabledOrFolderMissing) {
  {
    FtpLibrary lib;
    lib.core().ReportError("DeleteFile", 20005, "");
    EXPECT_FALSE(fs::exists(LogPath()));
    lib.EnableLog(true);
    lib.EnableLog(false);
    const auto before = ReadLog();
    lib.core().ReportError("DeleteFile", 20005, "");
    FtpLibrary later;
    EXPECT_EQ(ReadLog(), before);
  }
  FtpLibrary lib;
  lib.EnableLog(true);
  fs::remove_all(root() / "system");
  lib.core().ReportError("DeleteFile", 20005, "");
  EXPECT_FALSE(fs::exists(root() / "system"));  // not created at log time
  EXPECT_EQ(lib.ErrorNumber(), 20005);              // the error is still recorded
}

TEST_F(LogFile, LargeLogIsDeletedAtCreation) {
  fs::create_directories(LogPath().parent_path());
  for (std::uintmax_t size : {204800u, 204801u}) {
    {
      std::ofstream(LogPath(), std::ios::binary) << std::string(size, 'x');
    }
    FtpLibrary lib;
    EXPECT_EQ(fs::exists(LogPath()), size == 204800u) << size;
  }
}

}  // namespace
}  // namespace quorvi
