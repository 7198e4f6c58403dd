// Where qftp finds a password the command line did not give: stdin (--password-stdin), the
// netrc file, a prompt on the terminal.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "options.h"

namespace qftp {

/// The login and password of `host` in netrc text: the first "machine" entry for the host (and
/// for `user`, when one is given), else the "default" entry. Tokens are separated by blanks and
/// line ends; "macdef" bodies (up to an empty line) are skipped.
std::optional<std::pair<std::string, std::string>> NetrcLogin(std::string_view text,
                                                              const std::string& host,
                                                              const std::string& user);

/// Fills in user and password: --password-stdin, then the netrc file (--netrc-file, or
/// ~/.netrc when it exists), then, for a named user, a prompt without echo when stdin is a
/// terminal. Throws UsageError when --netrc-file cannot be read or stdin has no line.
void CompleteCredentials(Options& options);

}  // namespace qftp
