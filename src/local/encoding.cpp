// Wire encodings. UTF-8 decoding is done here (it is the hot path of every reply and listing
// block in UTF-8 mode); the ANSI code page goes through the platform's iconv converters, opened
// once per thread and reopened only when the code page in force changes.
#include "local/encoding.h"

#include <algorithm>

#include <memory>
#include <optional>

#include "platform/code_page.h"

namespace quorvi::detail {
namespace {

constexpr std::string_view kReplacementChar = "\xEF\xBF\xBD";  // U+FFFD

// Length of the well-formed UTF-8 sequence at the start of s; 0 when the bytes there are
// malformed, in which case *bad receives the length of the maximal malformed part (at least 1),
// which becomes one replacement character (the Unicode "maximal subpart" practice).
std::size_t WellFormedLength(std::string_view s, std::size_t* bad) {
  const auto b0 = static_cast<unsigned char>(s[0]);
  if (b0 < 0x80) return 1;
  std::size_t need;
  unsigned char lo = 0x80, hi = 0xBF;  // allowed range of the second byte
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    need = 2;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    need = 3;
    if (b0 == 0xE0) lo = 0xA0;  // no overlong forms
    if (b0 == 0xED) hi = 0x9F;  // no surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    need = 4;
    if (b0 == 0xF0) lo = 0x90;
    if (b0 == 0xF4) hi = 0x8F;  // nothing above U+10FFFF
  } else {
    *bad = 1;
    return 0;
  }
  for (std::size_t i = 1; i < need; ++i) {
    if (i >= s.size()) {
      *bad = i;
      return 0;
    }
    const auto b = static_cast<unsigned char>(s[i]);
    const unsigned char min = i == 1 ? lo : 0x80, max = i == 1 ? hi : 0xBF;
    if (b < min || b > max) {
      *bad = i;
      return 0;
    }
  }
  return need;
}

std::string_view UpToZero(std::string_view s) { return s.substr(0, s.find('\0')); }

// The thread's converters for one code page name.
struct AnsiConverters {
  std::string name;
  platform::CodeConverter to_ansi;
  platform::CodeConverter from_ansi;
  explicit AnsiConverters(const std::string& n)
      : name(n), to_ansi("UTF-8", n, "?"), from_ansi(n, "UTF-8", std::string(kReplacementChar)) {}
  bool valid() const { return to_ansi.valid() && from_ansi.valid(); }
};

// The locale's codeset, read once per thread; plain ASCII is widened to ISO-8859-1 so that
// arbitrary bytes round-trip.
const std::string& LocaleCodePage() {
  thread_local std::optional<std::string> codeset;
  if (!codeset) {
    std::string cs = platform::LocaleCodeset();
    if (cs.empty() || cs == "ANSI_X3.4-1968" || cs == "ASCII" || cs == "US-ASCII") {
      cs = "ISO-8859-1";
    }
    codeset = cs;
  }
  return *codeset;
}

AnsiConverters& Converters() {
  thread_local std::unique_ptr<AnsiConverters> cache;
  const std::string name = AnsiCodePageName();
  if (!cache || cache->name != name) {
    cache = std::make_unique<AnsiConverters>(name);
    if (!cache->valid()) cache = std::make_unique<AnsiConverters>("ISO-8859-1");
    cache->name = name;  // an unknown name is not retried on every call
  }
  return *cache;
}

}  // namespace

std::string EncodeUTF8(std::string_view text) { return std::string(UpToZero(text)); }

std::string DecodeUTF8(std::string_view bytes) {
  bytes = UpToZero(bytes);
  std::string out;
  out.reserve(bytes.size());
  std::size_t i = 0;
  while (i < bytes.size()) {
    // Copy ASCII runs in one go.
    std::size_t j = i;
    while (j < bytes.size() && static_cast<unsigned char>(bytes[j]) < 0x80) ++j;
    out.append(bytes.substr(i, j - i));
    i = j;
    if (i >= bytes.size()) break;
    std::size_t bad = 0;
    const std::size_t n = WellFormedLength(bytes.substr(i), &bad);
    if (n > 0) {
      out.append(bytes.substr(i, n));
      i += n;
    } else {
      out.append(kReplacementChar);
      i += bad;
    }
  }
  return out;
}

std::size_t CompleteUTF8Length(std::string_view bytes) {
  // Only the last three bytes can start an unfinished character.
  const std::size_t size = bytes.size();
  for (std::size_t back = 1; back <= 3 && back <= size; ++back) {
    const auto b = static_cast<unsigned char>(bytes[size - back]);
    if ((b & 0xC0) == 0x80) continue;  // continuation byte: look further back
    if (b < 0xC2 || b > 0xF4) return size;
    const std::size_t need = b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    if (need <= back) return size;
    std::size_t bad = 0;
    // A tail that is already malformed is not held back: it decodes to U+FFFD either way.
    if (WellFormedLength(bytes.substr(size - back), &bad) == 0 && bad < back) return size;
    return size - back;
  }
  return size;
}

std::string ToAnsi(std::string_view text) { return Converters().to_ansi.Convert(text); }

bool RepresentableInAnsi(std::string_view text) {
  const std::string converted = ToAnsi(text);
  return std::count(converted.begin(), converted.end(), '?') == std::count(text.begin(), text.end(), '?');
}

std::string FromAnsi(std::string_view bytes) { return Converters().from_ansi.Convert(bytes); }

std::string AnsiCodePageName() {
  std::string name = platform::EnvironmentValue("QUORVI_CODEPAGE");
  return name.empty() ? LocaleCodePage() : name;
}

}  // namespace quorvi::detail
