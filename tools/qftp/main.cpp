// qftp: the component's command-line host. Options configure one FtpLibrary, the command runs
// on it, failures print "qftp: error NUMBER: TEXT" (exit 1), usage errors exit 2, --help and
// --version exit 0.
#include <quorvi/ftp_library.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

#include "commands.h"
#include "configure.h"
#include "credentials.h"
#include "options.h"

namespace {

// The component names a listing request "LIST" in its command message; -v shows the command
// that went out instead.
std::string WireCommand(const quorvi::FtpLibrary& ftp, const std::string& message, bool list_all) {
  if (message != "LIST" && !message.starts_with("LIST ")) return message;
  const char* head = ftp.ListDirByMLSD() ? "MLSD" : list_all ? "LIST -al" : "LIST";
  return head + message.substr(4);
}

void Trace(quorvi::FtpLibrary& ftp, bool list_all) {
  ftp.OnServerMessage().Subscribe([&ftp, list_all] {
    const bool command = ftp.MessageType() == quorvi::FTP_USER_COMMAND;
    std::cerr << (command ? "-> " : "<- ")
              << (command ? WireCommand(ftp, ftp.MessageInfo(), list_all) : ftp.MessageInfo()) << "\n";
  });
  ftp.OnStateChange().Subscribe([&ftp] { std::cerr << "state " << ftp.FtpState() << "\n"; });
}

int Failure(quorvi::FtpLibrary& ftp) {
  // Without an error number the command has already said what failed (a name clash).
  if (ftp.ErrorNumber() != 0)
    std::cerr << "qftp: error " << ftp.ErrorNumber() << ": " << ftp.ErrorInfo() << "\n";
  return 1;
}

// The password given on the command line is blanked in the process's own argument memory once
// it has been read, so that ps and /proc/PID/cmdline stop showing it (as curl does). It is
// visible for the moment before; QFTP_PASSWORD never is.
void HidePasswordArgument(int argc, char** argv, const std::string& password) {
  if (password.empty()) return;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg(argv[i]);
    char* secret = nullptr;
    if ((arg == "-p" || arg == "--password") && i + 1 < argc) {
      secret = argv[++i];
    } else if (arg.starts_with("--password=")) {
      secret = argv[i] + std::string_view("--password=").size();
    }
    if (secret && password == secret) std::memset(secret, '*', std::strlen(secret));
  }
}

int Usage(const std::string& message) {
  std::cerr << "qftp: " << message << "\n(qftp --help lists the commands and options)\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  qftp::Options options;
  try {
    options = qftp::ParseOptions(std::vector<std::string>(argv + 1, argv + argc),
                                 std::getenv("QFTP_PASSWORD"));
  } catch (const qftp::UsageError& e) {
    return Usage(e.message);
  } catch (const qftp::EarlyExit& e) {
    std::cout << e.text;
    return 0;
  }
  HidePasswordArgument(argc, argv, options.password.value_or(""));
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
