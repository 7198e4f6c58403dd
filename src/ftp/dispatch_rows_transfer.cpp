// Dispatcher rows of one file's download (opDownload) and upload (opUpload) exchange: TYPE,
// EPSV (PASV) or PORT (EPRT), REST when resuming, then RETR or STOR. "Open data" and "Passive connect" belong
// to the data connection; the others are the transfer engine's (download_engine_hooks.cpp).
// "StartTransfer" opens the local file, then sends REST or the transfer command; in passive
// mode the data connection runs the same step when its socket connects. TYPE is sent only when
// the session's type is not the one wanted; a late 226 of an earlier transfer (an active
// listing completes at its data connection's close) is ignored wherever it lands.
#include "ftp/dispatch_table.h"

namespace quorvi::detail {

std::vector<DispatchRow> TransferDispatchRows() {
  return {
      // One download. The close of the data connection completes it (the data handlers).
      {opDownload, "TYPE", {200}, Handler("Open data")},
      {opDownload, "TYPE", {226, 257}, Ignore()},
      {opDownload, "TYPE", {}, Fail()},
      {opDownload, "PORT", {200}, Handler("StartTransfer")},
      {opDownload, "PORT", {226, 257}, Ignore()},
      {opDownload, "PORT", {}, Fail()},
      {opDownload, "PASV", {227}, Handler("Passive connect")},
      {opDownload, "PASV", {200, 226, 257}, Ignore()},
      {opDownload, "PASV", {}, Fail()},
      {opDownload, "EPSV", {229}, Handler("Passive connect")},
      {opDownload, "EPSV", {500, 501, 502, 522}, Handler("EPSV refused")},
      {opDownload, "EPSV", {200, 226, 257}, Ignore()},
      {opDownload, "EPSV", {}, Fail()},
      {opDownload, "EPRT", {200}, Handler("StartTransfer")},
      {opDownload, "EPRT", {226, 257}, Ignore()},
      {opDownload, "EPRT", {}, Fail()},
      {opDownload, "REST", {350}, Send("RETR", "RemotePath")},
      {opDownload, "REST", {200, 257}, Ignore()},
      {opDownload, "REST", {}, Fail()},
      {opDownload, "RETR", {110, 125, 150, 200, 226, 250, 257}, Ignore()},
      {opDownload, "RETR", {}, Fail()},

      // One upload. The completion reply ends it.
      {opUpload, "TYPE", {200}, Handler("Open data")},
      {opUpload, "TYPE", {150, 226, 227, 229, 257}, Ignore()},
      {opUpload, "TYPE", {425}, Handler("UploadTypeAgain")},
      {opUpload, "TYPE", {550}, Logged("UpLoadOne Type 550--", Ignore())},
      {opUpload, "TYPE", {}, Fail()},
      {opUpload, "PORT", {200}, Handler("StartTransfer")},
      {opUpload, "PORT", {226, 257}, Ignore()},
      {opUpload, "PORT", {}, Fail()},
      {opUpload, "PASV", {227}, Handler("Passive connect")},
      {opUpload, "PASV", {200}, Send("PASV")},
      {opUpload, "PASV", {226, 257}, Ignore()},
      {opUpload, "PASV", {}, Fail()},
      {opUpload, "EPSV", {229}, Handler("Passive connect")},
      {opUpload, "EPSV", {500, 501, 502, 522}, Handler("EPSV refused")},
      {opUpload, "EPSV", {200}, Send("EPSV")},
      {opUpload, "EPSV", {226, 257}, Ignore()},
      {opUpload, "EPSV", {}, Fail()},
      {opUpload, "EPRT", {200}, Handler("StartTransfer")},
      {opUpload, "EPRT", {226, 257}, Ignore()},
      {opUpload, "EPRT", {}, Fail()},
      {opUpload, "REST", {350}, Send("STOR", "RemotePath")},
      {opUpload, "REST", {200, 257}, Ignore()},
      {opUpload, "REST", {}, Fail()},
      {opUpload, "STOR", {110}, Ignore()},
      {opUpload, "STOR", {125, 150}, Handler("UploadCleared")},
      {opUpload, "STOR", {200, 257}, Logged("STOR.KA.", Ignore())},
      {opUpload, "STOR", {226, 250}, Handler("UploadStored")},
      // 421, 550 and the rest: the error path closes the local file; the engine decides
      // about retrying.
      {opUpload, "STOR", {}, Fail()},
  };
}

}  // namespace quorvi::detail
