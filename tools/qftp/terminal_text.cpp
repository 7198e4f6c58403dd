#include "terminal_text.h"

#include <cstdio>

namespace qftp {

namespace {

void Escape(std::string& out, unsigned char byte) {
  char hex[5];
  std::snprintf(hex, sizeof hex, "\\x%02X", byte);
  out += hex;
}

// Length of the valid UTF-8 sequence of two or more bytes at text[i] (0: none).
std::size_t Utf8Length(std::string_view text, std::size_t i) {
  const auto lead = static_cast<unsigned char>(text[i]);
  const std::size_t n = lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (n == 0 || lead >= 0xF5 || i + n > text.size()) return 0;
  for (std::size_t k = 1; k < n; ++k)
    if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return 0;
  const auto second = static_cast<unsigned char>(text[i + 1]);
  // Overlong or surrogate forms and code points past U+10FFFF are not UTF-8.
  if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
      (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F))
    return 0;
  return n;
}

}  // namespace

std::string ForTerminal(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      if ((byte < 0x20 && byte != '\t') || byte == 0x7F) Escape(out, byte);
      else out += static_cast<char>(byte);
      ++i;
      continue;
    }
    const std::size_t n = Utf8Length(text, i);
    const bool c1 = n == 2 && byte == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (c1) Escape(out, byte), ++i;  // both bytes of the C1 character
    if (n == 0 || c1) {
      Escape(out, static_cast<unsigned char>(text[i]));
      ++i;
      continue;
    }
    out.append(text.substr(i, n));
    i += n;
  }
  return out;
}

std::string LinesForTerminal(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const auto lf = text.find('\n');
    std::string_view line = text.substr(0, lf);
    if (lf != std::string_view::npos && line.ends_with('\r')) line.remove_suffix(1);
    out += ForTerminal(line);
    if (lf == std::string_view::npos) break;
    out += '\n';
    text.remove_prefix(lf + 1);
  }
  return out;
}

}  // namespace qftp
