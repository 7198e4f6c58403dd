// qftp: the component's command-line host. Options configure one FtpLibrary, the command runs
// on it, failures print "qftp: error NUMBER: TEXT" (exit 1), usage errors exit 2, --help and
// --version exit 0.
#include <quorvi/ftp_library.h>

#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "configure.h"
#include "credentials.h"
#include "options.h"
#include "secrets.h"
#include "terminal_text.h"

namespace {

// The component names a listing request "LIST" in its command message; -v shows the command
// that went out instead.
std::string WireCommand(const quorvi::FtpLibrary& ftp, const std::string& message, bool list_all) {
  if (message != "LIST" && !message.starts_with("LIST ")) return message;
  const char* head = ftp.ListDirByMLSD() ? "MLSD" : list_all ? "LIST -al" : "LIST";
  return std::string(head).append(message, 4);
}

void Trace(quorvi::FtpLibrary& ftp, bool list_all) {
  ftp.OnServerMessage().Subscribe([&ftp, list_all] {
    const bool command = ftp.MessageType() == quorvi::FTP_USER_COMMAND;
    const std::string text = command ? WireCommand(ftp, ftp.MessageInfo(), list_all) : ftp.MessageInfo();
    std::cerr << (command ? "-> " : "<- ") << qftp::LinesForTerminal(text) << "\n";
  });
  ftp.OnStateChange().Subscribe([&ftp] { std::cerr << "state " << ftp.FtpState() << "\n"; });
}

int Failure(quorvi::FtpLibrary& ftp) {
  // Without an error number the command has already said what failed (a name clash).
  if (ftp.ErrorNumber() != 0)
    std::cerr << "qftp: error " << ftp.ErrorNumber() << ": " << qftp::ForTerminal(ftp.ErrorInfo())
              << "\n";
  return 1;
}

int Usage(const std::string& message) {
  std::cerr << "qftp: " << qftp::ForTerminal(message) << "\n(qftp --help lists the commands and options)\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  // Secrets leave argv and the environment before anything else happens (ps, /proc/PID and
  // the programs qftp starts would show them); the parser reads the copies.
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const std::optional<std::string> env_password = qftp::TakeEnvironmentPassword();
  qftp::BlankSecretsInArguments(argc, argv);
  qftp::Options options;
  try {
    options = qftp::ParseOptions(arguments, env_password ? env_password->c_str() : nullptr);
  } catch (const qftp::UsageError& e) {
    return Usage(e.message);
  } catch (const qftp::EarlyExit& e) {
    std::cout << e.text;
    return 0;
  }
  const qftp::Command* command = qftp::FindCommand(options.command);
  if (!command) return Usage("unknown command " + options.command);
  if (command->needs_login && options.host.empty()) return Usage("no host given (-H HOST or a URL)");
  try {
    if (command->needs_login) qftp::CompleteCredentials(options);
  } catch (const qftp::UsageError& e) {
    return Usage(e.message);
  }

  quorvi::FtpLibrary ftp;
  qftp::Configure(ftp, options);
  if (options.insecure && options.security != 0)
    std::cerr << "qftp: --insecure: the server's certificate is not checked\n";
  if (options.verbose) Trace(ftp, options.list_all);
  if (!command->needs_login) {
    const bool ok = command->run(ftp, options);
    if (ftp.Connected()) ftp.CloseConnection();
    return ok ? 0 : 1;
  }
  if (!ftp.Connect()) return Failure(ftp);
  const bool ok = command->run(ftp, options);
  if (!ok) {
    const int status = Failure(ftp);
    ftp.CloseConnection();
    return status;
  }
  ftp.CloseConnection();
  return 0;
}
