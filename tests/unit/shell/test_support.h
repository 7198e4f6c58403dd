// Helpers of the shell tests: a temporary folder and scoped environment variables.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

namespace quorvi::testing {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorvi-shell-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    ::setenv(name, value.c_str(), 1);
  }
  /// Unsets the variable for the scope.
  ScopedEnv(const char* name, std::nullopt_t) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    ::unsetenv(name);
  }
  ~ScopedEnv() { old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_); }
  ScopedEnv(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

inline void WriteFile(const std::string& path, const std::string& text, bool executable = false) {
  std::ofstream(path) << text;
  if (executable)
    std::filesystem::permissions(path, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add);
}

/// The file's text once it exists (waits at most five seconds), or nothing.
inline std::optional<std::string> WaitForFile(const std::string& path) {
  for (int i = 0; i < 500 && !std::filesystem::exists(path); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (!std::filesystem::exists(path)) return std::nullopt;
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

}  // namespace quorvi::testing
