// The engines' side of the session: its hooks (abort, close, time-out timer, keep-alive
// collision) and the dispatcher handlers of the download and upload rows.
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/data_connection.h"
#include "ftp/session.h"
#include "local/formatters.h"
#include "transfer/local_file.h"

namespace quorvi::detail {

namespace {

// The time-out timer during opDownload/opUpload: a stalled transfer fails with 20004; one
// whose bytes all moved but whose final reply never came is ended on a fresh connection.
void TransferTimeoutTick(Core& core) {
  TransferEngine& engine = TransferEngine::Of(core);
  const Progress& p = core.transfer.progress;
  if (p.clock().now() - p.last_data_time <= core.settings.time_out) return;
  const bool upload = core.rt.operation == opUpload;
  const double total = upload ? engine.local_size : engine.remote_size;
  if (engine.bytes < total) {
    RecordError(upload ? "Timeout_Timer:Upload" : "Timeout_Timer:Download", errors::kTimedOut,
                GetErrorText(errors::kTimedOut));
    return;
  }
  FtpSession& session = FtpSession::Of(core);
  core.EndAsyncMethod();
  if (!upload && engine.http_download) {
    if (session.hooks.release_http) session.hooks.release_http();
    return;
  }
  session.CloseConnection();
  session.abort_request = false;
  WriteLog(upload ? "Timeouter_Timer:Upload:EndAsyncMethod"
                  : "Timeouter_Timer:Download:EndAsyncMethod");
}

void RegisterHandlers(Core& core, FtpSession& session) {
  session.dispatcher.RegisterHandler(
      "StartTransfer", [&core](const DispatchContext&) { StartTransferCommand(core); });
  session.dispatcher.RegisterHandler("UploadTypeAgain", [&core, &session](const DispatchContext&) {
    WriteLog("UpLoadOne can't open data connection--" + core.settings.remote_path + "--" +
             core.settings.local_path);
    session.SendFtpCommand("TYPE", core.settings.transfer_mode == FTP_ASCII_MODE ? "A" : "I");
  });
  session.dispatcher.RegisterHandler("UploadCleared", [&core](const DispatchContext&) {
    TransferEngine::Of(core).destination_written = true;  // the server has opened its file
    DataConnection::Of(core).UploadCleared();
  });
  session.dispatcher.RegisterHandler("UploadStored", [&core](const DispatchContext&) {
    core.EndAsyncMethod();
    CloseLocalFile(core);
  });
}

}  // namespace

void InstallEngineHooks(Core& core) {
  FtpSession& session = FtpSession::Of(core);
  SessionHooks& hooks = session.hooks;
  hooks.close_local_file = [&core] { CloseLocalFile(core); };
  hooks.reset_transfer = [&core] {
    core.transfer.progress.ResetForClose({core.rt.percent, core.rt.transfer_size});
  };
  hooks.exhaust_retries = [&core] {
    TransferEngine::Of(core).attempt = core.settings.redo_limit;
  };
  hooks.retry_after_collision = [&core] { TransferEngine::Of(core).retry_pause = 1; };
  hooks.abort_noted = [&core] { return TransferEngine::Of(core).abort_noted; };
  hooks.transfer_timeout_tick = [&core] { TransferTimeoutTick(core); };
  RegisterHandlers(core, session);
}

void StartTransferCommand(Core& core) {
  if (!OpenLocalFile(core)) return;  // 20023/20024 is recorded: the engine's wait ends
  FtpSession& session = FtpSession::Of(core);
  const Settings& s = core.settings;
  const std::string paths = "#" + s.local_path + "|" + s.remote_path;
  const double offset = core.transfer.progress.start_offset;
  if (core.rt.operation == opDownload) {
    if (session.last_command == "REST") return;  // RETR follows the 350
    session.SendFtpCommand("RETR", s.remote_path);
    WriteLog("Download.RETR:" + NumberText(offset) + paths);
  } else if (core.rt.operation == opUpload) {
    DataConnection::Of(core).AwaitUploadClearance();
    if (offset > 0) {
      session.SendFtpCommand("REST", NumberText(offset));
      WriteLog("Upload.REST:" + NumberText(offset) + paths);
    } else {
      session.SendFtpCommand("STOR", s.remote_path);
      WriteLog("Upload.STOR:" + NumberText(offset) + paths);
    }
  }
}

}  // namespace quorvi::detail
