// Helpers of the session suites: a component pointed at a test server, a recorder of state
// changes, and pumping for a bounded time.
#pragma once

#include <quorvi/ftp_library.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "component/core.h"
#include "server_fixture.h"

namespace quorvi::test {

/// A component configured for `server`, logging in as user (anonymous when empty).
inline std::unique_ptr<FtpLibrary> ClientFor(const TestServer& server, const std::string& user = "",
                                             const std::string& password = "") {
  auto ftp = std::make_unique<FtpLibrary>();
  ftp->ServerName(server.host());
  ftp->RemotePort(server.port());
  ftp->UserName(user);
  ftp->PassWord(password.empty() ? server.password() : password);
  return ftp;
}

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

inline bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.rfind(prefix, 0) == 0;
}

}  // namespace quorvi::test
