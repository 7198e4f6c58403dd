#include "script_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace quorvi::test {
namespace {

using Clock = std::chrono::steady_clock;

// Closes on scope exit; the pipes must not outlive a failed start.
struct Fd {
  int fd = -1;
  ~Fd() { Reset(); }
  void Reset() {
    if (fd >= 0) ::close(fd);
    fd = -1;
  }
};

bool MakePipe(Fd& read_end, Fd& write_end) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return false;
  read_end.fd = fds[0];
  write_end.fd = fds[1];
  return true;
}

[[noreturn]] void ExecChild(const std::vector<std::string>& argv,
                            const std::vector<std::pair<std::string, std::string>>& env,
                            int out_fd, int err_fd) {
  ::setpgid(0, 0);  // so a deadline kill takes the whole script
  ::dup2(out_fd, STDOUT_FILENO);
  ::dup2(err_fd, STDERR_FILENO);
  const int null_fd = ::open("/dev/null", O_RDONLY);
  if (null_fd >= 0) ::dup2(null_fd, STDIN_FILENO);
  for (const auto& [name, value] : env) ::setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  ::execv(args[0], args.data());
  ::_exit(127);
}

}  // namespace

ScriptResult RunScript(const std::vector<std::string>& argv,
                       const std::vector<std::pair<std::string, std::string>>& env,
                       std::chrono::milliseconds limit) {
  ScriptResult result;
  Fd out_read, out_write, err_read, err_write;
  if (argv.empty() || !MakePipe(out_read, out_write) || !MakePipe(err_read, err_write)) {
    return result;
  }
  const pid_t child = ::fork();
  if (child < 0) return result;
  if (child == 0) ExecChild(argv, env, out_write.fd, err_write.fd);
  out_write.Reset();
  err_write.Reset();

  const auto deadline = Clock::now() + limit;
  bool timed_out = false;
  while (out_read.fd >= 0 || err_read.fd >= 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) {
      timed_out = true;
      ::kill(-child, SIGKILL);
      break;
    }
    pollfd fds[2] = {{out_read.fd, POLLIN, 0}, {err_read.fd, POLLIN, 0}};
    if (::poll(fds, 2, static_cast<int>(left.count())) < 0 && errno != EINTR) break;
    Fd* ends[2] = {&out_read, &err_read};
    std::string* sinks[2] = {&result.out, &result.err};
    for (int i = 0; i < 2; ++i) {
      if (ends[i]->fd < 0 || fds[i].revents == 0) continue;
      char chunk[4096];
      const ssize_t n = ::read(ends[i]->fd, chunk, sizeof chunk);
      if (n > 0) {
        sinks[i]->append(chunk, static_cast<std::size_t>(n));
      } else {
        ends[i]->Reset();
      }
    }
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!timed_out && WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
  return result;
}

}  // namespace quorvi::test
