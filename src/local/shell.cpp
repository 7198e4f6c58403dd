#include "local/shell.h"

#include <cctype>
#include <cerrno>

#include "component/component_error.h"
#include "local/path_rules.h"
#include "platform/file_system.h"
#include "platform/process.h"

namespace quorvi::detail {
namespace {

constexpr const char* kOpener = "xdg-open";

std::int32_t ShellCodeOf(int error) {
  switch (error) {
    case 0:
      return kShellOk;
    case ENOENT:
    case ENOTDIR:
      return kShellFileNotFound;
    case EACCES:
    case EPERM:
      return kShellAccessDenied;
    case ENOMEM:
    case EAGAIN:
      return kShellOutOfMemory;
    default:
      return kShellNoAssociation;
  }
}

std::int32_t Start(const std::vector<std::string>& argv) {
  return ShellCodeOf(platform::SpawnProcess(argv).error);
}

// A missing xdg-open means nothing can open documents: "no association", not "not found".
std::int32_t OpenWithDesktop(const std::string& target) {
  const int error = platform::SpawnProcess({kOpener, target}).error;
  return error == ENOENT ? kShellNoAssociation : ShellCodeOf(error);
}

// Window styles the classic process start accepts; they mean nothing here.
bool IsWindowStyle(std::int32_t style) {
  return style >= 0 && style <= 6 && style != 5;
}

}  // namespace

std::vector<std::string> SplitCommandLine(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  char quote = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote == '\'') {
      if (c == '\'') quote = 0;
      else word += c;
    } else if (quote == '"') {
      if (c == '"') {
        quote = 0;
      } else if (c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\')) {
        word += line[++i];
      } else {
        word += c;
      }
    } else if (c == ' ' || c == '\t' || c == '\n') {
      if (in_word) words.push_back(std::move(word));
      word.clear();
      in_word = false;
    } else {
      in_word = true;
      if (c == '\'' || c == '"') quote = c;
      else if (c == '\\' && i + 1 < line.size()) word += line[++i];
      else word += c;
    }
  }
  if (in_word) words.push_back(std::move(word));
  return words;
}

std::string RunCommandLine(const std::string& FilePath, const std::string& Param) {
  return "\"" + FilePath + "\" " + Param;
}

std::int32_t RunProgram(const std::string& FilePath, const std::string& Param,
                        std::int32_t WinStyle) {
  if (!IsWindowStyle(WinStyle)) Fail(5, "Invalid procedure call or argument", "Run");
  const auto result = platform::SpawnProcess(SplitCommandLine(RunCommandLine(FilePath, Param)));
  switch (result.error) {
    case 0:
      return static_cast<std::int32_t>(result.pid);
    case ENOENT:
    case ENOTDIR:
      Fail(53, "File not found", "Run");
    case EACCES:
    case EPERM:
      Fail(70, "Permission denied", "Run");
    default:
      Fail(5, "Invalid procedure call or argument", "Run");
  }
}

bool LooksLikeAddress(const std::string& text) {
  const auto colon = text.find(':');
  if (colon == std::string::npos || colon < 2) return false;
  for (std::size_t i = 0; i < colon; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (!std::isalnum(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return std::isalpha(static_cast<unsigned char>(text[0])) != 0;
}

std::int32_t ExecuteFile(const std::string& FilePath, const std::string& Param) {
  if (FilePath.empty()) return kShellFileNotFound;
  const bool program = platform::IsExecutableFile(FilePath);
  // xdg-open takes exactly one argument, so Param does not reach a document's program.
  if (!program && (platform::Stat(FilePath).has_value() || LooksLikeAddress(FilePath)))
    return OpenWithDesktop(FilePath);
  if (!program && FilePath.find('/') != std::string::npos) return kShellFileNotFound;
  std::vector<std::string> argv{FilePath};  // a program, or a bare name looked up in PATH
  for (auto& word : SplitCommandLine(Param)) argv.push_back(std::move(word));
  return Start(argv);
}

bool ExploreFolder(const std::string& FilePath, std::int16_t Action) {
  // The file browser cannot be asked portably to select a file: Action 1 shows its folder.
  const std::string folder = Action == 1 ? GetParentFolderPath(FilePath) : FilePath;
  return platform::SpawnProcess({kOpener, folder}).pid != 0;
}

}  // namespace quorvi::detail
