// qftp's command line (parsed with CLI11): global options, which may stand before or after the
// command, and the command with its arguments. Remote paths may be ftp:// or ftps:// URLs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "transfer_options.h"

namespace qftp {

struct Options {
  // connection
  std::string host;
  std::optional<int> port;
  std::string user;
  std::optional<std::string> password;  ///< set: given (even when empty)
  std::string netrc_file;               ///< --netrc-file; default ~/.netrc
  bool password_stdin = false;          ///< --password-stdin: first line of stdin
  bool active = false;
  bool utf8 = false;
  bool no_auto_encoding = false;
  bool mlsd = false;
  bool list_all = false;
  std::optional<int> timeout;
  std::optional<std::string> keepalive_cmd;
  std::optional<int> keepalive_sec;
  std::optional<int> pause_ms;  ///< pause after each socket notification
  std::optional<int> sndbuf;    ///< data connection send buffer (and upload chunk cap), bytes
  std::optional<std::string> proxy;  ///< HTTP proxy as HOST:PORT
  // encryption
  int security = 0;          ///< 0 none, 1 explicit FTPS (--ftps), 2 implicit (--ftps-implicit)
  std::string ca_file;       ///< --cacert
  std::string pin;           ///< --pin sha256//BASE64
  std::string cert, key;     ///< --cert, --key
  bool insecure = false;     ///< --insecure: no certificate checks
  bool clear_data = false;   ///< --clear-data: PROT C
  // transfer (download, upload)
  TransferOptions transfer;
  int parallel = 1;  ///< sessions at once for download and upload
  // output
  bool quiet = false;
  bool verbose = false;
  bool log = false;
  // the command
  std::string command;
  std::vector<std::string> args;
  bool no_recursive = false;  ///< mkdir --no-recursive
};

/// A usage error: qftp prints it with a pointer to --help and exits 2.
struct UsageError {
  std::string message;
};

/// --help or --version: the text goes to stdout and qftp exits 0.
struct EarlyExit {
  std::string text;
};

/// Parses argv (without the program name). env_password is QFTP_PASSWORD (or null). URLs in
/// remote arguments give host, port, user, password and security (ftps:// is implicit FTPS)
/// and are replaced by their decoded paths. Throws UsageError or EarlyExit.
Options ParseOptions(const std::vector<std::string>& argv, const char* env_password);

/// A size with an optional unit: "512", "10k", "1.5M", "1G" (k, M, G and KiB, MiB, GiB are
/// powers of 1024); a plain number counts in `plain_unit` bytes. Throws UsageError.
double ParseSize(const std::string& option, const std::string& text, double plain_unit);

}  // namespace qftp
