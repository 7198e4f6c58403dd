// qftp's commands: a table of (name, argument count, handler). A handler runs on a configured,
// connected FtpLibrary, prints its result on stdout and returns false when the component
// reported a failure (main then prints ErrorNumber/ErrorInfo).
#pragma once

#include <quorvi/ftp_library.h>

#include <functional>
#include <string>
#include <vector>

#include "options.h"

namespace qftp {

struct Command {
  const char* name;
  const char* synopsis;  ///< the arguments, for --help ("REMOTE_LIST LOCAL_LIST")
  const char* summary;   ///< one line for --help
  std::size_t min_args;
  std::size_t max_args;  ///< SIZE_MAX: any number
  std::function<bool(quorvi::FtpLibrary&, const Options&)> run;
  /// Arguments that name remote paths (and may be ftp:// URLs).
  std::vector<std::size_t> remote_args;
  /// False for commands that log in themselves or not at all (script): main then neither
  /// requires a host nor connects, and the command prints its own failures (exit 1 on false).
  bool needs_login = true;
};

/// Every command, in the order --help lists them.
const std::vector<Command>& Commands();

/// The command of this name, or null.
const Command* FindCommand(const std::string& name);

}  // namespace qftp
