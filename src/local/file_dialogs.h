// The rules of the three file dialogs: what they are asked and how their answers become the
// texts the host receives. The dialogs themselves are shown by the user-interface provider.
#pragma once

#include <string>
#include <vector>

namespace quorvi::detail {

/// Captions the dialogs put into the on-top window list while they are shown.
inline constexpr const char* kBrowseFolderCaptions =
    "浏览文件夹|浏览打印机|瀏覽文件夾|瀏覽打印機|Browse for Folder|Browse for Printer";
inline constexpr const char* kSaveFileTitle = "Save File";
inline constexpr const char* kOpenFileTitle = "Select File";
inline constexpr const char* kBrowseFolderTitle = "Select A Folder:";
/// The save dialog's only filter.
inline constexpr const char* kAllFilesFilter = "*.*";

/// The open dialog's pattern list: FileFilter, else FileType; "|" and "," become ";"; bare
/// extensions become "*.ext" patterns ("jpg;png" gives "*.jpg;*.png"); "*.*." "**" ".." are
/// repaired; an empty list is "*.*".
std::string OpenFileFilter(const std::string& FileFilter, const std::string& FileType);

/// The name the save dialog proposes: the last name of the trimmed path, cut at a "|".
/// Fails (ComponentError 5) for a name longer than 254 characters.
std::string SaveFileProposal(const std::string& FileName);

/// The folder browser's answer as the host receives it: ending with exactly one "/".
std::string BrowseFolderResult(const std::string& folder);

/// The open dialog's answer: one path as it is, several joined by "|" ("" when cancelled).
std::string OpenFileResult(const std::vector<std::string>& paths);

/// Appends "/" unless the text already ends with one.
std::string WithTrailingSlash(const std::string& path);

}  // namespace quorvi::detail
