#include "scenario.h"

#include <cstdio>
#include <filesystem>

namespace loops {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

int IdleKeepAlive(quorvi::FtpLibrary& ftp, HostLoop& loop, int seconds) {
  ftp.KeepAliveSecond(1);
  if (!ftp.Connect()) return std::fprintf(stderr, "connect: %s\n", ftp.ErrorInfo().c_str()), 1;
  const auto start = Clock::now();
  const auto id = ftp.OnServerMessage().Subscribe([&] {
    std::printf("[%5.2f s] %s\n", SecondsSince(start), ftp.MessageInfo().c_str());
  });
  loop.Run(milliseconds(seconds * 1000));
  ftp.OnServerMessage().Unsubscribe(id);  // the handler uses this function's locals
  const bool connected = ftp.Connected();
  std::printf("still connected after %d s idle: %s\n", seconds, connected ? "yes" : "no");
  return connected ? 0 : 1;
}

int IdleClose(quorvi::FtpLibrary& ftp, HostLoop& loop) {
  ftp.KeepAliveSecond(0);
  if (!ftp.Connect()) return std::fprintf(stderr, "connect: %s\n", ftp.ErrorInfo().c_str()), 1;
  const auto start = Clock::now();
  bool closed = false;
  const auto id = ftp.OnStateChange().Subscribe([&] {
    if (ftp.FtpState() == quorvi::ftpClosed && !closed) {
      closed = true;
      loop.Quit();
    }
  });
  loop.Run(milliseconds(120000));
  ftp.OnStateChange().Unsubscribe(id);
  if (!closed) return std::puts("the server's close was not noticed"), 1;
  std::printf("closed by the server, noticed after %.2f s idle\n", SecondsSince(start));
  return 0;
}

int DownloadWithTimer(quorvi::FtpLibrary& ftp, HostLoop& loop, const std::string& remote,
                      const std::string& dir) {
  ftp.NotificationPause(0);
  // The component's waits run the host's loop too, so its timers keep their pace.
  ftp.SetHostHook([&loop] { loop.Iterate(); });
  Clock::time_point last_tick = Clock::now();
  double worst_ms = 0;
  bool running = false;
  loop.Every(milliseconds(10), [&] {
    const auto now = Clock::now();
    if (running) worst_ms = std::max(worst_ms, std::chrono::duration<double, std::milli>(now - last_tick).count());
    last_tick = now;
  });
  bool ok = false;
  double seconds = 0;
  loop.Soon([&] {
    ftp.RemotePath(remote);
    ftp.LocalPath(dir);
    ftp.OverWrite(true);
    const auto start = Clock::now();
    last_tick = start;
    running = true;
    ok = ftp.DownLoad();
    running = false;
    seconds = SecondsSince(start);
    loop.Quit();
  });
  loop.Run(milliseconds(600000));
  ftp.SetHostHook(nullptr);
  if (!ok) return std::fprintf(stderr, "download: %s\n", ftp.ErrorInfo().c_str()), 1;
  const auto size = std::filesystem::file_size(std::filesystem::path(dir) /
                                               std::filesystem::path(remote).filename());
  std::printf("downloaded %ju bytes in %.2f s; worst wait of the host's 10 ms timer: %.1f ms\n",
              static_cast<std::uintmax_t>(size), seconds, worst_ms);
  return 0;
}

}  // namespace

int RunJob(quorvi::FtpLibrary& ftp, HostLoop& loop, const std::vector<std::string>& args) {
  if (args.size() < 5) {
    std::fputs("usage: HOST PORT USER PASSWORD idle SECONDS | idle-close | download REMOTE DIR\n",
               stderr);
    return 2;
  }
  ftp.ServerName(args[0]);
  ftp.RemotePort(std::stoi(args[1]));
  ftp.UserName(args[2]);
  ftp.PassWord(args[3]);
  const std::string& job = args[4];
  if (job == "idle" && args.size() == 6) return IdleKeepAlive(ftp, loop, std::stoi(args[5]));
  if (job == "idle-close") return IdleClose(ftp, loop);
  if (job == "download" && args.size() == 7) return DownloadWithTimer(ftp, loop, args[5], args[6]);
  std::fprintf(stderr, "unknown job %s\n", job.c_str());
  return 2;
}

}  // namespace loops
