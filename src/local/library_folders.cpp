// FtpLibrary's folder walking, drive list and display-format members.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "component/error_object.h"
#include "local/drives.h"
#include "local/folder_walker.h"
#include "local/formatters.h"
#include "platform/concat.h"

namespace quorvi {

using detail::Guarded;

namespace {

constexpr int kMsgHours = 43, kMsgMinutes = 44, kMsgSeconds = 45;

detail::WalkHooks HooksOf(detail::Core& core) {
  return {[&core] { core.pump().DoEvents(); },
          [](const std::string& line) { detail::WriteLog(line); }};
}

}  // namespace

std::string FtpLibrary::GetFolderFilePath(const std::string& FolderPath, bool Recursive,
                                          std::int16_t Flag) {
  return Guarded(*core_, "GetFolderFilePath", std::string(), [&] {
    std::string path = FolderPath;
    std::string list = detail::GetFolderFilePath(path, Recursive, Flag, HooksOf(*core_));
    return list.rfind("Error:", 0) == 0 ? std::string() : list;
  });
}

double FtpLibrary::GetLocalFolderSize(const std::string& FolderPath, std::int32_t i) {
  return Guarded(*core_, "GetLocalFolderSize", 0.0, [&] {
    return detail::LocalFolderSize(core_->transfer.folder_totals, FolderPath, i, HooksOf(*core_));
  });
}

double FtpLibrary::GetLocalFolderFileCount(const std::string& FolderPath, std::int32_t i) {
  return Guarded(*core_, "GetLocalFolderFileCount", 0.0, [&] {
    return detail::LocalFolderFileCount(core_->transfer.folder_totals, FolderPath, i,
                                        HooksOf(*core_));
  });
}

std::string FtpLibrary::GetDriveNames(std::int16_t DriveType) {
  return Guarded(*core_, "GetDrives", std::string(), [&] {
    return detail::GetDriveNames(DriveType, [this] { core_->pump().DoEvents(); });
  });
}

std::string FtpLibrary::FormatFileSize(double FileSize) {
  return Guarded(*core_, "FormatFileSize", std::string(),
                 [&] { return detail::FormatFileSize(FileSize); });
}

std::string FtpLibrary::FormatTime(std::int32_t Seconds, std::int16_t TimeType) {
  return Guarded(*core_, "FormatTime", std::string(), [&] {
    const detail::MessageTable& m = core_->messages();
    const detail::TimeUnitWords words{Concat(" ", m.GetMessage(kMsgHours), " "),
                                      Concat(" ", m.GetMessage(kMsgMinutes), " "),
                                      Concat(" ", m.GetMessage(kMsgSeconds))};
    return detail::FormatTime(Seconds, TimeType, words);
  });
}

}  // namespace quorvi
