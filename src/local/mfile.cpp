#include "local/mfile.h"

#include "local/path_rules.h"

namespace quorvi::detail::MFile {

std::string GetFileName(const std::string& path) {
  std::string p = FormatLocalPath(path);
  if (!p.empty() && p.back() == kLocalSeparator) p.pop_back();
  return p.substr(p.rfind(kLocalSeparator) + 1);  // npos + 1 == 0: the whole text
}

std::string GetFileNameWEN(const std::string& path) {
  const std::string name = GetFileName(path);
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? path : name.substr(0, dot);
}

std::string GetFileExtendName(const std::string& path) {
  const std::string_view p = TrimBlanks(path);
  const std::size_t dot = p.rfind('.');
  return dot == std::string_view::npos ? std::string() : std::string(p.substr(dot + 1));
}

}  // namespace quorvi::detail::MFile
