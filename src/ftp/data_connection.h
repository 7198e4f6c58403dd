// The data connection of one FtpLibrary: the one data socket (reused for every transfer and
// listing), passive connects from the 227 reply, active listening with PORT, the data socket's
// six event handlers and the upload step. It also holds the state of the browsing operations
// that its handlers and the reply dispatcher fill: the listing being received, the listing
// cache, the SIZE result and the remote directory lists.
#pragma once

#include <quorvi/enums.h>
#include <quorvi/ftp_file.h>

#include <cstdint>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>

#include "ftp/listing_parser.h"
#include "ftp/listing_text.h"
#include "net/csocket.h"
#include "platform/event_pump.h"

namespace quorvi::detail {

class Core;
class FtpSession;

/// The transfer engine's side of a data connection (downloads and uploads). The engine
/// installs its implementation in DataConnection::transfer while it runs; the defaults do
/// nothing.
class TransferSide {
 public:
  virtual ~TransferSide() = default;
  /// The data connection is up during opDownload/opUpload: send REST, RETR or STOR.
  virtual void DataConnected() {}
  /// A block arrived during opDownload: write it, update progress.
  virtual void DataArrived(std::string_view /*bytes*/) {}
  /// Close the transfer's local file.
  virtual void CloseLocalFile() {}
  /// Everything pending was sent: adapt the chunk size and raise progress (before UploadData).
  virtual void SendComplete() {}
  // The open local file of an upload.
  virtual double UploadFileSize() const { return 0; }
  virtual double UploadBytesSent() const { return 0; }
  virtual std::int32_t UploadChunkSize() const { return 0; }
  /// Fills block with the next n bytes of the local file (fewer at its end). The block's
  /// storage is reused from chunk to chunk.
  virtual void ReadUpload(std::size_t /*n*/, std::string& block) { block.clear(); }
  /// n bytes were handed to the socket: counters and progress.
  virtual void UploadSent(double /*n*/) {}
};

/// What one upload step does.
struct UploadStep {
  enum Kind { Resend, Send, Finish } kind;
  std::size_t bytes = 0;  ///< Send: how many bytes to read and send
};

/// The upload step for a socket with `pending` unsent bytes, `sent` of `size` bytes handed
/// over so far and the current chunk size.
UploadStep NextUploadStep(double pending, double sent, double size, std::int32_t chunk);

/// The port of a 227 reply: the fifth field × 256 + the sixth of the six numbers between the
/// first "(" and the next ")"; nothing when there are not six numbers 0..255.
std::optional<std::int32_t> ParsePassivePort(std::string_view reply);

/// The port of a 229 reply ("229 Entering Extended Passive Mode (|||6446|)"): the number
/// between the third and the fourth of four equal delimiters inside the parentheses; nothing
/// when the reply has no such field or the port is not 1..65535.
std::optional<std::int32_t> ParseExtendedPassivePort(std::string_view reply);

/// The PORT argument for an IPv4 address and port ("10,0,0,5,78,81").
std::string PortArgument(const std::string& ip, std::int32_t port);

/// The EPRT argument for an address and port ("|2|::1|6446|", "|1|10.0.0.5|6446|").
std::string ExtendedPortArgument(const std::string& ip, bool v6, std::int32_t port);

/// The listing being received and the cache of the last one.
struct ListingState {
  ListingText buffer;         ///< text of the running listing
  std::string listed_path;    ///< path of the running listing ("" outside one)
  std::string listed_parent;  ///< folder the entries' FilePath is built from
  bool may_be_file = false;   ///< the listed path may name a single file
  bool list_reply = false;    ///< passive: the 226/250 reply to LIST arrived
  bool data_closed = false;   ///< passive: the data connection closed
  std::string last_text;      ///< text of the last parsed listing
  /// Lines of the last parsed listing that no format reader understood: a tree job must not
  /// report success with the entries they may stand for left out.
  ListingReport unread;
  /// Entries of the last successful listing (CacheListing), parsed once: single-file look-ups
  /// during a transfer of many files must not parse the listing again each time.
  std::optional<CFtpFiles> cached;
};

/// Lists of the remote directory operations.
struct DirectoryLists {
  std::string created;          ///< lower-cased paths made or found, each followed by "|"
  bool created_switch = false;  ///< consult and extend `created` (on during an upload)
  /// Folders an upload made with a plain success (not an "exists" refusal), so empty then, and
  /// the files sent into them since (folded paths): a file there not sent yet cannot exist, and
  /// the upload skips asking the server about it.
  std::set<std::string> fresh_folders, sent_into_fresh;
  /// The key of a remote path in the fresh lists: folded case, no trailing "/".
  static std::string Key(const std::string& remote_path);
  /// True when remote_path lies below a fresh folder and nothing was sent there under its name.
  bool CannotExistYet(const std::string& remote_path) const;
  /// Forgets what the created and fresh lists say.
  void ForgetCreated() {
    created.clear();
    fresh_folders.clear();
    sent_into_fresh.clear();
  }
  std::string guard;            ///< paths whose recursive removal started, each after "*"
  int removal_nesting = 0;      ///< RemoveDirectory calls running (the guard empties at 0)
  int removal_depth = 0;        ///< folder levels the running removal has descended
};

class DataConnection {
 public:
  explicit DataConnection(Core& core);
  ~DataConnection();
  DataConnection(const DataConnection&) = delete;
  DataConnection& operator=(const DataConnection&) = delete;

  /// The data connection of a component, created on first use.
  static DataConnection& Of(Core& core);

  /// "A" for FTP_ASCII_MODE, otherwise "I".
  std::string GetTransferType() const;
  /// Passive connect to the control connection's peer address at the port of the 227 or 229
  /// reply (fails with 16227 or 16229 when the reply carries no usable port).
  void OpenPassiveDataSocket(const std::string& reply);
  /// Starts the data exchange of the running operation: TYPE when the session's confirmed type
  /// differs (its 200 opens the data connection), otherwise the data connection's command at
  /// once, saving a round trip per file. False when nothing could be sent (the error is
  /// recorded and the operation ended).
  bool BeginDataExchange(const std::string& type);
  /// EPSV/PASV or PORT/EPRT for the running operation, by PassiveMode.
  void OpenData();
  /// Passive mode: EPSV, or PASV on an IPv4 session whose server refused EPSV.
  void SendPassiveCommand();
  /// Active mode: listen on the next free port of the control connection's local address and
  /// send PORT (IPv4) or EPRT (IPv6) with it.
  void SendPORTCommand();
  /// The next port to listen on: random in 20000..40001 first, then one more each time,
  /// wrapping back to 20000 above 65535.
  std::int32_t GetFreePort();
  /// Shuts the data socket down both ways and closes it (nothing when it is closed).
  void CloseDataConnection();
  /// One upload step (opUpload only): resend what is pending, send the next chunk, or close
  /// the file and the socket when everything is sent.
  void UploadData();
  /// An upload's data waits for the server's 125/150 to its STOR: servers reset a data
  /// connection on which bytes (or the end of a zero-byte file) arrive before that reply.
  void AwaitUploadClearance() { upload_cleared_ = false; }
  /// The 125/150 came: start sending when the data connection is ready (otherwise its write
  /// readiness starts it).
  void UploadCleared();
  /// The LIST argument of the running listing (ListDirForFile / ListDirWithAsterisk applied).
  std::string ListArgument() const;

  CSocket m_objDataSocket;
  /// The running transfer's side (set by the transfer engine; null when none).
  TransferSide* transfer = nullptr;
  ListingState listing;
  /// Result of the last SIZE exchange: the size, -1 no such file, -2 failed.
  double remote_size = -2;
  /// Path of the running SIZE query (sent again after a late reply of an earlier command).
  std::string size_path;
  DirectoryLists directories;

 private:
  void BindSocketEvents();
  /// The dispatcher's handlers and argument sources of the browsing rows
  /// (dispatch_rows_browse.cpp).
  void RegisterDispatch(FtpSession& session);
  void m_objDataSocket_OnConnectionRequest(std::int32_t requestID);
  /// True when the accepted connection comes from the control connection's peer address.
  bool FromServer(std::int32_t handle, std::string& peer) const;
  void m_objDataSocket_OnConnect();
  void m_objDataSocket_OnDataArrival(double bytesTotal);
  void m_objDataSocket_OnSendComplete();
  /// False (the listing failed with 22002/22003, its data connection closed) once the running
  /// listing has passed MaxListingBytes or MaxListingEntries.
  bool ListingWithinBounds();
  void m_objDataSocket_OnClose();
  void m_objDataSocket_OnError();
  void PrepareSocket();
  /// PROT P: TLS on the data connection, resuming the control connection's session.
  void StartDataTls();
  bool TryListen(std::int32_t port);

  Core& core_;
  std::int32_t port_counter_ = 0;
  std::mt19937 random_;
  bool listening_attempt_ = false;
  bool upload_cleared_ = false;     ///< the running upload's STOR was answered with 125/150  ///< a failed Listen is retried, not an operation failure
  /// Runs while a transfer whose data connection failed waits for the control reply.
  platform::EventPump::TimerId reply_grace_timer_ = 0;
};

}  // namespace quorvi::detail
