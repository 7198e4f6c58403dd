#include "qt/dialog_text.h"

#include <cctype>

namespace quorvi::qt {

char AccessKey(const std::string& caption) {
  for (std::size_t i = 0; i + 1 < caption.size(); ++i) {
    if (caption[i] != '&') continue;
    if (caption[i + 1] == '&') {
      ++i;  // a literal "&"; the next one may still mark the key
      continue;
    }
    const auto key = static_cast<unsigned char>(caption[i + 1]);
    return std::isalnum(key) ? static_cast<char>(std::toupper(key)) : 0;
  }
  return 0;
}

std::string LabelText(const std::string& message) {
  std::string out;
  out.reserve(message.size());
  for (std::size_t i = 0; i < message.size(); ++i) {
    if (message[i] != '\r') {
      out += message[i];
    } else if (i + 1 >= message.size() || message[i + 1] != '\n') {
      out += '\n';
    }
  }
  // The component's text ends with a line end; a label would show it as an empty line.
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

std::string NameFilter(const std::string& patterns) {
  std::string list;
  std::size_t start = 0;
  while (start <= patterns.size()) {
    auto end = patterns.find(';', start);
    if (end == std::string::npos) end = patterns.size();
    std::string pattern = patterns.substr(start, end - start);
    while (!pattern.empty() && pattern.front() == ' ') pattern.erase(0, 1);
    while (!pattern.empty() && pattern.back() == ' ') pattern.pop_back();
    if (pattern == "*.*") pattern = "*";
    if (!pattern.empty()) list += (list.empty() ? "" : " ") + pattern;
    start = end + 1;
  }
  if (list.empty() || list == "*") return "All files (*)";
  return "Files (" + list + ")";
}

}  // namespace quorvi::qt
