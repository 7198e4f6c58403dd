// Helpers of the session suites: a recorder of state changes and pumping for a bounded time.
#pragma once

#include <quorvi/ftp_library.h>

#include <chrono>
#include <functional>
#include <vector>

#include "component/core.h"
#include "test_helpers.h"

namespace quorvi::test {

/// Every FtpState seen in OnStateChange, in order (until the recorder goes away).
struct StateRecorder {
  explicit StateRecorder(FtpLibrary& ftp) : ftp_(ftp) {
    id_ = ftp.OnStateChange().Subscribe([this] { states.push_back(ftp_.FtpState()); });
  }
  ~StateRecorder() { ftp_.OnStateChange().Unsubscribe(id_); }
  StateRecorder(const StateRecorder&) = delete;
  StateRecorder& operator=(const StateRecorder&) = delete;
  std::vector<int> states;

 private:
  FtpLibrary& ftp_;
  Event::Id id_;
};

/// Pumps the thread's events until done() holds or the limit passes; returns done().
inline bool PumpUntil(FtpLibrary& ftp, const std::function<bool()>& done,
                      std::chrono::milliseconds limit = std::chrono::seconds(5)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!done() && std::chrono::steady_clock::now() < end) ftp.core().pump().Sleep(10);
  return done();
}

}  // namespace quorvi::test
