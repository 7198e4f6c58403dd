#include "local/ini_file.h"

#include <algorithm>

#include "local/cfile_text.h"
#include "platform/concat.h"

namespace quorvi::detail {
namespace {

std::string_view Trim(std::string_view s) {
  const std::size_t first = s.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

bool SameNoCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
    return lower(x) == lower(y);
  });
}

// Name of a section header line ("[name]"), or empty for any other line.
std::optional<std::string_view> SectionName(std::string_view line) {
  line = Trim(line);
  if (line.size() < 2 || line.front() != '[') return std::nullopt;
  const std::size_t close = line.rfind(']');
  if (close == 0 || close == std::string_view::npos) return std::nullopt;
  return Trim(line.substr(1, close - 1));
}

// Key of a "key=value" line, or empty.
std::optional<std::string_view> KeyOf(std::string_view line) {
  const std::size_t eq = line.find('=');
  if (eq == std::string_view::npos || SectionName(line)) return std::nullopt;
  return Trim(line.substr(0, eq));
}

// Index range [first, last) of the lines of the section's body, or nullopt.
struct Range {
  std::size_t header, first, last;
};
std::optional<Range> FindSection(const std::vector<std::string>& lines, std::string_view section) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto name = SectionName(lines[i]);
    if (!name || !SameNoCase(*name, Trim(section))) continue;
    std::size_t end = i + 1;
    while (end < lines.size() && !SectionName(lines[end])) ++end;
    return Range{i, i + 1, end};
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> IniLookup(std::string_view text, std::string_view section,
                                     std::string_view key) {
  const auto lines = SplitLines(text);
  const auto range = FindSection(lines, section);
  if (!range) return std::nullopt;
  for (std::size_t i = range->first; i < range->last; ++i) {
    const auto k = KeyOf(lines[i]);
    if (!k || !SameNoCase(*k, Trim(key))) continue;
    std::string_view value = Trim(std::string_view(lines[i]).substr(lines[i].find('=') + 1));
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    return std::string(value);
  }
  return std::nullopt;
}

std::string IniWithValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value) {
  auto lines = SplitLines(text);
  const std::string entry = std::string(Trim(key)) + "=" + std::string(value);
  if (const auto range = FindSection(lines, section)) {
    std::size_t insert_at = range->first;
    bool replaced = false;
    for (std::size_t i = range->first; i < range->last && !replaced; ++i) {
      const auto k = KeyOf(lines[i]);
      if (k && SameNoCase(*k, Trim(key))) {
        lines[i] = std::string(*k) + "=" + std::string(value);  // the key keeps its spelling
        replaced = true;
      }
      if (!Trim(lines[i]).empty()) insert_at = i + 1;
    }
    if (!replaced) lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(insert_at), entry);
  } else {
    lines.push_back(Concat("[", Trim(section), "]"));
    lines.push_back(entry);
  }
  return JoinLines(lines) + std::string(kCrLf);
}

std::vector<std::string> IniSectionNames(std::string_view text) {
  std::vector<std::string> names;
  for (const auto& line : SplitLines(text)) {
    if (const auto name = SectionName(line)) names.emplace_back(*name);
  }
  return names;
}

bool IniHasSection(std::string_view text, std::string_view section) {
  const std::string header = Concat("[", section, "]");
  const auto lines = SplitLines(text);
  return std::find(lines.begin(), lines.end(), header) != lines.end();
}

std::optional<std::string> IniWithoutSection(std::string_view text, std::string_view section) {
  // The stored format is exact: "[section]" followed by CR LF, the next section begins with
  // CR LF "[".
  const std::string header = Concat("[", section, "]", kCrLf);
  std::string whole(text);
  whole += kCrLf;  // the last line of ReadFile's text has no line end of its own
  std::size_t start = whole.find(header);
  // Only a header at the start of a line counts.
  while (start != std::string::npos && start > 0 && whole[start - 1] != '\n') {
    start = whole.find(header, start + 1);
  }
  if (start == std::string::npos) return std::nullopt;
  std::string kept = whole.substr(0, start);
  const std::size_t next = whole.find("\r\n[", start + header.size() - kCrLf.size());
  if (next != std::string::npos) {
    kept += whole.substr(next + kCrLf.size());
    kept.resize(kept.size() - kCrLf.size());  // the line end added above
  } else {
    while (kept.size() >= 2 && kept.compare(kept.size() - 2, 2, kCrLf) == 0) {
      kept.resize(kept.size() - 2);
    }
  }
  return kept;
}

}  // namespace quorvi::detail
