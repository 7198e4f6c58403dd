// Helpers of the transfer suites: a generated local tree, tree comparison and a component
// pointed at a test server.
#pragma once

#include <quorvi/ftp_library.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "server_fixture.h"

namespace quorvi::test {

namespace fs = std::filesystem;

/// Deterministic content of n bytes (differs per seed).
inline std::string Pattern(std::size_t n, std::uint32_t seed = 1) {
  std::string bytes(n, '\0');
  std::uint32_t x = seed * 2654435761u + 1;
  for (auto& c : bytes) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    c = static_cast<char>(x);
  }
  return bytes;
}

inline void WriteBytes(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Nested folders, an empty folder, a zero-byte file, names with spaces and non-ASCII letters
/// and one file of large_size bytes. Returns the number of files.
inline int MakeTree(const fs::path& root, std::size_t large_size) {
  WriteBytes(root / "a.txt", "alpha\n");
  WriteBytes(root / "zero.bin", "");
  WriteBytes(root / "with space" / "b c.txt", Pattern(5000, 2));
  WriteBytes(root / "with space" / "deep" / "Ünïcödé ß.txt", "unicode\n");
  WriteBytes(root / "nested" / "one" / "two" / "three.dat", Pattern(70000, 3));
  WriteBytes(root / "large.bin", Pattern(large_size, 4));
  fs::create_directories(root / "empty");
  fs::create_directories(root / "nested" / "empty too");
  return 6;
}

/// Relative path → content ("/" marks a folder), for a byte-for-byte comparison of two trees.
inline std::map<std::string, std::string> TreeOf(const fs::path& root) {
  std::map<std::string, std::string> tree;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string rel = fs::relative(entry.path(), root).string();
    tree[rel] = entry.is_directory() ? "/" : ReadBytes(entry.path());
  }
  return tree;
}

/// A component for the server logged in as ftptest.
inline std::unique_ptr<FtpLibrary> ClientOf(const TestServer& server, bool passive = true) {
  auto ftp = std::make_unique<FtpLibrary>();
  ftp->ServerName(server.host());
  ftp->RemotePort(server.port());
  ftp->UserName(server.user());
  ftp->PassWord(server.password());
  ftp->PassiveMode(passive);
  return ftp;
}

/// A fresh local folder below the temporary folder.
inline fs::path ScratchDir(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() /
                       ("quorvi-transfer-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

/// Number of "|"-separated entries of a result list.
inline int Entries(const std::string& list) {
  if (list.empty()) return 0;
  int n = 1;
  for (char c : list) n += c == '|';
  return n;
}

/// Seconds a call took.
template <typename F>
double Timed(F&& f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace quorvi::test
