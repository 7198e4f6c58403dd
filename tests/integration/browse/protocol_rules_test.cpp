// Rules that must hold whatever a server's habits: on a server without chroot every absolute
// path, "/" included, lies below the login folder; a recursive removal decides by the folder's
// listing, not by how the refusal of RMD is worded; a listing ended by "200" does not wait out
// the time-out.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

void Put(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

fs::path Scratch(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() / ("quorvi-rules-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// The login folder is ROOT/home/ftptest and PWD says "/home/ftptest"; the rest of ROOT is
// visible, so a path that misses the prefix, or gets it twice, lands elsewhere or nowhere.
QUORVI_SERVER_SUITE(NoChroot, ServerKind::FaultFtpd, {"--no-chroot"});

TEST_F(NoChroot, EveryAbsolutePathIsBelowTheLoginFolder) {
  const fs::path home = server().root() / "home" / "ftptest";
  const fs::path local = Scratch("nochroot");
  Put(local / "up.txt", "uploaded");
  struct Step {
    const char* name;
    std::function<bool(FtpLibrary&)> run;
  };
  const Step steps[] = {
      {"ls /", [](FtpLibrary& f) {
         const auto files = f.GetFtpDirectoryInfo("/");
         return files && Names(*files) == std::vector<std::string>{"x/"};
       }},
      {"isdir /x", [](FtpLibrary& f) { return f.ExistDirectory("/x"); }},
      {"isdir /x/in", [](FtpLibrary& f) { return f.ExistDirectory("/x/in"); }},
      {"nested mkdir", [&](FtpLibrary& f) {
         return f.CreateDirectory("/x/in/new/deep", true) && fs::is_directory(home / "x/in/new/deep");
       }},
      {"mkdir of an existing folder", [](FtpLibrary& f) { return f.CreateDirectory("/x/in", false); }},
      {"upload into an existing folder", [&](FtpLibrary& f) {
         return f.UpLoadFile((local / "up.txt").string(), "/x/in/up.txt") &&
                ReadAll(home / "x/in/up.txt") == "uploaded";
       }},
      {"cd and pwd", [](FtpLibrary& f) {
         return f.SetCurrentDirectory("/x") && f.GetCurrentDirectory() == "/x" &&
                f.SetCurrentDirectory("/") && f.GetCurrentDirectory() == "/";
       }},
      {"tree download", [&](FtpLibrary& f) {
         f.RemotePath("/x/");
         f.LocalPath((local / "down").string() + "/");
         return f.DownLoad() && ReadAll(local / "down/in/a.txt") == "a" &&
                ReadAll(local / "down/in/up.txt") == "uploaded" && fs::is_directory(local / "down/in/new/deep");
       }},
      {"rmdir", [&](FtpLibrary& f) { return f.RemoveDirectory("/x") && !fs::exists(home / "x"); }},
  };
  for (const bool mlsd : {false, true}) {
    Put(home / "x/in/a.txt", "a");
    Put(server().root() / "elsewhere.txt", "outside the login folder");
    auto ftp = UserClient(server());
    ftp->ListDirByMLSD(mlsd);
    ftp->ReplaceSetting(1);
    for (const Step& step : steps) {
      SCOPED_TRACE(std::string(step.name) + (mlsd ? " (MLSD)" : " (LIST)"));
      EXPECT_TRUE(step.run(*ftp)) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    }
    EXPECT_TRUE(fs::exists(server().root() / "elsewhere.txt"));
    EXPECT_FALSE(fs::exists(home / "home"));  // nothing under a doubled prefix
    fs::remove_all(local / "down");
  }
  fs::remove_all(local);
}

// RMD of a folder that still has entries, answered in the wordings real servers use.
TEST(RemovalByListing, ATreeGoesWhateverTheRefusalSays) {
  const char* wordings[] = {
      "550 Requested action not taken: internal server error",
      "550 Delete operation failed",
      "451 file system error",
  };
  for (const char* wording : wordings) {
    SCOPED_TRACE(wording);
    const StartOutcome started = StartServer({ServerKind::FaultFtpd, {"--rmd-nonempty", wording}});
    if (!started.server && started.missing && !RunningUnderCi()) GTEST_SKIP() << started.problem;
    ASSERT_TRUE(started.server) << started.problem;
    const fs::path tree = started.server->root() / "pub" / "tree";
    Put(tree / "a.txt", "a");
    Put(tree / "sub" / "b.txt", "b");
    Put(tree / "sub" / "deeper" / "c.txt", "c");
    fs::create_directories(tree / "empty");
    auto ftp = UserClient(*started.server);
    EXPECT_TRUE(ftp->RemoveDirectory("/pub/tree")) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
    EXPECT_FALSE(fs::exists(tree));
    // A refused folder without entries stays refused, with the server's words.
    EXPECT_FALSE(ftp->RemoveDirectory("/pub/missing"));
    EXPECT_NE(ftp->ErrorNumber(), 0);
  }
}

}  // namespace
}  // namespace quorvi::test
