// Helpers of the transfer suites: a generated local tree, tree comparison, scratch folders.
#pragma once

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "test_helpers.h"

namespace quorvi::test {

namespace fs = std::filesystem;

inline void WriteBytes(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
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
    tree[rel] = entry.is_directory() ? "/" : ReadAll(entry.path());
  }
  return tree;
}

/// The entries in which two trees differ ("" when they are equal), for failure messages.
inline std::string TreeDiff(const fs::path& expected, const fs::path& actual) {
  const auto a = TreeOf(expected), b = TreeOf(actual);
  std::string out;
  for (const auto& [name, content] : a) {
    const auto it = b.find(name);
    if (it == b.end()) out += "missing [" + name + "]\n";
    else if (it->second != content) out += "differs [" + name + "]\n";
  }
  for (const auto& [name, content] : b)
    if (!a.count(name)) out += "extra [" + name + "]\n";
  return out;
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
  return list.empty() ? 0 : 1 + static_cast<int>(Count(list, "|"));
}

/// A suite with a scratch folder and a component logged in as ftptest for each test.
template <typename Suite>
class TransferSuite : public ServerSuite<Suite> {
 protected:
  void SetUp() override {
    ServerSuite<Suite>::SetUp();
    if (this->IsSkipped() || this->HasFatalFailure()) return;
    dir_ = ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
    ftp_ = UserClient(this->server());
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::size_t LogCount(const std::string& text) const {
    return Count(ReadAll(this->server().log_path()), text);
  }

  fs::path dir_;
  std::unique_ptr<FtpLibrary> ftp_;
};

/// Seconds a call took.
template <typename F>
double Timed(F&& f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace quorvi::test
