#include "local/case_folding.h"

#include <locale.h>
#include <wctype.h>

#include <cstdint>

namespace quorvi::detail {

namespace {

// The C.UTF-8 locale, created once and never changed (towlower_l only reads it); null when the
// system has none, and then only ASCII letters are folded.
locale_t Utf8Locale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
  return locale;
}

// Decodes one UTF-8 sequence at text[at]; the length is 0 for a byte that starts none.
std::pair<char32_t, std::size_t> Decode(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  std::size_t length = 0;
  char32_t cp = 0;
  if (lead < 0x80) return {lead, 1};
  if ((lead & 0xE0) == 0xC0) { length = 2; cp = lead & 0x1F; }
  else if ((lead & 0xF0) == 0xE0) { length = 3; cp = lead & 0x0F; }
  else if ((lead & 0xF8) == 0xF0) { length = 4; cp = lead & 0x07; }
  else return {0, 0};
  if (at + length > text.size()) return {0, 0};
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return {0, 0};
    cp = (cp << 6) | (byte(at + i) & 0x3F);
  }
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (cp < kSmallest[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return {0, 0};
  return {cp, length};
}

void Encode(char32_t cp, std::string& out) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

char32_t Lower(char32_t cp) {
  if (cp < 0x80) return cp >= 'A' && cp <= 'Z' ? cp + ('a' - 'A') : cp;
  const locale_t locale = Utf8Locale();
  if (locale == locale_t{}) return cp;
  return static_cast<char32_t>(towlower_l(static_cast<wint_t>(cp), locale));
}

}  // namespace

std::string FoldCase(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto [cp, length] = Decode(text, at);
    if (length == 0) {  // not UTF-8: the byte stands for itself
      out += text[at++];
      continue;
    }
    Encode(Lower(cp), out);
    at += length;
  }
  return out;
}

}  // namespace quorvi::detail
