// Helpers of the browse suites: a logged-in component and the names of a listing.
#pragma once

#include <quorvi/ftp_library.h>

#include <memory>
#include <string>
#include <vector>

#include "test_helpers.h"

namespace quorvi::test {

/// A component logged in as the test user of `server`.
inline std::unique_ptr<FtpLibrary> BrowserFor(const TestServer& server, bool passive = true) {
  auto ftp = ClientFor(server, server.user());
  ftp->PassiveMode(passive);
  return ftp;
}

/// Names of a listing in order, a trailing "/" on directories.
inline std::vector<std::string> Names(const CFtpFiles& files) {
  std::vector<std::string> names;
  for (const auto& f : files) names.push_back(f.FileName() + (f.IsDirectory() ? "/" : ""));
  return names;
}

}  // namespace quorvi::test
