// Remote directory entries: CFtpFile (one entry of a listing) and CFtpFiles (an ordered
// collection of entries keyed by name without regard to case). Hosts receive them from
// FtpLibrary::GetFtpFileInfo and FtpLibrary::GetFtpDirectoryInfo.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace quorvi {

/// One remote directory entry. Every property stores what it is given.
class CFtpFile {
 public:
  /// True for a directory (UNIX "d", DOS "<DIR>", any MLSD type but "file"); links are not.
  bool IsDirectory() const { return is_directory_; }
  void IsDirectory(bool value) { is_directory_ = value; }
  /// True for a symbolic link (UNIX "l", MLSD "OS.unix=symlink"/"slink"). A link is listed as
  /// an entry and never entered by the component's recursive operations.
  bool IsLink() const { return is_link_; }
  void IsLink(bool value) { is_link_ = value; }
  /// Size in bytes as listed; 0 when unknown. MLSD and DOS listings give 0 for folders, UNIX
  /// listings the folder's own size column (often 4096).
  double FileSize() const { return file_size_; }
  void FileSize(double value) { file_size_ = value; }
  /// Modification time. Stored as given ("YYYY-MM-DD HH:MM:SS" from the parser); read back
  /// without its seconds ("YYYY-MM-DD HH:MM"). Text without two colons reads unchanged.
  std::string LastWriteTime() const;
  void LastWriteTime(const std::string& value) { last_write_time_ = value; }
  /// Last path component of the entry.
  const std::string& FileName() const { return file_name_; }
  void FileName(const std::string& value) { file_name_ = value; }
  /// Full remote path: the listed folder, "/" and the name.
  const std::string& FilePath() const { return file_path_; }
  void FilePath(const std::string& value) { file_path_ = value; }
  /// UNIX permission column ("drwxr-xr-x"); empty for other formats.
  const std::string& Permissions() const { return permissions_; }
  void Permissions(const std::string& value) { permissions_ = value; }
  /// UNIX owner column; empty for other formats.
  const std::string& Owner() const { return owner_; }
  void Owner(const std::string& value) { owner_ = value; }
  /// UNIX group column; empty for other formats or when the line has none.
  const std::string& Group() const { return group_; }
  void Group(const std::string& value) { group_ = value; }

 private:
  bool is_directory_ = false;
  bool is_link_ = false;
  double file_size_ = 0;
  std::string last_write_time_;
  std::string file_name_;
  std::string file_path_;
  std::string permissions_;
  std::string owner_;
  std::string group_;
};

/// An ordered collection of entries with unique keys. A lookup by key or name takes the entry
/// of exactly that key first, else the first one equal without regard to case (any letter, not
/// only ASCII: "Über" finds "über"). Keys that differ only in case are two entries, as a
/// case-sensitive server's "A.txt" and "a.txt" are two files. Positions are 1-based as in the
/// component's interface. Lookups that find nothing return a null pointer; nothing here throws.
class CFtpFiles {
 public:
  using iterator = std::vector<CFtpFile>::iterator;
  using const_iterator = std::vector<CFtpFile>::const_iterator;

  /// Appends the entry under the key; null (and nothing added) when exactly that key is present.
  /// The pointer stays valid until the collection is next changed.
  CFtpFile* Add(CFtpFile oFtpFile, const std::string& vKey);
  /// Entry at the 1-based position; null outside 1..Count().
  CFtpFile* Item(std::int32_t vntIndexKey);
  const CFtpFile* Item(std::int32_t vntIndexKey) const;
  /// Entry stored under the key: exactly that key, else the first in any case; null if none.
  CFtpFile* Item(const std::string& vntKey);
  const CFtpFile* Item(const std::string& vntKey) const;
  /// Entry whose FileName is the name: exactly, else the first in any case; null when none.
  const CFtpFile* ItemName(const std::string& vntName) const;
  /// Number of entries.
  std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
  /// Removes the entry at the 1-based position; false outside 1..Count().
  bool Remove(std::int32_t vntIndexKey);

  // Iteration in order: for (const auto& f : files) ...
  iterator begin() { return items_.begin(); }
  iterator end() { return items_.end(); }
  const_iterator begin() const { return items_.begin(); }
  const_iterator end() const { return items_.end(); }

 private:
  std::vector<CFtpFile> items_;
  void Reindex();
  std::vector<std::string> keys_;                         ///< key of each item, as given
  std::unordered_map<std::string, std::size_t> index_;   ///< key → position (0-based)
  std::unordered_map<std::string, std::size_t> folded_;  ///< folded key → its first position
};

}  // namespace quorvi
