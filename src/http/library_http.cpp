// FtpLibrary's HTTP download member: a thin never-throw wrapper around the downloader.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "http/http_downloader.h"

namespace quorvi {

bool FtpLibrary::DownloadHttpFile() {
  detail::HostCall call(*core_);
  if (call.Refused("DownloadHttpFile")) return false;
  return detail::Guarded(*core_, "DownloadHttpFile", false,
                         [&] { return detail::HttpDownloader::Of(*core_).DownloadHttpFile(); });
}

}  // namespace quorvi
