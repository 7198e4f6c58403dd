// The example scripts of examples/scripts/, run by `qftp script` against real servers as their
// headers tell a user to: the connection from qftp's options, the paths from the environment.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "script_runner.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;
using Env = std::vector<std::pair<std::string, std::string>>;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool Has(const std::string& out, const std::string& text) {
  return out.find(text) != std::string::npos;
}

// A fresh local folder next to the server's own, removed with it after the suite.
fs::path LocalFolder(const TestServer& server, const std::string& name) {
  const fs::path path = server.state_dir().parent_path() / name;
  fs::create_directories(path);
  return path;
}

// Runs qftp [options] script examples/scripts/NAME with extra environment variables.
ScriptResult RunExample(const std::string& name, std::vector<std::string> options, const Env& env) {
  std::vector<std::string> argv = {std::string(QUORVI_BINARY_DIR) + "/tools/qftp/qftp"};
  argv.insert(argv.end(), options.begin(), options.end());
  argv.push_back("script");
  argv.push_back(std::string(QUORVI_SOURCE_DIR) + "/examples/scripts/" + name);
  return RunScript(argv, env, std::chrono::seconds(60));
}

std::vector<std::string> LoginOptions(const TestServer& s) {
  return {"-H", s.host(), "-P", std::to_string(s.port()), "-u", s.user(), "-p", s.password()};
}

QUORVI_SERVER_SUITE(ScriptOnVsftpd, ServerKind::Vsftpd);

TEST_F(ScriptOnVsftpd, DownloadsATreeWithProgressLines) {
  const std::string big = Pattern(3 * 1024 * 1024 + 17);
  server().WriteFile("pub/tree/a.txt", "alpha\n");
  server().WriteFile("pub/tree/sub/b.bin", big);
  server().WriteFile("pub/tree/sub/deeper/c.txt", "gamma\n");
  const fs::path copy = LocalFolder(server(), "copy");

  const auto run = RunExample("download_tree.qftp", LoginOptions(server()),
                              {{"REMOTE_DIR", "/pub/tree/"}, {"LOCAL_DIR", copy.string() + "/"}});
  ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
  EXPECT_EQ(run.err, "");
  const auto lines = Lines(run.out);
  EXPECT_TRUE(Has(run.out, "\nTrue\n")) << run.out;  // DownLoad's result
  EXPECT_TRUE(Has(run.out, "OnTransfer QueueIndex=")) << run.out;
  EXPECT_TRUE(Has(run.out, "Percent=100 TransferSize=3145745 FileSize=3145745")) << run.out;
  EXPECT_FALSE(Has(run.out, "OnError")) << run.out;
  const std::string transferred = lines.size() >= 2 ? lines[lines.size() - 2] : "";
  for (const char* path : {"/pub/tree/a.txt", "/pub/tree/sub/b.bin", "/pub/tree/sub/deeper/c.txt"})
    EXPECT_NE(transferred.find(path), std::string::npos) << transferred;

  EXPECT_EQ(ReadAll(copy / "a.txt"), "alpha\n");
  EXPECT_EQ(ReadAll(copy / "sub/b.bin"), big);
  EXPECT_EQ(ReadAll(copy / "sub/deeper/c.txt"), "gamma\n");
}

TEST_F(ScriptOnVsftpd, UploadTakesTheFileQueuedFromOnTransfer) {
  const fs::path outbox = LocalFolder(server(), "outbox");
  const std::string first = Pattern(4 * 1024 * 1024);
  std::ofstream(outbox / "first.bin", std::ios::binary) << first;
  std::ofstream(outbox / "queued.txt") << "queued while uploading\n";

  const auto run = RunExample("upload_queue.qftp", LoginOptions(server()),
                              {{"LOCAL_DIR", outbox.string()}, {"REMOTE_DIR", "/pub/inbox/"}});
  ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
  const auto lines = Lines(run.out);
  ASSERT_GE(lines.size(), 4u) << run.out;
  EXPECT_EQ(lines[0], "True") << run.out;  // UpLoad, the queue pass included
  EXPECT_EQ(lines[1], "2");                // QueueTotal counts the appended file
  EXPECT_EQ(lines[2], (outbox / "first.bin").string() + "|" + (outbox / "queued.txt").string());
  EXPECT_EQ(ReadAll(server().root() / "pub/inbox/first.bin"), first);
  // The queued file went where the engine says it went.
  const std::string remote = lines[3].substr(lines[3].find('|') + 1);
  ASSERT_NE(remote.find("queued.txt"), std::string::npos) << lines[3];
  EXPECT_EQ(ReadAll(server().root() / remote.substr(1)), "queued while uploading\n");
}

QUORVI_SERVER_SUITE(ScriptOnNginx, ServerKind::Nginx);

TEST_F(ScriptOnNginx, DownloadsOverHttpWithoutAnFtpLogin) {
  const std::string body = Pattern(512 * 1024 + 3);
  server().WriteFile("files/report.bin", body);
  const fs::path downloads = LocalFolder(server(), "downloads");
  const std::string url =
      "http://" + server().host() + ":" + std::to_string(server().port()) + "/files/report.bin";

  const auto run = RunExample("http_download.qftp", {},
                              {{"URL", url}, {"LOCAL_DIR", downloads.string() + "/"}});
  ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
  const auto lines = Lines(run.out);
  ASSERT_GE(lines.size(), 2u) << run.out;
  EXPECT_TRUE(Has(run.out, "OnTransfer Percent=")) << run.out;
  EXPECT_EQ(lines[lines.size() - 2], "True");  // DownloadHttpFile
  EXPECT_EQ(lines.back(), "0");                // ErrorNumber
  EXPECT_EQ(ReadAll(downloads / "report.bin"), body);
}

}  // namespace
}  // namespace quorvi::test
