// qftp --parallel: trees both ways on several sessions, byte for byte; a server that allows
// fewer sessions than asked; a clash without --replace fails that file only.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "script_runner.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

QUORVI_SERVER_SUITE(QftpParallel, ServerKind::Vsftpd);
// vsftpd refuses a third session from one address ("421 There are too many connections").
QUORVI_SERVER_SUITE(QftpTwoSessionsOnly, ServerKind::Vsftpd, {"-omax_per_ip=2"});

ScriptResult Qftp(const TestServer& s, const std::vector<std::string>& args) {
  std::vector<std::string> argv = {std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp", "-q", "-H",
                                   s.host(), "-P", std::to_string(s.port()), "-u", s.user(),
                                   "-p", s.password()};
  argv.insert(argv.end(), args.begin(), args.end());
  return RunScript(argv, {}, std::chrono::seconds(120));
}

// Folders with files, an empty folder and names that need care.
void MakeTree(const TestServer& server, const std::string& under) {
  for (int d = 0; d < 3; ++d) {
    for (int f = 0; f < 7; ++f) {
      server.WriteFile(under + "/d" + std::to_string(d) + "/f " + std::to_string(f) + ".bin",
                       Pattern(3000 + 500 * f, d * 10 + f));
    }
  }
  server.WriteFile(under + "/top -dash?.txt", "top");
  fs::create_directories(server.root() / under / "empty");
}

std::string Differences(const fs::path& a, const fs::path& b) {
  std::string out;
  for (const auto& e : fs::recursive_directory_iterator(a)) {
    const fs::path other = b / fs::relative(e.path(), a);
    if (!fs::exists(other)) out += "missing " + other.string() + "\n";
    else if (e.is_regular_file() && ReadAll(e.path()) != ReadAll(other)) out += "differs " + other.string() + "\n";
  }
  for (const auto& e : fs::recursive_directory_iterator(b)) {
    if (!fs::exists(a / fs::relative(e.path(), b))) out += "extra " + e.path().string() + "\n";
  }
  return out;
}

TEST_F(QftpParallel, TreesBothWaysOnThreeSessions) {
  MakeTree(server(), "pub/ptree");
  const fs::path local = server().state_dir().parent_path() / "parallel-down";
  fs::remove_all(local);
  const auto down = Qftp(server(), {"--parallel", "3", "download", "/pub/ptree/", local.string() + "/"});
  EXPECT_EQ(down.exit_code, 0) << down.err;
  EXPECT_EQ(Differences(server().root() / "pub/ptree", local), "");
  EXPECT_GE(Count(ReadAll(server().log_path()), "OK LOGIN"), 3u);

  const auto up = Qftp(server(), {"--parallel", "3", "--replace", "overwrite", "upload",
                                  local.string() + "/", "/pub/pcopy/"});
  EXPECT_EQ(up.exit_code, 0) << up.err;
  EXPECT_EQ(Differences(local, server().root() / "pub/pcopy"), "");
}

TEST_F(QftpParallel, AClashWithoutAChoiceFailsThatFileOnly) {
  MakeTree(server(), "pub/pclash");
  const fs::path local = server().state_dir().parent_path() / "parallel-clash";
  fs::remove_all(local);
  fs::create_directories(local / "d1");
  std::ofstream(local / "d1" / "f 3.bin") << "mine";
  const auto run = Qftp(server(), {"--parallel", "2", "download", "/pub/pclash/", local.string() + "/"});
  EXPECT_EQ(run.exit_code, 1) << run.err;
  EXPECT_EQ(ReadAll(local / "d1" / "f 3.bin"), "mine");
  EXPECT_NE(run.err.find("f 3.bin"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("--replace"), std::string::npos) << run.err;
  EXPECT_EQ(ReadAll(local / "d2" / "f 3.bin"), Pattern(4500, 23));
}

TEST_F(QftpTwoSessionsOnly, FewerSessionsThanAskedStillFinish) {
  MakeTree(server(), "pub/plimit");
  const fs::path local = server().state_dir().parent_path() / "parallel-limit";
  fs::remove_all(local);
  const auto run = Qftp(server(), {"--parallel", "4", "download", "/pub/plimit/", local.string() + "/"});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.err.find("one session fewer"), std::string::npos) << run.err;
  EXPECT_EQ(Differences(server().root() / "pub/plimit", local), "");
}

}  // namespace
}  // namespace quorvi::test
