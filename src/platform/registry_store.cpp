#include "platform/registry_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "platform/private_file.h"

namespace quorvi::platform {
namespace fs = std::filesystem;

namespace {

constexpr const char* kLockFile = ".lock";
constexpr const char* kNameFile = ".name";

std::string Env(const char* name) {
  const char* v = std::getenv(name);
  return v ? std::string(v) : std::string();
}

// Escapes every byte that could make a file name unsafe or ambiguous: "/" and "%" always,
// control bytes, and a leading "." or "=" (reserved for our own files).
std::string Escape(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const bool reserved_start = i == 0 && (c == '.' || c == '=');
    if (c < 0x20 || c == 0x7f || c == '/' || c == '%' || reserved_start) {
      char buf[4];
      std::snprintf(buf, sizeof buf, "%%%02X", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

fs::path ValueFile(const fs::path& folder, const std::string& name) {
  // Appended, not "=" + string: GCC 12 reports a false -Wrestrict on that form at -O2.
  std::string file = "=";
  file += Escape(FoldCase(name));
  return folder / file;
}

// flock on the store's lock file; released (and the fd closed) on destruction. Only writers
// create the store folder and the lock file: a reader of a store nobody has written yet
// finds no lock file, holds nothing and reads nothing, and leaves the disk as it was.
class StoreLock {
 public:
  StoreLock(const fs::path& root, bool exclusive) {
    if (exclusive) MakePrivateFolders(root.string());
    const int flags = exclusive ? O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC
                                : O_RDONLY | O_NOFOLLOW | O_CLOEXEC;
    fd_ = ::open((root / kLockFile).c_str(), flags, 0600);
    if (fd_ >= 0 && ::flock(fd_, exclusive ? LOCK_EX : LOCK_SH) != 0) Release();
  }
  ~StoreLock() { Release(); }
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;
  bool held() const { return fd_ >= 0; }

 private:
  void Release() {
    if (fd_ >= 0) ::close(fd_);  // closing drops the flock
    fd_ = -1;
  }
  int fd_ = -1;
};

// Writes the whole file beside its final name, syncs it, then renames it over the final name.
// Callers hold the exclusive store lock, so the temp name only has to differ between processes.
bool WriteAtomically(const fs::path& target, const std::string& bytes) {
  const fs::path temp = target.parent_path() / (".tmp." + std::to_string(::getpid()));
  std::error_code ec;
  fs::remove(temp, ec);  // a crashed writer's leftover (the link itself, never its target)
  PrivateFile file(temp.string(), true);
  bool written = file.Write(bytes, false) == 0 && ::fsync(file.fd()) == 0;
  written = file.Close() == 0 && written;
  if (written) fs::rename(temp, target, ec);
  const bool renamed = written && !ec;
  if (!renamed) fs::remove(temp, ec);
  return renamed;
}

std::optional<std::string> ReadWhole(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

bool IsShellFoldersKey(const KeyPath& key) {
  static const std::string folded = FoldCase(kShellFoldersKey);
  if (key.empty() || FoldCase(key[0]) != "hkey_current_user") return false;
  std::string rest;
  for (std::size_t i = 1; i < key.size(); ++i) {
    if (i > 1) rest += '\\';
    rest += FoldCase(key[i]);
  }
  return rest == folded;
}

}  // namespace

std::string FoldCase(const std::string& text) {
  std::string out = text;
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

RegistryStore RegistryStore::Default() {
  if (auto dir = Env("QUORVI_REGISTRY"); !dir.empty()) return RegistryStore(dir);
  std::string config = Env("XDG_CONFIG_HOME");
  if (config.empty()) config = Env("HOME") + "/.config";
  return RegistryStore(fs::path(config) / "quorviftp" / "registry");
}

std::optional<fs::path> RegistryStore::KeyFolder(const KeyPath& key) const {
  if (key.empty()) return std::nullopt;
  fs::path folder = root_;
  for (const auto& part : key) {
    if (part.empty()) return std::nullopt;
    folder /= Escape(FoldCase(part));
  }
  return folder;
}

bool RegistryStore::CreateKey(const KeyPath& key) {
  auto folder = KeyFolder(key);
  if (!folder) return false;
  StoreLock lock(root_, true);
  if (!lock.held()) return false;
  fs::path path = root_;
  for (const auto& part : key) {
    path /= Escape(FoldCase(part));
    std::error_code ec;
    if (fs::is_directory(path, ec)) continue;
    if (::mkdir(path.c_str(), 0700) != 0 && !fs::is_directory(path, ec)) return false;
    if (!WriteAtomically(path / kNameFile, part)) return false;
  }
  return true;
}

bool RegistryStore::KeyExists(const KeyPath& key) const {
  if (IsShellFoldersKey(key)) return true;
  auto folder = KeyFolder(key);
  std::error_code ec;
  return folder && fs::is_directory(*folder, ec);
}

bool RegistryStore::DeleteKey(const KeyPath& key) {
  auto folder = KeyFolder(key);
  if (!folder || key.size() < 2) return false;
  StoreLock lock(root_, true);
  std::error_code ec;
  if (!lock.held() || !fs::is_directory(*folder, ec)) return false;
  // Rename first so a concurrent reader never sees a half-deleted key.
  const fs::path doomed = folder->parent_path() / (".del." + std::to_string(::getpid()) + "." +
                                                   folder->filename().string());
  fs::rename(*folder, doomed, ec);
  if (ec) return false;
  fs::remove_all(doomed, ec);
  return true;
}

bool RegistryStore::SetValue(const KeyPath& key, const std::string& name,
                             const RegistryValue& value) {
  auto folder = KeyFolder(key);
  if (!folder) return false;
  StoreLock lock(root_, true);
  std::error_code ec;
  if (!lock.held() || !fs::is_directory(*folder, ec)) return false;
  const std::string bytes =
      std::to_string(value.type) + " " + Escape(name) + "\n" + value.data;
  return WriteAtomically(ValueFile(*folder, name), bytes);
}

std::optional<RegistryValue> RegistryStore::GetValue(const KeyPath& key,
                                                     const std::string& name) const {
  if (IsShellFoldersKey(key)) {
    const auto folders = ShellFolders();
    for (const auto& [folder_name, path] : folders)
      if (FoldCase(folder_name) == FoldCase(name)) return RegistryValue{kRegSz, path};
  }
  auto folder = KeyFolder(key);
  if (!folder) return std::nullopt;
  StoreLock lock(root_, false);
  auto bytes = ReadWhole(ValueFile(*folder, name));
  if (!bytes) return std::nullopt;
  const auto eol = bytes->find('\n');
  if (eol == std::string::npos) return std::nullopt;
  RegistryValue value;
  try {
    value.type = static_cast<std::uint32_t>(std::stoul(bytes->substr(0, eol)));
  } catch (const std::exception&) {
    return std::nullopt;
  }
  value.data = bytes->substr(eol + 1);
  return value;
}

bool RegistryStore::DeleteValue(const KeyPath& key, const std::string& name) {
  auto folder = KeyFolder(key);
  if (!folder) return false;
  StoreLock lock(root_, true);
  std::error_code ec;
  return lock.held() && fs::remove(ValueFile(*folder, name), ec);
}

}  // namespace quorvi::platform
