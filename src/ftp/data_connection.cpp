#include "ftp/data_connection.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "component/thread_shared.h"
#include "ftp/ftp_text.h"
#include "ftp/session.h"
#include "local/case_folding.h"
#include "local/path_rules.h"
#include "local/path_rules.h"
#include "platform/clock_text.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

namespace {

constexpr std::int32_t kFirstPort = 20000;
constexpr std::int32_t kPortSpread = 20001;  // first port: 20000..40001
constexpr std::int32_t kLastPort = 65535;
// Ports tried before an active transfer gives up (each taken port costs one bind).
constexpr int kListenAttempts = 64;
constexpr std::int32_t kAddressInUse = 10048;
// How long a failed data connection waits for the control reply that may explain it.
constexpr std::uint32_t kReplyGraceMs = 1500;

std::string OperationText(FtpOperations op) { return std::to_string(static_cast<int>(op)); }

}  // namespace

UploadStep NextUploadStep(double pending, double sent, double size, std::int32_t chunk) {
  if (pending > 0) return {UploadStep::Resend, 0};
  if (sent >= size) return {UploadStep::Finish, 0};
  const double remaining = size - sent;
  const double n = chunk > 0 ? std::min(remaining, static_cast<double>(chunk)) : remaining;
  return {UploadStep::Send, static_cast<std::size_t>(n)};
}

std::optional<std::int32_t> ParsePassivePort(std::string_view reply) {
  // The six numbers start at the first digit after the reply code, with or without
  // parentheses around them (servers differ; RFC 1123 asks clients to scan for them).
  std::size_t at = reply.size() > 3 ? 3 : reply.size();
  at = reply.find_first_of("0123456789", at);
  if (at == std::string_view::npos) return std::nullopt;
  const auto skip_blanks = [&] {
    while (at < reply.size() && reply[at] == ' ') ++at;
  };
  int numbers[6] = {};
  for (int i = 0; i < 6; ++i) {
    skip_blanks();
    const auto [end, error] = std::from_chars(reply.data() + at, reply.data() + reply.size(),
                                              numbers[i]);
    if (error != std::errc() || numbers[i] < 0 || numbers[i] > 255) return std::nullopt;
    at = static_cast<std::size_t>(end - reply.data());
    skip_blanks();
    const bool comma = at < reply.size() && reply[at] == ',';
    if (comma != (i < 5)) return std::nullopt;  // exactly six numbers
    if (comma) ++at;
  }
  const std::int32_t port = numbers[4] * 256 + numbers[5];
  if (port == 0) return std::nullopt;
  return port;
}

std::optional<std::int32_t> ParseExtendedPassivePort(std::string_view reply) {
  const auto open = reply.find('(', reply.size() > 3 ? 3 : reply.size());
  if (open == std::string_view::npos || open + 5 > reply.size()) return std::nullopt;
  const char delimiter = reply[open + 1];
  if (delimiter < 33 || delimiter > 126 || std::isdigit(static_cast<unsigned char>(delimiter)) ||
      reply[open + 2] != delimiter || reply[open + 3] != delimiter) {
    return std::nullopt;
  }
  const char* first = reply.data() + open + 4;
  const char* last = reply.data() + reply.size();
  int port = 0;
  const auto [end, error] = std::from_chars(first, last, port);
  if (error != std::errc() || end == first || end + 1 >= last || *end != delimiter ||
      end[1] != ')' || port < 1 || port > 65535) {
    return std::nullopt;
  }
  return port;
}

std::string ExtendedPortArgument(const std::string& ip, bool v6, std::int32_t port) {
  return std::string("|") + (v6 ? "2" : "1") + "|" + ip + "|" + std::to_string(port) + "|";
}

std::string PortArgument(const std::string& ip, std::int32_t port) {
  std::string address = ip;
  std::replace(address.begin(), address.end(), '.', ',');
  return address + "," + std::to_string(port / 256) + "," + std::to_string(port % 256);
}

DataConnection::DataConnection(Core& core) : core_(core), random_(std::random_device{}()) {
  m_objDataSocket.m_strType = "[Data]";
  m_objDataSocket.BelongsTo(core_.error_object);
  BindSocketEvents();
  FtpSession& session = FtpSession::Of(core_);
  session.hooks.close_data = [this] { CloseDataConnection(); };
  session.hooks.discard_listing = [this] { listing.buffer.Clear(); };
  session.hooks.data_pending = [this] { return m_objDataSocket.m_lngBufferLen; };
  session.hooks.reset_data_pending = [this] { m_objDataSocket.m_lngBufferLen = 0; };
  session.hooks.forget_created_dirs = [this] { directories.ForgetCreated(); };
  RegisterDispatch(session);
  reply_grace_timer_ = core_.pump().AddTimer(
      kReplyGraceMs,
      [this] {
        ActiveError active(*core_.shared, core_.error_object);
        Contained("ReplyGrace_Timer", [this] {
          core_.pump().SetTimerEnabled(reply_grace_timer_, false);
          if (core_.rt.operation != opNone) core_.EndAsyncMethod();
        });
      },
      false);
  // Whatever ends the operation (the reply, an abort, a time-out) ends its grace too.
  core_.end_operation_hooks.emplace_back([&core] {
    if (core.data_connection) core.pump().SetTimerEnabled(core.data_connection->reply_grace_timer_, false);
  });
}

DataConnection::~DataConnection() {
  core_.pump().RemoveTimer(reply_grace_timer_);
  m_objDataSocket.OnConnectionRequest = nullptr;
  m_objDataSocket.OnConnect = nullptr;
  m_objDataSocket.OnDataArrival = nullptr;
  m_objDataSocket.OnSendComplete = nullptr;
  m_objDataSocket.OnClose = nullptr;
  m_objDataSocket.OnError = nullptr;
  if (core_.session) {
    SessionHooks& hooks = core_.session->hooks;
    hooks.close_data = nullptr;
    hooks.discard_listing = nullptr;
    hooks.data_pending = nullptr;
    hooks.reset_data_pending = nullptr;
    hooks.forget_created_dirs = nullptr;
  }
}

DataConnection& DataConnection::Of(Core& core) {
  if (!core.data_connection) core.data_connection = std::make_shared<DataConnection>(core);
  return *core.data_connection;
}

void DataConnection::BindSocketEvents() {
  CSocket& s = m_objDataSocket;
  s.OnConnectionRequest = [this](std::int32_t id) {
    Contained("m_objDataSocket_OnConnectionRequest",
              [&] { m_objDataSocket_OnConnectionRequest(id); });
  };
  s.OnConnect = [this] {
    Contained("m_objDataSocket_OnConnect", [&] { m_objDataSocket_OnConnect(); });
  };
  s.OnDataArrival = [this](double n) {
    Contained("m_objDataSocket_OnDataArrival", [&] { m_objDataSocket_OnDataArrival(n); });
  };
  s.OnSendComplete = [this] {
    Contained("m_objDataSocket_OnSendComplete", [&] { m_objDataSocket_OnSendComplete(); });
  };
  s.OnClose = [this] { Contained("m_objDataSocket_OnClose", [&] { m_objDataSocket_OnClose(); }); };
  s.OnError = [this] { Contained("m_objDataSocket_OnError", [&] { m_objDataSocket_OnError(); }); };
}

std::string DataConnection::GetTransferType() const {
  return core_.settings.transfer_mode == FTP_ASCII_MODE ? "A" : "I";
}

void DataConnection::PrepareSocket() {
  const bool limited = core_.settings.max_speed > 0;
  // Under a speed limit the throttle paces the bytes; buffers as small as the limit's
  // (MaxSpeed sizes them for 80 sends a second) would cap the rate below it instead.
  const auto second = static_cast<std::int32_t>(std::min<std::int64_t>(core_.settings.max_speed, 1 << 24));
  m_objDataSocket.Rcvbuf(limited ? std::max(core_.settings.rcvbuf, second) : core_.settings.rcvbuf);
  m_objDataSocket.MaxReceive(Progress::ThrottledBlock(core_.settings.max_speed));
  // The 14600-byte default is the upload engine's chunk basis, but as SO_SNDBUF it switches off
  // the kernel's send-buffer autotuning and uploads stall for delayed acknowledgements (about
  // 2 MB/s on loopback). So the kernel sizes the buffer unless the host asked for a size.
  m_objDataSocket.Sndbuf(core_.settings.sndbuf_set && !limited ? core_.settings.sndbuf : 0);
}

void DataConnection::OpenPassiveDataSocket(const std::string& reply) {
  core_.SetState(ftpEstablishingDataConnection);
  // The address fields are not used: behind NAT they name a private address, so the data
  // connection always goes to the host of the control connection.
  const bool extended = reply.starts_with("229");
  const auto port = extended ? ParseExtendedPassivePort(reply) : ParsePassivePort(reply);
  if (!port) Fail(errors::ReplyError(extended ? 229 : 227), reply, "OpenPassiveDataSocket");
  m_objDataSocket.CloseSocket();
  m_objDataSocket.LocalPort(0);
  // The address the control connection reached, not the name again: a name with several
  // addresses must not send the data connection to another machine.
  m_objDataSocket.RemoteHost(FtpSession::Of(core_).m_objControlSocket.RemoteHost());
  m_objDataSocket.RemotePort(*port);
  PrepareSocket();
  WriteLog("PasvSktCONN.START");
  m_objDataSocket.Connect();
  core_.SetState(ftpDataConnectionEstablished);
}

std::int32_t DataConnection::GetFreePort() {
  if (port_counter_ == 0) {
    port_counter_ = kFirstPort + static_cast<std::int32_t>(random_() % kPortSpread);
  } else if (++port_counter_ > kLastPort) {
    port_counter_ = kFirstPort;
  }
  return port_counter_;
}

bool DataConnection::TryListen(std::int32_t port) {
  if (m_objDataSocket.State() != sckClosed) m_objDataSocket.CloseSocket();
  PrepareSocket();
  m_objDataSocket.LocalPort(port);
  listening_attempt_ = true;
  // On the control connection's local address: the one PORT or EPRT names, of its family.
  m_objDataSocket.Bind(port, FtpSession::Of(core_).m_objControlSocket.LocalIP());
  m_objDataSocket.Listen();
  listening_attempt_ = false;
  if (m_objDataSocket.State() == sckListening) return true;
  // The failure (typically 10048, port taken) was recorded by the socket; it must not end the
  // operation: the next port is tried.
  WriteLog("SendPORTCommand.Listen:" + std::to_string(port) + "#" +
           std::to_string(core_.error().Number()));
  core_.error().Clear();
  return false;
}

void DataConnection::SendPORTCommand() {
  core_.SetState(ftpEstablishingDataConnection);
  std::int32_t port = 0;
  bool listening = false;
  for (int attempt = 0; attempt < kListenAttempts && !listening; ++attempt) {
    core_.pump().DoEvents();
    port = GetFreePort();
    listening = TryListen(port);
  }
  if (!listening) Fail(kAddressInUse, {}, "SendPORTCommand");
  FtpSession& session = FtpSession::Of(core_);
  const CSocket& control = session.m_objControlSocket;
  if (control.IsIPv6()) {
    session.SendFtpCommand("EPRT", ExtendedPortArgument(control.LocalIP(), true, port));
  } else {
    session.SendFtpCommand("PORT", PortArgument(control.LocalIP(), port));
  }
}

bool DataConnection::BeginDataExchange(const std::string& type) {
  FtpSession& session = FtpSession::Of(core_);
  if (session.transfer_type != type || !session.Connected()) return session.SendFtpCommand("TYPE", type);
  try {
    OpenData();
    return true;
  } catch (const ComponentError& e) {
    if (core_.rt.operation != opNone) core_.EndAsyncMethod();
    RecordError("OpenData", e.number(), e.text());
    return false;
  }
}

void DataConnection::OpenData() {
  // A server may connect as soon as PORT is accepted, before the STOR of this upload: nothing
  // goes out until its 125/150.
  upload_cleared_ = false;
  if (core_.settings.passive_mode) {
    SendPassiveCommand();
  } else {
    SendPORTCommand();
  }
}

void DataConnection::SendPassiveCommand() {
  FtpSession& session = FtpSession::Of(core_);
  const bool pasv = session.epsv_refused && !session.m_objControlSocket.IsIPv6();
  session.SendFtpCommand(pasv ? "PASV" : "EPSV", "");
}

void DataConnection::CloseDataConnection() {
  const std::int32_t state = m_objDataSocket.State();
  if (state == sckClosed) return;
  if (state == sckConnected || state == sckClosing)
    platform::ShutdownSocket(m_objDataSocket.SocketHandle(), platform::ShutdownHow::Both);
  // At once: the peer's close of an abandoned connection must not reach whatever operation
  // runs next (an active listing took such a close for its own end and read as empty).
  m_objDataSocket.CloseNow();
}

void DataConnection::UploadData() {
  if (core_.rt.operation != opUpload || transfer == nullptr || !upload_cleared_) return;
  const UploadStep step =
      NextUploadStep(m_objDataSocket.m_lngBufferLen, transfer->UploadBytesSent(),
                     transfer->UploadFileSize(), transfer->UploadChunkSize());
  if (step.kind == UploadStep::Resend) {
    m_objDataSocket.SendBufferedData();
    return;
  }
  if (step.kind == UploadStep::Send) {
    std::string bytes = m_objDataSocket.TakeSentBuffer();
    transfer->ReadUpload(step.bytes, bytes);
    if (!bytes.empty()) {
      double length = static_cast<double>(bytes.size());
      m_objDataSocket.SendBytes(std::move(bytes), length);
      transfer->UploadSent(length);
      return;
    }
    // The file ended early (it shrank meanwhile): what was sent is all there is.
  }
  transfer->CloseLocalFile();
  m_objDataSocket.CloseSocket();  // the server sees the end of the data and answers 226
}

void DataConnection::UploadCleared() {
  if (upload_cleared_) return;
  upload_cleared_ = true;
  const CSocket& s = m_objDataSocket;
  if (s.State() == sckConnected && (!s.UsesTls() || s.Secured()) && s.m_lngBufferLen == 0) UploadData();
}

std::string DataConnection::ListArgument() const {
  const Settings& s = core_.settings;
  if (!s.list_dir_for_file || !listing.may_be_file) return listing.listed_path;
  std::string parent = FormatFTPPath(GetParentFolderPath(listing.listed_path));
  if (!s.list_dir_with_asterisk) return parent;
  // A relative name without a folder is looked up in the current directory.
  if (parent.empty()) return "*";
  if (parent.back() != '/') parent += '/';
  return parent + "*";
}

// ---- The data socket's events ----

namespace {

// An IPv4 address as an IPv6 socket shows it (::ffff:a.b.c.d) is that IPv4 address.
platform::IpAddress Unmapped(platform::IpAddress a) {
  static constexpr std::uint8_t kMapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
  if (!a.v6 || !std::equal(kMapped, kMapped + 12, a.bytes.begin())) return a;
  platform::IpAddress v4;
  std::copy(a.bytes.begin() + 12, a.bytes.end(), v4.bytes.begin());
  return v4;
}

}  // namespace

bool DataConnection::FromServer(std::int32_t handle, std::string& peer) const {
  int error = 0;
  const auto from = platform::PeerEndpoint(handle, error);
  if (!from) return false;
  peer = platform::FormatIpAddress(from->address);
  const int control = FtpSession::Of(core_).m_objControlSocket.SocketHandle();
  const auto server = control < 0 ? std::nullopt : platform::PeerEndpoint(control, error);
  return server && Unmapped(server->address) == Unmapped(from->address);
}

void DataConnection::m_objDataSocket_OnConnectionRequest(std::int32_t requestID) {
  // Active mode: only the server may connect. Anyone else who reaches the port named in
  // PORT/EPRT (another host, another local user) could feed a download or a listing or take
  // an upload: that connection is closed unaccepted and the listener waits on.
  std::string peer;
  if (!FromServer(requestID, peer)) {
    WriteLog("DataConnection.Refused:" + peer);
    return;
  }
  // The server connected to the listener, which is closed in favour of the accepted
  // connection (connected as soon as Accept returns).
  if (m_objDataSocket.State() != sckClosed) m_objDataSocket.CloseSocket();
  m_objDataSocket.Accept(requestID);
  StartDataTls();
}

void DataConnection::StartDataTls() {
  const Settings& s = core_.settings;
  if (s.security == 0 || !s.protect_data || m_objDataSocket.State() != sckConnected) return;
  // The data connection resumes a session of this FTP session (servers refuse a full
  // handshake there): a ticket the server issued on the control or an earlier data connection.
  FtpSession& session = FtpSession::Of(core_);
  if (!session.tls_sessions) session.tls_sessions = std::make_shared<TlsSessionPool>();
  TlsSession resume = session.tls_sessions->Take();
  if (!resume) resume = session.m_objControlSocket.TlsSessionNow();
  m_objDataSocket.StartTls(s.server_name, s.tls, resume, session.tls_sessions);
}

void DataConnection::m_objDataSocket_OnConnect() {
  const FtpOperations op = core_.rt.operation;
  WriteLog("PasvSktCONN.END" + OperationText(op));
  StartDataTls();
  if (op == opDownload || op == opUpload) {
    if (transfer) transfer->DataConnected();
  } else if (op == opListDirectory && !FtpSession::Of(core_).SendFtpCommand("LIST", ListArgument())) {
    // Refused before it was sent: no reply will come, the connection must not stay open.
    CloseDataConnection();
    if (core_.rt.operation == opListDirectory) core_.EndAsyncMethod();
  }
}

void DataConnection::m_objDataSocket_OnDataArrival(double bytesTotal) {
  if (bytesTotal <= 0) return;
  SocketValue value;
  m_objDataSocket.GetData(value, vbByteArray);
  const auto* block = std::get_if<ByteArray>(&value);
  if (block == nullptr) return;
  const FtpOperations op = core_.rt.operation;
  if (op == opDownload) {
    if (transfer) transfer->DataArrived(block->bytes);
  } else if (op == opListDirectory) {
    const std::size_t before = listing.buffer.text().size();
    listing.buffer.Append(block->bytes, core_.settings.utf8);
    if (!ListingWithinBounds()) return;
    if (core_.error().EnableLog()) {
      const std::string_view text = std::string_view(listing.buffer.text()).substr(before);
      WriteLog("EnumFiles:" + listing.listed_path + " " + std::to_string(text.size()) + "#" +
               std::to_string(block->bytes.size()) + "----------------" + std::string(text) +
               "----------------{" + platform::NowGeneralDate() + "}");
    }
  }
  // Any other operation: the bytes were read and are dropped.
}

bool DataConnection::ListingWithinBounds() {
  const Settings& s = core_.settings;
  const ListingText& text = listing.buffer;
  std::int32_t number = 0;
  std::string bound;
  if (static_cast<double>(text.byte_count()) > s.max_listing_bytes) {
    number = errors::kListingTooLarge;
    bound = std::to_string(static_cast<long long>(s.max_listing_bytes)) + " bytes";
  } else if (text.line_count() > static_cast<std::size_t>(std::max(0, s.max_listing_entries))) {
    number = errors::kListingTooManyEntries;
    bound = std::to_string(s.max_listing_entries) + " entries";
  } else {
    return true;
  }
  // The text so far is dropped and no more is read: the data connection closes and the
  // operation ends, so the server's reply to the close (426, 226) is a late one, dropped
  // before the next command instead of replacing this error.
  listing.buffer.Clear();
  WriteLog("Listing refused past " + bound + ": " + listing.listed_path);
  RecordError("GetRemoteFilesInfo", number,
              GetErrorText(number) + " (" + bound + ") [ " + listing.listed_path + " ]");
  FtpSession::Of(core_).OweFinalReply();
  CloseDataConnection();
  if (core_.rt.operation == opListDirectory) core_.EndAsyncMethod();
  return false;
}

void DataConnection::m_objDataSocket_OnSendComplete() {
  if (core_.rt.operation == opUpload && transfer) transfer->SendComplete();
  core_.pump().DoEvents();
  UploadData();
}

void DataConnection::m_objDataSocket_OnClose() {
  const FtpOperations op = core_.rt.operation;
  if (op == opDownload) {
    core_.EndAsyncMethod();
    if (transfer) transfer->CloseLocalFile();
  } else if (op == opListDirectory) {
    // Passive: the listing also waits for the 226/250 reply. Active: the reply may come later;
    // the close alone completes the listing.
    if (core_.settings.passive_mode) {
      listing.data_closed = true;
    } else {
      core_.EndAsyncMethod();
    }
  }
}

void DataConnection::m_objDataSocket_OnError() {
  if (listening_attempt_) return;
  const FtpOperations op = core_.rt.operation;
  core_.rt.last_error_number = m_objDataSocket.m_lngEventErrorNumber;
  WriteLog("m_objDataSocket_OnError:" + OperationText(op) + "#" +
           std::to_string(core_.ErrorNumber()) + "#" + core_.ErrorInfo());
  m_objDataSocket.CloseSocket();
  if (op == opDownload || op == opUpload) {
    if (transfer) transfer->CloseLocalFile();
  } else if (op == opListDirectory) {
    listing.buffer.Clear();
  }
  if ((op == opDownload || op == opUpload) && FtpSession::Of(core_).Connected()) {
    // A server that refuses the transfer may reset the data connection as it answers (proftpd
    // with 550). Its reply explains the failure and decides about retrying, so it gets a moment
    // to arrive and end the operation itself; the reset ends it when no reply comes.
    core_.pump().SetTimerEnabled(reply_grace_timer_, true);
    return;
  }
  if (op != opNone) core_.EndAsyncMethod();
}

std::string DirectoryLists::Key(const std::string& remote_path) {
  std::string key = FoldCase(FormatFTPPath(remote_path));
  while (key.size() > 1 && key.back() == '/') key.pop_back();
  return key;
}

bool DirectoryLists::CannotExistYet(const std::string& remote_path) const {
  if (fresh_folders.empty() || sent_into_fresh.contains(Key(remote_path))) return false;
  // Inside a folder made empty by this job, only what the job made exists: a subfolder it has
  // not made yet is not there, nor any file in it.
  for (std::string folder = Key(GetParentFolderPath(remote_path)); folder.size() > 1;
       folder = Key(GetParentFolderPath(folder))) {
    if (fresh_folders.contains(folder)) return true;
  }
  return false;
}

}  // namespace quorvi::detail
