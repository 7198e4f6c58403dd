// Text from outside (server replies, listings, remote and local names) on its way to a
// terminal: a control character or escape sequence in it must not move the cursor, retitle
// the window, rewrite earlier lines or answer back. Every place where qftp prints such text
// passes it through here.
#pragma once

#include <string>
#include <string_view>

namespace qftp {

/// The text with every control character escaped as \xHH: C0 (line breaks included), DEL, the
/// C1 range (U+0080..U+009F) and bytes that are not UTF-8 (a Latin-1 terminal would read 0x9B
/// as CSI). Tabs and valid UTF-8 stay as they are.
std::string ForTerminal(std::string_view text);

/// The same for text of several lines: each LF (with a CR before it) stays a line break.
std::string LinesForTerminal(std::string_view text);

}  // namespace qftp
