// The "Shell Folders" key of the store, answered from the XDG base and user directories.
#include <cstdlib>
#include <fstream>

#include "platform/registry_store.h"

namespace quorvi::platform {
namespace {

std::string Env(const char* name, const std::string& fallback) {
  const char* v = std::getenv(name);
  return v && *v ? std::string(v) : fallback;
}

// One user directory: its user-dirs.dirs variable and its folder below $HOME when unset.
struct UserDir {
  const char* value_name;
  const char* variable;
  const char* fallback;
};

constexpr UserDir kUserDirs[] = {
    {"Desktop", "XDG_DESKTOP_DIR", "Desktop"},
    {"Personal", "XDG_DOCUMENTS_DIR", "Documents"},
    {"My Music", "XDG_MUSIC_DIR", "Music"},
    {"My Pictures", "XDG_PICTURES_DIR", "Pictures"},
    {"My Video", "XDG_VIDEOS_DIR", "Videos"},
    {"Templates", "XDG_TEMPLATES_DIR", "Templates"},
    {"Downloads", "XDG_DOWNLOAD_DIR", "Downloads"},
    {"{374DE290-123F-4565-9164-39C4925E467C}", "XDG_DOWNLOAD_DIR", "Downloads"},
};

// Reads VAR="value" lines of user-dirs.dirs; "$HOME" at the start is expanded.
std::map<std::string, std::string> ReadUserDirsFile(const std::string& file,
                                                    const std::string& home) {
  std::map<std::string, std::string> vars;
  std::ifstream in(file);
  std::string line;
  for (int n = 0; n < 1000 && std::getline(in, line); ++n) {
    if (line.empty() || line[0] == '#') continue;
    const auto eq = line.find('=');
    if (eq == std::string::npos) continue;
    std::string value = line.substr(eq + 1);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
      value = value.substr(1, value.size() - 2);
    if (value.rfind("$HOME", 0) == 0) value = home + value.substr(5);
    if (!value.empty() && value[0] == '/') vars[line.substr(0, eq)] = value;
  }
  return vars;
}

}  // namespace

std::map<std::string, std::string> ShellFolders() {
  const std::string home = Env("HOME", "/");
  const std::string config = Env("XDG_CONFIG_HOME", home + "/.config");
  const std::string data = Env("XDG_DATA_HOME", home + "/.local/share");
  const auto vars = ReadUserDirsFile(config + "/user-dirs.dirs", home);

  std::map<std::string, std::string> folders;
  for (const auto& dir : kUserDirs) {
    auto it = vars.find(dir.variable);
    folders[dir.value_name] =
        it != vars.end() ? it->second : (home == "/" ? "" : home) + "/" + dir.fallback;
  }
  folders["AppData"] = config;
  folders["Local AppData"] = data;
  folders["Cache"] = Env("XDG_CACHE_HOME", home + "/.cache");
  folders["Fonts"] = data + "/fonts";
  folders["Startup"] = config + "/autostart";
  folders["Programs"] = data + "/applications";
  folders["Start Menu"] = data + "/applications";
  return folders;
}

}  // namespace quorvi::platform
