// Line splitting of local text files: a line ends at CR LF, a lone CR or a lone LF.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvi::detail {

inline constexpr std::string_view kCrLf = "\r\n";

/// The lines of a text; a line end after the last line adds no empty line.
std::vector<std::string> SplitLines(std::string_view text);
/// Lines joined by CR LF, none after the last.
std::string JoinLines(const std::vector<std::string>& lines);

}  // namespace quorvi::detail
