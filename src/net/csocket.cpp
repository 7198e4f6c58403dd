// CSocket: creation, buffers, connect/bind/listen/accept, send, receive and close.
// The handling of network events is in csocket_events.cpp.
#include "net/csocket.h"

#include <algorithm>
#include <string>
#include <utility>

#include "component/error_numbers.h"
#include "component/thread_shared.h"
#include "local/encoding.h"
#include "net/csocket_guard.inl"
#include "net/socket_support.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

namespace {

constexpr std::int32_t kDefaultRemotePort = 21;
constexpr std::int32_t kNotConnected = 10057;  // ENOTCONN
constexpr const char* kWrongStateText =
    "Wrong protocol or connection state for the requested transaction or request.";
constexpr int kListenBacklog = 5;
// Connect() on a connected handle half-closes, then closes, then starts anew: three levels.
constexpr int kMaxConnectDepth = 3;
// A name's address that has not answered a connect by then gives way to the next one (the
// last one has the rest of the owner's time-out).
constexpr std::uint32_t kNextAddressAfterMs = 2000;

std::string Trim(const std::string& s) {
  const auto first = s.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  const auto last = s.find_last_not_of(" \t\r\n");
  return s.substr(first, last - first + 1);
}

// Failures of an outcome that Windows Sockets reports through the connect notification;
// Linux may report them at once from connect().
bool IsConnectOutcome(int error) {
  switch (error) {
    case 10050: case 10051: case 10053: case 10054: case 10060: case 10061: case 10064: case 10065:
      return true;
    default:
      return false;
  }
}

}  // namespace

CSocket::CSocket()
    : shared_(ThreadShared::Acquire()),
      support_(SocketSupport::Acquire()),
      owner_error_(shared_->ActiveErrorHandle()) {
  max_datagram_ = support_->InitWinsockService();
}

CSocket::~CSocket() {
  try {
    StopAddressTimer();
    if (handle_ != -1) {
      support_->UnregisterSocket(handle_);
      platform::CloseSocketFd(handle_);
      handle_ = -1;
    }
    support_->TermWinsockService();
  } catch (...) {
  }
}

void CSocket::ReportFailure(const std::string& procedure, std::int32_t number, const std::string& text) {
  try {
    RecordError("CSocket." + procedure, number, text);
  } catch (...) {
  }
  support_->Connecting(false);
  Raise(OnError);
}

// ---- Handle life cycle ----

std::int32_t CSocket::InitSocket() {
  std::int32_t result = -1;
  Protect("InitSocket", [&] {
    auto created = platform::CreateSocket(protocol_ == 1, v6_);
    if (!created.ok()) Fail(created.error);
    platform::SocketFd fd(static_cast<int>(created.value));
    if (!support_->RegisterSocket(fd.get(), this)) Fail(20050);
    result = fd.release();
  });
  return result;
}

bool CSocket::SocketExists() {
  if (handle_ == -1) {
    const std::int32_t handle = InitSocket();
    if (handle == -1) return false;
    handle_ = handle;
    Protect("GetWinsockBuffers", [&] { GetWinsockBuffers(); });
  }
  return true;
}

void CSocket::GetWinsockBuffers() {
  if (protocol_ == 1) {
    effective_send_size_ = effective_receive_size_ = max_datagram_;
    return;
  }
  using platform::SocketOption;
  if (rcvbuf_ < 1) {
    if (ShowMessageBox) Raise(ShowMessageBox, std::string("RCVBUF ERROR"));
    else WriteLog("RCVBUF ERROR");
  }
  if (rcvbuf_ <= 0) {
    const auto size = platform::GetSocketOption(handle_, SocketOption::ReceiveBuffer);
    if (!size.ok()) Fail(size.error);
    effective_receive_size_ = static_cast<std::int32_t>(size.value);
  } else {
    if (int err = platform::SetSocketOption(handle_, SocketOption::ReceiveBuffer, rcvbuf_)) Fail(err);
    effective_receive_size_ = rcvbuf_;
  }
  if (sndbuf_ <= 0) {
    const auto size = platform::GetSocketOption(handle_, SocketOption::SendBuffer);
    if (!size.ok()) Fail(size.error);
    effective_send_size_ = static_cast<std::int32_t>(size.value);
  } else {
    if (int err = platform::SetSocketOption(handle_, SocketOption::SendBuffer, sndbuf_)) Fail(err);
    effective_send_size_ = sndbuf_;
  }
}

void CSocket::DestroySocket() {
  if (handle_ == -1) return;
  tls_.reset();  // the stream goes before its descriptor
  const int handle = std::exchange(handle_, -1);
  bound_ = false;
  support_->UnregisterSocket(handle);
  if (int err = platform::CloseSocketFd(handle)) Fail(err);
}

void CSocket::CloseSocket() {
  Protect("Close", [&] {
    if (handle_ == -1) return;
    if (state_ == sckConnected) {
      TlsClose();
      state_ = sckClosing;
      if (int err = platform::ShutdownSocket(handle_, platform::ShutdownHow::Send)) {
        // Nothing left to half-close (the owner already shut both ways, or the peer reset):
        // that is a close, not a failure that would mask the reply the owner is handling.
        if (err != kNotConnected) Fail(err);
        state_ = sckClosed;
        DestroySocket();
      }
    } else {
      state_ = sckClosed;
      DestroySocket();
    }
  });
}

void CSocket::CloseNow() {
  Protect("Close", [&] {
    if (handle_ == -1) return;
    state_ = sckClosed;
    DestroySocket();
  });
}

// ---- Connecting and listening ----

void CSocket::Connect() { ConnectHandle(0); }

void CSocket::UseFamily(bool v6) {
  if (handle_ != -1 && v6_ != v6) DestroySocket();
  v6_ = v6;
}

void CSocket::ConnectHandle(int depth) {
  bool again = false;
  Protect("Connect", [&] {
    tls_unconfirmed_end_ = false;
    if (remote_host_.empty()) {
      std::int32_t number = shared_->Error().Number();
      if (number == 0) number = 20001;
      Fail(number);
    }
    const auto address = platform::ParseIpAddress(remote_host_);
    if (!address) Fail(errors::kUnresolvedHost);
    UseFamily(address->v6);
    const platform::Endpoint to{*address, static_cast<std::uint16_t>(RemotePort())};
    if (!SocketExists()) return;
    const int err = platform::ConnectSocket(handle_, to);
    if (err == 0 || err == platform::kWsaWouldBlock || err == platform::kWsaInProgress) {
      if (err != 0) state_ = sckConnecting;
      support_->WatchConnect(handle_);
      if (err != 0 && address_index_ + 1 < remote_addresses_.size()) {
        StopAddressTimer();
        address_timer_ = shared_->pump->AddTimer(kNextAddressAfterMs, [this] {
          ActiveError active(*shared_, owner_error_.lock());
          StopAddressTimer();
          if (state_ == sckConnecting) ConnectNextAddress(errors::kNoResponse);
        });
      }
    } else if (err == platform::kWsaIsConnected && depth < kMaxConnectDepth) {
      WriteLog("CloseSocket And Connect");
      again = true;
    } else if (IsConnectOutcome(err)) {
      state_ = sckConnecting;
      support_->WatchConnect(handle_, err);
    } else {
      // A handle whose connect failed is not reused: the next Connect starts on a new one.
      DestroySocket();
      Fail(err);
    }
  });
  if (again) {
    CloseSocket();
    ConnectHandle(depth + 1);
  }
}

bool CSocket::ConnectNextAddress(std::int32_t error) {
  if (address_index_ + 1 >= remote_addresses_.size()) return false;
  WriteLog("Connect " + m_strType + " " + remote_host_ + ":" + std::to_string(RemotePort()) +
           " failed (" + std::to_string(error) + "), trying the next address");
  support_->UnregisterSocket(handle_);
  platform::CloseSocketFd(std::exchange(handle_, -1));
  bound_ = false;
  state_ = sckClosed;
  remote_host_ = platform::FormatIpAddress(remote_addresses_[++address_index_]);
  ConnectHandle(0);
  return true;
}

void CSocket::StopAddressTimer() {
  if (address_timer_ != 0) shared_->pump->RemoveTimer(std::exchange(address_timer_, 0));
}

void CSocket::Bind(std::int32_t lngLocalPort, const std::string& strLocalIP) {
  Protect("Bind", [&] {
    if (const auto address = platform::ParseIpAddress(strLocalIP.empty() ? local_ip_ : strLocalIP)) {
      UseFamily(address->v6);
    }
    if (SocketExists()) BindHandle(lngLocalPort, strLocalIP);
  });
}

void CSocket::BindHandle(std::int32_t lngLocalPort, const std::string& strLocalIP) {
  if (!strLocalIP.empty()) local_ip_ = strLocalIP;
  if (lngLocalPort > 0) local_port_ = lngLocalPort;
  platform::IpAddress address;  // any address of the handle's family
  address.v6 = v6_;
  if (!local_ip_.empty()) {
    const auto parsed = platform::ParseIpAddress(local_ip_);
    if (!parsed || parsed->v6 != v6_) Fail(platform::kWsaInvalidArgument);
    address = *parsed;
  }
  const auto port = static_cast<std::uint16_t>(UnsignedToInteger(local_port_));
  if (int err = platform::BindSocket(handle_, platform::Endpoint{address, port})) Fail(err);
  bound_ = true;
  // With port 0 the system chose one: keep it so the owner can read LocalPort.
  int error = 0;
  if (auto local = platform::LocalEndpoint(handle_, error)) local_port_ = local->port;
}

void CSocket::Listen() {
  Protect("Listen", [&] {
    // A handle that carries (or carried) a connection cannot listen: start on a new one.
    if (state_ == sckConnected || state_ == sckClosing) DestroySocket();
    try {
      if (!SocketExists()) return;
      if (!bound_) BindHandle(0, {});
      if (int err = platform::ListenSocket(handle_, kListenBacklog)) Fail(err);
    } catch (...) {
      state_ = sckError;
      DestroySocket();  // so that the next Listen starts on a new handle
      throw;
    }
    state_ = sckListening;
    support_->WatchAccept(handle_);
  });
}

void CSocket::Accept(std::int32_t requestID) {
  Protect("Accept", [&] {
    if (handle_ != -1 && handle_ != requestID) DestroySocket();
    handle_ = requestID;
    TakeAccepted();
  });
  // A connection that could not be taken is closed by the listener; forget its number.
  if (handle_ == requestID && !support_->IsRegistered(requestID)) handle_ = -1;
}

void CSocket::TakeAccepted() {
  tls_unconfirmed_end_ = false;
  int error = 0;
  const auto local = platform::LocalEndpoint(handle_, error);
  if (!local) Fail(error);
  local_port_ = local->port;
  local_ip_ = platform::FormatIpAddress(local->address);
  v6_ = local->address.v6;
  local_host_name_ = local_ip_;  // no reverse lookup for an accepted connection
  local_host_name_pending_ = false;
  const auto peer = platform::PeerEndpoint(handle_, error);
  if (!peer) Fail(error);
  remote_port_ = peer->port;
  remote_host_ = platform::FormatIpAddress(peer->address);
  remote_addresses_.clear();
  const auto type = platform::GetSocketOption(handle_, platform::SocketOption::Type);
  protocol_ = type.ok() && type.value == 1 ? 0 : 1;
  GetWinsockBuffers();
  if (support_->RegisterSocket(handle_, this)) state_ = sckConnected;
}

void CSocket::QueryLocalName() {
  StopAddressTimer();
  int error = 0;
  const auto local = platform::LocalEndpoint(handle_, error);
  if (!local) Fail(error);
  local_port_ = local->port;
  local_ip_ = platform::FormatIpAddress(local->address);
  // The reverse lookup can take long; it is made when LocalHostName is first read.
  local_host_name_pending_ = true;
}

// ---- Sending ----

void CSocket::SendData(const SocketValue& varData, double& lngBufferLength, bool blnListCommand,
                       bool blnUTF8) {
  Protect("SendData", [&] {
    if (!BeginSend(blnListCommand)) return;
    if (auto bytes = ValueToBytes(varData, blnUTF8)) {
      send_buffer_ = std::move(*bytes);
      if (blnUTF8 && std::holds_alternative<std::string>(varData)) {
        lngBufferLength = static_cast<double>(send_buffer_.size());
      }
    }
    m_lngBufferLen = lngBufferLength;
    SendBufferedData();
  });
}

void CSocket::SendBytes(std::string&& bytes, double& lngBufferLength) {
  Protect("SendData", [&] {
    if (!BeginSend(false)) return;
    send_buffer_ = std::move(bytes);
    m_lngBufferLen = lngBufferLength;
    SendBufferedData();
  });
}

bool CSocket::BeginSend(bool list_command) {
  list_command_ = list_command;
  if (protocol_ == 0 && handle_ == -1) Fail(errors::kWrongState, kWrongStateText);
  if (protocol_ == 1 && !SocketExists()) return false;
  send_offset_ = 0;
  return true;
}

std::string CSocket::TakeSentBuffer() {
  if (m_lngBufferLen > 0) return {};
  send_offset_ = 0;
  return std::exchange(send_buffer_, {});
}

void CSocket::SendBufferedData() {
  Protect("SendBufferedData", [&] {
    if (handle_ == -1) return;
    // The pending bytes start where the system stopped taking them last time; never more
    // than the buffer holds.
    const std::size_t start = std::min(send_offset_, send_buffer_.size());
    const auto pending = std::min(send_buffer_.size() - start,
                                  static_cast<std::size_t>(std::max(0.0, m_lngBufferLen)));
    const char* data = send_buffer_.data() + start;
    platform::SocketResult sent;
    if (protocol_ == 1) {
      const platform::Endpoint to{platform::ParseIpAddress(remote_host_).value_or(platform::IpAddress{}),
                                  static_cast<std::uint16_t>(RemotePort())};
      sent = platform::SendBytesTo(handle_, data, pending, to);
    } else if (tls_) {
      sent = TlsSend(data, pending);
    } else {
      sent = platform::SendBytes(handle_, data, pending);  // a stream ignores the address
    }
    std::size_t n = 0;
    if (sent.ok()) {
      n = static_cast<std::size_t>(sent.value);
      send_offset_ = start + n;
      if (n >= pending) {
        m_lngBufferLen = 0;
      } else {
        // A short send: the unsent tail stays pending and goes out on the next write event.
        WriteLog("Transfer Error:" + std::to_string(pending) + "|" + std::to_string(n));
        m_lngBufferLen = static_cast<double>(pending - n);
      }
    } else if (sent.error == platform::kWsaWouldBlock) {
      support_->ArmWrite(handle_);  // the write notification follows when the send can go on
    } else {
      WriteLog("SendBufferedData--Err.LastDllError=" + std::to_string(sent.error) + " " + m_strType);
    }
    // The pump pass comes after the bookkeeping, so a write notification it delivers cannot
    // send the same bytes again.
    if (protocol_ == 1 || list_command_) support_->Pump().DoEvents();
    if (!sent.ok() || handle_ == -1) return;
    support_->PostNotification(handle_, kFdWrite);
    Raise(OnSendProgress, static_cast<double>(n), static_cast<double>(pending - n));
  });
}

std::int16_t CSocket::KeepConn() {
  std::int16_t result = 0;
  Protect("KeepConn", [&] {
    WriteLog("---KeepConn1---");
    const std::string noop = ToAnsi("NOOP");
    const auto sent = tls_ ? TlsSend(noop.data(), 3) : platform::SendBytes(handle_, noop.data(), 3);
    result = static_cast<std::int16_t>(sent.ok() ? sent.value : -1);
    WriteLog("---KeepConn2--- RetValue=" + std::to_string(result));
  });
  return result;
}

// ---- Receiving ----

std::int32_t CSocket::RecvDataToBuffer() {
  // Datagram sockets never enter the connected state, so the check is for streams only.
  // A TLS stream is read while it closes too: the peer's close_notify (and a late session
  // ticket) must be taken in, or the close turns into a reset.
  if (protocol_ == 0 && (state_ == sckClosed || (state_ == sckClosing && !tls_))) {
    WriteLog("RecvDataToBuffer.Socket Closed " + m_strType);
    return 0;
  }
  std::int32_t wanted = std::max(effective_receive_size_, 1);
  if (max_receive_ > 0) wanted = std::min(wanted, max_receive_);
  const auto size = static_cast<std::size_t>(wanted);
  receive_buffer_.resize(size);
  receive_count_ = 0;
  platform::SocketResult got;
  if (protocol_ == 0 && tls_) {
    got = TlsReceive(receive_buffer_.data(), size);
  } else if (protocol_ == 0) {
    got = platform::ReceiveBytes(handle_, receive_buffer_.data(), size);
  } else {
    platform::Endpoint from;
    got = platform::ReceiveBytesFrom(handle_, receive_buffer_.data(), size, from);
    if (got.ok()) {
      remote_port_ = from.port;
      remote_host_ = platform::FormatIpAddress(from.address);
      remote_addresses_.clear();
    }
  }
  support_->RearmRead(handle_);
  if (got.ok() && got.value > 0) {
    receive_buffer_.resize(static_cast<std::size_t>(got.value));
    receive_count_ = static_cast<std::int32_t>(got.value);
    return receive_count_;
  }
  if (!got.ok() && got.error != platform::kWsaNotSocket && got.error != platform::kWsaWouldBlock) {
    WriteLog("RecvDataToBuffer--Err.LastDllError=" + std::to_string(got.error) + " " + m_strType);
  }
  return 0;
}

void CSocket::GetData(SocketValue& varData, std::optional<std::int32_t> varType,
                      std::optional<std::int32_t> maxLen) {
  Protect("GetData", [&] { RecvData(varData, varType, maxLen, false); });
}

void CSocket::PeekData(SocketValue& varData, std::optional<std::int32_t> varType,
                       std::optional<std::int32_t> maxLen) {
  Protect("PeekData", [&] { RecvData(varData, varType, maxLen, true); });
}

void CSocket::RecvData(SocketValue& varData, std::optional<std::int32_t> varType,
                       std::optional<std::int32_t> maxLen, bool peek) {
  if (receive_count_ == 0) return;
  std::size_t take = static_cast<std::size_t>(receive_count_);
  if (maxLen && *maxLen > 0) take = std::min(take, static_cast<std::size_t>(*maxLen));
  const std::string_view bytes(receive_buffer_.data(), take);
  if (auto value = BytesToValue(bytes, varType.value_or(vbString))) varData = std::move(*value);
  if (!peek) {
    // What maxLen left over stays for the next call.
    receive_buffer_.erase(0, take);
    receive_count_ -= static_cast<std::int32_t>(take);
  }
  bytes_received_ = receive_count_;
}

// ---- Properties ----

void CSocket::Protocol(std::int32_t lngNewValue) {
  if (handle_ == -1) protocol_ = lngNewValue;
}

std::string CSocket::LocalHostName() {
  if (local_host_name_pending_) {
    local_host_name_pending_ = false;
    const auto address = platform::ParseIpAddress(local_ip_);
    local_host_name_ = address ? platform::ReverseLookup(*address) : std::string();
    if (local_host_name_.empty()) local_host_name_ = local_ip_;
  }
  return local_host_name_;
}

void CSocket::RemoteHost(const std::string& strNewValue) {
  Protect("RemoteHost", [&] {
    const std::string host = Trim(strNewValue);
    if (host.empty()) return;
    remote_host_ = host;
    address_index_ = 0;
    if (const auto address = platform::ParseIpAddress(host)) {
      remote_addresses_ = {*address};
    } else {
      remote_addresses_ = ResolveHostName(host);
    }
    if (remote_addresses_.empty()) {
      RecordError("CSocket.RemoteHost", platform::kWsaHostNotFound, {});
    } else {
      remote_host_ = platform::FormatIpAddress(remote_addresses_.front());
    }
  });
}

std::int32_t CSocket::RemotePort() {
  if (remote_port_ == 0) remote_port_ = kDefaultRemotePort;
  return remote_port_;
}

void CSocket::RemotePort(std::int32_t lngNewValue) {
  remote_port_ = (lngNewValue < 1 || lngNewValue > 65535) ? kDefaultRemotePort : lngNewValue;
}

}  // namespace quorvi::detail
