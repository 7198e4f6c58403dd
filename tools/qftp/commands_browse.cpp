#include "commands_browse.h"
#include "terminal_text.h"

#include <cmath>
#include <iostream>
#include <sstream>

namespace qftp {

namespace {

std::string Number(double value) {
  std::ostringstream out;
  if (std::floor(value) == value && std::fabs(value) < 1e18) {
    out << static_cast<long long>(value);
  } else {
    out << value;
  }
  return out.str();
}

const char* TrueFalse(bool value) { return value ? "True" : "False"; }

}  // namespace

std::string ListLine(const quorvi::CFtpFile& file) {
  // DOS and MLSD listings carry no permissions: the type letter stands alone.
  std::string permissions = file.Permissions();
  if (permissions.empty()) permissions = file.IsDirectory() ? "d---------" : "----------";
  std::string time = file.LastWriteTime();
  if (time.empty()) time = "-          -    ";  // keeps the columns
  return ForTerminal(permissions + " " + Number(file.FileSize()) + " " + time + " " +
                     file.FileName() + (file.IsDirectory() ? "/" : ""));
}

bool List(quorvi::FtpLibrary& ftp, const Options& options) {
  const auto files = ftp.GetFtpDirectoryInfo(options.args.empty() ? "" : options.args[0]);
  if (!files) return ftp.ErrorNumber() == 0;  // an empty folder
  for (const auto& file : *files) std::cout << ListLine(file) << "\n";
  return true;
}

bool Stat(quorvi::FtpLibrary& ftp, const Options& options) {
  const auto file = ftp.GetFtpFileInfo(options.args[0]);
  if (!file) return false;
  std::cout << "name: " << ForTerminal(file->FileName()) << "\n"
            << "path: " << ForTerminal(file->FilePath()) << "\n"
            << "size: " << Number(file->FileSize()) << "\n"
            << "modified: " << ForTerminal(file->LastWriteTime()) << "\n"
            << "directory: " << TrueFalse(file->IsDirectory()) << "\n"
            << "permissions: " << ForTerminal(file->Permissions()) << "\n"
            << "owner: " << ForTerminal(file->Owner()) << "\n"
            << "group: " << ForTerminal(file->Group()) << "\n";
  return true;
}

bool Size(quorvi::FtpLibrary& ftp, const Options& options) {
  const double size = ftp.GetFtpFileSize(options.args[0]);
  std::cout << Number(size) << "\n";
  return size >= 0;
}

bool Exists(quorvi::FtpLibrary& ftp, const Options& options) {
  std::cout << TrueFalse(ftp.ExistFile(options.args[0])) << "\n";
  return true;
}

bool IsDir(quorvi::FtpLibrary& ftp, const Options& options) {
  std::cout << TrueFalse(ftp.ExistDirectory(options.args[0])) << "\n";
  return true;
}

bool MakeDir(quorvi::FtpLibrary& ftp, const Options& options) {
  return ftp.CreateDirectory(options.args[0], !options.no_recursive);
}

bool RemoveDir(quorvi::FtpLibrary& ftp, const Options& options) {
  return ftp.RemoveDirectory(options.args[0]);
}

}  // namespace qftp
