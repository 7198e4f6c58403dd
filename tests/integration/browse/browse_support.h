// Helpers of the browse suites: a component pointed at a test server, the names of a listing,
// and the server log.
#pragma once

#include <quorvi/ftp_library.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "server_fixture.h"

namespace quorvi::test {

/// A component logged in as the test user of `server`.
inline std::unique_ptr<FtpLibrary> BrowserFor(const TestServer& server, bool passive = true) {
  auto ftp = std::make_unique<FtpLibrary>();
  ftp->ServerName(server.host());
  ftp->RemotePort(server.port());
  ftp->UserName(server.user());
  ftp->PassWord(server.password());
  ftp->PassiveMode(passive);
  return ftp;
}

/// Names of a listing in order, a trailing "/" on directories.
inline std::vector<std::string> Names(const CFtpFiles& files) {
  std::vector<std::string> names;
  for (const auto& f : files) names.push_back(f.FileName() + (f.IsDirectory() ? "/" : ""));
  return names;
}

inline std::string ReadLog(const TestServer& server) {
  std::ifstream in(server.log_path());
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

}  // namespace quorvi::test
