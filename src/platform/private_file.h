// Files the component writes for its own use (the log, the status files, the registry store),
// possibly in folders other users can write to: never through a symbolic link, never into a
// file another user owns or another name shares, never readable by others.
#pragma once

#include <string>

namespace quorvi::platform {

/// One open descriptor of such a file; closed on destruction.
class PrivateFile {
 public:
  /// Opens path for writing with O_NOFOLLOW | O_CLOEXEC, creating it with mode 0600
  /// (exclusive: it must not exist yet). An existing file is taken only when it is a regular
  /// file of this user with a single name; it then loses any group and other permission.
  /// Nothing is truncated before these checks. error() tells why it failed (ELOOP: a symbolic
  /// link; EPERM: not such a file).
  PrivateFile(const std::string& path, bool exclusive = false);
  ~PrivateFile();
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  bool ok() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  int error() const { return error_; }
  /// Replaces the content (overwrite) or appends; returns errno (0 = written).
  int Write(const std::string& bytes, bool overwrite);
  /// Closes now so that a failing close is reported; returns errno.
  int Close();

 private:
  int fd_ = -1;
  int error_ = 0;
};

/// WritePrivateFile: PrivateFile(path).Write(bytes, overwrite), then Close. Returns errno.
int WritePrivateFile(const std::string& path, const std::string& bytes, bool overwrite);

/// Creates a folder and its missing parents, each new one with mode 0700 (existing folders are
/// left as they are). Returns errno (0 when the folder exists afterwards).
int MakePrivateFolders(const std::string& path);

}  // namespace quorvi::platform
