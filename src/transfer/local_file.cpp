#include "transfer/local_file.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <string_view>

#include <unistd.h>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/data_connection.h"
#include "ftp/session.h"
#include "local/cfile.h"
#include "local/formatters.h"
#include "net/csocket.h"
#include "platform/event_pump.h"
#include "transfer/download_engine_base.h"
#include "transfer/transfer_event.h"

namespace quorvi::detail {

namespace {

// A local file that cannot be opened or written: the error names the system's reason, and a
// reason that retrying cannot change (no permission, read-only, disk full) ends the file's
// retries at once.
void RecordLocalFailure(Core& core, const char* procedure, std::int32_t number, int cause) {
  const std::string& path = core.settings.local_path;
  RecordError(procedure, number,
              ErrorTextWith(number, path) + (cause != 0 ? ": " + std::string(std::strerror(cause)) : ""));
  static constexpr int kLasting[] = {EACCES, EPERM, EROFS, ENOSPC, EDQUOT, EISDIR, ENOTDIR,
                                     ENAMETOOLONG, EFBIG};
  for (int lasting : kLasting)
    if (cause == lasting && core.engine) core.engine->attempt = core.settings.redo_limit;
}

// What the data connection asks of a running download or upload.
class EngineSide : public TransferSide {
 public:
  EngineSide(Core& core, TransferEngine& engine) : core_(core), engine_(engine) {}

  void DataConnected() override { StartTransferCommand(core_); }

  void DataArrived(std::string_view bytes) override {
    if (bytes.empty()) return;
    if (!engine_.file.IsOpen() && !OpenDownloadFile(core_)) return;
    errno = 0;
    if (!engine_.file.Write(bytes.data(), bytes.size())) {
      RecordLocalFailure(core_, "DataArrived", errors::kOpenFileFailed, errno);
      return;
    }
    // Data flows again: the retry notice is over and the file earns its retries back, as an
    // upload does when its chunks go out.
    engine_.attempt = 1;
    core_.rt.transfer_state.clear();
    core_.transfer.progress.DownloadBlock(static_cast<double>(bytes.size()), engine_.bytes,
                                          engine_.remote_size, core_.settings.without_list,
                                          Counters(), Settings(), RaiseEvent());
  }

  void CloseLocalFile() override { engine_.file.Close(); }

  void SendComplete() override {
    // A file that moves again earns its retries back; a send-complete before any byte went
    // (the one right after the connect) does not, or a refusal would be retried forever.
    if (engine_.bytes > core_.transfer.progress.start_offset) engine_.attempt = 1;
    core_.rt.transfer_state.clear();
    core_.transfer.progress.UploadStep(engine_.bytes, engine_.local_size,
                                       core_.settings.max_chunk_size, Counters(), Settings(),
                                       RaiseEvent());
  }

  double UploadFileSize() const override { return engine_.local_size; }
  double UploadBytesSent() const override { return engine_.bytes; }
  std::int32_t UploadChunkSize() const override { return core_.transfer.progress.chunk_size; }

  void ReadUpload(std::size_t n, std::string& block) override {
    block.resize(n);  // same size as the last chunk most of the time: nothing to fill
    block.resize(engine_.file.Read(block.data(), n));
  }

  void UploadSent(double n) override {
    core_.transfer.progress.UploadChunk(n, engine_.bytes, engine_.local_size, Counters(),
                                        Settings());
  }

 private:
  FileCounters Counters() { return {core_.rt.percent, core_.rt.transfer_size}; }
  ProgressSettings Settings() const {
    return {core_.settings.show_total_percent, core_.settings.max_speed};
  }
  std::function<void()> RaiseEvent() {
    return [this] { RaiseEngineTransferEvent(core_); };
  }

  Core& core_;
  TransferEngine& engine_;
};

}  // namespace

bool LocalFile::Open(const std::string& path, const char* mode) {
  file_.reset(std::fopen(path.c_str(), mode));
  return IsOpen();
}

bool LocalFile::Seek(double offset) {
  return file_ && fseeko(file_.get(), static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool LocalFile::Write(const char* data, std::size_t n) {
  return file_ && std::fwrite(data, 1, n, file_.get()) == n;
}

std::size_t LocalFile::Read(char* data, std::size_t n) {
  return file_ ? std::fread(data, 1, n, file_.get()) : 0;
}

TransferEngine& TransferEngine::Of(Core& core) {
  if (!core.engine) {
    core.engine = std::make_shared<TransferEngine>();
    // The engine owns the local file of a transfer: the end of any operation and the error
    // procedure close it.
    core.end_operation_hooks.emplace_back([&core] { CloseLocalFile(core); });
    core.error_cleanup_hooks.emplace_back([&core](FtpOperations op) {
      if (op == opDownload || op == opUpload) CloseLocalFile(core);
    });
    InstallEngineHooks(core);
    core.engine->data_side = std::make_shared<EngineSide>(core, *core.engine);
    DataConnection::Of(core).transfer = core.engine->data_side.get();
  }
  return *core.engine;
}

bool OpenLocalFile(Core& core) {
  TransferEngine& engine = TransferEngine::Of(core);
  const std::string& path = core.settings.local_path;
  errno = 0;
  if (core.rt.operation == opUpload) {
    if (!engine.file.Open(path, "rb") || !engine.file.Seek(engine.bytes)) {
      const int cause = errno;
      engine.file.Close();
      RecordLocalFailure(core, "OpenLocalFile", errors::kOpenFileFailed, cause);
      return false;
    }
    return true;
  }
  if (engine.http_download) return OpenDownloadFile(core);
  // Checked, not opened: a refused RETR must leave the local side as it was.
  const bool exists = CFile::FileExists(path);
  const std::size_t slash = path.rfind('/');
  const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (exists ? ::access(path.c_str(), W_OK) != 0 : ::access(parent.c_str(), W_OK) != 0) {
    RecordLocalFailure(core, "OpenLocalFile",
                       exists ? errors::kOpenFileFailed : errors::kCreateFileFailed, errno);
    return false;
  }
  engine.local_opened = false;
  if (engine.bytes > 0) {
    FtpSession::Of(core).SendFtpCommand("REST", NumberText(engine.bytes));
    WriteLog("Download.REST:" + NumberText(engine.bytes) + "#" + path + "|" +
             core.settings.remote_path);
  }
  return true;
}

bool OpenDownloadFile(Core& core) {
  TransferEngine& engine = TransferEngine::Of(core);
  const std::string& path = core.settings.local_path;
  errno = 0;
  const bool exists = CFile::FileExists(path);
  const bool replace = !exists || (engine.replace_local && !engine.http_download);
  if (!engine.file.Open(path, replace ? "wb" : "r+b")) {
    RecordLocalFailure(core, "OpenLocalFile",
                       exists ? errors::kOpenFileFailed : errors::kCreateFileFailed, errno);
    return false;
  }
  engine.local_opened = true;
  engine.old_file_kept = false;
  if (!replace && engine.bytes > 0) engine.file.Seek(engine.bytes);
  return true;
}

void CloseLocalFile(Core& core) {
  if (core.engine) core.engine->file.Close();
}

void CheckSocketState(Core& core) {
  if (core.error().Number() != 0) return;
  const CSocket& socket = DataConnection::Of(core).m_objDataSocket;
  auto state = socket.State();
  if (state == sckConnected) return;
  if (state == sckClosed) {
    RecordError("CheckSocketState", errors::kDataSocketFailed, GetErrorText(errors::kDataSocketFailed));
    return;
  }
  // Bounded by TimeOut: 100 steps of 10 ms per second.
  const std::int64_t limit = static_cast<std::int64_t>(core.settings.time_out) * 100 + 100;
  for (std::int64_t step = 0; step < limit; ++step) {
    core.pump().Sleep(10);
    if (core.error().Number() != 0) return;
    state = socket.State();
    if (state == sckConnected) return;
  }
  WriteLog("CSSTimeout:" + std::to_string(state));
  RecordError("CheckSocketState", errors::kDataSocketFailed, GetErrorText(errors::kDataSocketFailed));
}

void RaiseEngineTransferEvent(Core& core) {
  RaiseTransferEvent(core, [&core] { FtpSession::Of(core).Abort(); });
}

}  // namespace quorvi::detail
