// The files the component writes for itself (the log, trans.sta, the registry store) against a
// hostile local user: a symbolic or hard link planted in their place is never written through,
// what they create is the user's alone, and the log never goes to a shared folder.
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "platform/registry_store.h"
#include "test_support.h"
#include "transfer/status_files.h"

namespace quorvi::detail {
namespace {

namespace fs = std::filesystem;
using quorvi::testing::ScopedEnv;
using quorvi::testing::TempDir;

const platform::KeyPath kKey = {"HKEY_CURRENT_USER", "Software"};

std::string Read(const fs::path& path) { return quorvi::testing::WaitForFile(path).value_or(""); }

mode_t Mode(const fs::path& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

void LogAnError(const fs::path& windows) {
  ScopedEnv env("QUORVI_WINDOWS_DIR", windows.string());
  FtpLibrary lib;
  lib.EnableLog(true);
  lib.core().ReportError("DeleteFile", 20005, "");
}

void WriteStatus(const fs::path& folder) {
  StatusFiles files;
  files.SetPath(folder.string());
  files.RaiseTransferEvent({1, 2, 50, 10, 20, 1, 1, 1, 1}, {}, {});
}

void SetRegistryValue(const fs::path& root) {
  platform::RegistryStore store(root);
  store.CreateKey(kKey);
  store.SetValue(kKey, "name", {platform::kRegSz, "value"});
}

TEST(LocalFiles, APlantedLinkIsNeverWrittenThrough) {
  TempDir dir;
  const std::string pid = std::to_string(::getpid());
  const struct {
    const char* name;
    std::string planted;  // relative to dir
    bool hard;
    std::function<void()> act;
  } cases[] = {
      {"the log", "win/system/talvex.dat", false, [&] { LogAnError(dir.path() / "win"); }},
      {"trans.sta", "status/trans.sta", false, [&] { WriteStatus(dir.path() / "status"); }},
      {"trans.sta as a hard link", "hard/trans.sta", true,
       [&] { WriteStatus(dir.path() / "hard"); }},
      {"a registry value's temporary file", "reg/hkey_current_user/software/.tmp." + pid, false,
       [&] { SetRegistryValue(dir.path() / "reg"); }},
      {"the registry's lock file", "lock/.lock", false,
       [&] { SetRegistryValue(dir.path() / "lock"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const fs::path victim = dir.path() / (std::string("victim-") + c.name);
    quorvi::testing::WriteFile(victim, "victim\n");
    const fs::path planted = dir.path() / c.planted;
    fs::create_directories(planted.parent_path());
    c.hard ? fs::create_hard_link(victim, planted) : fs::create_symlink(victim, planted);
    c.act();
    EXPECT_EQ(Read(victim), "victim\n");
  }
  // A link to a file that does not exist yet does not make it.
  fs::create_directories(dir.path() / "fresh");
  fs::create_symlink(dir.path() / "made-by-link", dir.path() / "fresh" / ".lock");
  SetRegistryValue(dir.path() / "fresh");
  EXPECT_FALSE(fs::exists(dir.path() / "made-by-link"));
}

TEST(LocalFiles, WhatTheComponentCreatesIsTheUsersAlone) {
  TempDir dir;
  const mode_t saved = ::umask(022);
  LogAnError(dir.path() / "win");
  WriteStatus(dir.path());
  SetRegistryValue(dir.path() / "reg");
  fs::create_directories(dir.path() / "old/system");
  quorvi::testing::WriteFile(dir / "old/system/talvex.dat", "an older log\r\n");
  fs::permissions(dir.path() / "old/system/talvex.dat", fs::perms(0644));
  LogAnError(dir.path() / "old");
  ::umask(saved);
  const std::pair<const char*, mode_t> expected[] = {
      {"win", 0700},
      {"win/system", 0700},
      {"win/system/talvex.dat", 0600},
      {"old/system/talvex.dat", 0600},
      {"trans.sta", 0600},
      {"reg", 0700},
      {"reg/.lock", 0600},
      {"reg/hkey_current_user/software", 0700},
      {"reg/hkey_current_user/software/=name", 0600},
  };
  for (const auto& [path, mode] : expected) EXPECT_EQ(Mode(dir.path() / path), mode) << path;
}

TEST(LocalFiles, TheLogGoesToAFolderOfTheUserOrNowhere) {
  TempDir dir;
  ScopedEnv no_windows("QUORVI_WINDOWS_DIR", std::nullopt), no_data("XDG_DATA_HOME", std::nullopt);
  ScopedEnv no_home("HOME", std::nullopt), tmp("TMPDIR", dir.path().string());
  const struct {
    const char* state;    // XDG_STATE_HOME
    const char* runtime;  // XDG_RUNTIME_DIR
    std::string log;
  } cases[] = {
      {"/home/u/.local/state", "/run/user/7", "/home/u/.local/state/quorviftp/system/talvex.dat"},
      {nullptr, "/run/user/7", "/run/user/7/quorviftp/system/talvex.dat"},
      {"relative", nullptr, ""},
      {nullptr, nullptr, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.log);
    ScopedEnv state("XDG_STATE_HOME", c.state ? c.state : "");
    ScopedEnv runtime("XDG_RUNTIME_DIR", c.runtime ? c.runtime : "");
    if (!c.state) ::unsetenv("XDG_STATE_HOME");
    if (!c.runtime) ::unsetenv("XDG_RUNTIME_DIR");
    FtpLibrary lib;
    EXPECT_EQ(lib.core().error().LogFilePath(), c.log);
    if (!c.log.empty()) continue;
    lib.EnableLog(true);
    EXPECT_EQ(lib.ErrorNumber(), 22020);  // said when the log is asked for
    lib.core().ReportError("DeleteFile", 20005, "");
    EXPECT_TRUE(fs::is_empty(dir.path()));  // nothing in the temporary folder
  }
}

}  // namespace
}  // namespace quorvi::detail
