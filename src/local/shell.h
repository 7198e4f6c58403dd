// Starting programs, opening documents and showing folders: the rules behind Run, Execute and
// Explore. Documents, addresses and folders are handed to xdg-open; programs are started
// directly, never through a shell.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvi::detail {

/// Splits a command line into words as a POSIX shell would, without expanding anything:
/// blanks separate words, '...' is literal, "..." keeps blanks (inside it a backslash escapes
/// a double quote or a backslash), a backslash outside quotes escapes the next character.
std::vector<std::string> SplitCommandLine(const std::string& line);

/// The command line Run starts: the quoted path, one blank, then Param.
std::string RunCommandLine(const std::string& FilePath, const std::string& Param);

/// Starts the program; returns its pid. Fails (ComponentError 53 not found, 70 permission
/// denied, 5 bad window style or other failure) when it cannot start.
std::int32_t RunProgram(const std::string& FilePath, const std::string& Param,
                        std::int32_t WinStyle);

/// Results of Execute in the classic shell numbering: above 32 is success.
inline constexpr std::int32_t kShellOk = 42;
inline constexpr std::int32_t kShellOutOfMemory = 8;
inline constexpr std::int32_t kShellFileNotFound = 2;
inline constexpr std::int32_t kShellAccessDenied = 5;
inline constexpr std::int32_t kShellNoAssociation = 31;

/// Opens FilePath: an executable file is started with Param as its arguments, an existing
/// document or folder and an address ("scheme:...") go to xdg-open, a bare name is looked up
/// in PATH. Returns a shell-style result.
std::int32_t ExecuteFile(const std::string& FilePath, const std::string& Param);

/// Shows the folder FilePath, or with Action 1 the folder that holds FilePath, in the file
/// browser (xdg-open); true when the browser was started.
bool ExploreFolder(const std::string& FilePath, std::int16_t Action);

/// True for "scheme:rest" with a scheme of two or more letters, digits, "+", "-" or ".".
bool LooksLikeAddress(const std::string& text);

}  // namespace quorvi::detail
