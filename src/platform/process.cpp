#include "platform/process.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

extern char** environ;

namespace quorvi::platform {
namespace {

// The children this thread started and has not reaped yet.
std::vector<pid_t>& Children() {
  thread_local std::vector<pid_t> children;
  return children;
}

}  // namespace

std::size_t ReapChildren() {
  auto& children = Children();
  std::erase_if(children, [](pid_t pid) {
    int status = 0;
    const pid_t r = ::waitpid(pid, &status, WNOHANG);
    return r == pid || (r < 0 && errno == ECHILD);  // finished, or reaped by the host
  });
  return children.size();
}

SpawnResult SpawnProcess(const std::vector<std::string>& argv) {
  ReapChildren();
  if (argv.empty() || argv[0].empty()) return {0, ENOENT};
  std::vector<char*> args;
  args.reserve(argv.size() + 1);
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  pid_t pid = 0;
  const int rc = ::posix_spawnp(&pid, args[0], nullptr, nullptr, args.data(), environ);
  if (rc != 0) return {0, rc};
  Children().push_back(pid);
  return {pid, 0};
}

bool IsExecutableFile(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

}  // namespace quorvi::platform
