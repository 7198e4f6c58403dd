#include "platform/system_folders.h"

#include <cstdlib>

namespace quorvi::platform {

namespace {

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string(value) : std::string();
}

// A variable that names an absolute path; "" otherwise (a relative one would depend on the
// current folder).
std::string AbsoluteEnv(const char* name) {
  std::string value = Env(name);
  return value.starts_with('/') ? value : std::string();
}

std::string WithSlash(std::string folder) {
  if (folder.empty() || folder.back() != '/') folder += '/';
  return folder;
}

}  // namespace

std::string WindowsFolder() {
  if (auto dir = Env("QUORVI_WINDOWS_DIR"); !dir.empty()) return WithSlash(dir);
  // Only folders of this user: a fixed name in a world-writable folder (the temporary one)
  // could be planted by anyone, and the log written there would hold server replies.
  std::string base = AbsoluteEnv("XDG_DATA_HOME");
  if (base.empty() && !AbsoluteEnv("HOME").empty()) base = WithSlash(Env("HOME")) + ".local/share";
  if (base.empty()) base = AbsoluteEnv("XDG_STATE_HOME");
  if (base.empty()) base = AbsoluteEnv("XDG_RUNTIME_DIR");
  return base.empty() ? std::string() : WithSlash(base) + "quorviftp/";
}

std::string SystemFolder() {
  const std::string windows = WindowsFolder();
  return windows.empty() ? std::string() : windows + "system/";
}

std::string TempFolder() {
  auto dir = Env("TMPDIR");
  return WithSlash(dir.empty() ? "/tmp" : dir);
}

}  // namespace quorvi::platform
