// Wire text encodings. Inside the component text is UTF-8 in std::string; on the wire it is
// UTF-8 or the system ANSI code page. Byte sequences are carried in std::string too.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvi::detail {

/// UTF-8 bytes of a text (no byte-order mark, no terminating zero).
std::string EncodeUTF8(std::string_view text);
/// Text held by UTF-8 bytes: stops at the first zero byte; malformed sequences become U+FFFD.
std::string DecodeUTF8(std::string_view bytes);
/// Length of the leading part of bytes that ends on a character boundary: a trailing, still
/// incomplete UTF-8 sequence is left out so that the caller can carry it over to the next
/// block. DecodeUTF8 itself is stateless and turns such a tail into U+FFFD.
std::size_t CompleteUTF8Length(std::string_view bytes);
/// Text converted to the ANSI code page; unrepresentable characters become '?'.
std::string ToAnsi(std::string_view text);
/// True when ToAnsi keeps every character of text (it turns nothing into '?').
bool RepresentableInAnsi(std::string_view text);
/// Bytes in the ANSI code page converted to text.
std::string FromAnsi(std::string_view bytes);
/// Name of the ANSI code page in force (QUORVI_CODEPAGE, else the locale's codeset, with
/// ISO-8859-1 standing in for plain ASCII).
std::string AnsiCodePageName();

}  // namespace quorvi::detail
