// MFile: the name parts of a path (local or remote).
#pragma once

#include <string>

namespace quorvi::detail::MFile {

/// Last name of a path, ignoring one trailing separator ("/a/b/" gives "b").
std::string GetFileName(const std::string& path);
/// The name without its last "." and what follows; a name without "." gives the whole
/// argument back unchanged.
std::string GetFileNameWEN(const std::string& path);
/// Text after the last "." of the whole (trimmed) path, "" when there is none; the dot is
/// searched in the whole path, so "/my.dir/readme" gives "dir/readme".
std::string GetFileExtendName(const std::string& path);

}  // namespace quorvi::detail::MFile
