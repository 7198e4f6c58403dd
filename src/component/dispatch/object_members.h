// By-name access to the entry types CFtpFile and CFtpFiles.
#pragma once

#include <quorvi/dispatch.h>

#include <string_view>

namespace quorvi::detail {

/// Names compared as a script host compares them: ASCII letters without regard to case.
inline bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

/// The property of that name (any case); Empty when there is none.
Variant ReadFileProperty(const CFtpFile& file, std::string_view name);

}  // namespace quorvi::detail
