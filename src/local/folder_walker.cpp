#include "local/folder_walker.h"

#include <cerrno>

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
  std::vector<std::string>& inner;
  const std::string& extend_name;
  bool recursive;
  std::int32_t& dir_count;
  const WalkHooks& hooks;
  std::string out;  // the whole entry list, appended to by every level
};

void ListInto(WalkContext& ctx, std::string folder, std::int16_t flag) {
  const std::size_t start = ctx.out.size();
  const std::int32_t first = ctx.dir_count + 1;
  std::string pattern;
  bool descend = ctx.recursive;
  if (folder.empty() || folder.back() != '/') {
    if (!platform::HasWildcard(folder) || folder.find('.') == std::string::npos) {
      folder += '/';
    } else {
      const auto slash = folder.rfind('/');
      pattern = folder.substr(slash == std::string::npos ? 0 : slash + 1);
      folder.resize(slash == std::string::npos ? 0 : slash + 1);
      flag = kWalkFilesOnly;
      descend = false;
    }
  }
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
        if (!e.is_symlink) {
          ctx.inner.resize(static_cast<std::size_t>(++ctx.dir_count) + 1);
          ctx.inner[static_cast<std::size_t>(ctx.dir_count)] = entry + "/";
        }
        if (flag == kWalkFoldersOnly) ctx.out.append(entry).append("*");
        if (flag != kWalkFilesOnly && flag != kWalkFoldersOnly) ctx.out.append(entry).append("|1*");
      } else if (FileTaken(e.name, pattern, ctx.extend_name)) {
        if (flag == kWalkFilesOnly) ctx.out.append(entry).append("*");
        if (flag != kWalkFilesOnly && flag != kWalkFoldersOnly) ctx.out.append(entry).append("|0*");
      }
      Pump(ctx.hooks);
    }
  } catch (const ComponentError& e) {
    ctx.out.resize(start);
    ctx.out.append("Error:" + e.text() + "(" + entry + ")#|#" + std::to_string(e.number()) + "*");
    Log(ctx.hooks, "ListDirs[" + folder + "](" + entry + ")" + e.text());
    return;
  }
  if (!descend) return;
  const std::int32_t last = ctx.dir_count;
  for (std::int32_t k = first; k <= last; ++k) {
    ctx.out.append("*");
    ListInto(ctx, ctx.inner[static_cast<std::size_t>(k)], flag);
  }
}

}  // namespace

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

std::string ListDirs(std::string& folder_path, std::vector<std::string>& inner_folder_path,
                     const std::string& extend_name, bool recursive, std::int16_t flag,
                     std::int32_t& dir_count, const WalkHooks& hooks) {
  if (dir_count == 0) {
    inner_folder_path.assign(1, std::string());
    for (char& c : folder_path) c = c == '\\' ? '/' : c;
  }
  WalkContext ctx{inner_folder_path, extend_name, recursive, dir_count, hooks, {}};
  ListInto(ctx, folder_path, flag);
  return CleanEntryList(ctx.out);
}

std::string GetFolderFilePath(std::string& folder_path, bool recursive, std::int16_t flag,
                              const WalkHooks& hooks) {
  for (char& c : folder_path) c = c == '\\' ? '/' : c;
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
