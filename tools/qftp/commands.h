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
  std::size_t min_args;
  std::size_t max_args;  ///< SIZE_MAX: any number
  std::function<bool(quorvi::FtpLibrary&, const Options&)> run;
};

/// The command of this name, or null.
const Command* FindCommand(const std::string& name);

}  // namespace qftp
