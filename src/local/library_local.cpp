// FtpLibrary's local file and path methods: thin public wrappers over CFile and MFile.
#include <quorvi/ftp_library.h>

#include <cerrno>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "component/message_table.h"
#include "local/cfile.h"
#include "local/cfile_text.h"
#include "local/mfile.h"
#include "local/path_rules.h"
#include "platform/file_system.h"

namespace quorvi {

using detail::CFile;
using detail::Guarded;

namespace {

constexpr int kMsgAbsolutePath = 12, kMsgInputFileName = 14, kMsgCreateFileFailed = 39;

[[noreturn]] void FailErrno(int error) {
  detail::Fail(error, platform::ErrorText(error));
}

// Deletes one file; a read-only file is refused, as the read-only attribute promises.
void DeleteOne(const std::string& path) {
  if (CFile::GetFileAttrib(path) & CFile::kReadOnly) FailErrno(EACCES);
  if (const int error = platform::DeleteFile(path); error != 0) FailErrno(error);
}

}  // namespace

bool FtpLibrary::CreateLocalFile(const std::string& FilePath) {
  return Guarded(*core_, "CreateLocalFile", false, [&] {
    core_->ClearLastError();
    const std::string path = detail::FormatLocalPath(FilePath);
    if (path.empty()) detail::Fail(CFile::kOwnErrorNumber, detail::GetMessage(kMsgInputFileName));
    if (!detail::IsAbsoluteLocalPath(path)) {
      detail::Fail(errors::kNotAbsolute, detail::FormatMessage(detail::GetMessage(kMsgAbsolutePath), {path}));
    }
    if (CFile::FileExists(path)) return false;
    std::string parent = detail::GetParentFolderPath(path);
    CFile::CreateFolder(parent);
    if (platform::CreateEmptyFile(path) != 0) {
      detail::Fail(errors::kCreateFileFailed, detail::FormatMessage(detail::GetMessage(kMsgCreateFileFailed), {path}));
    }
    return true;
  });
}

bool FtpLibrary::CreateLocalFolder(const std::string& FolderPath) {
  return Guarded(*core_, "CreateLocalFolder", false, [&] {
    core_->ClearLastError();
    std::string path = FolderPath;
    return CFile::CreateFolder(path);
  });
}

bool FtpLibrary::DeleteLocalFile(const std::string& FilePath) {
  return Guarded(*core_, "DeleteLocalFile", false, [&] {
    core_->ClearLastError();
    const std::string path = detail::FormatLocalPath(FilePath);
    if (CFile::FileExists(path)) {
      DeleteOne(path);
      return true;
    }
    if (!platform::HasWildcard(path)) FailErrno(ENOENT);
    bool any = false;
    for (const auto& match : platform::ExpandPattern(path)) {
      if (CFile::FolderExists(match)) continue;  // a pattern deletes files only
      DeleteOne(match);
      any = true;
    }
    if (!any) FailErrno(ENOENT);
    return true;
  });
}

double FtpLibrary::GetLocalFileSize(const std::string& FilePath) {
  return Guarded(*core_, "GetLocalFileSize", 0.0, [&] {
    core_->ClearLastError();
    double result = 0;
    int step = 1;
    try {
      if (!CFile::FileExists(FilePath)) {
        step = 9;
        return -1.0;
      }
      double size = 0;
      if (const int error = platform::OpenedFileSize(detail::FormatLocalPath(FilePath), size)) {
        step = 4;
        core_->error().Number(error);
        return -2.0;
      }
      result = size;
      step = 8;
    } catch (const std::exception& e) {
      detail::WriteLog("GLFS#" + FilePath + "#" + std::to_string(step) + "#-1(" +
                       std::to_string(core_->error().GetErrorNumber()) + "#" + e.what() + ")#" +
                       std::to_string(result));
    }
    return result;
  });
}

bool FtpLibrary::LocalFileExists(const std::string& FilePath) {
  return Guarded(*core_, "LocalFileExists", false, [&] {
    core_->ClearLastError();
    return CFile::FileExists(FilePath);
  });
}

bool FtpLibrary::LocalFolderExists(const std::string& FolderPath) {
  return Guarded(*core_, "LocalFolderExists", false, [&] {
    core_->ClearLastError();
    return CFile::FolderExists(FolderPath);
  });
}

bool FtpLibrary::WriteLocalFile(const std::string& FilePath, const std::string& Text,
                                bool OverWrite) {
  return Guarded(*core_, "WriteLocalFile", false, [&] {
    core_->ClearLastError();
    const std::string path = detail::FormatLocalPath(FilePath);
    if (path.empty()) return false;
    // Also refuses a relative path (the folder of "a.txt" is "", of "d/a.txt" relative).
    std::string parent = detail::GetParentFolderPath(path);
    if (!CFile::CreateFolder(parent)) return false;
    if (const int error = detail::WriteTextLine(path, Text, OverWrite); error != 0) {
      detail::WriteLog("WLF#" + std::to_string(error) + "#" + platform::ErrorText(error));
      return false;
    }
    return true;
  });
}

std::string FtpLibrary::ReadLocalFile(const std::string& FilePath) {
  return Guarded(*core_, "ReadLocalFile", std::string(), [&] {
    core_->ClearLastError();
    if (!CFile::FileExists(FilePath)) return std::string();
    std::vector<std::string> lines;
    if (const int error = detail::ReadTextLines(detail::FormatLocalPath(FilePath), lines)) {
      detail::WriteLog("RLF#" + std::to_string(error) + "#" + platform::ErrorText(error));
      return std::string();
    }
    return detail::JoinLines(lines);
  });
}

std::string FtpLibrary::GetFileName(const std::string& FilePath) {
  return Guarded(*core_, "GetFileName", std::string(), [&] {
    core_->ClearLastError();
    return detail::MFile::GetFileName(FilePath);
  });
}

std::string FtpLibrary::GetFileNameWEN(const std::string& FilePath) {
  return Guarded(*core_, "GetExtendName", std::string(), [&] {
    core_->ClearLastError();
    return detail::MFile::GetFileNameWEN(FilePath);
  });
}

std::string FtpLibrary::GetFileExtendName(const std::string& FilePath) {
  return Guarded(*core_, "GetFileExtendName", std::string(), [&] {
    core_->ClearLastError();
    return detail::MFile::GetFileExtendName(FilePath);
  });
}

std::string FtpLibrary::GetLocalFileDate(const std::string& FilePath) {
  return Guarded(*core_, "GetLocalFileDate", std::string(), [&] {
    core_->ClearLastError();
    if (!CFile::FileExists(FilePath)) return std::string();
    const auto status = platform::Stat(detail::FormatLocalPath(FilePath));
    return status ? platform::LocalDateTimeText(status->modified) : std::string();
  });
}

std::string FtpLibrary::GetParentFolderPath(const std::string& FolderPath) {
  return Guarded(*core_, "GetParentFolderPath", std::string(), [&] {
    core_->ClearLastError();
    return detail::GetParentFolderPath(FolderPath);
  });
}

}  // namespace quorvi
