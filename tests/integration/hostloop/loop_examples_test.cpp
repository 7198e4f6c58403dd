// The GLib, Qt and Asio examples, each a real host loop driving the component: keep-alive while
// the host idles, a server's idle close noticed at once, and the host's own 10 ms timer kept
// during a 1 GiB download. All three run side by side against one server.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

// vsftpd ends a session quiet for 40 s; the keep-alive (at least every 30 s) must outlive that.
QUORVI_SERVER_SUITE(LoopExamples, ServerKind::Vsftpd, {"-oidle_session_timeout=40"});

const char* const kLoops[] = {"loop_glib", "loop_qt", "loop_asio"};

fs::path ExamplePath(const std::string& name) {
  return fs::path(QUORVI_BINARY_DIR) / "examples" / "loops" / name;
}

// A running example whose output is read when it ends.
struct Run {
  std::string loop;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe{nullptr, pclose};
  std::string output;
  int status = -1;
};

// Starts the examples that were built (all of them under CI) with the job's arguments.
std::vector<Run> Start(const TestServer& server, const std::string& job,
                       const std::vector<std::string>& loops = {std::begin(kLoops), std::end(kLoops)}) {
  std::vector<Run> runs;
  for (const auto& loop : loops) {
    if (!fs::exists(ExamplePath(loop))) {
      if (RunningUnderCi()) ADD_FAILURE() << loop << " was not built";
      continue;
    }
    const std::string command = ExamplePath(loop).string() + " " + server.host() + " " +
                                std::to_string(server.port()) + " " + server.user() + " " +
                                server.password() + " " + job + " 2>&1";
    Run run;
    run.loop = loop;
    run.pipe.reset(popen(command.c_str(), "r"));
    runs.push_back(std::move(run));
  }
  return runs;
}

void FinishAll(std::vector<Run>& runs) {
  for (auto& run : runs) {
    char buffer[4096];
    while (std::size_t n = fread(buffer, 1, sizeof buffer, run.pipe.get())) run.output.append(buffer, n);
    run.status = pclose(run.pipe.release());
  }
}

double Number(const std::string& text, const std::string& pattern) {
  std::smatch m;
  return std::regex_search(text, m, std::regex(pattern)) ? std::stod(m[1]) : -1;
}

TEST_F(LoopExamples, KeepAliveRunsAndAnIdleCloseIsNoticedWhileTheHostIdles) {
  // Three keep-alive intervals (30 s, and the 2 s ticks that notice it has passed: 32 to 34 s); the
  // idle-close jobs wait out the server's 40 s meanwhile.
  auto idle = Start(server(), "idle 110");
  auto close = Start(server(), "idle-close");
  FinishAll(idle);
  FinishAll(close);
  for (const auto& run : idle) {
    SCOPED_TRACE(run.loop + ":\n" + run.output);
    EXPECT_EQ(run.status, 0);
    EXPECT_GE(Count(run.output, "] NOOP"), 3u);
    EXPECT_GE(Count(run.output, "] 200 "), 3u);
    EXPECT_NE(run.output.find("still connected after 110 s idle: yes"), std::string::npos);
  }
  for (const auto& run : close) {
    SCOPED_TRACE(run.loop + ":\n" + run.output);
    EXPECT_EQ(run.status, 0);
    const double noticed = Number(run.output, R"(noticed after ([0-9.]+) s idle)");
    EXPECT_GE(noticed, 39.0);  // counted from the end of Connect, the server from its last reply
    EXPECT_LT(noticed, 41.0);
  }
}

TEST_F(LoopExamples, TheHostsTimerKeepsItsPaceDuringAGibibyteDownload) {
  const fs::path remote = server().root() / "gib.bin";
  std::ofstream(remote, std::ios::binary).close();
  fs::resize_file(remote, std::uintmax_t{1} << 30);  // sparse: no gibibyte of disk on this side
  const fs::path local = fs::temp_directory_path() / "quorvi_loop_examples";
  for (const char* loop : kLoops) {
    SCOPED_TRACE(loop);
    fs::remove_all(local);
    fs::create_directories(local);
    // One at a time: side by side they would share the disk and the two cores.
    auto runs = Start(server(), "download /gib.bin " + local.string(), {loop});
    FinishAll(runs);
    for (const auto& done : runs) {
      EXPECT_EQ(done.status, 0) << done.output;
      EXPECT_NE(done.output.find("downloaded 1073741824 bytes"), std::string::npos) << done.output;
      const double worst = Number(done.output, R"(10 ms timer: ([0-9.]+) ms)");
      EXPECT_GE(worst, 0) << done.output;
      EXPECT_LE(worst, 50.0) << done.output;
      std::printf("%s: %s", loop, done.output.c_str());
    }
  }
  fs::remove_all(local);
  fs::remove(remote);
}

}  // namespace
}  // namespace quorvi::test
