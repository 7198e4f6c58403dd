// FtpLibrary's DownLoad and UpLoad.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "transfer/download_engine.h"
#include "transfer/upload_engine.h"

namespace quorvi {

using detail::Guarded;

bool FtpLibrary::DownLoad(bool CreateFolder) {
  return Guarded(*core_, "DownLoad", false, [&] {
    core_->ClearLastError();
    return detail::DownloadEngine(*core_).DownLoad(CreateFolder);
  });
}

bool FtpLibrary::UpLoad(bool CreateFolder) {
  return Guarded(*core_, "UpLoad", false, [&] {
    core_->ClearLastError();
    return detail::UploadEngine(*core_).UpLoad(CreateFolder);
  });
}

}  // namespace quorvi
