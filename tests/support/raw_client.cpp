#include "raw_client.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quorvi::test {
namespace {

using Clock = std::chrono::steady_clock;

int RemainingMs(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

bool IsFinalLineOf(std::string_view line, std::string_view code) {
  return line.size() >= 3 && line.substr(0, 3) == code && (line.size() == 3 || line[3] == ' ');
}

}  // namespace

RawClient::~RawClient() { Close(); }

void RawClient::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

bool RawClient::Connect(const std::string& host, std::uint16_t port, milliseconds timeout) {
  Close();
  buffer_.clear();
  peer_closed_ = false;
  pieces_ = 0;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  if (::inet_pton(AF_INET, host.c_str(), &addr.sin_addr) != 1) return false;
  fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd_ < 0) return false;
  if (::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    if (errno != EINPROGRESS) return Close(), false;
    pollfd p{fd_, POLLOUT, 0};
    int error = 0;
    socklen_t len = sizeof error;
    if (::poll(&p, 1, static_cast<int>(timeout.count())) != 1 ||
        ::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &len) != 0 || error != 0) {
      return Close(), false;
    }
  }
  return true;
}

bool RawClient::Send(std::string_view data) {
  const auto deadline = Clock::now() + milliseconds(2000);
  while (fd_ >= 0 && !data.empty()) {
    const ssize_t n = ::send(fd_, data.data(), data.size(), MSG_NOSIGNAL);
    if (n > 0) {
      data.remove_prefix(static_cast<std::size_t>(n));
      continue;
    }
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd p{fd_, POLLOUT, 0};
    if (::poll(&p, 1, RemainingMs(deadline)) != 1) return false;
  }
  return fd_ >= 0;
}

bool RawClient::Fill(Clock::time_point deadline) {
  if (fd_ < 0 || peer_closed_) return false;
  pollfd p{fd_, POLLIN, 0};
  if (::poll(&p, 1, RemainingMs(deadline)) != 1) return false;
  char chunk[4096];
  const ssize_t n = ::recv(fd_, chunk, sizeof chunk, 0);
  if (n == 0) peer_closed_ = true;
  if (n <= 0) return false;
  ++pieces_;
  buffer_.append(chunk, static_cast<std::size_t>(n));
  return true;
}

std::optional<std::string> RawClient::ReadLine(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  for (;;) {
    const std::size_t end = buffer_.find('\n');
    if (end != std::string::npos) {
      std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      return line;
    }
    if (!Fill(deadline)) return std::nullopt;
  }
}

std::optional<std::string> RawClient::ReadReply(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  std::optional<std::string> first = ReadLine(timeout);
  if (!first || first->size() < 4 || (*first)[3] != '-') return first;
  const std::string code = first->substr(0, 3);
  std::string reply = *first;
  for (int lines = 0; lines < 10000; ++lines) {
    std::optional<std::string> next = ReadLine(milliseconds(RemainingMs(deadline)));
    if (!next) return std::nullopt;
    reply += "\r\n" + *next;
    if (IsFinalLineOf(*next, code)) return reply;
  }
  return std::nullopt;
}

std::string RawClient::ReadUntilClose(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (Fill(deadline)) {
  }
  std::string all;
  all.swap(buffer_);
  return all;
}

int ReplyCode(std::string_view reply) {
  if (reply.size() < 3) return 0;
  int code = 0;
  for (char c : reply.substr(0, 3)) {
    if (c < '0' || c > '9') return 0;
    code = code * 10 + (c - '0');
  }
  return code;
}

}  // namespace quorvi::test
