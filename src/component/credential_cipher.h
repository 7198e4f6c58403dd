// The credential cipher behind Lype: keeps a server name, user name or password out of plain
// view in a host's page or script. It hides text from casual view only; it is not encryption.
#pragma once

#include <string>
#include <string_view>

namespace quorvi::detail {

/// Enciphers any text (bytes) into upper-case hexadecimal digits.
std::string Encipher(std::string_view plain);
/// Reverses Encipher. Text that is not an enciphered value (odd length, non-hex characters) is
/// returned unchanged, so a host that forgot to encipher one value still gets it through.
std::string Decipher(std::string_view enciphered);

}  // namespace quorvi::detail
