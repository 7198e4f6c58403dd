// The local side of a running transfer: the open local file, the byte counters of the current
// file and the engine fields the data connection, the session and the HTTP downloader share.
// One TransferEngine lives in each component (Core::engine), created on first use.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace quorvi::detail {

class Core;
class TransferSide;

/// An open local file (RAII); empty while no transfer holds one.
class LocalFile {
 public:
  bool IsOpen() const { return file_ != nullptr; }
  /// Opens path: "r+b" (existing file for writing), "wb" (create/replace) or "rb" (read).
  bool Open(const std::string& path, const char* mode);
  void Close() { file_.reset(); }
  /// Moves the position to offset bytes from the start.
  bool Seek(double offset);
  /// Writes all n bytes at the current position.
  bool Write(const char* data, std::size_t n);
  /// Reads up to n bytes; fewer only at the end of the file or on an error.
  std::size_t Read(char* data, std::size_t n);

 private:
  struct Closer {
    void operator()(std::FILE* f) const { std::fclose(f); }
  };
  std::unique_ptr<std::FILE, Closer> file_;
};

/// The engine's per-component state.
class TransferEngine {
 public:
  /// The engine of a component, created on first use (registers the close-file hooks).
  static TransferEngine& Of(Core& core);

  LocalFile file;           ///< the local file handle of the running transfer
  double local_size = 0;    ///< local file size when the file started
  double remote_size = 0;   ///< remote size (1 with WithoutList, -1 missing, -2 query failed)
  double bytes = 0;         ///< download: bytes on disk; upload: bytes sent (start offset incl.)
  std::int16_t attempt = 1;      ///< attempt counter of the current file
  std::int16_t retry_pause = 5;  ///< seconds of the retry countdown
  bool abort_noted = false;      ///< the batch loop has taken note of an abort request
  bool http_download = false;    ///< an HTTP download owns opDownload (no REST is sent)
  /// FTP download: the local file is replaced (overwrite), not continued, when it is opened.
  bool replace_local = false;
  /// FTP download: the local file was opened during this attempt (by its first byte).
  bool local_opened = false;
  /// The destination's bytes are this job's own (nothing was there before the file's first
  /// attempt) or the policy overwrites: a restart from byte 0 loses nothing of the user's.
  bool destination_ours = false;
  /// FTP download with overwrite: the destination still holds the user's old file (no byte of
  /// this job has replaced it yet), so a retry must overwrite it too, never continue it.
  bool old_file_kept = false;
  std::int32_t rest_refusal_number = 0;  ///< error number of the session's REST refusal
  std::int64_t local_modified = 0;  ///< upload: the local file's last write when it began
  /// The engine's side of the data connection (installed there by Of).
  std::shared_ptr<TransferSide> data_side;
};

/// Makes the local file of the running operation ready. opUpload: opens it for reading at the
/// bytes already on the server. An FTP download only checks that the file can be written
/// (nothing is created, truncated or deleted yet: the server may still refuse) and sends REST
/// when resuming; OpenDownloadFile opens it when the first byte arrives. An HTTP download
/// opens (or creates) it at once. Reads LocalPath and TransferEngine::bytes. False when the
/// file cannot be used; 20023/20024 is then recorded (RecordError "OpenLocalFile").
bool OpenLocalFile(Core& core);
/// Opens an FTP download's local file: replaced (TransferEngine::replace_local) or created,
/// else continued at TransferEngine::bytes. False with 20023/20024 recorded.
bool OpenDownloadFile(Core& core);
/// Closes the transfer's local file when one is open.
void CloseLocalFile(Core& core);
/// After a short byte count: 20061 when the data socket is closed, or when it does not reach
/// the connected state within TimeOut.
void CheckSocketState(Core& core);
/// Sets the session hooks and dispatcher handlers that belong to the engines (called once
/// by TransferEngine::Of).
void InstallEngineHooks(Core& core);

/// The transfer event of the engines: status file (cancel.sta aborts), then OnTransfer.
void RaiseEngineTransferEvent(Core& core);
/// The data connection is ready (active mode: PORT accepted; passive mode: socket connected):
/// opens the local file, then sends REST when resuming, else RETR or STOR.
void StartTransferCommand(Core& core);

}  // namespace quorvi::detail
