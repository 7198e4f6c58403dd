#include "configure.h"

#include <iostream>

namespace qftp {

void Configure(quorvi::FtpLibrary& ftp, const Options& o) {
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
  if (o.insecure) ftp.VerifyCertificate(false);
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
  if (o.log) {
    ftp.EnableLog(true);
    // No folder of this user to keep a log in (22020): said once, and qftp goes on without.
    if (ftp.ErrorNumber() != 0) std::cerr << "qftp: --log: " << ftp.ErrorInfo() << "\n";
  }
}

}  // namespace qftp
