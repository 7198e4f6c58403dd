// The file calls of the local file utilities: status, permissions, folder creation, deletion,
// pattern expansion and whole-file text input and output. Errors are errno values (0 = success).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvi::platform {

/// What stat() reports about a path (symbolic links followed).
struct FileStatus {
  bool is_directory = false;
  bool is_regular = false;
  bool writable = false;  ///< any write permission bit (user, group or other) is set
  double size = 0;        ///< bytes
  std::int64_t modified = 0;  ///< last write, seconds since the epoch
};

/// Status of a path; empty when it cannot be read (missing, no access).
std::optional<FileStatus> Stat(const std::string& path);
/// Sets (true) or removes (false) write permission: removing clears every write bit, setting
/// gives the owner write permission. Returns errno.
int SetWritable(const std::string& path, bool writable);
/// Creates one folder (mode 0777 less the umask). Returns errno.
int MakeDirectory(const std::string& path);
/// Deletes one file (not a folder). Returns errno.
int DeleteFile(const std::string& path);
/// Creates an empty file, truncating one that exists. Returns errno.
int CreateEmptyFile(const std::string& path);
/// Writes bytes to a file, appending or replacing its content; creates a missing file.
int WriteBytes(const std::string& path, const std::string& bytes, bool overwrite);
/// Reads the whole file into bytes. Returns errno.
int ReadBytes(const std::string& path, std::string& bytes);
/// Opens the file for reading (never blocks, even on a FIFO) and reports its size.
/// Returns errno; size is set on success.
int OpenedFileSize(const std::string& path, double& size);
/// Paths of the existing entries matching a "*"/"?"/"[...]" pattern, sorted; names starting
/// with "." match only an explicit ".".
std::vector<std::string> ExpandPattern(const std::string& pattern);
/// True when the text holds a character that ExpandPattern treats as a wildcard ("*" or "?").
bool HasWildcard(const std::string& text);
/// Local date and time of seconds since the epoch as "YYYY-MM-DD HH:MM:SS".
std::string LocalDateTimeText(std::int64_t seconds);
/// The system's text of an errno value.
std::string ErrorText(int error);

}  // namespace quorvi::platform
