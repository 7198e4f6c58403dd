// Thin POSIX socket calls for the socket layer. Every failure comes back as a Windows Sockets
// error number (10035 would block, 10061 refused, 11001 host not found, ...), so the socket
// error texts and the callers' rules apply unchanged. Sockets are IPv4 or IPv6, non-blocking
// and close-on-exec.
#pragma once

#include <poll.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvi::platform {

// Windows Sockets error numbers the socket layer tests for by name.
inline constexpr int kWsaInvalidArgument = 10022;
inline constexpr int kWsaWouldBlock = 10035;
inline constexpr int kWsaInProgress = 10036;
inline constexpr int kWsaNotSocket = 10038;
inline constexpr int kWsaIsConnected = 10056;
inline constexpr int kWsaHostNotFound = 11001;

/// Readiness bits as the event pump reports them.
namespace readiness {
inline constexpr short kIn = POLLIN;
inline constexpr short kOut = POLLOUT;
inline constexpr short kPeerClosed = POLLRDHUP;  ///< the peer shut down its sending side
inline constexpr short kHangup = POLLHUP;
inline constexpr short kError = POLLERR;
}  // namespace readiness

/// Windows Sockets number of an errno value (0 stays 0; unknown values give 10022 ... see table).
int WinsockErrorFromErrno(int err);

/// Outcome of a call: a count or descriptor in value, or a Windows Sockets error number.
struct SocketResult {
  long long value = 0;
  int error = 0;
  bool ok() const { return error == 0; }
};

/// An IPv4 or IPv6 address in network byte order.
struct IpAddress {
  bool v6 = false;
  std::array<std::uint8_t, 16> bytes{};  ///< IPv4: the first four
  bool operator==(const IpAddress&) const = default;
};

/// An address and a port.
struct Endpoint {
  IpAddress address;
  std::uint16_t port = 0;
};

/// Owns one socket descriptor; closes it when destroyed.
class SocketFd {
 public:
  SocketFd() = default;
  explicit SocketFd(int fd) : fd_(fd) {}
  SocketFd(SocketFd&& other) noexcept : fd_(other.release()) {}
  SocketFd& operator=(SocketFd&& other) noexcept;
  SocketFd(const SocketFd&) = delete;
  SocketFd& operator=(const SocketFd&) = delete;
  ~SocketFd();

  int get() const { return fd_; }
  /// Gives up ownership without closing.
  int release();
  /// Closes the descriptor now; returns 0 or the error number.
  int Close();

 private:
  int fd_ = -1;
};

enum class SocketOption { ReceiveBuffer, SendBuffer, Error, Type };
enum class ShutdownHow { Send, Both };

/// A new socket: datagram (UDP) or stream (TCP), IPv4 or IPv6.
SocketResult CreateSocket(bool datagram, bool v6 = false);
/// Closes a descriptor; returns 0 or the error number.
int CloseSocketFd(int fd);
/// Starts a connect; 10036 (in progress) means the outcome follows as writability.
int ConnectSocket(int fd, const Endpoint& to);
int BindSocket(int fd, const Endpoint& at);
int ListenSocket(int fd, int backlog);
/// Takes a pending connection; value is the new non-blocking descriptor.
SocketResult AcceptSocket(int fd);
/// One send without SIGPIPE.
SocketResult SendBytes(int fd, const char* data, std::size_t size);
SocketResult SendBytesTo(int fd, const char* data, std::size_t size, const Endpoint& to);
/// One receive; peek leaves the bytes queued. value 0 means the peer has closed.
SocketResult ReceiveBytes(int fd, char* data, std::size_t size, bool peek = false);
SocketResult ReceiveBytesFrom(int fd, char* data, std::size_t size, Endpoint& from);
int ShutdownSocket(int fd, ShutdownHow how);
/// Reads an integer option; for Error, value is the pending error as a Windows Sockets number;
/// for Type, value is 1 for a stream socket and 2 for a datagram socket.
SocketResult GetSocketOption(int fd, SocketOption option);
int SetSocketOption(int fd, SocketOption option, int value);
/// Local and peer address of a descriptor.
std::optional<Endpoint> LocalEndpoint(int fd, int& error);
std::optional<Endpoint> PeerEndpoint(int fd, int& error);

/// Parses an address: dotted IPv4 ("a.b.c.d") or IPv6 text ("::1"), with or without brackets
/// ("[::1]").
std::optional<IpAddress> ParseIpAddress(std::string_view text);
/// The usual text of an address ("127.0.0.1", "2001:db8::1").
std::string FormatIpAddress(const IpAddress& address);
/// Blocking forward lookup: every address of a name (both families) in the resolver's order,
/// without repeats. Names that are not valid host names are refused without asking the
/// resolver.
std::vector<IpAddress> ResolveHost(const std::string& host);
/// Blocking reverse lookup of an address; "" when it has no name.
std::string ReverseLookup(const IpAddress& address);
/// This machine's host name.
std::string LocalMachineName();

}  // namespace quorvi::platform
