#include "local/path_rules.h"

namespace quorvi::detail {
namespace {

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t pos = text.find(from); pos != std::string::npos;
       pos = text.find(from, pos + to.size())) {
    text.replace(pos, from.size(), to);
  }
}

// Every run of "/" collapses to one. A backslash is an ordinary character of a Linux name
// (and of most servers' names), never a separator.
std::string SlashesCollapsed(std::string_view path) {
  std::string out;
  out.reserve(path.size());
  for (char c : path) {
    if (c == '/' && !out.empty() && out.back() == '/') continue;
    out += c;
  }
  return out;
}

// Stand-ins that keep the "//" of URL schemes from collapsing (the texts are the historical
// ones; only their uniqueness matters).
constexpr std::string_view kHttpMark = "httppathsplitstring";
constexpr std::string_view kHttpsMark = "httppsathsplitstring";

}  // namespace

std::string_view TrimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string FormatLocalPath(std::string_view path) { return SlashesCollapsed(TrimBlanks(path)); }

std::string FormatFTPPath(std::string_view path) {
  std::string text(TrimBlanks(path));
  ReplaceAll(text, "http://", kHttpMark);
  ReplaceAll(text, "https://", kHttpsMark);
  text = SlashesCollapsed(text);
  ReplaceAll(text, kHttpMark, "http://");
  ReplaceAll(text, kHttpsMark, "https://");
  return text;
}

bool IsAbsoluteLocalPath(std::string_view path) {
  const std::string_view p = TrimBlanks(path);
  return !p.empty() && p.front() == kLocalSeparator;
}

std::string GetParentFolderPath(std::string_view path) {
  const std::string p = FormatLocalPath(path);
  const std::size_t last = p.rfind(kLocalSeparator);
  if (last == std::string::npos) return {};
  // The root is its own folder's parent text ("/a" → "/"), but has no parent itself.
  if (last == 0) return p.size() > 1 ? std::string(1, kLocalSeparator) : std::string();
  return p.substr(0, last);
}

}  // namespace quorvi::detail
