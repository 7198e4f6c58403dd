// FtpLibrary: remote file operations and raw commands (bodies in remote_file_ops.cpp).
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "ftp/remote_file_ops.h"

namespace quorvi {

bool FtpLibrary::DeleteFile(const std::string& FilePath) {
  detail::HostCall call(*core_);
  if (call.Refused("DeleteFile")) return false;
  return detail::DeleteRemoteFile(*core_, FilePath);
}

bool FtpLibrary::RenameFile(const std::string& OldFileName, const std::string& NewFileName) {
  detail::HostCall call(*core_);
  if (call.Refused("RenameFile")) return false;
  return detail::RenameRemoteFile(*core_, OldFileName, NewFileName);
}

std::string FtpLibrary::ExeFtpCmd(const std::string& cmd, const std::string& Arguments) {
  detail::HostCall call(*core_);
  if (call.Refused("ExeFtpCmd")) return {};
  return detail::Guarded(*core_, "ExeFtpCmd", std::string(),
                         [&] { return detail::ExeFtpCmd(*core_, cmd, Arguments); });
}

}  // namespace quorvi
