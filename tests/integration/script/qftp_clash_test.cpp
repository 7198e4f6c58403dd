// qftp run from a script (no terminal to ask): a name clash never resumes, keeps or overwrites
// on its own. The clashing file fails with a message naming --replace, the others are still
// transferred, and an explicit --replace does what it says.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "script_runner.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

QUORVI_SERVER_SUITE(QftpClash, ServerKind::Vsftpd);

ScriptResult Qftp(const TestServer& s, std::vector<std::string> args, bool quiet = true) {
  std::vector<std::string> argv = {std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp", "-H",
                                   s.host(), "-P", std::to_string(s.port()), "-u", s.user(),
                                   "-p", s.password()};
  if (quiet) argv.push_back("-q");
  argv.insert(argv.end(), args.begin(), args.end());
  return RunScript(argv, {}, std::chrono::seconds(60));
}

TEST_F(QftpClash, WithoutAChoiceAClashFailsThatFileOnly) {
  const std::string remote = Pattern(5000, 7);
  const std::string stale(1000000, '\0');
  struct Case {
    const char* name;
    std::vector<std::string> replace;  // the --replace option, if any
    int exit_code;
    std::string local_after;
  };
  const Case cases[] = {
      {"no choice", {}, 1, stale},
      {"overwrite", {"--replace", "overwrite"}, 0, remote},
      {"skip", {"--replace", "skip"}, 0, stale},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const fs::path local = server().state_dir().parent_path() / (std::string("clash-") + c.name);
    fs::remove_all(local);
    fs::create_directories(local);
    std::ofstream(local / "five.bin", std::ios::binary) << stale;
    server().WriteFile("pub/clash/five.bin", remote);
    server().WriteFile("pub/clash/other.txt", "other");
    std::vector<std::string> args = c.replace;
    args.insert(args.end(), {"download", "/pub/clash/", local.string() + "/"});
    const auto run = Qftp(server(), args);
    EXPECT_EQ(run.exit_code, c.exit_code) << run.err;
    EXPECT_EQ(ReadAll(local / "five.bin"), c.local_after);
    EXPECT_EQ(ReadAll(local / "other.txt"), "other");  // the rest of the job still ran
    if (c.exit_code != 0) {
      EXPECT_NE(run.err.find("five.bin"), std::string::npos) << run.err;
      EXPECT_NE(run.err.find("--replace overwrite|resume|skip|rename"), std::string::npos) << run.err;
    }
  }
}

TEST_F(QftpClash, UploadsRefuseAClashWithoutAChoiceToo) {
  const fs::path local = server().state_dir().parent_path() / "clash-up";
  fs::create_directories(local);
  std::ofstream(local / "up.txt", std::ios::binary) << "new contents";
  server().WriteFile("pub/up.txt", "old remote file, longer than the new one");
  const auto run = Qftp(server(), {"upload", (local / "up.txt").string(), "/pub/"});
  EXPECT_EQ(run.exit_code, 1) << run.err;
  EXPECT_EQ(ReadAll(server().root() / "pub/up.txt"), "old remote file, longer than the new one");
  EXPECT_NE(run.err.find("--replace"), std::string::npos) << run.err;
}

// The summary counts what moved: a resume of 3 of 5 MiB says 3 MiB, a skipped file nothing,
// and names holding "|" are counted as one file each.
TEST_F(QftpClash, TheSummaryCountsWhatMoved) {
  const std::string remote = Pattern(5 << 20, 9);
  const fs::path local = server().state_dir().parent_path() / "summary";
  fs::remove_all(local);
  fs::create_directories(local);
  std::ofstream(local / "big.bin", std::ios::binary) << remote.substr(0, 2 << 20);
  std::ofstream(local / "kept|one.txt", std::ios::binary) << "kept";
  server().WriteFile("pub/summary/big.bin", remote);
  server().WriteFile("pub/summary/kept|one.txt", "remote");
  server().WriteFile("pub/summary/new|two.txt", "two");
  struct Case {
    const char* replace;
    const char* summary;
  };
  for (const Case& c : {Case{"resume", "3 files transferred, 0 skipped, 0 aborted, 3.0 MiB"},
                        Case{"skip", "1 file transferred, 2 skipped, 0 aborted, 3 B"}}) {
    SCOPED_TRACE(c.replace);
    fs::remove(local / "new|two.txt");
    std::ofstream(local / "big.bin", std::ios::binary) << remote.substr(0, 2 << 20);
    const auto run = Qftp(server(), {"--replace", c.replace, "download", "/pub/summary/",
                                     local.string() + "/"}, false);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_NE(run.err.find(c.summary), std::string::npos) << run.err;
  }
  EXPECT_EQ(ReadAll(local / "new|two.txt"), "two");
}

}  // namespace
}  // namespace quorvi::test
