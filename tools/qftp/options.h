// qftp's command line: options (a table of option rows) and the command with its arguments.
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
  std::string password;
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
  // output
  bool quiet = false;
  bool verbose = false;
  bool log = false;
  // the command
  std::string command;
  std::vector<std::string> args;
};

/// A usage error: qftp prints it with the usage text and exits 2.
struct UsageError {
  std::string message;
};

/// Parses argv (without the program name). env_password is QFTP_PASSWORD (or null).
/// Throws UsageError.
Options ParseOptions(const std::vector<std::string>& argv, const char* env_password);

/// The usage text.
std::string UsageText();

}  // namespace qftp
