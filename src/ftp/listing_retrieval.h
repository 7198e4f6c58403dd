// Listing retrieval: the one routine that fetches a remote listing over the data connection
// (LIST or MLSD, with the ListAll / ListDirForFile / ListDirWithAsterisk options), parses it,
// and keeps the raw text of the last listing as a cache for single-file look-ups.
#pragma once

#include <quorvi/ftp_file.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quorvi::detail {

class Core;

/// The error state at construction, put back later: a listing or directory change begins an
/// operation of its own and so clears the error object.
struct SavedError {
  explicit SavedError(Core& core);
  void PutBack(Core& core) const;
  std::int32_t number;
  std::string description, source;
  std::int32_t last_number;
  std::string last_text;
};

/// How one path is listed.
struct ListingPlan {
  std::string path;             ///< the requested path ("" = the current directory)
  std::string parent;           ///< folder that the entries' FilePath is built from
  bool explicit_folder = false; ///< a pattern or a folder path ending with "/"
  bool may_be_file = false;     ///< the path may name a single file
  bool use_list = false;        ///< a pattern: LIST even when the list command is MLSD
  bool change_directory = false;///< change to `directory` first and back afterwards
  std::string directory;        ///< the folder changed into (with change_directory)
  std::string listed;           ///< the argument of LIST/MLSD ("" = the current directory)
  std::string only_name;        ///< keep only the entries of this exact name ("" = all)
};

/// The plan for a requested path given the current directory, the list command and
/// ListDirForFile. The root "/" stays "/" (listing "" would list the current directory).
/// MLSD changes into the folder; so does LIST where its argument would hold a blank, which
/// some servers (pure-ftpd) split into separate arguments.
ListingPlan PlanListing(const std::string& requested, const std::string& current_directory,
                        const std::string& list_command, bool list_dir_for_file);

/// The plan for one folder taken literally (a name from a listing: "*", "?", blanks and
/// backslashes are characters of it): LIST with the path, or a change into the folder and a
/// listing without argument where LIST would read those characters (and always with MLSD).
ListingPlan PlanFolderListing(const std::string& folder, const std::string& list_command);

/// Lists a remote folder, a pattern or (with ListDirForFile) the folder of a single name.
/// Nothing when the listing is empty, failed or connecting failed; the reason is in
/// ErrorNumber/ErrorInfo. Fails of its own (16009, 20004, 16002) are reported under
/// "GetRemoteFilesInfo".
std::optional<CFtpFiles> GetRemoteFilesInfo(Core& core, const std::string& path);
/// Lists one folder taken literally (see PlanFolderListing); otherwise as GetRemoteFilesInfo.
std::optional<CFtpFiles> GetRemoteFolderEntries(Core& core, const std::string& folder);
/// The listing steps shared by both: connect, plan, list, parse, put back what was changed.
std::optional<CFtpFiles> ListRemote(Core& core, const std::function<ListingPlan()>& make_plan);

/// The file (never a directory) of the cached listing at exactly `path` (relative paths are
/// taken from the current directory); nothing when the cache is off, stale (the component
/// changed something on the server since) or lists another folder.
std::optional<CFtpFile> GetFtpFileInfoFromCache(Core& core, const std::string& path);

}  // namespace quorvi::detail
