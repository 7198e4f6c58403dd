// What the three host-loop examples share: a stand-in for "the host's own loop" and the jobs a
// real host would run in it. Each example file shows how its loop drives the component.
#pragma once

#include <quorvi/ftp_library.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace loops {

/// What the jobs need from the host's loop; each example implements it with its toolkit.
class HostLoop {
 public:
  virtual ~HostLoop() = default;
  /// Runs the loop until Quit() or until limit has passed.
  virtual void Run(std::chrono::milliseconds limit) = 0;
  /// Makes Run return.
  virtual void Quit() = 0;
  /// Calls tick every period from the loop (the host's own timer).
  virtual void Every(std::chrono::milliseconds period, std::function<void()> tick) = 0;
  /// Calls job once from the loop, as soon as it runs.
  virtual void Soon(std::function<void()> job) = 0;
  /// Runs what is ready in the loop without blocking (for FtpLibrary::SetHostHook).
  virtual void Iterate() = 0;
};

/// Runs the job the command line names against the server it names:
///   HOST PORT USER PASSWORD idle SECONDS          keep-alive transcript while the host idles
///   HOST PORT USER PASSWORD idle-close            how soon a server's idle close is noticed
///   HOST PORT USER PASSWORD download REMOTE DIR   worst wait of the host's 10 ms timer
/// Prints what it saw; returns the process exit code.
int RunJob(quorvi::FtpLibrary& ftp, HostLoop& loop, const std::vector<std::string>& args);

}  // namespace loops
