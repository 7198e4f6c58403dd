// Concat: joins string pieces into one string with a single allocation.
// Used instead of `"literal" + std::string(...)`: besides the copies it saves, GCC 12 reports a
// false -Wrestrict on that operator at -O3 (a consumer's Release build with -Werror fails).
#pragma once

#include <string>
#include <string_view>

namespace quorvi {

template <class... Pieces>
std::string Concat(const Pieces&... pieces) {
  const std::string_view views[] = {std::string_view(pieces)...};
  std::size_t size = 0;
  for (std::string_view v : views) size += v.size();
  std::string out;
  out.reserve(size);
  for (std::string_view v : views) out.append(v);
  return out;
}

}  // namespace quorvi
