// FtpLibrary: listings, remote queries and remote directories (bodies in remote_queries.cpp and
// remote_directory_ops.cpp, each inside its own never-throw frame).
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/remote_queries.h"

namespace quorvi {

bool FtpLibrary::ExistFile(const std::string& FileName) {
  return detail::ExistFile(*core_, FileName);
}

double FtpLibrary::GetFtpFileSize(const std::string& FilePath) {
  return detail::GetFtpFileSize(*core_, FilePath);
}

std::optional<CFtpFile> FtpLibrary::GetFtpFileInfo(const std::string& FilePath) {
  return detail::GetFtpFileInfo(*core_, FilePath);
}

std::optional<CFtpFiles> FtpLibrary::GetFtpDirectoryInfo(const std::string& DirectoryPath) {
  return detail::GetFtpDirectoryInfo(*core_, DirectoryPath);
}

bool FtpLibrary::ExistDirectory(const std::string& DirectoryName) {
  return detail::ExistDirectory(*core_, DirectoryName);
}

bool FtpLibrary::CreateDirectory(const std::string& DirectoryPath, bool Recursive) {
  return detail::CreateDirectory(*core_, DirectoryPath, Recursive);
}

bool FtpLibrary::RemoveDirectory(const std::string& DirectoryPath) {
  return detail::RemoveDirectory(*core_, DirectoryPath);
}

bool FtpLibrary::SetCurrentDirectory(const std::string& DirectoryPath) {
  return detail::SetCurrentDirectory(*core_, DirectoryPath);
}

std::string FtpLibrary::GetParentDirectory() { return detail::GetParentDirectory(*core_); }

}  // namespace quorvi
