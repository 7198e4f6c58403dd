// DownloadHttpFile against a scripted HTTP peer on 127.0.0.1: responses sent in chosen pieces,
// malformed or unsupported responses, early closes and stalls.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <quorvi/ftp_library.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "component/core.h"
#include "http/http_downloader.h"

namespace quorvi {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Accepts one connection, reads the request, sends the pieces with a pause between them (so each
// arrives on its own), keeps the connection open until the client closes it (at most hold), then
// closes.
class ScriptedPeer {
 public:
  ScriptedPeer(std::vector<std::string> pieces, std::chrono::milliseconds hold = 0ms)
      : pieces_(std::move(pieces)), hold_(hold) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    ::listen(listener_, 1);
    socklen_t len = sizeof addr;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    thread_ = std::thread([this] { Serve(); });
  }
  ~ScriptedPeer() {
    thread_.join();
    ::close(listener_);
  }

  int port() const { return port_; }
  /// The request as received (valid after the download returned).
  const std::string& request() const { return request_; }

 private:
  void Serve() {
    pollfd p{listener_, POLLIN, 0};
    if (::poll(&p, 1, 3000) != 1) return;
    const int fd = ::accept(listener_, nullptr, nullptr);
    if (fd < 0) return;
    const timeval limit{2, 0};  // every read of the request ends within 2 s
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char buf[4096];
    ssize_t n = 0;
    while (request_.find("\r\n\r\n") == std::string::npos &&
           (n = ::recv(fd, buf, sizeof buf, 0)) > 0)
      request_.append(buf, static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
      if (i > 0) std::this_thread::sleep_for(15ms);
      ::send(fd, pieces_[i].data(), pieces_[i].size(), MSG_NOSIGNAL);
    }
    pollfd r{fd, POLLIN, 0};
    if (hold_ > 0ms && ::poll(&r, 1, static_cast<int>(hold_.count())) == 1) ::recv(fd, buf, 1, 0);
    ::close(fd);
  }

  std::vector<std::string> pieces_;
  std::chrono::milliseconds hold_;
  int listener_ = -1;
  int port_ = 0;
  std::string request_;
  std::thread thread_;
};

struct Outcome {
  bool ok = false;
  std::int32_t number = 0;
  std::string info;
  std::string file;  ///< content the local file had ("" when absent)
  bool exists = false;
};

class HttpPeerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("quorvi-http-" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  Outcome Download(ScriptedPeer& peer, std::int16_t timeout = 30,
                   const std::function<void(FtpLibrary&)>& prepare = {}) {
    FtpLibrary ftp;
    if (prepare) prepare(ftp);
    ftp.core().settings.time_out = timeout;  // below the property's minimum, to stay quick
    detail::HttpDownloader::Of(ftp.core()).stall_check_ms = 100;
    ftp.RemotePath("http://127.0.0.1:" + std::to_string(peer.port()) + "/f.bin");
    ftp.LocalPath(dir_.string() + "/");
    Outcome out;
    out.ok = ftp.DownloadHttpFile();
    ftp.SetHostHook({});  // the hook is the thread's: it must not outlive this component
    out.number = ftp.ErrorNumber();
    out.info = ftp.ErrorInfo();
    out.exists = fs::exists(dir_ / "f.bin");
    std::ifstream in(dir_ / "f.bin", std::ios::binary);
    out.file.assign(std::istreambuf_iterator<char>(in), {});
    fs::remove(dir_ / "f.bin");  // each download starts without it
    return out;
  }

  fs::path dir_;
};

const std::string kResponse = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";

// Two pieces cut at every position, and many 7-byte pieces: always the same file.
TEST_F(HttpPeerTest, AnySplitOfTheResponseGivesTheSameFile) {
  std::vector<std::vector<std::string>> scripts;
  for (std::size_t cut = 1; cut < kResponse.size(); ++cut)
    scripts.push_back({kResponse.substr(0, cut), kResponse.substr(cut)});
  scripts.emplace_back();
  for (std::size_t i = 0; i < kResponse.size(); i += 7)
    scripts.back().push_back(kResponse.substr(i, 7));
  for (const auto& pieces : scripts) {
    ScriptedPeer peer(pieces);
    const Outcome out = Download(peer);
    EXPECT_TRUE(out.ok) << pieces[0] << ": " << out.number << " " << out.info;
    EXPECT_EQ(out.file, "hello") << pieces[0];
    EXPECT_TRUE(peer.request().starts_with("GET /f.bin HTTP/1.1\r\n")) << peer.request();
  }
}

TEST_F(HttpPeerTest, UnusableResponsesFailWithoutWritingTheFile) {
  struct Case {
    const char* name;
    std::vector<std::string> pieces;
    std::int32_t number;
    const char* info_part;
  };
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  // clang-format off
  const Case cases[] = {
      {"no length", {ok + "Content-Type: text/plain\r\n\r\nhello"}, 18002, "Can't get file size"},
      {"redirect to nowhere", {"HTTP/1.1 302 Found\r\nContent-Length: 0\r\n\r\n"}, 18000,
       "Unusable redirect"},
      {"redirect that is not followed", {"HTTP/1.1 300 Multiple Choices\r\nLocation: /g\r\n\r\n"},
       18000, "Unusable redirect"},
      {"error page", {ok + "Content-Type: text/html\r\nContent-Length: 40\r\n\r\n",
                      "<html><title>Database Error</title></html>"}, 18000, "Database Error"},
      {"garbage", {"SSH-2.0-OpenSSH\r\n\r\n"}, 18000, "SSH-2.0-OpenSSH"},
      {"header never ends", {ok + "Content-Length: 5\r\n"}, 18000, "Header Error"},
      {"endless header", {ok + "X: " + std::string(70000, 'x')}, 18000, "Header Error"},
      {"silent close", {}, 18004, "No response"},
  };
  // clang-format on
  for (const auto& c : cases) {
    ScriptedPeer peer(c.pieces);
    const Outcome out = Download(peer);
    EXPECT_FALSE(out.ok) << c.name;
    EXPECT_EQ(out.number, c.number) << c.name << ": " << out.info;
    EXPECT_NE(out.info.find(c.info_part), std::string::npos) << c.name << ": " << out.info;
    EXPECT_FALSE(out.exists) << c.name;  // not even an empty file is left behind
  }
}

// A body cut short is a failure whose part stays for a resume; a refused request leaves an
// existing local file exactly as it was, whatever the replace policy.
TEST_F(HttpPeerTest, ShortBodiesFailAndRefusalsLeaveTheLocalFile) {
  struct Case {
    const char* name;
    const char* existing;  // nullptr: no local file before
    std::int16_t replace;  // 1 overwrite, 2 resume
    std::string response;
    std::int32_t number;
    const char* file;  // nullptr: no local file after
  };
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const Case cases[] = {
      {"short body", nullptr, 1, ok + "Content-Length: 10\r\n\r\nhello", 16426, "hello"},
      {"short resumed part", "he", 2,
       "HTTP/1.1 206 Partial Content\r\nContent-Length: 8\r\nContent-Range: bytes 2-9/10\r\n\r\nllo",
       16426, "hello"},
      {"404, no file", nullptr, 1, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n", 18404,
       nullptr},
      {"404 over a file", "keep", 1, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n",
       18404, "keep"},
      {"400 over a file", "keep", 1, "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n",
       18400, "keep"},
      {"overwrite replaces", "old contents", 1, ok + "Content-Length: 3\r\n\r\nnew", 0, "new"},
      {"chunked", nullptr, 1,
       ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n3\r\n fo\r\n0\r\n\r\n", 0,
       "hello fo"},
      {"chunked, empty", "old", 1, ok + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 0, ""},
      {"chunked, cut before the last chunk", nullptr, 1,
       ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n", 16426, "hello"},
      {"chunked, bad framing", nullptr, 1,
       ok + "Transfer-Encoding: chunked\r\n\r\nzz\r\nhello\r\n", 18000, nullptr},
  };
  for (const auto& c : cases) {
    if (c.existing) std::ofstream(dir_ / "f.bin") << c.existing;
    ScriptedPeer peer({c.response});
    const Outcome out = Download(peer, 30, [&](FtpLibrary& ftp) { ftp.ReplaceSetting(c.replace); });
    EXPECT_EQ(out.ok, c.number == 0) << c.name << ": " << out.info;
    EXPECT_EQ(out.number, c.number) << c.name << ": " << out.info;
    EXPECT_EQ(out.exists, c.file != nullptr) << c.name;
    if (c.file) {
      EXPECT_EQ(out.file, c.file) << c.name;
    }
  }
}

// A partial local file "he" is resumed: only a part that starts at byte 2 may be appended.
TEST_F(HttpPeerTest, ResumeAppendsOnlyTheMatchingPart) {
  const std::string part = "HTTP/1.1 206 Partial Content\r\nContent-Length: 3\r\nContent-Range: ";
  const std::tuple<std::string, bool, std::string> cases[] = {
      {part + "bytes 2-4/5\r\n\r\nllo", true, "hello"},
      {part + "bytes 0-2/5\r\n\r\nhel", false, "he"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello", false, "he"},
  };
  for (const auto& [response, ok, file] : cases) {
    std::ofstream(dir_ / "f.bin") << "he";
    ScriptedPeer peer({response});
    const Outcome out = Download(peer, 30, [](FtpLibrary& ftp) { ftp.ReplaceSetting(2); });
    EXPECT_EQ(out.ok, ok) << response << out.info;
    EXPECT_EQ(out.number, ok ? 0 : 18001) << response;
    EXPECT_EQ(out.file, file) << response;
    EXPECT_NE(peer.request().find("\r\nRange: bytes=2-\r\n"), std::string::npos) << peer.request();
  }
}

TEST_F(HttpPeerTest, StalledBodyTimesOut) {
  ScriptedPeer peer({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhel"}, 5000ms);
  const auto start = std::chrono::steady_clock::now();
  const Outcome out = Download(peer, 1);
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.number, 20004) << out.info;
  EXPECT_EQ(out.file, "hel");  // kept for a later resume
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4000ms);
}

TEST_F(HttpPeerTest, AbortFromTheHostEndsTheBatch) {
  ScriptedPeer peer({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhel"}, 3000ms);
  const auto start = std::chrono::steady_clock::now();
  const Outcome out = Download(peer, 30, [start](FtpLibrary& ftp) {
    // The host's own loop runs inside the component's waits; it asks to stop after 200 ms.
    ftp.SetHostHook([&ftp, start] {
      if (std::chrono::steady_clock::now() - start > 200ms) ftp.Abort();
    });
  });
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.number, 16010) << out.info;
  EXPECT_EQ(out.file, "hel");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2000ms);
}

}  // namespace
}  // namespace quorvi
