// qftp ls tells a missing folder (exit 1, the error on stderr) from an empty one (exit 0,
// nothing printed), so a typo in a script never reads as an empty folder.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "script_runner.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

QUORVI_SERVER_SUITE(QftpListing, ServerKind::Vsftpd);

TEST_F(QftpListing, AMissingFolderFailsAndAnEmptyOneDoesNot) {
  std::filesystem::create_directories(server().root() / "empty");
  server().WriteFile("full/a.txt", "a");
  struct Case {
    const char* folder;
    int exit_code;
    const char* out;  // a part of stdout ("" = nothing at all)
    const char* err;  // a part of stderr
  };
  for (const Case& c : {Case{"/nope", 1, "", "20008"}, Case{"/empty", 0, "", ""},
                        Case{"/full", 0, "a.txt", ""}}) {
    SCOPED_TRACE(c.folder);
    const std::vector<std::string> argv = {
        std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp", "-q", "-H", server().host(), "-P",
        std::to_string(server().port()), "-u", server().user(), "-p", server().password(), "ls",
        c.folder};
    const auto run = RunScript(argv, {}, std::chrono::seconds(30));
    EXPECT_EQ(run.exit_code, c.exit_code) << run.err;
    if (*c.out == '\0') EXPECT_EQ(run.out, "");
    else EXPECT_NE(run.out.find(c.out), std::string::npos) << run.out;
    EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
  }
}

// A server that ends MLSD with "200" and refuses QUIT with 502: the listing is taken at once,
// -v shows the MLSD that went out, and QUIT goes out once.
QUORVI_SERVER_SUITE(QftpOddServer, ServerKind::FaultFtpd,
                    {"--fault", "mlsd_200", "--reply", "QUIT=502 Command not implemented."});

TEST_F(QftpOddServer, VerboseShowsTheWireAndNothingWaits) {
  server().WriteFile("pub/a.txt", "a");
  const std::vector<std::string> argv = {
      std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp", "-v", "--mlsd", "-H", server().host(),
      "-P", std::to_string(server().port()), "-u", server().user(), "-p", server().password(),
      "ls", "/pub"};
  const auto start = std::chrono::steady_clock::now();
  const auto run = RunScript(argv, {}, std::chrono::seconds(60));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.out.find("a.txt"), std::string::npos) << run.out;
  EXPECT_NE(run.err.find("-> MLSD"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find("-> LIST"), std::string::npos) << run.err;
  EXPECT_EQ(Count(run.err, "-> QUIT"), 1u) << run.err;
}

}  // namespace
}  // namespace quorvi::test
