// FtpLibrary: the session members. Their bodies live in FtpSession, which reports its own
// failures; Guarded is the never-throw boundary around them.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "ftp/session.h"

namespace quorvi {

using detail::FtpSession;
using detail::Guarded;

bool FtpLibrary::Connect() {
  detail::HostCall call(*core_);
  if (call.Refused("Connect")) return false;
  return Guarded(*core_, "Connect", false, [&] { return FtpSession::Of(*core_).Connect(); });
}

bool FtpLibrary::CloseConnection() {
  return Guarded(*core_, "CloseConnection", false,
                 [&] { return FtpSession::Of(*core_).CloseConnection(); });
}

bool FtpLibrary::Abort() {
  return Guarded(*core_, "Abort", false, [&] { return FtpSession::Of(*core_).Abort(); });
}

void FtpLibrary::AbortCurrent() {
  Guarded(*core_, "AbortCurrent", [&] { FtpSession::Of(*core_).AbortCurrent(); });
}

std::string FtpLibrary::GetCurrentDirectory() {
  return Guarded(*core_, "GetCurrentDirectory", std::string(),
                 [&] { return FtpSession::Of(*core_).GetCurrentDirectory(); });
}

}  // namespace quorvi
