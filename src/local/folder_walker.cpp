#include "local/folder_walker.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "component/component_error.h"
#include "local/cfile.h"
#include "local/path_rules.h"
#include "platform/directory_scan.h"
#include "platform/file_system.h"

namespace quorvi::detail {
namespace {

struct ErrorCode {
  std::int32_t number;
  const char* text;
};

// Directory-search failures in the file-error numbering hosts already know.
ErrorCode FileErrorOf(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return {76, "Path not found"};
    case EACCES:
    case EPERM:
      return {70, "Permission denied"};
    default:
      return {75, "Path/File access error"};
  }
}

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string LowerText(std::string s) {
  for (char& c : s) c = Lower(c);
  return s;
}

void Pump(const WalkHooks& hooks) {
  if (hooks.pump) hooks.pump();
}

void Log(const WalkHooks& hooks, const std::string& line) {
  if (hooks.log) hooks.log(line);
}

std::string ExtensionOf(const std::string& name) {
  const auto dot = name.rfind('.');
  return dot == std::string::npos ? name : name.substr(dot + 1);
}

bool FileTaken(const std::string& name, const std::string& pattern, const std::string& extend) {
  if (!pattern.empty() && !WildcardMatch(pattern, name)) return false;
  if (extend.empty() || extend == "*") return true;
  return LowerText(extend).find(LowerText(ExtensionOf(name))) != std::string::npos;
}

// Removes doubled, leading and trailing "*" in one pass.
std::string CleanEntryList(const std::string& raw) {
  std::string out;
  out.reserve(raw.size());
  for (char c : raw) {
    if (c == '*' && (out.empty() || out.back() == '*')) continue;
    out += c;
  }
  if (!out.empty() && out.back() == '*') out.pop_back();
  return out;
}

struct WalkContext {
  std::string pattern;  // files of the top folder only, matching it ("" = a full walk)
  const std::string& extend_name;
  bool recursive;
  const WalkHooks& hooks;
  std::vector<WalkEntry>& out;  // the whole walk, appended to by every level
};

// A folder's entries, then each subfolder's walk. A folder that cannot be read contributes one
// kUnreadable entry in place of its entries.
void WalkInto(WalkContext& ctx, const std::string& folder, bool top) {
  const std::size_t start = ctx.out.size();
  const bool files_of_pattern = top && !ctx.pattern.empty();
  std::vector<std::string> subfolders;
  std::string entry = folder;
  try {
    const platform::DirListing listing = platform::ReadDirectory(folder);
    if (listing.error != 0) {
      const ErrorCode code = FileErrorOf(listing.error);
      Fail(code.number, code.text);
    }
    for (const platform::DirEntry& e : listing.entries) {
      entry = folder + e.name;
      if (e.is_dir) {
        if (!files_of_pattern) {
          ctx.out.push_back({entry, WalkKind::kFolder, 0, {}, e.is_symlink});
          if (!e.is_symlink) subfolders.push_back(entry + "/");
        }
      } else if (FileTaken(e.name, top ? ctx.pattern : std::string(), ctx.extend_name)) {
        ctx.out.push_back(
            {entry, e.is_regular ? WalkKind::kFile : WalkKind::kOther, 0, {}, e.is_symlink});
      }
      Pump(ctx.hooks);
    }
  } catch (const ComponentError& e) {
    ctx.out.resize(start);
    ctx.out.push_back({entry, WalkKind::kUnreadable, e.number(), e.text()});
    Log(ctx.hooks, "ListDirs[" + folder + "](" + entry + ")" + e.text());
    return;
  }
  if (!ctx.recursive || files_of_pattern) return;
  for (const std::string& sub : subfolders) WalkInto(ctx, sub, false);
}

// The classic entry-list text of a walk: "*"-joined, "|0"/"|1" marks by flag, an unreadable
// folder as "Error:<text>(<entry>)#|#<number>".
std::string EntryListText(const std::vector<WalkEntry>& entries, std::int16_t flag) {
  std::string out;
  for (const WalkEntry& e : entries) {
    switch (e.kind) {
      case WalkKind::kFolder:
        if (flag == kWalkFoldersOnly) out.append(e.path).append("*");
        if (flag != kWalkFilesOnly && flag != kWalkFoldersOnly) out.append(e.path).append("|1*");
        break;
      case WalkKind::kUnreadable:
        out.append("Error:" + e.error_text + "(" + e.path + ")#|#" +
                   std::to_string(e.error_number) + "*");
        break;
      default:
        if (flag == kWalkFilesOnly) out.append(e.path).append("*");
        if (flag != kWalkFilesOnly && flag != kWalkFoldersOnly) out.append(e.path).append("|0*");
        break;
    }
  }
  return CleanEntryList(out);
}

}  // namespace

bool ResolvesInside(const std::string& path, const std::string& folder) {
  std::error_code ec;
  const auto target = std::filesystem::canonical(path, ec);
  if (ec) return false;
  const auto root = std::filesystem::canonical(folder, ec);
  if (ec) return false;
  const auto [end, rest] = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
  return end == root.end() && rest != target.end();
}

bool WildcardMatch(const std::string& pattern, const std::string& name) {
  // Greedy match with one backtrack point: linear for the patterns hosts write.
  std::size_t p = 0, n = 0, star = std::string::npos, resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || Lower(pattern[p]) == Lower(name[n]))) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = n;
    } else if (star != std::string::npos) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

std::vector<WalkEntry> WalkFolder(std::string folder, const std::string& pattern,
                                  bool recursive, const WalkHooks& hooks,
                                  const std::string& extend_name) {
  if (folder.empty() || folder.back() != '/') folder += '/';
  std::vector<WalkEntry> out;
  WalkContext ctx{pattern, extend_name, recursive, hooks, out};
  WalkInto(ctx, folder, true);
  return out;
}

std::string ListDirs(std::string& folder_path, std::vector<std::string>& inner_folder_path,
                     const std::string& extend_name, bool recursive, std::int16_t flag,
                     std::int32_t& dir_count, const WalkHooks& hooks) {
  // A last part holding "*" or "?" and a "." is a name pattern of the folder before it.
  std::string folder = folder_path, pattern;
  if ((folder.empty() || folder.back() != '/') && platform::HasWildcard(folder) &&
      folder.find('.') != std::string::npos) {
    const auto slash = folder.rfind('/');
    pattern = folder.substr(slash == std::string::npos ? 0 : slash + 1);
    folder.resize(slash == std::string::npos ? 0 : slash + 1);
    flag = kWalkFilesOnly;
  }
  const auto entries = WalkFolder(folder, pattern, recursive, hooks, extend_name);
  if (dir_count == 0) inner_folder_path.assign(1, std::string());
  for (const WalkEntry& e : entries) {
    if (e.kind != WalkKind::kFolder) continue;
    inner_folder_path.push_back(e.path + "/");
    ++dir_count;
  }
  return EntryListText(entries, flag);
}

std::string GetFolderFilePath(std::string& folder_path, bool recursive, std::int16_t flag,
                              const WalkHooks& hooks) {
  if ((folder_path.empty() || folder_path.back() != '/') && !platform::HasWildcard(folder_path)) {
    folder_path += '/';
  }
  std::vector<std::string> inner;
  std::int32_t dir_count = 0;
  return ListDirs(folder_path, inner, "", recursive, flag, dir_count, hooks);
}

double LocalFolderSize(FolderTotals& totals, std::string path, std::int32_t i,
                       const WalkHooks& hooks) {
  Log(hooks, "GLFS1:" + path);
  if (i != 1) {
    totals.size = 0;
    path = FormatLocalPath(path);
    if (path.empty() || path.back() != '/') path += '/';
  }
  if (path.empty() || path[0] != '/' || !CFile::FolderExists(path)) return 0;
  Log(hooks, "GLFS2:" + path);
  const platform::DirListing listing = platform::ReadDirectory(path);
  if (listing.error != 0) {
    const ErrorCode code = FileErrorOf(listing.error);
    Fail(code.number, std::string(code.text) + "[" + path + "]");
  }
  std::vector<std::string> subfolders;
  for (const platform::DirEntry& e : listing.entries) {
    if (!e.is_dir) totals.size += e.size;
    Pump(hooks);
  }
  Log(hooks, "GLFS3:" + path + "#");
  for (const platform::DirEntry& e : listing.entries) {
    if (e.is_dir && !e.is_symlink && e.name[0] != '.') subfolders.push_back(path + e.name);
    Pump(hooks);
  }
  Log(hooks, "GLFS4:" + path + "#");
  for (const std::string& s : subfolders) {
    LocalFolderSize(totals, s + "/", 1, hooks);
    Pump(hooks);
  }
  return totals.size;
}

double LocalFolderFileCount(FolderTotals& totals, std::string path, std::int32_t i,
                            const WalkHooks& hooks) {
  const auto first = path.find_first_not_of(' ');
  path =
      first == std::string::npos ? "" : path.substr(first, path.find_last_not_of(' ') - first + 1);
  Log(hooks, "GLFFC1:" + path);
  if (i != 1) {
    totals.files = 0;
    path = FormatLocalPath(path);
    if ((path.empty() || path.back() != '/') && !platform::HasWildcard(path)) path += '/';
  }
  if (path.empty() || path[0] != '/') return 0;
  Log(hooks, "GLFFC2:" + path);
  std::string folder = path, pattern;
  if (platform::HasWildcard(path)) {
    const auto slash = path.rfind('/');
    pattern = path.substr(slash + 1);
    folder.resize(slash + 1);
  }
  const platform::DirListing listing = platform::ReadDirectory(folder);
  if (listing.error == ENOENT || listing.error == ENOTDIR) return totals.files;
  if (listing.error != 0) {
    const ErrorCode code = FileErrorOf(listing.error);
    Fail(code.number, std::string(code.text) + "[" + path + "]");
  }
  for (const platform::DirEntry& e : listing.entries) {
    if (!e.is_dir && (pattern.empty() || WildcardMatch(pattern, e.name))) totals.files += 1;
    Pump(hooks);
  }
  if (!pattern.empty()) return totals.files;
  Log(hooks, "GLFFC3:" + path);
  Log(hooks, "GLFFC4:" + path + "#" + (listing.entries.empty() ? "" : listing.entries[0].name));
  std::vector<std::string> subfolders;
  for (const platform::DirEntry& e : listing.entries) {
    if (e.is_dir && !e.is_symlink && e.name[0] != '.') subfolders.push_back(path + e.name);
  }
  Log(hooks, "GLFFC5:" + path + "#");
  for (const std::string& s : subfolders) {
    LocalFolderFileCount(totals, s + "/", 1, hooks);
    Pump(hooks);
  }
  return totals.files;
}

}  // namespace quorvi::detail
