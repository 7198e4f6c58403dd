// Command lines for the control connection, as pure functions: the line put on the wire, the
// message the host is shown, whether the command becomes the "last command" the reply
// dispatcher keys on, and the protocol state it enters. No socket, no FtpLibrary.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <quorvi/enums.h>

namespace quorvi::detail {

/// Argument of the feature probe: the command is sent bare and stays out of the last command.
inline constexpr std::string_view kCommandTestMarker = "useforftpcommandtest";
/// Argument of the keep-alive timer's command: sent bare, stays out of the last command.
inline constexpr std::string_view kKeepLastCommandMarker = "no_change_lastsendcommand";

/// True when `text` holds no CR, LF or NUL.
bool FitsOneLine(std::string_view text);

/// Fails with 22000 (CR or LF) or 22001 (NUL) when `text` could not travel as part of one
/// command line or request: such a byte would end the line early and start a second command,
/// or (NUL) make the server read another name. `what` names the text in the error ("path",
/// "user name"...); a secret (`show` false) is not quoted.
void RequireOneLine(std::string_view text, std::string_view what, bool show = true);

/// `text` with CR, LF and NUL written as \r, \n, \0, fit for an error text or the log.
std::string VisibleControls(std::string_view text);

/// True for the two marker arguments above (exact match).
bool IsMarkerArgument(std::string_view argument);

/// True when the command word's argument is a remote path (CWD, LIST, MLSD, RETR, STOR, APPE,
/// RNFR, RNTO, SIZE, MDTM...): such arguments get the login-folder prefix.
bool IsPathCommand(std::string_view upper_command);

/// True for commands that change files or folders on the server (DELE, STOR, RNTO, SITE...).
bool ChangesServerFiles(std::string_view upper_command);

/// The path as put on the wire. With a path prefix (the login folder of a server without
/// chroot) of at least two characters every absolute path goes below it, "/" itself included
/// ("\" become "/", "//" collapse); otherwise "/" or "\" alone is "/" and any other path is
/// unchanged.
std::string ToServerPath(std::string_view path, std::string_view path_prefix);

/// The reverse of ToServerPath for a directory the server names (PWD): the login folder is
/// "/", a folder below it loses the prefix; a folder outside it stays as the server gave it.
std::string FromServerPath(std::string_view server_path, std::string_view path_prefix);

/// Session settings that shape a command line.
struct CommandLineSettings {
  std::string path_prefix;            ///< see ToServerPath
  std::string list_command = "LIST";  ///< "LIST" or "MLSD": what a LIST request becomes
  bool list_all = false;              ///< ListAll: LIST is sent as "LIST -al"
  /// Deciphers USER/PASS arguments when the credential cipher is on; empty when it is off.
  std::function<std::string(const std::string&)> decipher;
};

/// One command, ready for the control socket.
struct CommandLine {
  std::string command;        ///< upper-cased command word
  std::string argument;       ///< the argument as sent ("" for a marker)
  std::string line;           ///< the full line including CR LF
  bool sets_last_command;     ///< false when the argument was a marker
  std::string message;        ///< the host's OnServerMessage text (PASS masked)
};

/// Builds the line for SendFtpCommand.
CommandLine BuildCommandLine(std::string_view command, std::string_view argument,
                             const CommandLineSettings& settings);

/// The protocol state entered when `upper_command` is sent while `operation` runs; commands
/// without a state of their own (SIZE, NOOP, FEAT, ...) leave ftpFreeState.
FtpStates StateForCommand(std::string_view upper_command, FtpOperations operation);

}  // namespace quorvi::detail
