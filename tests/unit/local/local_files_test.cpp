// CFile and FtpLibrary's local methods on a temporary folder.
#include <gtest/gtest.h>
#include <quorvi/ftp_library.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "component/thread_shared.h"
#include "local/cfile.h"

namespace quorvi::detail {
namespace {

namespace fs = std::filesystem;

class LocalFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() / ("quorvi-local-" + std::to_string(::getpid()));
    fs::remove_all(root_);
    fs::create_directories(root_);
  }
  void TearDown() override {
    std::error_code ec;
    fs::permissions(root_ / "ro.txt", fs::perms::owner_all, ec);
    fs::remove_all(root_, ec);
  }
  std::string At(const std::string& name) const { return (root_ / name).string(); }
  static std::string Content(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  static void Put(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  static bool HasWriteBits(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && (st.st_mode & 0222) != 0;
  }

  FtpLibrary lib_;  // also holds the thread's shared objects
  fs::path root_;
};

TEST_F(LocalFiles, CreateFolderBuildsTheChainAndReportsFailures) {
  std::string deep = At("x") + "//y\\b//z/";
  EXPECT_TRUE(CFile::CreateFolder(deep));
  EXPECT_EQ(deep, At("x/y\\b/z"));  // written back normalised, without the trailing "/"
  EXPECT_TRUE(fs::is_directory(At("x/y\\b/z")));  // the backslash is part of a name
  EXPECT_TRUE(CFile::CreateFolder(deep));  // existing: nothing to do

  CError& error = ThreadShared::Current()->Error();
  Put(At("file"), "");
  const std::pair<std::string, std::int32_t> failures[] = {
      {"x/y", 20011}, {"", 11111}, {At("file/sub"), 11111}};
  for (auto [path, number] : failures) {
    error.Clear();
    EXPECT_FALSE(CFile::CreateFolder(path)) << path;
    EXPECT_EQ(error.Number(), number) << path;
    EXPECT_EQ(error.Source(), "CreateFolder");
  }
  EXPECT_FALSE(fs::exists("x/y"));
}

TEST_F(LocalFiles, ExistenceAndAttributes) {
  Put(At("a.txt"), "x");
  Put(At(".hidden"), "x");
  fs::create_directory(At("dir"));
  EXPECT_TRUE(CFile::FileExists(At("a.txt")));
  EXPECT_TRUE(CFile::FileExists(" " + At(".hidden") + " "));
  EXPECT_FALSE(CFile::FileExists(At("dir")));
  EXPECT_TRUE(CFile::FolderExists(At("dir") + "/"));

  EXPECT_EQ(CFile::GetFileAttrib(At("a.txt")), CFile::kArchive);
  EXPECT_EQ(CFile::GetFileAttrib(At(".hidden")), CFile::kArchive | CFile::kHidden);
  EXPECT_EQ(CFile::GetFileAttrib(At("dir")), CFile::kDirectory);
  EXPECT_EQ(CFile::GetFileAttrib(At("none")), 0);
  fs::permissions(At("a.txt"), fs::perms::owner_read);
  EXPECT_EQ(CFile::GetFileAttrib(At("a.txt")), CFile::kArchive | CFile::kReadOnly);
}

TEST_F(LocalFiles, WriteAndReadLines) {
  const std::string path = At("ro.txt");
  EXPECT_TRUE(lib_.WriteLocalFile(path, "first"));
  fs::permissions(path, fs::perms::owner_read);
  // Mode bits are checked (tests may run as root, where writing would succeed anyway).
  EXPECT_TRUE(lib_.WriteLocalFile(path, "second"));
  EXPECT_FALSE(HasWriteBits(path));
  EXPECT_EQ(Content(path), "first\r\nsecond\r\n");
  EXPECT_TRUE(CFile::WriteFile(path, "only", true));
  EXPECT_EQ(Content(path), "only\r\n");
  EXPECT_FALSE(HasWriteBits(path));

  Put(At("mixed.txt"), "one\r\ntwo\rthree\nfour\r\n");
  EXPECT_EQ(lib_.ReadLocalFile(At("mixed.txt")), "one\r\ntwo\r\nthree\r\nfour");
  EXPECT_EQ(CFile::ReadFile(At("mixed.txt"), 3), "three");
  EXPECT_EQ(CFile::ReadFile(At("mixed.txt"), 5), "");
  EXPECT_EQ(lib_.ReadLocalFile(At("missing.txt")), "");

  EXPECT_FALSE(lib_.WriteLocalFile("relative.txt", "x"));  // refused, nothing created
  EXPECT_FALSE(fs::exists("relative.txt"));
  EXPECT_TRUE(lib_.WriteLocalFile(At("new/sub/n.txt"), "n"));  // missing folders are created
}

TEST_F(LocalFiles, IniFileRoundTrip) {
  const std::string ini = At("s.ini");
  EXPECT_TRUE(CFile::IniWrite(ini, "Main", "Host", "h1"));
  EXPECT_TRUE(CFile::IniWrite(ini, "Extra", "k", "v"));
  EXPECT_TRUE(CFile::IniWrite(ini, "main", "host", "h2"));
  EXPECT_TRUE(CFile::IniWrite(ini, "Main", "Port", "21"));
  EXPECT_EQ(Content(ini), "[Main]\r\nHost=h2\r\nPort=21\r\n[Extra]\r\nk=v\r\n");
  EXPECT_EQ(CFile::IniRead(ini, "MAIN", "host"), "h2");
  EXPECT_EQ(CFile::IniRead(ini, "Main", "Host", 2), "h");  // Size counts the terminator
  EXPECT_EQ(CFile::IniRead(ini, "Main", "none"), "");
  EXPECT_TRUE(CFile::IniExistSection(ini, "Extra"));
  EXPECT_EQ(CFile::IniReadSection(ini), (std::vector<std::string>{"Main", "Extra"}));

  EXPECT_TRUE(CFile::IniDeleteSection(ini, "Main"));
  EXPECT_EQ(Content(ini), "[Extra]\r\nk=v\r\n");
  EXPECT_FALSE(CFile::IniDeleteSection(ini, "Main"));
  EXPECT_FALSE(CFile::IniExistSection(ini, "Main"));
}

TEST_F(LocalFiles, SizesAndDates) {
  Put(At("five.bin"), "12345");
  EXPECT_EQ(lib_.GetLocalFileSize(At("five.bin")), 5);
  EXPECT_EQ(lib_.GetLocalFileSize(At("none.bin")), -1);
  EXPECT_EQ(lib_.GetLocalFileSize(At("")), -1);  // the folder is no file

  // A socket node exists but cannot be opened, for root too.
  const std::string sock_path = At("s.sock");
  const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  ASSERT_LT(sock_path.size(), sizeof addr.sun_path);
  sock_path.copy(addr.sun_path, sock_path.size());
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  EXPECT_EQ(lib_.GetLocalFileSize(sock_path), -2);
  EXPECT_EQ(lib_.ErrorNumber(), ENXIO);  // recorded in the component's own error object
  ::close(fd);

  EXPECT_TRUE(std::regex_match(lib_.GetLocalFileDate(At("five.bin")),
                               std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)")));
  EXPECT_EQ(lib_.GetLocalFileDate(At("none.bin")), "");
}

TEST_F(LocalFiles, CreateAndDeleteFiles) {
  Put(At("keep.txt"), "data");
  EXPECT_FALSE(lib_.CreateLocalFile(At("keep.txt")));
  EXPECT_EQ(Content(At("keep.txt")), "data");
  EXPECT_TRUE(lib_.CreateLocalFile(At("p/q/empty.txt")));
  EXPECT_EQ(Content(At("p/q/empty.txt")), "");
  EXPECT_FALSE(lib_.CreateLocalFile("rel/empty.txt"));
  EXPECT_EQ(lib_.ErrorNumber(), 20011);

  Put(At("d1.log"), "");
  Put(At("d2.log"), "");
  fs::create_directory(At("d3.log"));
  EXPECT_TRUE(lib_.DeleteLocalFile(At("d?.log")));
  EXPECT_FALSE(fs::exists(At("d1.log")) || fs::exists(At("d2.log")));
  EXPECT_TRUE(fs::is_directory(At("d3.log")));  // patterns delete files only
  EXPECT_FALSE(lib_.DeleteLocalFile(At("*.none")));
  EXPECT_EQ(lib_.ErrorNumber(), ENOENT);

  Put(At("ro.txt"), "");
  fs::permissions(At("ro.txt"), fs::perms::owner_read);
  EXPECT_FALSE(lib_.DeleteLocalFile(At("ro.txt")));  // read-only files are kept
  EXPECT_TRUE(fs::exists(At("ro.txt")));
  EXPECT_TRUE(lib_.DeleteLocalFile(At("keep.txt")));
}

}  // namespace
}  // namespace quorvi::detail
