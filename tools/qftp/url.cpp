#include "url.h"

#include <cctype>
#include <charconv>

#include "options.h"

namespace qftp {

namespace {

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) return false;
  }
  return true;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool IsFtpUrl(std::string_view text) {
  return StartsWithNoCase(text, "ftp://") || StartsWithNoCase(text, "ftps://");
}

std::string PercentDecode(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
    const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
    if (low < 0) throw UsageError{"bad %-escape in URL: " + std::string(text)};
    const char decoded = static_cast<char>(high * 16 + low);
    // %0D, %0A or %00 would become a second command or cut a name short on the server.
    if (decoded == '\r' || decoded == '\n' || decoded == '\0')
      throw UsageError{"the URL contains an encoded line break or NUL (%0D, %0A, %00); refused"};
    out += decoded;
    i += 2;
  }
  return out;
}

FtpUrl ParseFtpUrl(std::string_view text) {
  FtpUrl url;
  if (text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
    throw UsageError{"the URL contains a line break or NUL; refused"};
  const bool secure = StartsWithNoCase(text, "ftps://");
  url.security = secure ? 2 : 0;
  std::string_view rest = text.substr(secure ? 7 : 6);
  const auto slash = rest.find('/');
  std::string_view authority = rest.substr(0, slash);
  url.path = slash == std::string_view::npos ? "/" : PercentDecode(rest.substr(slash));
  // The user part ends at the last "@": a password may hold an unescaped one.
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
    const std::string_view credentials = authority.substr(0, at);
    const auto colon = credentials.find(':');
    url.user = PercentDecode(credentials.substr(0, colon));
    if (colon != std::string_view::npos) url.password = PercentDecode(credentials.substr(colon + 1));
    authority.remove_prefix(at + 1);
  }
  std::string_view port;
  if (authority.starts_with('[')) {
    const auto close = authority.find(']');
    if (close == std::string_view::npos) throw UsageError{"unclosed [ in URL: " + std::string(text)};
    url.host = std::string(authority.substr(1, close - 1));
    const std::string_view after = authority.substr(close + 1);
    if (!after.empty() && after.front() != ':') throw UsageError{"bad host in URL: " + std::string(text)};
    if (!after.empty()) port = after.substr(1);
  } else {
    const auto colon = authority.find(':');
    url.host = std::string(authority.substr(0, colon));
    if (colon != std::string_view::npos) port = authority.substr(colon + 1);
  }
  if (url.host.empty()) throw UsageError{"no host in URL: " + std::string(text)};
  if (!port.empty()) {
    int n = 0;
    const auto [end, ec] = std::from_chars(port.data(), port.data() + port.size(), n);
    if (ec != std::errc() || end != port.data() + port.size() || n < 1 || n > 65535)
      throw UsageError{"bad port in URL: " + std::string(text)};
    url.port = n;
  }
  return url;
}

}  // namespace qftp
