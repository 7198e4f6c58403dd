// FtpLibrary's DownLoad and UpLoad.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "transfer/download_engine.h"
#include "transfer/upload_engine.h"

namespace quorvi {

using detail::Guarded;

bool FtpLibrary::DownLoad(bool CreateFolder) {
  detail::HostCall call(*core_);
  if (call.Refused("DownLoad")) return false;
  return Guarded(*core_, "DownLoad", false, [&] {
    core_->ClearLastError();
    return detail::DownloadEngine(*core_).DownLoad(CreateFolder);
  });
}

bool FtpLibrary::UpLoad(bool CreateFolder) {
  detail::HostCall call(*core_);
  if (call.Refused("UpLoad")) return false;
  return Guarded(*core_, "UpLoad", false, [&] {
    core_->ClearLastError();
    return detail::UploadEngine(*core_).UpLoad(CreateFolder);
  });
}

bool FtpLibrary::DownLoadFile(const std::string& RemoteFile, const std::string& LocalFile) {
  detail::HostCall call(*core_);
  if (call.Refused("DownLoadFile")) return false;
  return Guarded(*core_, "DownLoadFile", false, [&] {
    core_->ClearLastError();
    return detail::DownloadEngine(*core_).DownLoadFile(RemoteFile, LocalFile);
  });
}

bool FtpLibrary::UpLoadFile(const std::string& LocalFile, const std::string& RemoteFile) {
  detail::HostCall call(*core_);
  if (call.Refused("UpLoadFile")) return false;
  return Guarded(*core_, "UpLoadFile", false, [&] {
    core_->ClearLastError();
    return detail::UploadEngine(*core_).UpLoadFile(LocalFile, RemoteFile);
  });
}

}  // namespace quorvi
