// The registry replacement: a small durable key/value store on disk.
//
// Layout under the store root: one folder per root key and per key below it, named by the
// key's name in lower case (percent-escaped where a byte would not be a safe file name), so
// keys compare without case. A key folder holds the key's display name in ".name" and one file
// per value, "=" + the escaped lower-case value name ("=" alone is the default value). A value
// file is one header line "<type> <escaped display name>" followed by the raw data bytes.
// Writers take an exclusive flock on "<root>/.lock" and replace files by rename, so two
// processes writing at once never lose or tear a value; readers take the shared lock.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quorvi::platform {

/// Value type codes, numbered as the classic registry numbers them.
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;

struct RegistryValue {
  std::uint32_t type = kRegSz;
  std::string data;  ///< text bytes, 4 little-endian bytes for a DWORD, raw bytes for binary
};

/// A key path: the root's name ("HKEY_CURRENT_USER") followed by the key names below it.
using KeyPath = std::vector<std::string>;

class RegistryStore {
 public:
  explicit RegistryStore(std::filesystem::path root) : root_(std::move(root)) {}
  /// The store of this user: $QUORVI_REGISTRY, else ${XDG_CONFIG_HOME:-$HOME/.config}/quorviftp/registry.
  static RegistryStore Default();

  const std::filesystem::path& root() const { return root_; }

  /// Creates the key and its missing parents; true when it exists afterwards.
  bool CreateKey(const KeyPath& key);
  bool KeyExists(const KeyPath& key) const;
  /// Deletes the key with all its subkeys and values (a root cannot be deleted).
  bool DeleteKey(const KeyPath& key);
  /// Writes a value of an existing key; name "" is the default value.
  bool SetValue(const KeyPath& key, const std::string& name, const RegistryValue& value);
  std::optional<RegistryValue> GetValue(const KeyPath& key, const std::string& name) const;
  bool DeleteValue(const KeyPath& key, const std::string& name);

 private:
  std::optional<std::filesystem::path> KeyFolder(const KeyPath& key) const;
  std::filesystem::path root_;
};

/// The key whose values are answered from the XDG user directories (compared without case).
inline constexpr const char* kShellFoldersKey =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

/// The user's special folders as "Shell Folders" value names map them ("Desktop", "Personal",
/// "My Music", ...), read from $XDG_CONFIG_HOME/user-dirs.dirs with the usual defaults.
std::map<std::string, std::string> ShellFolders();

/// Lower-cases ASCII letters (key and value names compare this way).
std::string FoldCase(const std::string& text);

}  // namespace quorvi::platform
