// The two path normalisers and the local path model. Local paths are native POSIX paths: this
// module alone owns the local separator and the absolute-path test (docs/paths-and-dates.md).
#pragma once

#include <string>
#include <string_view>

namespace quorvi::detail {

/// Separator of local paths.
inline constexpr char kLocalSeparator = '/';

/// Trims leading and trailing blanks (spaces only, as every path rule does).
std::string_view TrimBlanks(std::string_view text);
/// Local normaliser: trim, runs of "/" collapse to one; a trailing "/" is kept. A backslash
/// is a name character. For paths the host gives; names from a listing or a walk are joined
/// as they are.
std::string FormatLocalPath(std::string_view path);
/// Remote normaliser: trim, runs of "/" collapse, "http://" and "https://" survive; a
/// backslash is a name character.
std::string FormatFTPPath(std::string_view path);
/// True for a local path that starts at the root (leading "/", after trimming).
bool IsAbsoluteLocalPath(std::string_view path);
/// Folder part of a local path: "/a/b" → "/a", "/a/" → "/a", "/a" → "/", "a" and "/" → "".
std::string GetParentFolderPath(std::string_view path);

}  // namespace quorvi::detail
