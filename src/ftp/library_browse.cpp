// FtpLibrary: listings, remote queries and remote directories (bodies in remote_queries.cpp and
// remote_directory_ops.cpp, each inside its own never-throw frame).
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/remote_queries.h"

namespace quorvi {

bool FtpLibrary::ExistFile(const std::string& FileName) {
  detail::HostCall call(*core_);
  if (call.Refused("ExistFile")) return false;
  return detail::ExistFile(*core_, FileName);
}

double FtpLibrary::GetFtpFileSize(const std::string& FilePath) {
  detail::HostCall call(*core_);
  if (call.Refused("GetFtpFileSize")) return -2;
  return detail::GetFtpFileSize(*core_, FilePath);
}

std::optional<CFtpFile> FtpLibrary::GetFtpFileInfo(const std::string& FilePath) {
  detail::HostCall call(*core_);
  if (call.Refused("GetFtpFileInfo")) return std::nullopt;
  return detail::GetFtpFileInfo(*core_, FilePath);
}

std::optional<CFtpFiles> FtpLibrary::GetFtpDirectoryInfo(const std::string& DirectoryPath) {
  detail::HostCall call(*core_);
  if (call.Refused("GetFtpDirectoryInfo")) return std::nullopt;
  return detail::GetFtpDirectoryInfo(*core_, DirectoryPath);
}

bool FtpLibrary::ExistDirectory(const std::string& DirectoryName) {
  detail::HostCall call(*core_);
  if (call.Refused("ExistDirectory")) return false;
  return detail::ExistDirectory(*core_, DirectoryName);
}

bool FtpLibrary::CreateDirectory(const std::string& DirectoryPath, bool Recursive) {
  detail::HostCall call(*core_);
  if (call.Refused("CreateDirectory")) return false;
  return detail::CreateDirectory(*core_, DirectoryPath, Recursive);
}

bool FtpLibrary::RemoveDirectory(const std::string& DirectoryPath) {
  detail::HostCall call(*core_);
  if (call.Refused("RemoveDirectory")) return false;
  return detail::RemoveDirectory(*core_, DirectoryPath);
}

bool FtpLibrary::SetCurrentDirectory(const std::string& DirectoryPath) {
  detail::HostCall call(*core_);
  if (call.Refused("SetCurrentDirectory")) return false;
  return detail::SetCurrentDirectory(*core_, DirectoryPath);
}

std::string FtpLibrary::GetParentDirectory() { return detail::GetParentDirectory(*core_); }

}  // namespace quorvi
