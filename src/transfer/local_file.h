// The local side of a running transfer: the open local file, the byte counters of the current
// file and the engine fields the data connection, the session and the HTTP downloader share.
// One TransferEngine lives in each component (Core::engine), created on first use.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "transfer/ascii_lines.h"

namespace quorvi::detail {

class Core;
class TransferSide;

/// An open local file (RAII); empty while no transfer holds one. A file opened for writing
/// keeps the first system error of its writes, flush, sync and close (WriteError) until the
/// next Open: the last buffered bytes only reach the disk at the close, and a transfer must
/// not read as done when they did not.
class LocalFile {
 public:
  bool IsOpen() const { return file_ != nullptr; }
  /// Opens path: "r+b" (existing file for writing), "wb" (create/replace) or "rb" (read).
  bool Open(const std::string& path, const char* mode);
  /// Opens a pipe, FIFO or device for reading: waits up to timeout_ms for its first byte or
  /// its end (a FIFO without a writer would block the open forever). False with errno
  /// ETIMEDOUT when nothing came.
  bool OpenStream(const std::string& path, int timeout_ms);
  /// True when a read failed (not merely reached the end).
  bool ReadFailed() const { return file_ && std::ferror(file_.get()) != 0; }
  /// Closes the file; a written one is flushed first, and synced to the disk when SyncOnClose.
  /// False (and WriteError set) when any of that failed. Nothing to do when no file is open.
  bool Close();
  /// Whether Close syncs a written file (fsync). Off by default, as in curl, lftp and rsync:
  /// it costs a few ms per file, and a full or failing disk shows at the flush and close anyway.
  bool SyncOnClose() const { return sync_on_close_; }
  void SyncOnClose(bool value) { sync_on_close_ = value; }
  /// Moves the position to offset bytes from the start.
  bool Seek(double offset);
  /// Writes all n bytes at the current position.
  bool Write(const char* data, std::size_t n);
  /// Reads up to n bytes; fewer only at the end of the file or on an error.
  std::size_t Read(char* data, std::size_t n);
  /// The errno of the first failed write, flush, sync or close since Open (0: none).
  int WriteError() const { return write_error_; }

 private:
  struct Closer {
    void operator()(std::FILE* f) const { std::fclose(f); }
  };
  void NoteError(int cause) {
    if (write_error_ == 0) write_error_ = cause != 0 ? cause : EIO;
  }
  static constexpr std::size_t kSyncStep = 4 << 20;
  std::unique_ptr<std::FILE, Closer> file_;
  std::size_t unsynced_ = 0;  ///< bytes written since the disk was last asked to write
  bool writing_ = false;
  bool sync_on_close_ = false;
  int write_error_ = 0;
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
  /// An attempt of this file changed the destination (download: opened the local file; upload:
  /// STOR was accepted). Until then a retry replaces what the first attempt meant to replace,
  /// though the retry itself runs with "resume all".
  bool destination_written = false;
  /// Upload: the source is a pipe, FIFO or device. It is sent as a stream: its size is known
  /// only at its end (local_size is kStreamSize until then), and it is neither resumed nor retried.
  bool streaming = false;
  /// FTP transfer in ASCII mode (TYPE A): line ends are converted (see ascii_lines.h); byte
  /// counts are local bytes, so the listed size does not prove a download whole, and REST
  /// offsets would not match the server's bytes.
  bool ascii = false;
  AsciiToLocal to_local;
  AsciiToWire to_wire;
  static constexpr double kStreamSize = 1e18;
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
/// Closes a downloaded file before it counts as transferred: false, with the system's reason
/// recorded (20024, no retries for a full disk), when its last bytes did not reach the disk.
bool FinishDownloadFile(Core& core, const char* procedure);
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
