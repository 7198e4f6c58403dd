#include "platform/socket_api.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

namespace quorvi::platform {

namespace {

struct ErrnoMapping {
  int errno_value;
  int winsock;
};

// errno → Windows Sockets numbering, in one place. EWOULDBLOCK equals EAGAIN on Linux.
constexpr std::array kErrnoTable{
    ErrnoMapping{EINTR, 10004},        ErrnoMapping{EACCES, 10013},
    ErrnoMapping{EPERM, 10013},        ErrnoMapping{EFAULT, 10014},
    ErrnoMapping{EINVAL, 10022},       ErrnoMapping{EMFILE, 10024},
    ErrnoMapping{ENFILE, 10024},       ErrnoMapping{EAGAIN, 10035},
    ErrnoMapping{EINPROGRESS, 10036},  ErrnoMapping{EALREADY, 10037},
    ErrnoMapping{ENOTSOCK, 10038},     ErrnoMapping{EBADF, 10038},
    ErrnoMapping{EDESTADDRREQ, 10039}, ErrnoMapping{EMSGSIZE, 10040},
    ErrnoMapping{EPROTOTYPE, 10041},   ErrnoMapping{ENOPROTOOPT, 10042},
    ErrnoMapping{EPROTONOSUPPORT, 10043}, ErrnoMapping{ESOCKTNOSUPPORT, 10044},
    ErrnoMapping{EOPNOTSUPP, 10045},   ErrnoMapping{EPFNOSUPPORT, 10046},
    ErrnoMapping{EAFNOSUPPORT, 10047}, ErrnoMapping{EADDRINUSE, 10048},
    ErrnoMapping{EADDRNOTAVAIL, 10049}, ErrnoMapping{ENETDOWN, 10050},
    ErrnoMapping{ENETUNREACH, 10051},  ErrnoMapping{ENETRESET, 10052},
    ErrnoMapping{ECONNABORTED, 10053}, ErrnoMapping{ECONNRESET, 10054},
    ErrnoMapping{ENOBUFS, 10055},      ErrnoMapping{ENOMEM, 10055},
    ErrnoMapping{EISCONN, 10056},      ErrnoMapping{ENOTCONN, 10057},
    ErrnoMapping{EPIPE, 10058},        ErrnoMapping{ESHUTDOWN, 10058},
    ErrnoMapping{ETIMEDOUT, 10060},    ErrnoMapping{ECONNREFUSED, 10061},
    ErrnoMapping{EHOSTDOWN, 10064},    ErrnoMapping{EHOSTUNREACH, 10065},
};
// Anything the table does not know is reported as a failed system call.
constexpr int kWsaSystemCallFailure = 10107;

int LastError() { return WinsockErrorFromErrno(errno); }

// A socket address for an endpoint, with its length.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

SocketAddress ToSockaddr(const Endpoint& e) {
  SocketAddress out;
  if (e.address.v6) {
    auto* sa = reinterpret_cast<sockaddr_in6*>(&out.storage);
    sa->sin6_family = AF_INET6;
    std::memcpy(&sa->sin6_addr, e.address.bytes.data(), 16);
    sa->sin6_port = htons(e.port);
    out.length = sizeof(sockaddr_in6);
  } else {
    auto* sa = reinterpret_cast<sockaddr_in*>(&out.storage);
    sa->sin_family = AF_INET;
    std::memcpy(&sa->sin_addr, e.address.bytes.data(), 4);
    sa->sin_port = htons(e.port);
    out.length = sizeof(sockaddr_in);
  }
  return out;
}

std::optional<IpAddress> FromSockaddr(const sockaddr* sa) {
  IpAddress address;
  if (sa->sa_family == AF_INET6) {
    const auto* in6 = reinterpret_cast<const sockaddr_in6*>(sa);
    address.v6 = true;
    std::memcpy(address.bytes.data(), &in6->sin6_addr, 16);
    return address;
  }
  if (sa->sa_family == AF_INET) {
    std::memcpy(address.bytes.data(), &reinterpret_cast<const sockaddr_in*>(sa)->sin_addr, 4);
    return address;
  }
  return std::nullopt;
}

std::optional<Endpoint> FromSockaddrStorage(const sockaddr_storage& storage) {
  const auto* sa = reinterpret_cast<const sockaddr*>(&storage);
  const auto address = FromSockaddr(sa);
  if (!address) return std::nullopt;
  const std::uint16_t port =
      address->v6 ? ntohs(reinterpret_cast<const sockaddr_in6*>(sa)->sin6_port)
                  : ntohs(reinterpret_cast<const sockaddr_in*>(sa)->sin_port);
  return Endpoint{*address, port};
}

SocketResult FromCount(ssize_t n) {
  if (n < 0) return SocketResult{-1, LastError()};
  return SocketResult{static_cast<long long>(n), 0};
}

int ZeroOrError(int rc) { return rc == 0 ? 0 : LastError(); }

int OptionName(SocketOption option) {
  switch (option) {
    case SocketOption::ReceiveBuffer: return SO_RCVBUF;
    case SocketOption::SendBuffer: return SO_SNDBUF;
    case SocketOption::Error: return SO_ERROR;
    case SocketOption::Type: return SO_TYPE;
  }
  return SO_ERROR;
}

using NameQuery = int (*)(int, sockaddr*, socklen_t*);

std::optional<Endpoint> QueryName(NameQuery query, int fd, int& error) {
  sockaddr_storage storage{};
  socklen_t len = sizeof storage;
  if (query(fd, reinterpret_cast<sockaddr*>(&storage), &len) != 0) {
    error = LastError();
    return std::nullopt;
  }
  error = 0;
  auto endpoint = FromSockaddrStorage(storage);
  if (!endpoint) error = WinsockErrorFromErrno(EAFNOSUPPORT);
  return endpoint;
}

// Letters, digits, '-' and '.', labels of 1..63 characters: anything else cannot be a host
// name and is refused without a resolver query.
bool IsValidHostName(const std::string& host) {
  if (host.empty() || host.size() > 253) return false;
  std::size_t label = 0;
  for (char c : host) {
    if (c == '.') {
      if (label == 0) return false;
      label = 0;
      continue;
    }
    const auto u = static_cast<unsigned char>(c);
    if (!std::isalnum(u) && c != '-' && c != '_') return false;
    if (++label > 63) return false;
  }
  return true;
}

}  // namespace

int WinsockErrorFromErrno(int err) {
  if (err == 0) return 0;
  for (const auto& m : kErrnoTable) {
    if (m.errno_value == err) return m.winsock;
  }
  return kWsaSystemCallFailure;
}

SocketFd& SocketFd::operator=(SocketFd&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = other.release();
  }
  return *this;
}

SocketFd::~SocketFd() { Close(); }

int SocketFd::release() { return std::exchange(fd_, -1); }

int SocketFd::Close() {
  const int fd = release();
  return fd < 0 ? 0 : CloseSocketFd(fd);
}

SocketResult CreateSocket(bool datagram, bool v6) {
  const int type = (datagram ? SOCK_DGRAM : SOCK_STREAM) | SOCK_NONBLOCK | SOCK_CLOEXEC;
  const int fd = ::socket(v6 ? AF_INET6 : AF_INET, type, datagram ? IPPROTO_UDP : IPPROTO_TCP);
  if (fd < 0) return SocketResult{-1, LastError()};
  return SocketResult{fd, 0};
}

int CloseSocketFd(int fd) { return ZeroOrError(::close(fd)); }

int ConnectSocket(int fd, const Endpoint& to) {
  // Linux completes a finished non-blocking connect with one more success; a connected
  // socket reports "already connected" every time, as the callers expect.
  sockaddr_storage peer{};
  socklen_t len = sizeof peer;
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &len) == 0) return WinsockErrorFromErrno(EISCONN);
  const SocketAddress sa = ToSockaddr(to);
  return ZeroOrError(::connect(fd, sa.get(), sa.length));
}

int BindSocket(int fd, const Endpoint& at) {
  const SocketAddress sa = ToSockaddr(at);
  return ZeroOrError(::bind(fd, sa.get(), sa.length));
}

int ListenSocket(int fd, int backlog) { return ZeroOrError(::listen(fd, backlog)); }

SocketResult AcceptSocket(int fd) {
  const int client = ::accept4(fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (client < 0) return SocketResult{-1, LastError()};
  return SocketResult{client, 0};
}

SocketResult SendBytes(int fd, const char* data, std::size_t size) {
  return FromCount(::send(fd, data, size, MSG_NOSIGNAL));
}

SocketResult SendBytesTo(int fd, const char* data, std::size_t size, const Endpoint& to) {
  const SocketAddress sa = ToSockaddr(to);
  return FromCount(::sendto(fd, data, size, MSG_NOSIGNAL, sa.get(), sa.length));
}

SocketResult ReceiveBytes(int fd, char* data, std::size_t size, bool peek) {
  return FromCount(::recv(fd, data, size, peek ? MSG_PEEK : 0));
}

SocketResult ReceiveBytesFrom(int fd, char* data, std::size_t size, Endpoint& from) {
  sockaddr_storage sa{};
  socklen_t len = sizeof sa;
  const ssize_t n = ::recvfrom(fd, data, size, 0, reinterpret_cast<sockaddr*>(&sa), &len);
  if (n >= 0) {
    if (auto endpoint = FromSockaddrStorage(sa)) from = *endpoint;
  }
  return FromCount(n);
}

int ShutdownSocket(int fd, ShutdownHow how) {
  return ZeroOrError(::shutdown(fd, how == ShutdownHow::Send ? SHUT_WR : SHUT_RDWR));
}

SocketResult GetSocketOption(int fd, SocketOption option) {
  int value = 0;
  socklen_t len = sizeof value;
  if (::getsockopt(fd, SOL_SOCKET, OptionName(option), &value, &len) != 0) {
    return SocketResult{0, LastError()};
  }
  if (option == SocketOption::Error) value = WinsockErrorFromErrno(value);
  if (option == SocketOption::Type) value = value == SOCK_STREAM ? 1 : 2;
  return SocketResult{value, 0};
}

int SetSocketOption(int fd, SocketOption option, int value) {
  return ZeroOrError(::setsockopt(fd, SOL_SOCKET, OptionName(option), &value, sizeof value));
}

std::optional<Endpoint> LocalEndpoint(int fd, int& error) { return QueryName(::getsockname, fd, error); }

std::optional<Endpoint> PeerEndpoint(int fd, int& error) { return QueryName(::getpeername, fd, error); }

std::optional<IpAddress> ParseIpAddress(std::string_view text) {
  if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
    text = text.substr(1, text.size() - 2);
    if (text.find(':') == std::string_view::npos) return std::nullopt;  // "[1.2.3.4]"
  }
  const std::string copy(text);
  IpAddress address;
  if (::inet_pton(AF_INET, copy.c_str(), address.bytes.data()) == 1) return address;
  address.v6 = true;
  if (::inet_pton(AF_INET6, copy.c_str(), address.bytes.data()) == 1) return address;
  return std::nullopt;
}

std::string FormatIpAddress(const IpAddress& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  ::inet_ntop(address.v6 ? AF_INET6 : AF_INET, address.bytes.data(), text.data(), text.size());
  return text.data();
}

std::vector<IpAddress> ResolveHost(const std::string& host) {
  if (!IsValidHostName(host)) return {};
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &list) != 0 || list == nullptr) return {};
  std::vector<IpAddress> addresses;
  for (const addrinfo* ai = list; ai != nullptr; ai = ai->ai_next) {
    if (ai->ai_addr == nullptr) continue;
    const auto address = FromSockaddr(ai->ai_addr);
    if (address && std::find(addresses.begin(), addresses.end(), *address) == addresses.end()) {
      addresses.push_back(*address);
    }
  }
  ::freeaddrinfo(list);
  return addresses;
}

std::string ReverseLookup(const IpAddress& address) {
  const SocketAddress sa = ToSockaddr(Endpoint{address, 0});
  std::array<char, NI_MAXHOST> name{};
  if (::getnameinfo(sa.get(), sa.length, name.data(), name.size(), nullptr, 0, NI_NAMEREQD) != 0) {
    return {};
  }
  return name.data();
}

std::string LocalMachineName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  return name.data();
}

}  // namespace quorvi::platform
