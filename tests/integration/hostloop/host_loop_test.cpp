// The component inside a host's own loop: keep-alive and a server's idle close while the host
// idles, an abort requested from another thread, and event handlers that throw.
#include <poll.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "component/core.h"
#include "test_helpers.h"

namespace quorvi::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// vsftpd ends a session that has been quiet for 5 s: only a working keep-alive outlives that.
constexpr auto kServerIdleLimit = std::chrono::seconds(5);
QUORVI_SERVER_SUITE(HostLoop, ServerKind::Vsftpd, {"-oidle_session_timeout=5"});

// The simplest host loop: poll the component's descriptor with its time-out, process what is
// pending; until done() holds or the limit has passed.
bool RunHostLoop(FtpLibrary& ftp, milliseconds limit, const std::function<bool()>& done) {
  const auto end = Clock::now() + limit;
  const int fd = ftp.HostLoopFd();
  while (!done()) {
    const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now()).count();
    if (left <= 0) return false;
    int wait = static_cast<int>(left);
    if (const int t = ftp.HostLoopTimeout(); t >= 0 && t < wait) wait = t;
    pollfd p{fd, POLLIN, 0};
    ::poll(&p, 1, wait);
    ftp.ProcessPending();
  }
  return true;
}

TEST_F(HostLoop, AnIdleSessionKeepsItsKeepAliveScheduleWhileTheHostIdles) {
  std::vector<std::string> transcript;  // outlives the component, whose end sends QUIT
  auto ftp = UserClient(server());
  ftp->core().settings.keep_alive_second = 1;  // below the property's 30 s minimum, to stay quick
  ftp->OnServerMessage().Subscribe([&] { transcript.push_back(ftp->MessageInfo()); });
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
  transcript.clear();
  // The keep-alive timer ticks every 2 s and sends once more than a whole second has passed
  // since the last exchange: every 2 to 4 s, while the server would close after 5 s quiet.
  const auto replies = [&] {
    return std::count_if(transcript.begin(), transcript.end(),
                         [](const std::string& line) { return line.starts_with("200 "); });
  };
  const auto start = Clock::now();
  RunHostLoop(*ftp, milliseconds(20000), [&] { return replies() >= 3; });
  EXPECT_GT(Clock::now() - start, kServerIdleLimit);
  std::string all;
  for (const auto& line : transcript) all += line + "\n";
  EXPECT_GE(Count(all, "NOOP"), 3u) << all;
  EXPECT_GE(Count(all, "200 "), 3u) << all;
  EXPECT_EQ(Count(all, "421"), 0u) << all;
  EXPECT_TRUE(ftp->Connected());
  EXPECT_TRUE(ftp->DeleteFile("/none.txt") || ftp->ErrorNumber() == 16550) << ftp->ErrorInfo();
}

TEST_F(HostLoop, AServerThatClosesAnIdleSessionIsNoticedWithinASecond) {
  Clock::time_point closed_at{};
  std::string notice;
  auto ftp = UserClient(server());
  ftp->KeepAliveSecond(0);
  ftp->OnServerMessage().Subscribe([&] { notice += ftp->MessageInfo(); });
  ftp->OnStateChange().Subscribe([&] {
    if (ftp->FtpState() == ftpClosed && closed_at == Clock::time_point{}) closed_at = Clock::now();
  });
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
  const auto idle_since = Clock::now();
  ASSERT_TRUE(RunHostLoop(*ftp, milliseconds(10000), [&] { return closed_at != Clock::time_point{}; }))
      << "the server's close was never noticed";
  const auto after_timeout = closed_at - idle_since - kServerIdleLimit;
  EXPECT_LT(after_timeout, milliseconds(1000));
  EXPECT_FALSE(ftp->Connected());
  EXPECT_NE(notice.find("421"), std::string::npos) << "the server's reason is shown: " << notice;
}

TEST_F(HostLoop, AnAbortFromAnotherThreadEndsTheWaitingDownloadAsAbortDoes) {
  const std::string content = Pattern(8 << 20);
  server().WriteFile("big.bin", content);
  const auto local = std::filesystem::temp_directory_path() / "quorvi_hostloop_abort";
  std::filesystem::remove_all(local);
  std::filesystem::create_directories(local);
  auto ftp = UserClient(server());
  ftp->MaxSpeed(1024);  // KiB/s: 8 s at full length, the abort must cut it short
  ftp->RemotePath("/big.bin");
  ftp->LocalPath(local.string());
  std::atomic<bool> started{false};
  ftp->OnTransfer().Subscribe([&] { started = true; });
  std::thread stop_button([&] {
    for (int i = 0; i < 500 && !started; ++i) std::this_thread::sleep_for(milliseconds(10));
    std::this_thread::sleep_for(milliseconds(300));
    ftp->RequestAbort();
  });
  const auto start = Clock::now();
  const bool ok = ftp->DownLoad();
  stop_button.join();
  EXPECT_FALSE(ok);
  EXPECT_EQ(ftp->ErrorNumber(), 16010) << ftp->ErrorInfo();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  // What arrived is a true prefix, kept for a later resume.
  const std::string part = ReadAll(local / "big.bin");
  EXPECT_LT(part.size(), content.size());
  EXPECT_EQ(part, content.substr(0, part.size()));
  // A request while nothing waits is dropped: the next download runs to its end.
  ftp->MaxSpeed(0);
  ftp->OverWrite(true);
  ftp->RequestAbort();
  ftp->ProcessPending();
  EXPECT_TRUE(ftp->DownLoad()) << ftp->ErrorInfo();
  EXPECT_EQ(ReadAll(local / "big.bin"), content);
  std::filesystem::remove_all(local);
}

// A component belongs to the thread that made it (its pump, sockets and timers live there):
// any member called on another thread but RequestAbort is refused at once, touching nothing.
TEST_F(HostLoop, AnotherThreadsCallIsRefusedAtOnceAndChangesNothing) {
  server().WriteFile("one.txt", "one");
  const auto local = std::filesystem::temp_directory_path() / "quorvi_hostloop_thread";
  std::filesystem::remove_all(local);
  std::filesystem::create_directories(local);
  auto ftp = UserClient(server());
  ftp->RemotePath("/one.txt");
  ftp->LocalPath(local.string());
  bool ok = true;
  int number = 0, fd = 0;
  std::string text;
  const auto start = Clock::now();
  std::thread([&] {
    ok = ftp->DownLoad();
    fd = ftp->HostLoopFd();
    number = ftp->ErrorNumber();
    text = ftp->ErrorInfo();
  }).join();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_FALSE(ok);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(number, 22040);
  EXPECT_NE(text.find("another thread"), std::string::npos) << text;
  EXPECT_NE(text.find("HostLoopFd"), std::string::npos) << text;
  EXPECT_FALSE(std::filesystem::exists(local / "one.txt"));
  // On its own thread the component is as it was.
  EXPECT_EQ(ftp->ErrorNumber(), 0) << ftp->ErrorInfo();
  EXPECT_TRUE(ftp->DownLoad()) << ftp->ErrorInfo();
  EXPECT_EQ(ReadAll(local / "one.txt"), "one");
  std::filesystem::remove_all(local);
}

struct ThrowCase {
  const char* name;
  std::function<void()> throw_it;
  const char* reported;
};

TEST_F(HostLoop, AThrowingHandlerIsReportedAndNeverChangesTheTransfer) {
  const std::string content = Pattern(300000, 7);
  server().WriteFile("small.bin", content);
  const auto local = std::filesystem::temp_directory_path() / "quorvi_hostloop_throw";
  const std::vector<ThrowCase> cases = {
      {"std::exception", [] { throw std::runtime_error("boom"); }, "OnTransfer: boom"},
      {"anything else", [] { throw 42; }, "OnTransfer: unknown exception"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove_all(local);
    std::filesystem::create_directories(local);
    auto ftp = UserClient(server());
    int calls = 0;
    ftp->OnTransfer().Subscribe([&] {
      if (++calls == 1) c.throw_it();
    });
    ftp->RemotePath("/small.bin");
    ftp->LocalPath(local.string());
    EXPECT_TRUE(ftp->DownLoad()) << ftp->ErrorInfo();
    EXPECT_GT(calls, 1) << "the handler keeps being called after it threw";
    EXPECT_EQ(ReadAll(local / "small.bin"), content);
    EXPECT_EQ(ftp->ErrorNumber(), 16012);
    EXPECT_NE(ftp->ErrorInfo().find(c.reported), std::string::npos) << ftp->ErrorInfo();
    // The host's next call starts clean.
    EXPECT_TRUE(ftp->ExistFile("/small.bin"));
    EXPECT_EQ(ftp->ErrorNumber(), 0) << ftp->ErrorInfo();
  }
  std::filesystem::remove_all(local);
}

}  // namespace
}  // namespace quorvi::test
