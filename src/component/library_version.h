// The component's version and release date.
#pragma once

namespace quorvi::detail {

inline constexpr const char* kVersion = "4.5.10";
/// Release date in the short date format.
inline constexpr const char* kReleaseDate = "2011-05-31";

}  // namespace quorvi::detail
