// ftp:// and ftps:// URLs on qftp's command line: ftp://[user[:password]@]host[:port]/path, the
// user, password and path percent-decoded, an IPv6 host in brackets.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qftp {

struct FtpUrl {
  int security = 0;  ///< 0 ftp://, 2 ftps:// (implicit FTPS, as curl reads it)
  std::string host;  ///< an IPv6 address without its brackets
  std::optional<int> port;
  std::optional<std::string> user, password;
  std::string path;  ///< "/" and the decoded path after the host
};

/// True for text that starts with ftp:// or ftps:// (any case).
bool IsFtpUrl(std::string_view text);

/// The parts of an ftp:// or ftps:// URL. Throws UsageError for a malformed one (no host, a
/// port that is not 1..65535, a bad %-escape, a line break or NUL raw or encoded).
FtpUrl ParseFtpUrl(std::string_view text);

/// %XY escapes decoded; throws UsageError for a "%" not followed by two hex digits and for
/// %0D, %0A and %00 (a line break or NUL never reaches a command line).
std::string PercentDecode(std::string_view text);

}  // namespace qftp
