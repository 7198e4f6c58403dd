// Data that must not come from (or go to) where it does: a folder upload meets symbolic links
// that point out of the folder, and an active-mode data connection comes from another address
// than the server's before the server's own.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

using namespace std::chrono_literals;

QUORVI_SERVER_SUITE(UploadLinks, ServerKind::Vsftpd);

TEST_F(UploadLinks, LinksOutOfTheFolderAreNotSentUnlessAllowed) {
  const fs::path base = server().state_dir().parent_path() / "links";
  const fs::path tree = base / "tree";
  WriteBytes(base / "outside" / "secret.txt", "secret\n");
  WriteBytes(tree / "plain.txt", "plain\n");
  fs::create_directories(tree / "sub");
  fs::create_symlink("../plain.txt", tree / "sub" / "inside-link.txt");
  fs::create_symlink("../outside/secret.txt", tree / "outside-link.txt");
  fs::create_symlink(base / "outside" / "secret.txt", tree / "sub" / "absolute-link.txt");
  const struct {
    const char* name;
    bool follow;
    std::vector<std::string> sent;  // below the remote folder
  } cases[] = {
      {"refused", false, {"plain.txt", "sub/inside-link.txt"}},
      {"FollowOutsideLinks", true,
       {"outside-link.txt", "plain.txt", "sub/absolute-link.txt", "sub/inside-link.txt"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string remote = std::string("/pub/links-") + (c.follow ? "on" : "off");
    auto ftp = UserClient(server());
    ftp->FollowOutsideLinks(c.follow);
    ftp->LocalPath(tree.string() + "/");
    ftp->RemotePath(remote);
    EXPECT_EQ(ftp->UpLoad(), c.follow);
    EXPECT_EQ(ftp->ErrorNumber(), c.follow ? 0 : 22021) << ftp->ErrorInfo();
    std::vector<std::string> sent;
    const fs::path landed = server().root() / remote.substr(1);
    for (const auto& e : fs::recursive_directory_iterator(landed))
      if (e.is_regular_file()) sent.push_back(fs::relative(e.path(), landed).string());
    std::sort(sent.begin(), sent.end());
    EXPECT_EQ(sent, c.sent);
    EXPECT_EQ(ReadAll(landed / "sub" / "inside-link.txt"), "plain\n");
  }
}

// Connects to the client's active-mode port from 127.0.0.2 as soon as the server's log names
// it (past its first `skip` bytes), offers `offer`, and counts what the client sends it.
class Intruder {
 public:
  Intruder(const fs::path& log, std::size_t skip, std::string offer)
      : thread_([this, log, skip, offer] { Run(log, skip, offer); }) {}
  ~Intruder() { thread_.join(); }
  bool connected() const { return connected_; }
  std::size_t received() const { return received_; }

 private:
  static int PortIn(const std::string& log) {
    // The first data connection of the call (an upload lists folders before its STOR).
    const auto at = log.find("<- EPRT |1|127.0.0.1|");
    const auto port_at = log.find("<- PORT 127,0,0,1,");
    int port = 0;
    if (at != std::string::npos) {
      const char* p = log.data() + at + 21;
      std::from_chars(p, log.data() + log.size(), port);
    } else if (port_at != std::string::npos) {
      int hi = 0, lo = 0;
      const char* p = log.data() + port_at + 18;
      p = std::from_chars(p, log.data() + log.size(), hi).ptr + 1;
      std::from_chars(p, log.data() + log.size(), lo);
      port = hi * 256 + lo;
    }
    return port;
  }

  void Run(const fs::path& log, std::size_t skip, const std::string& offer) {
    int port = 0;
    for (int i = 0; i < 500 && port == 0; ++i) {
      std::this_thread::sleep_for(10ms);
      const std::string text = ReadAll(log);
      port = text.size() > skip ? PortIn(text.substr(skip)) : 0;
    }
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in from{}, to{};
    from.sin_family = to.sin_family = AF_INET;
    ::inet_pton(AF_INET, "127.0.0.2", &from.sin_addr);
    ::inet_pton(AF_INET, "127.0.0.1", &to.sin_addr);
    to.sin_port = htons(static_cast<std::uint16_t>(port));
    connected_ = port != 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&from), sizeof from) == 0 &&
                 ::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0;
    if (connected_) {
      ::send(fd, offer.data(), offer.size(), MSG_NOSIGNAL);
      ::shutdown(fd, SHUT_WR);
      char buffer[4096];
      pollfd p{fd, POLLIN, 0};
      for (int i = 0; i < 100 && ::poll(&p, 1, 3000) == 1; ++i) {
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) break;
        received_ += static_cast<std::size_t>(n);
      }
    }
    ::close(fd);
  }

  std::atomic<bool> connected_{false};
  std::atomic<std::size_t> received_{0};
  std::thread thread_;
};

QUORVI_SERVER_SUITE(ActiveModeIntruder, ServerKind::FaultFtpd, {"--fault", "active_late"});

TEST_F(ActiveModeIntruder, OnlyTheServersAddressMayConnect) {
  const std::string real = Pattern(20000, 7);
  server().WriteFile("pub/intrude/real.bin", real);
  const fs::path local = server().state_dir().parent_path() / "intruder";
  WriteBytes(local / "up.bin", real);
  const std::string fake_listing = "-rw-r--r-- 1 u g 6 Jan 01 2020 planted.bin\r\n";
  const struct {
    const char* name;
    std::function<void(FtpLibrary&)> run;
  } cases[] = {
      {"listing",
       [](FtpLibrary& ftp) {
         const auto files = ftp.GetFtpDirectoryInfo("/pub/intrude");
         ASSERT_TRUE(files.has_value()) << ftp.ErrorNumber() << " " << ftp.ErrorInfo();
         EXPECT_EQ(Names(*files), std::vector<std::string>{"real.bin"});
       }},
      {"download",
       [&](FtpLibrary& ftp) {
         EXPECT_TRUE(ftp.DownLoadFile("/pub/intrude/real.bin", (local / "down.bin").string()))
             << ftp.ErrorInfo();
         EXPECT_TRUE(ReadAll(local / "down.bin") == real);
       }},
      {"upload",
       [&](FtpLibrary& ftp) {
         EXPECT_TRUE(ftp.UpLoadFile((local / "up.bin").string(), "/pub/intrude/up.bin"))
             << ftp.ErrorInfo();
         EXPECT_TRUE(ReadAll(server().root() / "pub/intrude/up.bin") == real);
       }},
  };
  auto ftp = UserClient(server(), false);
  ftp->ReplaceSetting(1);
  ftp->ReDoTimes(0);
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::size_t received = 0;
    {
      Intruder intruder(server().log_path(), ReadAll(server().log_path()).size(), fake_listing);
      c.run(*ftp);
      EXPECT_TRUE(intruder.connected());
      received = intruder.received();
    }
    EXPECT_EQ(received, 0u);  // an upload's bytes went to the server only
  }
}

}  // namespace
}  // namespace quorvi::test
