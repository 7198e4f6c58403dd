// Small ASCII text helpers of the FTP subsystems (command words, reply texts, phrase tests).
#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace quorvi::detail::ftp_text {

/// Removes blanks (spaces only, as the reply rules say) from both ends.
inline std::string Trim(std::string_view text) {
  const auto first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(' ');
  return std::string(text.substr(first, last - first + 1));
}

inline std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

inline std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

inline bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

}  // namespace quorvi::detail::ftp_text
