// Case-insensitive comparison of names: remote and local names are UTF-8, so "Über" and
// "über" are one name to every look-up that ignores case, not only ASCII letters.
#pragma once

#include <string>
#include <string_view>

namespace quorvi::detail {

/// The name with every letter in its lower-case form (Unicode simple case mapping, through the
/// C library's towlower_l in the C.UTF-8 locale). Bytes that are not UTF-8 stay as they are.
std::string FoldCase(std::string_view text);

/// True when the two names differ at most in the case of their letters.
inline bool SameNameIgnoringCase(std::string_view a, std::string_view b) {
  return FoldCase(a) == FoldCase(b);
}

}  // namespace quorvi::detail
