// The local folder walker (entry lists) and the two counting walks (total size, file count).
//
// Local paths are POSIX paths. Hidden entries are dot-names; there is no "system" attribute on
// Linux, so nothing is left out for it. A symbolic link to a folder is listed as a folder but
// never descended, so a link loop cannot make a walk endless. Entries come in name order.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quorvi::detail {

/// What a walk calls while it runs: the event pump after every entry, and the log writer.
struct WalkHooks {
  std::function<void()> pump;
  std::function<void(const std::string&)> log;
};

/// Entry-list flags: files only, folders only, both with "|0"/"|1" marks (the default).
enum WalkFlag : std::int16_t { kWalkFilesOnly = 0, kWalkFoldersOnly = 1, kWalkMarked = 2 };

/// Walks folder_path (rewritten with "/" separators) and returns the entry list: full paths
/// joined by "*". A folder that cannot be read contributes
/// "Error:<text>(<entry>)#|#<number>" in place of its entries. A last part holding "*" or "?"
/// and a "." is a name pattern: only the matching files of that folder are listed.
std::string GetFolderFilePath(std::string& folder_path, bool recursive = true,
                              std::int16_t flag = kWalkMarked, const WalkHooks& hooks = {});

/// The walker's worker. inner_folder_path and dir_count carry the subfolders found so far
/// across the recursive calls (start with an empty vector and 0); extend_name filters files
/// by extension ("" or "*" for all).
std::string ListDirs(std::string& folder_path, std::vector<std::string>& inner_folder_path,
                     const std::string& extend_name, bool recursive, std::int16_t flag,
                     std::int32_t& dir_count, const WalkHooks& hooks = {});

/// The totals the counting walks add to; a call with i other than 1 resets its total.
struct FolderTotals {
  double size = 0;
  double files = 0;
};

/// Sum of the file sizes below a folder (hidden subfolders are not entered). 0 for a missing
/// folder or a relative path. Throws ComponentError (text ends with "[path]") when a folder
/// cannot be read.
double LocalFolderSize(FolderTotals& totals, std::string folder_path, std::int32_t i,
                       const WalkHooks& hooks = {});

/// Number of files below a folder (hidden subfolders are not entered); a "*"/"?" pattern counts
/// the matching files of that folder only. A missing folder counts 0. Throws ComponentError
/// when an existing folder cannot be read.
double LocalFolderFileCount(FolderTotals& totals, std::string folder_path, std::int32_t i,
                            const WalkHooks& hooks = {});

/// Case-insensitive match of "*" (any run) and "?" (one character).
bool WildcardMatch(const std::string& pattern, const std::string& name);

}  // namespace quorvi::detail
