#include "http/http_support.h"

#include <array>
#include <charconv>

#include "component/error_object.h"
#include "local/path_rules.h"

namespace quorvi::detail::MHttpSupport {

namespace {

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

std::size_t FindNoCase(std::string_view text, std::string_view what, std::size_t from = 0) {
  return Lower(text).find(Lower(what), from);
}

bool ContainsNoCase(std::string_view text, std::string_view what) {
  return FindNoCase(text, what) != std::string::npos;
}

// Titles that mark a page as an error report rather than the file asked for.
constexpr std::array<std::string_view, 4> kErrorTitleWords = {"wrong", "出错", "error", "invalid"};

}  // namespace

std::string GetHeaderValue(std::string_view header, std::string_view name) {
  if (header.empty()) return {};
  const std::size_t at = FindNoCase(header, name);
  if (at == std::string::npos) return {};
  // The line ends at the first CR LF after the name, even when the value is empty.
  const std::size_t end = header.find("\r\n", at + name.size());
  const std::size_t start = at + name.size() + 1;
  if (start >= header.size() || end < start) return {};
  return std::string(header.substr(start, end == std::string::npos ? end : end - start));
}

double GetContentLength(std::string_view header) {
  std::string value = GetHeaderValue(header, "Content-Length:");
  if (value.empty()) return 0;
  if (const std::size_t glued = FindNoCase(value, "HTTP"); glued != std::string::npos) {
    value.resize(glued);
  }
  const std::size_t first = value.find_first_not_of(" \t");
  if (first == std::string::npos) return 0;
  const std::size_t last = value.find_last_not_of(" \t");
  const char* begin = value.data() + first;
  const char* end = value.data() + last + 1;
  double number = 0;
  const auto [ptr, ec] = std::from_chars(begin, end, number);
  return ec == std::errc() && ptr == end ? number : 0;
}

bool ContentLengthsAgree(std::string_view header) {
  constexpr std::string_view kName = "content-length:";
  std::string first;
  bool seen = false;
  for (std::size_t pos = 0; pos < header.size();) {
    std::size_t end = header.find('\n', pos);
    if (end == std::string::npos) end = header.size();
    const std::string_view line = header.substr(pos, end - pos);
    pos = end + 1;
    if (line.size() < kName.size() || Lower(line.substr(0, kName.size())) != kName) continue;
    std::string_view value = line.substr(kName.size());
    const std::size_t a = value.find_first_not_of(" \t\r");
    const std::size_t b = value.find_last_not_of(" \t\r");
    value = a == std::string_view::npos ? std::string_view() : value.substr(a, b - a + 1);
    if (!seen) {
      first = std::string(value);
      seen = true;
    } else if (value != first) {
      return false;
    }
  }
  return true;
}

std::string GetStatusLine(std::string_view header) {
  std::string_view chosen;
  bool first = true;
  for (std::size_t pos = 0; pos <= header.size();) {
    std::size_t end = header.find('\n', pos);
    if (end == std::string::npos) end = header.size();
    std::string_view line = header.substr(pos, end - pos);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (first) chosen = line;
    first = false;
    if (line.starts_with("HTTP/")) {
      chosen = line;
      break;
    }
    pos = end + 1;
  }
  const std::size_t blank = chosen.find(' ');
  return std::string(blank == std::string::npos ? chosen : chosen.substr(blank + 1));
}

std::string GetErrorPageTitle(std::string_view response) {
  const std::string lower = Lower(response);
  if (lower.find("content-type: text/html") == std::string::npos) return {};
  const std::size_t open = lower.find("<title>");
  if (open == std::string::npos) return {};
  const std::size_t start = open + 7;
  const std::size_t close = lower.find("</title>", start);
  if (close == std::string::npos) return {};
  std::string_view title = response.substr(start, close - start);
  bool marked = false;
  for (const auto word : kErrorTitleWords) marked = marked || ContainsNoCase(title, word);
  if (!marked) return {};
  while (!title.empty() &&
         (title.front() == '\n' || title.front() == '\r' || title.front() == '\t'))
    title.remove_prefix(1);
  while (!title.empty() && (title.back() == '\n' || title.back() == '\r')) title.remove_suffix(1);
  return std::string(TrimBlanks(title));
}

std::string GetHostAndPort(std::string_view url) {
  std::string text(TrimBlanks(url));
  for (char& c : text) {
    if (c == '\\') c = '/';
  }
  if (const std::size_t scheme = text.rfind("://"); scheme != std::string::npos) {
    text.erase(0, scheme + 3);
  }
  std::string collapsed;
  for (char c : text) {
    if (c == '/' && !collapsed.empty() && collapsed.back() == '/') continue;
    collapsed += c;
  }
  if (!collapsed.empty() && collapsed.front() == '/') collapsed.erase(0, 1);
  const std::size_t slash = collapsed.find('/');
  if (slash == std::string::npos) return collapsed;
  std::string host = collapsed.substr(0, slash);
  // An IPv6 address is in brackets ("[::1]:8080"): only a colon after them starts a port.
  const std::size_t bracket = host.starts_with('[') ? host.find(']') : std::string::npos;
  if (host.find(':', bracket == std::string::npos ? 0 : bracket) == std::string::npos) host += ":80";
  return host;
}

std::string GetHttpErrorText(std::int32_t number) { return detail::GetHttpErrorText(number); }

}  // namespace quorvi::detail::MHttpSupport
