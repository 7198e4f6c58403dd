#include "ftp/command_line.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "component/component_error.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "platform/concat.h"

namespace quorvi::detail {
namespace {

// Commands whose argument is a remote path: each gets the login-folder prefix, so that no
// command of a pair (RNFR/RNTO, SIZE then RETR) names a file in another folder.
constexpr std::array<std::string_view, 18> kPathCommands{
    "CWD", "LIST", "NLST", "MLSD", "MLST", "DELE", "MKD",  "XMKD", "RMD",
    "XRMD", "RETR", "STOR", "STOU", "APPE", "RNFR", "RNTO", "SIZE", "MDTM"};
// Commands that change the server's files: a cached listing cannot be trusted after them.
constexpr std::array<std::string_view, 11> kChangingCommands{
    "DELE", "MKD", "XMKD", "RMD", "XRMD", "STOR", "STOU", "APPE", "RNFR", "RNTO", "SITE"};
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kMaskedPassword = "********";

// States entered by sending a command, whatever operation runs.
constexpr std::array<std::pair<std::string_view, FtpStates>, 12> kCommandStates{{
    {"USER", ftpAuthentication},
    {"PASS", ftpAuthentication},
    {"CWD", ftpChangingCurrentDirectory},
    {"DELE", ftpDeletingFile},
    {"RMD", ftpRemovingDirectory},
    {"MKD", ftpCreatingDirectory},
    {"RNFR", ftpRenamingFile},
    {"LIST", ftpRetrievingDirectoryInfo},
    {"PWD", ftpRetrievingDirectoryInfo},
    {"RETR", ftpDownloadInProgress},
    {"STOR", ftpUploadInProgress},
    {"QUIT", ftpQuiting},
}};

// Data-connection set-up commands take the state of the operation they serve.
constexpr std::array<std::string_view, 6> kDataSetupCommands{"TYPE", "PASV", "EPSV", "PORT", "EPRT", "REST"};
constexpr std::array<std::pair<FtpOperations, FtpStates>, 4> kDataSetupStates{{
    {opListDirectory, ftpRetrievingDirectoryInfo},
    {opDownload, ftpDownloadInProgress},
    {opUpload, ftpUploadInProgress},
    {opGetFileSize, ftpGetFileSize},
}};

std::string AsciiUpper(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; });
  return upper;
}

// Rescans from each replacement, so that "//" -> "/" collapses "///" too. Built with Concat:
// GCC 12 warns falsely (-Wrestrict) on std::string::replace at -O3.
void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    const std::string_view whole(text);
    text = Concat(whole.substr(0, at), to, whole.substr(at + from.size()));
  }
}

// "LIST" requests become the session's listing line; other commands are "WORD ARG".
std::string WireLine(const std::string& command, const std::string& argument,
                     const CommandLineSettings& settings) {
  std::string head = command;
  if (command == "LIST") {
    if (settings.list_command == "MLSD") {
      head = "MLSD";
    } else if (settings.list_all) {
      head = "LIST -al";
    }
  }
  // A listing of the current folder goes out without a dangling blank.
  if (argument.empty()) return head + std::string(kLineEnd);
  return head + " " + argument + std::string(kLineEnd);
}

}  // namespace

bool FitsOneLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

void RequireOneLine(std::string_view text, std::string_view what, bool show) {
  std::int32_t number = 0;
  if (text.find_first_of("\r\n") != std::string_view::npos) {
    number = errors::kLineBreakInText;
  } else if (text.find('\0') != std::string_view::npos) {
    number = errors::kNulInText;
  } else {
    return;
  }
  std::string message = GetErrorText(number) + " (" + std::string(what) + ")";
  if (show) message += ": [ " + VisibleControls(text) + " ]";
  Fail(number, message);
}

std::string VisibleControls(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\0') {
      out += "\\0";
    } else {
      out += c;
    }
  }
  return out;
}

bool IsMarkerArgument(std::string_view argument) {
  return argument == kCommandTestMarker || argument == kKeepLastCommandMarker;
}

bool IsPathCommand(std::string_view upper_command) {
  return std::find(kPathCommands.begin(), kPathCommands.end(), upper_command) !=
         kPathCommands.end();
}

bool ChangesServerFiles(std::string_view upper_command) {
  return std::find(kChangingCommands.begin(), kChangingCommands.end(), upper_command) !=
         kChangingCommands.end();
}

std::string ToServerPath(std::string_view path, std::string_view path_prefix) {
  const bool prefixed = path_prefix.size() >= 2;
  // "/" is the login folder like every other absolute path: sent as the real root it listed,
  // and let a removal delete, another folder than the one the paths below it name.
  if (path == "/" || path == "\\") return prefixed ? std::string(path_prefix) : "/";
  if (!prefixed || path.empty() || (path[0] != '/' && path[0] != '\\')) {
    return std::string(path);
  }
  std::string joined = std::string(path_prefix) + "/" + std::string(path);
  std::replace(joined.begin(), joined.end(), '\\', '/');
  ReplaceAll(joined, "//", "/");
  return joined;
}

std::string FromServerPath(std::string_view server_path, std::string_view path_prefix) {
  std::string_view prefix = path_prefix;
  while (prefix.size() > 1 && prefix.back() == '/') prefix.remove_suffix(1);
  if (prefix.size() < 2 || !server_path.starts_with(prefix)) return std::string(server_path);
  const std::string_view rest = server_path.substr(prefix.size());
  if (rest.empty() || rest == "/") return "/";
  if (rest[0] != '/') return std::string(server_path);  // "/home/ftptest2" is another folder
  return std::string(rest);
}

CommandLine BuildCommandLine(std::string_view command, std::string_view argument,
                             const CommandLineSettings& settings) {
  CommandLine out;
  // "MKD /MixedCase" given as one command: only the command word is upper-cased.
  std::string rest;
  if (const auto blank = command.find(' '); blank != std::string_view::npos) {
    rest = std::string(command.substr(blank + 1));
    command = command.substr(0, blank);
  }
  out.command = AsciiUpper(command);
  out.sets_last_command = !IsMarkerArgument(argument);
  out.argument = out.sets_last_command ? std::string(argument) : std::string();
  if (!rest.empty()) out.argument = out.argument.empty() ? rest : rest + " " + out.argument;
  const bool credential = out.command == "USER" || out.command == "PASS";
  if (!out.argument.empty() && credential && settings.decipher) {
    out.argument = settings.decipher(out.argument);
  }
  if (!out.argument.empty() && IsPathCommand(out.command)) {
    out.argument = ToServerPath(out.argument, settings.path_prefix);
  }
  out.line = WireLine(out.command, out.argument, settings);
  out.message = out.command + " " +
                (out.command == "PASS" ? std::string(kMaskedPassword) : out.argument);
  return out;
}

FtpStates StateForCommand(std::string_view upper_command, FtpOperations operation) {
  for (const auto& [word, state] : kCommandStates) {
    if (word == upper_command) return state;
  }
  if (std::find(kDataSetupCommands.begin(), kDataSetupCommands.end(), upper_command) !=
      kDataSetupCommands.end()) {
    for (const auto& [op, state] : kDataSetupStates) {
      if (op == operation) return state;
    }
  }
  return ftpFreeState;
}

}  // namespace quorvi::detail
