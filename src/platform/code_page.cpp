#include "platform/code_page.h"

#include <algorithm>

#include <langinfo.h>
#include <locale.h>

#include <cerrno>
#include <cstdlib>

namespace quorvi::platform {
namespace {

// Length of the well-formed UTF-8 character at the start of s, or 1 when it is malformed, so
// an unrepresentable character is replaced once rather than once per byte.
std::size_t Utf8CharLength(std::string_view s) {
  const auto lead = static_cast<unsigned char>(s[0]);
  std::size_t n = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
  if (n == 1 || s.size() < n) return 1;
  for (std::size_t i = 1; i < n; ++i) {
    if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) return 1;
  }
  return n;
}

}  // namespace

CodeConverter::CodeConverter(const std::string& from, const std::string& to,
                             std::string replacement)
    : handle_(iconv_open(to.c_str(), from.c_str())),
      from_utf8_(from == "UTF-8"),
      replacement_(std::move(replacement)) {}

CodeConverter::~CodeConverter() {
  if (valid()) iconv_close(handle_);
}

std::string CodeConverter::Convert(std::string_view input) const {
  std::string out;
  if (!valid() || input.empty()) return out;
  iconv(handle_, nullptr, nullptr, nullptr, nullptr);  // reset any shift state
  out.resize(input.size() * 2 + 16);
  std::size_t used = 0;
  auto* in_ptr = const_cast<char*>(input.data());
  std::size_t in_left = input.size();
  // Each turn either consumes input, replaces at least one byte, or grows the buffer, so the
  // loop ends; the bound is a guard against a misbehaving converter.
  for (std::size_t turn = 0; in_left > 0 && turn < 4 * input.size() + 64; ++turn) {
    char* out_ptr = out.data() + used;
    std::size_t out_left = out.size() - used;
    const std::size_t rc = iconv(handle_, &in_ptr, &in_left, &out_ptr, &out_left);
    used = out.size() - out_left;
    if (rc != static_cast<std::size_t>(-1)) break;
    if (errno == E2BIG) {
      out.resize(out.size() * 2);
      continue;
    }
    // EILSEQ (cannot convert here) or EINVAL (incomplete tail): replace and go on.
    const std::size_t skip =
        from_utf8_ && errno == EILSEQ ? Utf8CharLength({in_ptr, in_left}) : 1;
    // Write the replacement in place; the buffer only ever grows, so a block full of
    // unconvertible bytes stays linear.
    if (out.size() - used < replacement_.size()) out.resize(out.size() * 2 + replacement_.size());
    std::copy(replacement_.begin(), replacement_.end(), out.begin() + static_cast<std::ptrdiff_t>(used));
    used += replacement_.size();
    in_ptr += skip;
    in_left -= skip;
  }
  // Flush a stateful encoder's final shift sequence.
  for (int turn = 0; turn < 8; ++turn) {
    char* out_ptr = out.data() + used;
    std::size_t out_left = out.size() - used;
    const std::size_t rc = iconv(handle_, nullptr, nullptr, &out_ptr, &out_left);
    used = out.size() - out_left;
    if (rc != static_cast<std::size_t>(-1) || errno != E2BIG) break;
    out.resize(out.size() * 2);
  }
  out.resize(used);
  return out;
}

std::string LocaleCodeset() {
  // A private locale object: the process-wide locale of the host stays untouched.
  locale_t loc = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
  if (loc == static_cast<locale_t>(nullptr)) return {};
  std::string codeset = nl_langinfo_l(CODESET, loc);
  freelocale(loc);
  return codeset;
}

std::string EnvironmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string(value) : std::string();
}

}  // namespace quorvi::platform
