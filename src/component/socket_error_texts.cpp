// GetWinsockErrorText: English texts of the socket error codes (Windows Sockets numbering,
// which the socket layer maps errno to).
#include <algorithm>
#include <array>
#include <string_view>

#include "component/error_object.h"
#include "component/thread_shared.h"

namespace quorvi::detail {

namespace {

struct SocketRow {
  std::int32_t code;
  int message;  ///< message-table index, or -1 for the literal
  std::string_view literal;
};

constexpr int kUnknownErrorMessage = 21;

constexpr std::array<SocketRow, 44> kSocketRows = {{
    {10004, -1, "Interrupted function call."},
    {10013, 36, {}},
    {10014, -1, "Bad address."},
    {10022, -1, "Invalid argument."},
    {10024, -1, "Too many open files."},
    {10035, -1, "Resource temporarily unavailable."},
    {10036, -1, "Operation now in progress."},
    {10037, -1, "Operation already in progress."},
    {10038, -1, "Socket operation on nonsocket."},
    {10039, -1, "Destination address required."},
    {10040, -1, "Message too long."},
    {10041, -1, "Protocol wrong type for socket."},
    {10042, -1, "Bad protocol option."},
    {10043, -1, "Protocol not supported."},
    {10044, -1, "Socket type not supported."},
    {10045, -1, "Operation not supported."},
    {10046, -1, "Protocol family not supported."},
    {10047, -1, "Address family not supported by protocol family."},
    {10048, -1, "Address already in use."},
    {10049, -1, "Cannot assign requested address."},
    {10050, -1, "Network is down."},
    {10051, -1, "Network is unreachable."},
    {10052, -1, "Network dropped connection on reset."},
    {10053, -1, "Software caused connection abort."},
    {10054, -1, "Connection reset by peer."},
    {10055, -1, "No buffer space available."},
    {10056, -1, "Socket is already connected."},
    {10057, -1, "Socket is not connected."},
    {10058, -1, "Cannot send after socket shutdown."},
    {10060, 34, {}},
    {10061, 35, {}},
    {10064, -1, "Host is down."},
    {10065, -1, "No route to host."},
    {10067, -1, "Too many processes."},
    {10091, -1, "Network subsystem is unavailable."},
    {10092, -1, "Winsock.dll version out of range."},
    {10093, -1, "Successful WSAStartup not yet performed."},
    {10101, -1, "Graceful shutdown in progress."},
    {10107, -1, "System call failure."},
    {10109, -1, "Class type not found."},
    {11001, 33, {}},
    {11002, -1, "Nonauthoritative host not found."},
    {11003, -1, "This is a nonrecoverable error."},
    {11004, -1, "Valid name, no data record of requested type."},
}};

}  // namespace

std::string GetWinsockErrorText(std::int32_t code) {
  auto it = std::find_if(kSocketRows.begin(), kSocketRows.end(),
                         [code](const SocketRow& r) { return r.code == code; });
  if (it != kSocketRows.end()) {
    return it->message >= 0 ? GetMessage(it->message) : std::string(it->literal);
  }
  // An unknown code: the description of the error being handled says more than "Unknown Error".
  if (const auto* shared = ThreadShared::Current()) {
    if (const auto& pending = shared->Error().RuntimeDescription(); !pending.empty()) return pending;
  }
  return GetMessage(kUnknownErrorMessage);
}

}  // namespace quorvi::detail
