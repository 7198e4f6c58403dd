// `qftp script FILE|-`: drives one FtpLibrary by member names, one statement per line.
//
//   set NAME VALUE            write a property
//   get NAME...               print properties, one value per line
//   call NAME [ARG...]        call a method and print its result (nothing for no result)
//   on EVENT [once] get NAME...         after each raise of EVENT print "EVENT NAME=VALUE ..."
//   on EVENT [once] call NAME [ARG...]  after each raise of EVENT call a method
//   # comment, blank lines
//
// Words are split as a POSIX shell splits them: blanks separate words, '...' keeps its text,
// "..." keeps blanks and expands variables, a backslash escapes the next character outside
// single quotes; $NAME and ${NAME} expand from the environment (an unset variable is an error).
// A wrong line prints "qftp: line N: ..." to the error stream and the script goes on.
#pragma once

#include <quorvi/ftp_library.h>

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "options.h"

namespace qftp {

/// Value of an environment variable, or nothing when it is not set.
using EnvLookup = std::function<std::optional<std::string>(const std::string& name)>;

/// The words of one line, or why it cannot be split (error not empty).
struct SplitLine {
  std::vector<std::string> words;
  std::string error;
};

/// Splits a line into words (see above). A "#" that starts a word starts a comment.
SplitLine SplitWords(std::string_view line, const EnvLookup& env);

/// Runs the statements read from `in` against ftp; results go to out, line errors to err.
/// Returns the number of lines that failed (a wrong statement, name, argument, or a failing
/// event action).
int RunScript(quorvi::FtpLibrary& ftp, std::istream& in, std::ostream& out, std::ostream& err,
              const EnvLookup& env);

/// The qftp command: runs the script named by the first argument ("-" reads standard input);
/// false when the file cannot be read or any line failed.
bool Script(quorvi::FtpLibrary& ftp, const Options& options);

}  // namespace qftp
