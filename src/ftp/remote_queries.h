// Remote information queries: the entries of a folder, one file's entry, a file's size and
// whether a file exists. They build on the listing retrieval (and its cache) and on SIZE.
// Failures are recorded (ErrorNumber/ErrorInfo), never thrown.
#pragma once

#include <quorvi/ftp_file.h>

#include <optional>
#include <string>

namespace quorvi::detail {

class Core;

/// The entries of a folder sorted by name without regard to case; nothing for an empty
/// folder, a failed listing, or a path that names a file (20008).
std::optional<CFtpFiles> GetFtpDirectoryInfo(Core& core, const std::string& directory_path);
/// The entries of one folder taken literally (a name from a listing), in listing order, for
/// the engines: nothing with ErrorNumber 0 for an empty folder; nothing with an error for a
/// folder that cannot be listed or entered (20008 when it is not there).
std::optional<CFtpFiles> GetFtpFolderEntries(Core& core, const std::string& folder);
/// One file's entry (from the cache, a listing, or MLST when listing with MLSD); nothing for a
/// missing name or a directory (20007).
std::optional<CFtpFile> GetFtpFileInfo(Core& core, const std::string& file_path);
/// The size from a listing, else from SIZE: -1 when the file does not exist, -2 when unknown.
double GetFtpFileSize(Core& core, const std::string& file_path);
/// GetFtpFileSize is 0 or more.
bool ExistFile(Core& core, const std::string& file_path);
/// The SIZE exchange: the size, -1 (550) or -2.
double GetRemoteFileSize(Core& core, const std::string& path);
/// The last failure says that the file does not exist.
bool IsNoSuchFile(Core& core);

/// Entries in name order without regard to case (stable for equal names).
CFtpFiles SortedByName(const CFtpFiles& files);

}  // namespace quorvi::detail
