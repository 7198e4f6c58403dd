#include "platform/system_folders.h"

#include <cstdlib>

namespace quorvi::platform {

namespace {

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string(value) : std::string();
}

std::string WithSlash(std::string folder) {
  if (folder.empty() || folder.back() != '/') folder += '/';
  return folder;
}

}  // namespace

std::string WindowsFolder() {
  if (auto dir = Env("QUORVI_WINDOWS_DIR"); !dir.empty()) return WithSlash(dir);
  std::string data = Env("XDG_DATA_HOME");
  if (data.empty()) {
    const std::string home = Env("HOME");
    // Without a home folder there is nowhere per-user to go; the temporary folder still works.
    data = home.empty() ? TempFolder() : WithSlash(home) + ".local/share";
  }
  return WithSlash(data) + "quorviftp/";
}

std::string SystemFolder() { return WindowsFolder() + "system/"; }

std::string TempFolder() {
  auto dir = Env("TMPDIR");
  return WithSlash(dir.empty() ? "/tmp" : dir);
}

}  // namespace quorvi::platform
