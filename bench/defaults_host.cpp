// The library as a host meets it: a FtpLibrary with nothing but the connection set, one tree
// down and the same tree up. Prints "down SECONDS" and "up SECONDS".
// Usage: defaults_host PORT REMOTE_TREE LOCAL_DOWN LOCAL_UP_SOURCE REMOTE_UP
#include <quorvi/ftp_library.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  quorvi::FtpLibrary ftp;
  ftp.ServerName("127.0.0.1");
  ftp.RemotePort(static_cast<std::int32_t>(std::atoi(argv[1])));
  ftp.UserName("ftptest");
  ftp.PassWord("ftptest");
  const auto timed = [&](const char* what, auto&& job) {
    const auto start = std::chrono::steady_clock::now();
    if (!job()) {
      std::fprintf(stderr, "%s: %d %s\n", what, ftp.ErrorNumber(), ftp.ErrorInfo().c_str());
      std::exit(1);
    }
    std::printf("%s %.3f\n", what,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  };
  ftp.RemotePath(argv[2]);
  ftp.LocalPath(argv[3]);
  timed("down", [&] { return ftp.DownLoad(); });
  ftp.RemotePath(argv[5]);
  ftp.LocalPath(argv[4]);
  timed("up", [&] { return ftp.UpLoad(); });
  return 0;
}
