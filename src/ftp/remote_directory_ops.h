// Remote directory operations: existence, recursive creation (with the created-directories
// list and the "already exists" reply texts), recursive removal (with its guard), changing the
// working directory and its parent. Each public body runs the method frame and never throws.
#pragma once

#include <string>

namespace quorvi::detail {

class Core;

/// True for the root ("" or "/") and for a directory entry of that name (any case) in the
/// listing of its parent. Sends nothing itself; does not clear the last error.
bool ExistDirectory(Core& core, const std::string& directory_name);
/// MKD, after the missing parents when recursive; a refusal saying the directory exists
/// counts as success.
bool CreateDirectory(Core& core, const std::string& directory_path, bool recursive);
/// RMD; a folder refused as not empty is emptied first (files, then subfolders depth first).
/// "/" is emptied, never removed.
bool RemoveDirectory(Core& core, const std::string& directory_path);
/// Deletes the files and subfolders of a folder, then the folder itself (unless it is "/").
bool RemoveFTPFolderAndFiles(Core& core, const std::string& folder_path);
/// CWD, then the stored current directory follows.
bool SetCurrentDirectory(Core& core, const std::string& directory_path);
/// The parent of the server's working directory (asks with PWD; the server stays there).
std::string GetParentDirectory(Core& core);

// ---- The path rules of these operations ----

/// ExistDirectory's split: the parent (with its trailing "/") and the last name.
struct DirectorySplit {
  std::string parent;
  std::string name;
};
DirectorySplit SplitDirectoryName(const std::string& directory_name);

/// The current directory after a successful CWD to `path` ("/" is held as "").
std::string NextCurrentDirectory(const std::string& current, const std::string& path);

/// GetParentDirectory's rule: the text before the last "/" when that "/" is not the first
/// character, otherwise "/".
std::string ParentOfDirectory(const std::string& directory);

/// True when the framed created-directories list holds the path (any case).
bool CreatedListHolds(const std::string& list, const std::string& path);

}  // namespace quorvi::detail
