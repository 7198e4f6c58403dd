// CSocket: handling of the network events that the socket support delivers.
#include <string>

#include "net/csocket.h"
#include "component/thread_shared.h"
#include "net/csocket_guard.inl"
#include "net/socket_support.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

namespace {
// The peer has closed, so what is left to read is finite; the cap only guards against a
// descriptor that keeps returning data for another reason.
constexpr int kMaxReadsOnClose = 1 << 20;
constexpr const char* kEventErrorProcedure = "--PostSocketEvent--ErrorDeal---";
}  // namespace

void CSocket::PostSocketEvent(std::int32_t event, std::int32_t error) {
  // Another component may be waiting (this event came through its pump): what this socket's
  // handlers record belongs to the owner.
  ActiveError active(*shared_, owner_error_.lock());
  try {
    m_lngEventErrorNumber = error;
    // A name with more addresses: a refused or failed connect goes on with the next one.
    if (error > 0 && event == kFdConnect && ConnectNextAddress(error)) return;
    if (error > 0) {
      WriteLog("PostSocketEvent:lngError=" + std::to_string(error) + " " + m_strType);
      state_ = sckError;
      DestroySocket();
      Fail(error);
    }
    HandleEvent(event);
  } catch (const ComponentError& e) {
    m_lngPostEventErrorID = event;
    try {
      if (m_lngBufferLen > 0) WriteLog("PostSocketEvent:buffer=" + std::to_string(m_lngBufferLen));
      WriteLog(std::string(kEventErrorProcedure) + std::to_string(e.number()) + " " + remote_host_ +
               ":" + std::to_string(remote_port_));
      RecordError(kEventErrorProcedure, e.number(), e.text());
    } catch (...) {
    }
    support_->Connecting(false);
    Raise(OnError);
  } catch (...) {
    m_lngPostEventErrorID = event;
    ReportFailure("PostSocketEvent", 0, {});
  }
}

void CSocket::HandleEvent(std::int32_t event) {
  if (HandshakeEvent(event)) return;
  if (event == kFdWrite && tls_read_wants_write_) {
    tls_read_wants_write_ = false;
    support_->PostNotification(handle_, kFdRead);
  }
  switch (event) {
    case kFdRead: OnReadEvent(); break;
    case kFdWrite:
      if (m_lngBufferLen > 0) SendBufferedData();
      else Raise(OnSendComplete);
      break;
    case kFdAccept: OnAcceptEvent(); break;
    case kFdConnect: OnConnectEvent(); break;
    case kFdClose: OnCloseEvent(); break;
    default: break;
  }
}

void CSocket::OnReadEvent() {
  const std::int32_t n = RecvDataToBuffer();
  bytes_received_ += n;
  if (n > 0) Raise(OnDataArrival, static_cast<double>(n));
}

void CSocket::OnAcceptEvent() {
  auto accepted = platform::AcceptSocket(handle_);
  support_->RearmAccept(handle_);
  if (!accepted.ok()) {
    if (accepted.error == platform::kWsaWouldBlock) return;  // the peer gave up meanwhile
    Fail(accepted.error);
  }
  platform::SocketFd connection(static_cast<int>(accepted.value));
  Raise(OnConnectionRequest, static_cast<std::int32_t>(connection.get()));
  // Taken by Accept (now registered): the taking socket owns it; otherwise it is closed here.
  if (support_->IsRegistered(connection.get())) connection.release();
}

void CSocket::OnConnectEvent() {
  QueryLocalName();
  state_ = sckConnected;
  Raise(OnConnect);
}

void CSocket::OnCloseEvent() {
  // Deliver what is left before the close; failures here are only logged.
  std::string ignored;
  for (int i = 0; i < kMaxReadsOnClose; ++i) {
    std::int32_t n = 0;
    try {
      n = RecvDataToBuffer();
    } catch (const ComponentError& e) {
      ignored = std::to_string(e.number());
    }
    if (n <= 0) break;
    bytes_received_ += n;
    Raise(OnDataArrival, static_cast<double>(n));
  }
  if (state_ != sckClosing) {
    state_ = sckClosing;
    if (m_lngBufferLen > 0) SendBufferedData();
  }
  try {
    DestroySocket();
  } catch (const ComponentError& e) {
    ignored = std::to_string(e.number());
  }
  state_ = sckClosed;
  Raise(OnClose);
  if (!ignored.empty()) WriteLog("--PostSocketEvent--Error---" + ignored);
}

}  // namespace quorvi::detail
