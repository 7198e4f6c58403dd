// Starting programs without a shell.
//
// Children are started with posix_spawnp and are not waited for. So that a finished child does
// not stay a zombie, each thread remembers the children it started and reaps the finished ones
// (waitpid with WNOHANG, by their own pid only, never -1) at its next SpawnProcess call or
// ReapChildren call; a host that waits for all its children itself does no harm.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quorvi::platform {

struct SpawnResult {
  pid_t pid = 0;  ///< the child's pid, 0 on failure
  int error = 0;  ///< errno of the failure (ENOENT: not found, EACCES: not executable, ...)
};

/// Starts argv[0] (searched in PATH when it has no "/") with argv; the environment and the
/// standard streams are the caller's.
SpawnResult SpawnProcess(const std::vector<std::string>& argv);

/// Reaps this thread's finished children; returns how many are still running.
std::size_t ReapChildren();

/// True for an existing regular file the caller may execute.
bool IsExecutableFile(const std::string& path);

}  // namespace quorvi::platform
