#include "transfer/local_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
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
#include "transfer/transfer_lists.h"

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
    if (bytes.empty() || core_.error().Number() != 0) return;
    // Bytes past the known size (or past MaxSize when none is known) are not the file's: the
    // true part is kept, for a resume, and the rest is refused before it fills the disk.
    const double limit = Limit();
    const bool too_many = limit >= 0 && engine_.bytes + static_cast<double>(bytes.size()) > limit;
    if (too_many) bytes = bytes.substr(0, static_cast<std::size_t>(std::max(0.0, limit - engine_.bytes)));
    if (!bytes.empty() && !WriteBlock(bytes)) return;
    if (too_many) RefuseExcess(limit);
  }

  // The byte count a download may not pass; -1 for none. In ASCII mode the server may turn
  // each LF into CR LF, so up to twice the listed size is still the file.
  double Limit() const {
    const auto& s = core_.settings;
    if (!s.without_list) return engine_.remote_size * (s.transfer_mode == FTP_ASCII_MODE ? 2 : 1);
    return s.max_size > 0 ? s.max_size : -1;
  }

  void RefuseExcess(double limit) {
    engine_.attempt = core_.settings.redo_limit;  // the server would lie again
    const std::string& path = core_.settings.remote_path;
    if (core_.settings.without_list) {
      RecordError("DataArrived", errors::kTooLarge, MaxSizeText(limit) + " [ " + path + " ]");
    } else {
      RecordError("DataArrived", errors::kMoreThanSize,
                  GetErrorText(errors::kMoreThanSize) + " (" + NumberText(limit) + ") [ " + path + " ]");
    }
    // The server's reply to the close is a late one: it must not replace this error, nor
    // answer the next command.
    FtpSession::Of(core_).OweFinalReply();
    DataConnection::Of(core_).CloseDataConnection();
    if (core_.rt.operation == opDownload) core_.EndAsyncMethod();
  }

  bool WriteBlock(std::string_view bytes) {
    if (!engine_.file.IsOpen() && !OpenDownloadFile(core_)) return false;
    if (engine_.ascii) {
      converted_.clear();
      engine_.to_local.Feed(bytes, converted_);
      bytes = converted_;
    }
    errno = 0;
    if (!bytes.empty() && !engine_.file.Write(bytes.data(), bytes.size())) {
      RecordLocalFailure(core_, "DataArrived", errors::kOpenFileFailed, errno);
      return false;
    }
    // Data flows again: the retry notice is over and the file earns its retries back, as an
    // upload does when its chunks go out.
    engine_.attempt = 1;
    core_.rt.transfer_state.clear();
    core_.transfer.progress.DownloadBlock(static_cast<double>(bytes.size()), engine_.bytes,
                                          engine_.remote_size,
                                          core_.settings.without_list || engine_.ascii,
                                          Counters(), Settings(), RaiseEvent());
    return true;
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
    last_read_ = block.size();  // the file's bytes: the counts are the file's, not the wire's
    if (engine_.ascii && !block.empty()) {
      converted_.clear();
      engine_.to_wire.Feed(block, converted_);
      block.swap(converted_);
    }
    // A stream's end is its size: the upload waits for the server's 226 from here on.
    if (block.empty() && engine_.streaming && !engine_.file.ReadFailed())
      engine_.local_size = engine_.bytes;
  }

  void UploadSent(double n) override {
    if (engine_.ascii) n = static_cast<double>(last_read_);
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
  std::string converted_;      ///< ASCII mode: the block after line-end conversion
  std::size_t last_read_ = 0;  ///< upload: file bytes of the last block read
};

}  // namespace

bool LocalFile::Open(const std::string& path, const char* mode) {
  Close();
  write_error_ = 0;
  unsynced_ = 0;
  file_.reset(std::fopen(path.c_str(), mode));
  writing_ = IsOpen() && (mode[0] != 'r' || std::strchr(mode, '+') != nullptr);
  return IsOpen();
}

bool LocalFile::OpenStream(const std::string& path, int timeout_ms) {
  Close();
  write_error_ = 0;
  unsynced_ = 0;
  writing_ = false;
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  pollfd ready{fd, POLLIN, 0};
  int polled = 0;
  for (int interrupted = 0; interrupted < 100; ++interrupted) {
    polled = ::poll(&ready, 1, timeout_ms);
    if (polled >= 0 || errno != EINTR) break;
  }
  const int flags = ::fcntl(fd, F_GETFL);
  if (polled <= 0 || flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
    const int cause = polled == 0 ? ETIMEDOUT : errno;
    ::close(fd);
    errno = cause;
    return false;
  }
  file_.reset(::fdopen(fd, "rb"));
  if (!file_) ::close(fd);
  return IsOpen();
}

bool LocalFile::Close() {
  if (!file_) return write_error_ == 0;
  std::FILE* f = file_.release();
  if (writing_) {
    // fclose would write the buffer too, but a sync needs it written first; the flush makes a
    // full or failing disk show here and not after the file was reported.
    errno = 0;
    if (std::fflush(f) != 0) NoteError(errno);
    errno = 0;
    if (sync_on_close_ && write_error_ == 0 && ::fsync(::fileno(f)) != 0 && errno != EINVAL &&
        errno != EROFS)
      NoteError(errno);
  }
  errno = 0;
  if (std::fclose(f) != 0 && writing_) NoteError(errno);
  writing_ = false;
  return write_error_ == 0;
}

bool LocalFile::Seek(double offset) {
  return file_ && fseeko(file_.get(), static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool LocalFile::Write(const char* data, std::size_t n) {
  if (!file_) return false;
  errno = 0;
  if (std::fwrite(data, 1, n, file_.get()) != n) {
    NoteError(errno);
    return false;
  }
  // With SyncOnClose the disk is asked to start writing every few MiB, so that the sync at the
  // close has little left to wait for: a long sync there would stall the host's loop (a 1 GiB
  // file held it for a third of a second).
  unsynced_ += n;
  if (sync_on_close_ && unsynced_ >= kSyncStep) {
    unsynced_ = 0;
    if (std::fflush(file_.get()) != 0) {
      NoteError(errno);
      return false;
    }
    ::sync_file_range(::fileno(file_.get()), 0, 0, SYNC_FILE_RANGE_WRITE);
  }
  return true;
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
    const bool opened =
        engine.streaming
            ? engine.file.OpenStream(path, std::max<int>(core.settings.time_out, 1) * 1000)
            : engine.file.Open(path, "rb") && engine.file.Seek(engine.bytes);
    engine.to_wire.Reset();
    if (engine.streaming) {
      // The wait for a first byte is no stall of the transfer.
      core.transfer.progress.last_data_time = core.transfer.progress.clock().now();
    }
    if (!opened && engine.streaming && errno == ETIMEDOUT) {
      engine.attempt = core.settings.redo_limit;
      RecordError("OpenLocalFile", errors::kOpenFileFailed,
                  ErrorTextWith(errors::kOpenFileFailed, path) + ": nothing came to read within " +
                      std::to_string(core.settings.time_out) + " s (TimeOut)");
      return false;
    }
    if (!opened) {
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
  engine.destination_written = true;
  engine.to_local.Reset();
  if (!replace && engine.bytes > 0) engine.file.Seek(engine.bytes);
  return true;
}

void CloseLocalFile(Core& core) {
  if (!core.engine) return;
  TransferEngine& engine = *core.engine;
  // A download in ASCII mode that ended with a CR holds it back still: it is the file's last byte.
  const std::string held = engine.to_local.Finish();
  if (!held.empty() && engine.file.IsOpen() && engine.file.Write(held.data(), held.size()))
    engine.bytes += 1;
  engine.file.Close();
}

bool FinishDownloadFile(Core& core, const char* procedure) {
  TransferEngine& engine = TransferEngine::Of(core);
  if (engine.file.Close()) return true;
  RecordLocalFailure(core, procedure, errors::kOpenFileFailed, engine.file.WriteError());
  return false;
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
