// GetReplyText: texts of negative FTP replies (16000 + reply code) and of the internal 160xx
// numbers; anything else falls through to the HTTP and socket texts.
#include <algorithm>
#include <array>
#include <string_view>

#include "component/error_object.h"

namespace quorvi::detail {

namespace {

struct ReplyRow {
  std::int32_t key;
  int message;  ///< message-table index, or -1 for the literal
  std::string_view literal;
};

constexpr std::array<ReplyRow, 29> kReplyRows = {{
    {16001, -1, "Failed to get current working directory"},
    {16002, -1, "Unknowed file list type."},
    {16006, 4, {}},
    {16007, 3, {}},
    {16008, 5, {}},
    {16009, 6, {}},
    {16010, 7, {}},
    {16011, -1, "Connection is interrupted"},
    {16012, -1, "An event handler failed:"},
    {16120, -1, "Service ready in nnn minutes."},
    {16332, -1, "Need account for login."},
    {16350, -1, "Requested file action pending further information."},
    {16421, -1, "Service not available, closing control connection."},
    {16425, -1, "Can 't open data connection."},
    {16426, -1, "Connection closed; transfer aborted."},
    {16450, -1, "Requested file action not taken."},
    {16451, -1, "Requested action aborted: local error in processing."},
    {16452, -1, "Requested action not taken."},
    {16500, -1, "Syntax error, command unrecognized."},
    {16501, -1, "Syntax error in parameters or arguments."},
    {16502, -1, "Command not implemented."},
    {16503, -1, "Bad sequence of commands."},
    {16504, -1, "Command not implemented for that parameter."},
    {16530, 2, {}},
    {16532, -1, "Need account for storing files."},
    {16550, -1, "550 error occurred."},
    {16551, -1, "Requested action aborted: page type unknown."},
    {16552, -1, "Requested file action aborted."},
    {16553, -1, "Requested action not taken."},
}};

}  // namespace

std::string GetReplyText(std::int32_t key) {
  auto it = std::find_if(kReplyRows.begin(), kReplyRows.end(),
                         [key](const ReplyRow& r) { return r.key == key; });
  if (it != kReplyRows.end()) {
    return it->message >= 0 ? GetMessage(it->message) : std::string(it->literal);
  }
  if (auto http = GetHttpErrorText(key); !http.empty()) return http;
  return GetWinsockErrorText(key);
}

}  // namespace quorvi::detail
