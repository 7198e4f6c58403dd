#include "local/registry.h"

#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <quorvi/ftp_library.h>

#include "test_support.h"

namespace quorvi::detail {
namespace {

using quorvi::testing::ScopedEnv;
using quorvi::testing::TempDir;

constexpr const char* kUser = "HKEY_CURRENT_USER";
constexpr const char* kMachine = "HKEY_LOCAL_MACHINE";
constexpr const char* kCategories =
    "SOFTWARE\\Classes\\CLSID\\{31AE647D-11D1-4E6A-BE2D-90157640019A}\\Implemented Categories";

// Every file and folder below the folder, as paths relative to it.
std::vector<std::string> Contents(const std::filesystem::path& folder) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    found.push_back(std::filesystem::relative(entry.path(), folder).string());
  return found;
}

class RegistryTest : public ::testing::Test {
 protected:
  TempDir dir;
  platform::RegistryStore store{dir.path() / "registry"};
  Regedit reg{store};
};

TEST(RegistryRules, RootNamesAndSubKeys) {
  const std::pair<const char*, std::int64_t> roots[] = {
      {"HKEY_CLASSES_ROOT", 0x80000000}, {"hkey_current_user", 0x80000001},
      {"&h80000006", 0x80000006},        {"HKLM", -1},
      {"&H80000007", -1},
  };
  for (const auto& [name, value] : roots) EXPECT_EQ(GetRootKey(name), value) << name;
  const std::pair<const char*, const char*> keys[] = {
      {"/Software/T", "Software\\T"}, {"\\\\a\\b", "\\a\\b"}, {"a/b\\c", "a\\b\\c"}, {"", ""}};
  for (const auto& [in, out] : keys) EXPECT_EQ(FormatSubKey(in), out) << in;
}

TEST_F(RegistryTest, ValuesRoundTripByType) {
  ASSERT_TRUE(reg.RegCreate(kUser, "/Software/T"));
  struct Case { const char* value; const char* type; bool written; const char* read; };
  const Case cases[] = {
      {"hello world", "REG_SZ", true, "hello world"},
      {"12", "REG_DWORD", true, "12"},
      {" -1 ", "REG_DWORD", true, "-1"},
      {"&HFFFFFFFF", "REG_DWORD", true, "-1"},
      {"12.5", "REG_DWORD", true, "12"},  // rounds half to even
      {"13.5", "REG_DWORD", true, "14"},
      {"4294967296", "REG_DWORD", false, nullptr},
      {"abc", "REG_DWORD", false, nullptr},
      {"12", "REG_QWORD", false, nullptr},
      {"12", "reg_sz", false, nullptr},
  };
  for (const auto& c : cases) {
    reg.RegDeleteValueEx(kUser, "Software\\T", "n");
    EXPECT_EQ(reg.RegSetValueEx(kUser, "Software\\T", "n", c.value, c.type), c.written)
        << c.value << " " << c.type;
    EXPECT_EQ(reg.RegGetValueEx(kUser, "Software\\T", "n"), c.read ? c.read : kGetValueError)
        << c.value << " " << c.type;
  }
}

TEST_F(RegistryTest, BinaryAndForeignTypesRead) {
  ASSERT_TRUE(reg.RegCreate(kUser, "k"));
  const platform::KeyPath key{kUser, "k"};
  ASSERT_TRUE(store.SetValue(key, "bin", {platform::kRegBinary, std::string("\x1A\x00\xFF", 3)}));
  ASSERT_TRUE(store.SetValue(key, "expand", {2, "%HOME%"}));
  EXPECT_EQ(reg.RegGetValueEx(kUser, "k", "bin"), "1A 0 FF ");
  EXPECT_EQ(reg.RegGetValueEx(kUser, "k", "expand"), kGetValueError);
}

TEST_F(RegistryTest, NamesCompareWithoutCase) {
  ASSERT_TRUE(reg.RegCreate("hkey_current_user", "Software/Quorvi/Test"));
  ASSERT_TRUE(reg.RegSetValueEx("&H80000001", "software\\QUORVI\\test", "Name", "v"));
  EXPECT_TRUE(reg.RegExists(kUser, "SOFTWARE\\quorvi\\TEST"));
  EXPECT_EQ(reg.RegGetValueEx(kUser, "Software\\Quorvi\\Test", "NAME"), "v");
  EXPECT_FALSE(reg.RegExists("HKEY_LOCAL_MACHINE", "Software\\Quorvi\\Test"));
}

TEST_F(RegistryTest, DefaultValue) {
  EXPECT_FALSE(reg.RegSetValueEx(kUser, "missing", "n", "1"));  // the key must exist
  ASSERT_TRUE(reg.RegSetValue(kUser, "a", "default"));          // creates the key
  EXPECT_EQ(reg.RegGetValue(kUser, "a"), "default");
  EXPECT_TRUE(reg.RegDeleteValue(kUser, "a"));
  EXPECT_EQ(reg.RegGetValue(kUser, "a"), kGetValueError);
}

TEST_F(RegistryTest, DeleteRemovesWholeTree) {
  ASSERT_TRUE(reg.RegCreate(kUser, "a/b/c"));
  ASSERT_TRUE(reg.RegCreate(kUser, "a/d"));
  ASSERT_TRUE(reg.RegSetValue(kUser, "a/b", "x"));
  ASSERT_TRUE(reg.RegCreate(kUser, "ab"));
  EXPECT_TRUE(reg.RegDelete(kUser, "A"));
  for (const char* key : {"a", "a/b", "a/b/c", "a/d"}) EXPECT_FALSE(reg.RegExists(kUser, key));
  EXPECT_TRUE(reg.RegExists(kUser, "ab"));
  EXPECT_FALSE(reg.RegDelete(kUser, ""));  // a root stays
}

TEST_F(RegistryTest, UnknownRootOrBrokenStoreFailsEverything) {
  EXPECT_FALSE(reg.RegCreate("HKLM", "a"));
  EXPECT_FALSE(reg.RegSetValue("HKLM", "a", "v"));
  EXPECT_FALSE(std::filesystem::exists(store.root()));
  quorvi::testing::WriteFile(dir / "plain", "not a folder");
  Regedit broken{platform::RegistryStore(dir.path() / "plain" / "registry")};
  EXPECT_FALSE(broken.RegCreate(kUser, "a"));
  EXPECT_FALSE(broken.RegSetValue(kUser, "a", "v"));
  EXPECT_FALSE(broken.RegExists(kUser, "a"));
  EXPECT_FALSE(broken.RegDelete(kUser, "a"));
  EXPECT_EQ(broken.RegGetValue(kUser, "a"), kGetValueError);
}

// Two processes write the same value (and their own values) at once: every read sees one
// whole value, and no write is lost.
TEST_F(RegistryTest, TwoProcessesWriteAtOnce) {
  ASSERT_TRUE(reg.RegCreate(kUser, "shared"));
  constexpr int kWrites = 100;
  pid_t children[2];
  for (int c = 0; c < 2; ++c) {
    children[c] = ::fork();
    ASSERT_GE(children[c], 0);
    if (children[c] == 0) {
      Regedit mine{platform::RegistryStore(store.root())};
      const std::string big(8192, c == 0 ? 'a' : 'b');
      bool ok = true;
      for (int i = 0; i < kWrites; ++i) {
        ok = mine.RegSetValueEx(kUser, "shared", "same", big) && ok;
        ok = mine.RegSetValueEx(kUser, "shared", "c" + std::to_string(c) + "-" + std::to_string(i),
                                std::to_string(i), "REG_DWORD") && ok;
      }
      ::_exit(ok ? 0 : 1);
    }
  }
  for (int i = 0; i < 200; ++i) {
    const std::string seen = reg.RegGetValueEx(kUser, "shared", "same");
    if (seen == kGetValueError) continue;  // not written yet
    ASSERT_EQ(seen.size(), 8192u);
    ASSERT_EQ(seen.find_first_not_of(seen[0]), std::string::npos) << "torn value";
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  for (int c = 0; c < 2; ++c)
    for (int i = 0; i < kWrites; ++i)
      EXPECT_EQ(reg.RegGetValueEx(kUser, "shared", "c" + std::to_string(c) + "-" + std::to_string(i)),
                std::to_string(i));
}

TEST_F(RegistryTest, ShellFoldersComeFromXdgUserDirs) {
  ScopedEnv home("HOME", dir.path().string());
  ScopedEnv config("XDG_CONFIG_HOME", dir / "config");
  std::filesystem::create_directories(dir / "config");
  quorvi::testing::WriteFile(dir / "config/user-dirs.dirs",
                             "# written by xdg-user-dirs-update\n"
                             "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n"
                             "XDG_MUSIC_DIR=\"/srv/music\"\n");
  const std::pair<const char*, std::string> cases[] = {
      {"desktop", dir / "Schreibtisch"},
      {"My Music", "/srv/music"},
      {"Personal", dir / "Documents"},
      {"AppData", dir / "config"},
      {"No Such Folder", kGetValueError},
  };
  for (const auto& [name, folder] : cases)
    EXPECT_EQ(reg.RegGetValueEx(kUser, platform::kShellFoldersKey, name), folder) << name;
}

TEST_F(RegistryTest, BuiltInCategoryKeysExistWithoutBeingStored) {
  const std::string cats = kCategories;
  const std::pair<std::string, bool> cases[] = {
      {cats + "\\{7DD95801-9882-11CF-9FA9-00AA006C42C4}", true},   // safe for scripting
      {cats + "\\{7DD95802-9882-11CF-9FA9-00AA006C42C4}", true},   // safe for initialisation
      {cats + "\\{7dd95801-9882-11cf-9fa9-00aa006c42c4}", true},   // names fold case
      {"/software/classes/clsid/{31ae647d-11d1-4e6a-be2d-90157640019a}", true},
      {"SOFTWARE", true},
      {cats + "\\{7DD95803-9882-11CF-9FA9-00AA006C42C4}", false},  // not one of ours
      {cats + "\\{7DD95801-9882-11CF-9FA9-00AA006C42C4}\\below", false},
      {"SOFTWARE\\Classes\\CLSID\\{00000000-0000-0000-0000-000000000000}", false},
  };
  for (const auto& [key, exists] : cases) {
    EXPECT_EQ(reg.RegExists(kMachine, key), exists) << key;
    EXPECT_EQ(reg.RegExists("&H80000002", key), exists) << key;
    EXPECT_FALSE(reg.RegExists(kUser, key)) << key;  // only under HKEY_LOCAL_MACHINE
  }
  // Read-only: no values, no value writes without a stored key, and the reads wrote nothing.
  const std::string scripting = cats + "\\{7DD95801-9882-11CF-9FA9-00AA006C42C4}";
  EXPECT_EQ(reg.RegGetValue(kMachine, scripting), kGetValueError);
  EXPECT_FALSE(reg.RegSetValueEx(kMachine, scripting, "n", "1"));
  EXPECT_FALSE(std::filesystem::exists(store.root()));
}

// A component that is created, asked for the keys it answers itself, and destroyed leaves the
// user's home as it found it; the first registry write creates the store there.
TEST(RegistryHome, ComponentWritesNothingUntilARegistryWrite) {
  quorvi::testing::TempDir home;
  quorvi::testing::ScopedEnv home_env("HOME", home.path().string());
  quorvi::testing::ScopedEnv config_env("XDG_CONFIG_HOME", home / ".config");
  quorvi::testing::ScopedEnv data_env("XDG_DATA_HOME", std::nullopt);
  quorvi::testing::ScopedEnv cache_env("XDG_CACHE_HOME", std::nullopt);
  quorvi::testing::ScopedEnv store_env("QUORVI_REGISTRY", std::nullopt);
  quorvi::testing::ScopedEnv system_env("QUORVI_WINDOWS_DIR", std::nullopt);
  const std::string scripting =
      std::string(kCategories) + "\\{7DD95801-9882-11CF-9FA9-00AA006C42C4}";
  {
    FtpLibrary library;
    EXPECT_TRUE(library.RegExists(kMachine, scripting));
    EXPECT_EQ(library.RegGetValue(kMachine, scripting), kGetValueError);
    EXPECT_EQ(library.GetShellFolder("Personal"), home / "Documents/");
    EXPECT_EQ(library.GetShellFolder("No Such Folder"), std::string(kGetValueError) + "/");
    EXPECT_EQ(library.RegGetValue(kUser, "Software\\Quorvi Test"), kGetValueError);
    EXPECT_FALSE(library.RegExists(kUser, "Software\\Quorvi Test"));
  }
  EXPECT_EQ(Contents(home.path()), std::vector<std::string>{});

  {
    FtpLibrary library;
    EXPECT_TRUE(library.RegSetValue(kUser, "Software\\Quorvi Test", "written"));
  }
  const auto value_file =
      home.path() / ".config/quorviftp/registry/hkey_current_user/software/quorvi test/=";
  EXPECT_TRUE(std::filesystem::is_regular_file(value_file));
  EXPECT_EQ(FtpLibrary().RegGetValue(kUser, "Software\\Quorvi Test"), "written");
}

}  // namespace
}  // namespace quorvi::detail
