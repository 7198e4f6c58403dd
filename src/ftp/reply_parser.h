// Reply assembly on the control connection, as pure functions over the reply buffer: where the
// code of a complete reply is, which line is "the reply line", and what the host is shown.
// Nothing here touches a socket or waits.
#pragma once

#include <cstdint>
#include <optional>
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

/// One complete reply taken from the front of the received text.
struct CompleteReply {
  std::int16_t code = 0;  ///< the code of its final line
  std::string text;       ///< its lines, each with its CR LF
};

/// Takes the first complete reply off the front of `pending`: a single line "xyz text", or the
/// lines from "xyz-" to the final "xyz " line of the same code. Text before it that is no reply
/// (lines without a code) is dropped with it. Nothing, and `pending` unchanged, while the first
/// reply has not ended; two replies that came in one piece are taken one at a time, in order.
std::optional<CompleteReply> TakeCompleteReply(std::string& pending);

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
