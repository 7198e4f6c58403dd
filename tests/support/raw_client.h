// A tiny blocking TCP client for tests: it checks what a server says without going through
// the component. Loopback only; every read has a deadline.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvi::test {

using std::chrono::milliseconds;

class RawClient {
 public:
  RawClient() = default;
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// Connects to host:port (a numeric IPv4 address); false on failure or timeout.
  bool Connect(const std::string& host, std::uint16_t port, milliseconds timeout = milliseconds(2000));
  /// Sends all of `data`; false when the connection is gone.
  bool Send(std::string_view data);
  /// Sends `command` followed by CR LF.
  bool SendLine(std::string_view command) { return Send(std::string(command) + "\r\n"); }
  /// One line without its line end (LF or CR LF), or nullopt on timeout / close.
  std::optional<std::string> ReadLine(milliseconds timeout = milliseconds(2000));
  /// One whole FTP reply (all lines of a multi-line reply, joined with CR LF), or nullopt.
  std::optional<std::string> ReadReply(milliseconds timeout = milliseconds(2000));
  /// Everything until the peer closes or `timeout` passes.
  std::string ReadUntilClose(milliseconds timeout = milliseconds(2000));
  /// True when the peer has closed (an orderly end of stream was read).
  bool PeerClosed() const { return peer_closed_; }
  /// Number of recv() calls that returned data: how many pieces the bytes came in.
  int Pieces() const { return pieces_; }
  void Close();

 private:
  // Reads more bytes into buffer_; false on timeout, close or error.
  bool Fill(std::chrono::steady_clock::time_point deadline);

  int fd_ = -1;
  std::string buffer_;
  bool peer_closed_ = false;
  int pieces_ = 0;
};

/// The code of a reply line ("220 x" -> 220), 0 when it has none.
int ReplyCode(std::string_view reply);

}  // namespace quorvi::test
