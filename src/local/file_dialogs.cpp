#include "local/file_dialogs.h"

#include "component/component_error.h"
#include "local/mfile.h"
#include "local/path_rules.h"

namespace quorvi::detail {
namespace {

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (auto pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + to.size()))
    text.replace(pos, from.size(), to);
}

// Replaces until the text no longer contains `from` (each pass may create a new occurrence).
void ReplaceWhile(std::string& text, const std::string& from, const std::string& to) {
  for (auto pos = text.find(from); pos != std::string::npos; pos = text.find(from))
    text.replace(pos, from.size(), to);
}

}  // namespace

std::string OpenFileFilter(const std::string& FileFilter, const std::string& FileType) {
  std::string list = FileFilter.empty() ? FileType : FileFilter;
  for (char& c : list)
    if (c == '|' || c == ',') c = ';';
  if (!list.empty() && list.find('*') == std::string::npos) {
    ReplaceAll(list, ";", ";*.");
    list = "*." + list;
  }
  ReplaceWhile(list, "*.*.", "*.");
  ReplaceWhile(list, "**", "*");
  ReplaceWhile(list, "..", ".");
  return list.empty() ? kAllFilesFilter : list;
}

std::string SaveFileProposal(const std::string& FileName) {
  std::string name = MFile::GetFileName(std::string(TrimBlanks(FileName)));
  if (const auto bar = name.find('|'); bar != std::string::npos) name.erase(bar);
  if (name.size() > 254) Fail(5, "Invalid procedure call or argument", "ShowSaveFileDialog");
  return name;
}

std::string BrowseFolderResult(const std::string& folder) {
  if (folder.empty()) return {};
  std::string out = folder;
  while (!out.empty() && out.back() == '/') out.pop_back();
  return out + "/";
}

std::string OpenFileResult(const std::vector<std::string>& paths) {
  std::string out;
  for (const auto& path : paths)
    if (!path.empty()) out += (out.empty() ? "" : "|") + path;
  return out;
}

std::string WithTrailingSlash(const std::string& path) {
  return !path.empty() && path.back() == '/' ? path : path + "/";
}

}  // namespace quorvi::detail
