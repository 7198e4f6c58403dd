// qftp: the component's command-line host. Options configure one FtpLibrary, the command runs
// on it, failures print "qftp: error NUMBER: TEXT" (exit 1), usage errors exit 2, --help and
// --version exit 0.
#include <quorvi/ftp_library.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

#include "commands.h"
#include "credentials.h"
#include "options.h"

namespace {

void Configure(quorvi::FtpLibrary& ftp, const qftp::Options& o) {
  ftp.ServerName(o.host);
  if (o.port) ftp.RemotePort(*o.port);
  ftp.UserName(o.user);
  ftp.PassWord(o.password.value_or(""));
  ftp.PassiveMode(!o.active);
  ftp.Security(static_cast<std::int16_t>(o.security));
  ftp.CAFile(o.ca_file);
  ftp.PinnedPublicKey(o.pin);
  ftp.ClientCertificate(o.cert);
  ftp.ClientKey(o.key);
  ftp.ProtectData(!o.clear_data);
  if (o.insecure) {
    ftp.VerifyCertificate(false);
    if (o.security != 0) std::cerr << "qftp: --insecure: the server's certificate is not checked\n";
  }
  // Automatic encoding unless the user chose one.
  if (o.utf8) {
    ftp.UTF8(true);
  } else if (!o.no_auto_encoding) {
    ftp.AutoEncoding(true);
  }
  if (o.mlsd) ftp.ListDirByMLSD(true);
  if (o.list_all) ftp.ListAll(true);
  if (o.timeout) ftp.TimeOut(static_cast<std::int16_t>(*o.timeout));
  if (o.keepalive_cmd) ftp.KeepAliveCommand(*o.keepalive_cmd);
  if (o.keepalive_sec) ftp.KeepAliveSecond(static_cast<std::int16_t>(*o.keepalive_sec));
  // Unpaced unless asked: the component's classic pause is for hosts that want it.
  ftp.NotificationPause(o.pause_ms.value_or(0));
  if (o.sndbuf) ftp.Sndbuf(*o.sndbuf);
  if (o.log) ftp.EnableLog(true);
}

void Trace(quorvi::FtpLibrary& ftp) {
  ftp.OnServerMessage().Subscribe([&ftp] {
    const char* arrow = ftp.MessageType() == quorvi::FTP_USER_COMMAND ? "-> " : "<- ";
    std::cerr << arrow << ftp.MessageInfo() << "\n";
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
  Configure(ftp, options);
  if (options.verbose) Trace(ftp);
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
