// Reply assembly on the control connection, as pure functions over the reply buffer: where the
// code of a complete reply is, which line is "the reply line", and what the host is shown.
// Nothing here touches a socket; the one wait (a multi-line reply that has begun but not ended)
// reaches the session through ReplyWaitHooks.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <quorvi/enums.h>

namespace quorvi::detail {

/// What one pass over the reply buffer found.
struct ReplyScan {
  std::int16_t code = 0;          ///< code of the last final line (a lone 257 only as fallback)
  bool multiline_open = false;    ///< continuation lines but no final line: more text will come
};

/// Scans a reply buffer once. Only lines terminated by CR LF count: a final line still missing
/// its line end is not a complete reply yet (replies may arrive split at any byte). Continuation
/// lines ("xyz-") and lines not starting with a code are skipped; of the final lines ("xyz" or
/// "xyz text") the last one wins, except that a 257 line counts only when no other final line is
/// present, so a stale PWD/MKD answer never masks the reply to the current command.
ReplyScan ScanReply(std::string_view buffer);

/// The session's side of the wait for the rest of an open multi-line reply.
struct ReplyWaitHooks {
  std::function<void()> pump;               ///< pump host events once (may re-enter assembly)
  std::function<std::string()> buffer;      ///< the reply buffer as it is now
  std::function<bool()> connected;          ///< the control socket is still connected
  std::chrono::milliseconds limit{1000};    ///< give up (answer 0) after this long
};

/// The code of the complete reply held in the buffer, or 0 while it is incomplete. When a
/// multi-line reply has begun without its final line, pumps events and re-reads the buffer until
/// the reply completes, a 220/221 reply turns up at the start of the buffer (answer 220), the
/// connection drops or the limit passes (answer 0: the next data notification scans again).
std::int16_t GetResponseCode(std::string_view buffer, const ReplyWaitHooks& hooks);

/// The reply line: the last CR LF-terminated line longer than 3 characters, cut at its first
/// zero character and trimmed of blanks (the code is part of it); "" when there is none.
std::string GetResponseInfo(std::string_view text);

/// The text of one data notification as stored and shown: blanks trimmed at both ends.
std::string TrimReceived(std::string_view received);

/// The host's message for a completed reply: the trimmed text of the notification without its
/// last two characters (the line end). A multi-line reply keeps its inner CR LF separators.
std::string ReplyMessageText(std::string_view received);

/// FTP_SERVER_BAD_RESPONSE for codes above 399, else FTP_SERVER_RESPONSE.
MessageTypes ReplyMessageType(int code);

}  // namespace quorvi::detail
