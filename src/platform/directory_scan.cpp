#include "platform/directory_scan.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <memory>

namespace quorvi::platform {
namespace {

struct DirCloser {
  void operator()(DIR* d) const { closedir(d); }
};

std::string Joined(const std::string& folder, const std::string& name) {
  if (!folder.empty() && folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

// Mount table fields escape blanks and backslashes as octal (\040).
std::string UnescapeMountField(const std::string& s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 3 < s.size() &&
        std::all_of(s.begin() + static_cast<long>(i) + 1, s.begin() + static_cast<long>(i) + 4,
                    [](char c) { return c >= '0' && c <= '7'; })) {
      out += static_cast<char>((s[i + 1] - '0') * 64 + (s[i + 2] - '0') * 8 + (s[i + 3] - '0'));
      i += 3;
    } else {
      out += s[i];
    }
  }
  return out;
}

}  // namespace

DirListing ReadDirectory(const std::string& folder) {
  DirListing out;
  std::unique_ptr<DIR, DirCloser> dir(opendir(folder.c_str()));
  if (!dir) {
    out.error = errno;
    return out;
  }
  errno = 0;
  while (const dirent* e = readdir(dir.get())) {
    std::string name = e->d_name;
    if (name == "." || name == "..") continue;
    DirEntry entry;
    entry.name = std::move(name);
    const std::string full = Joined(folder, entry.name);
    struct stat link_info {};
    if (lstat(full.c_str(), &link_info) != 0) continue;  // vanished since readdir
    entry.is_symlink = S_ISLNK(link_info.st_mode);
    struct stat info {};
    if (stat(full.c_str(), &info) == 0) {
      entry.is_dir = S_ISDIR(info.st_mode);
      entry.is_regular = S_ISREG(info.st_mode);
      if (!entry.is_dir) entry.size = static_cast<double>(info.st_size);
    }
    out.entries.push_back(std::move(entry));
    errno = 0;
  }
  if (errno != 0) out.error = errno;
  std::sort(out.entries.begin(), out.entries.end(),
            [](const DirEntry& a, const DirEntry& b) { return a.name < b.name; });
  return out;
}

std::vector<MountPoint> ReadMounts() {
  std::vector<MountPoint> out;
  std::ifstream in("/proc/self/mounts");
  std::string device, dir, type, rest;
  for (int guard = 0; guard < 100000 && (in >> device >> dir >> type); ++guard) {
    std::getline(in, rest);
    out.push_back({UnescapeMountField(device), UnescapeMountField(dir), type});
  }
  return out;
}

bool IsRemovableBlockDevice(const std::string& device) {
  const std::string prefix = "/dev/";
  if (device.rfind(prefix, 0) != 0) return false;
  std::string name = device.substr(prefix.size());
  // The removable flag sits on the whole disk: strip the partition number ("sdb1" -> "sdb").
  for (int tries = 0; tries < 2 && !name.empty(); ++tries) {
    std::ifstream flag("/sys/block/" + name + "/removable");
    char c = '0';
    if (flag >> c) return c == '1';
    while (!name.empty() && name.back() >= '0' && name.back() <= '9') name.pop_back();
  }
  return false;
}

}  // namespace quorvi::platform
