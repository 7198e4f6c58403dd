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

/// What an entry of a walk is.
enum class WalkKind {
  kFile,        ///< a regular file (or a link to one)
  kFolder,      ///< a folder, or a link to one (listed, never entered)
  kOther,       ///< a FIFO, socket, device or dangling link: nothing a transfer can read
  kUnreadable,  ///< a folder that could not be read (in place of its entries)
};

/// One entry of a walk: the full path with the names joined as they are (any byte a Linux
/// name may hold, "|", "*", "?" and "\\" included).
struct WalkEntry {
  std::string path;
  WalkKind kind = WalkKind::kFile;
  std::int32_t error_number = 0;  ///< kUnreadable: file-error number (70, 75, 76)
  std::string error_text;         ///< kUnreadable: "Permission denied", ...
  bool link = false;              ///< the entry itself is a symbolic link
};

/// Walks folder: its entries in name order, then each subfolder's walk (when recursive). With
/// a pattern, only the matching files of folder itself. extend_name filters files by extension
/// ("" or "*" for all). The folder is taken as it is: no pattern is read from it.
std::vector<WalkEntry> WalkFolder(std::string folder, const std::string& pattern = {},
                                  bool recursive = true, const WalkHooks& hooks = {},
                                  const std::string& extend_name = {});

/// Entry-list flags: files only, folders only, both with "|0"/"|1" marks (the default).
enum WalkFlag : std::int16_t { kWalkFilesOnly = 0, kWalkFoldersOnly = 1, kWalkMarked = 2 };

/// The host's entry list of a walk: full paths joined by "*". A folder that cannot be read contributes
/// "Error:<text>(<entry>)#|#<number>" in place of its entries. A last part holding "*" or "?"
/// and a "." is a name pattern: only the matching files of that folder are listed.
std::string GetFolderFilePath(std::string& folder_path, bool recursive = true,
                              std::int16_t flag = kWalkMarked, const WalkHooks& hooks = {});

/// The entry list of folder_path (a "*"/"?" last part with a "." is a pattern of the folder
/// before it). inner_folder_path and dir_count receive the subfolders found (start with an
/// empty vector and 0); extend_name filters files by extension ("" or "*" for all).
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

/// True when path, with every symbolic link resolved, lies inside folder (resolved too).
/// False when either cannot be resolved.
bool ResolvesInside(const std::string& path, const std::string& folder);

/// Case-insensitive match of "*" (any run) and "?" (one character).
bool WildcardMatch(const std::string& pattern, const std::string& name);

}  // namespace quorvi::detail
