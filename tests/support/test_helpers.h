// Small helpers the integration suites share: a component pointed at a test server, listing
// names, file contents, repeatable test data and text counts.
#pragma once

#include <quorvi/ftp_library.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

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

/// A component logged in as the test user, in passive or active mode.
inline std::unique_ptr<FtpLibrary> UserClient(const TestServer& server, bool passive = true) {
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

/// The whole content of a file ("" when it cannot be read).
inline std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

/// n pseudo-random bytes, the same for the same seed.
inline std::string Pattern(std::size_t n, unsigned seed = 1) {
  std::mt19937 gen(seed);
  std::string s(n, '\0');
  for (auto& c : s) c = static_cast<char>(gen());
  return s;
}

/// How often `part` occurs in `text` (overlaps counted).
inline std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

}  // namespace quorvi::test
