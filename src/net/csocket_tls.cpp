// CSocket with TLS: the handshake driven by the socket's own read and write notifications,
// reads and writes through the TLS stream, and the close_notify before a close. Bytes that
// TLS has already taken off the socket make no readiness of their own, so a read is posted
// for them.
#include <string>

#include "component/error_numbers.h"
#include "component/thread_shared.h"
#include "net/csocket.h"
#include "net/csocket_guard.inl"
#include "net/socket_support.h"
#include "platform/socket_api.h"

namespace quorvi::detail {
namespace {

// What a failed TLS step reports: the number, and the table's text with the reason.
std::pair<std::int32_t, std::string> TlsError(const TlsStream& tls) {
  std::int32_t number = errors::kTlsHandshake;
  switch (tls.Failure()) {
    case TlsFailure::kUntrusted: number = errors::kTlsUntrusted; break;
    case TlsFailure::kNameMismatch: number = errors::kTlsNameMismatch; break;
    case TlsFailure::kPinMismatch: number = errors::kTlsPinMismatch; break;
    case TlsFailure::kStream: number = errors::kTlsStream; break;
    default: break;
  }
  return {number, GetErrorText(number) + ": " + tls.Error()};
}

}  // namespace

void CSocket::StartTls(const std::string& host, const TlsSettings& settings,
                       const TlsSession& resume, std::shared_ptr<TlsSessionPool> pool) {
  Protect("StartTls", [&] {
    if (handle_ == -1 || state_ != sckConnected) Fail(errors::kWrongState, "StartTls without a connection");
    tls_ = std::make_unique<TlsStream>(handle_, host, settings, resume, std::move(pool));
    tls_read_wants_write_ = tls_write_wants_read_ = tls_ended_ = tls_unconfirmed_end_ = false;
    if (tls_->Failure() != TlsFailure::kNone) FailTls();
    ContinueHandshake();
  });
}

void CSocket::FailTls() {
  const auto [number, text] = TlsError(*tls_);
  WriteLog("TLS " + m_strType + ": " + text);
  Fail(number, text);
}

void CSocket::ContinueHandshake() {
  const TlsResult r = tls_->Handshake();
  switch (r.status) {
    case TlsStatus::kDone:
      WriteLog("TLS " + m_strType + ": " + tls_->Description() + (tls_->Resumed() ? " (resumed)" : ""));
      Raise(OnSecured);
      if (handle_ == -1) return;
      // The write readiness a fresh connection reports went to the handshake: the owner gets
      // it now (pending bytes go out, or OnSendComplete starts an upload).
      support_->PostNotification(handle_, kFdWrite);
      support_->RearmRead(handle_);
      if (tls_ && tls_->HasBuffered()) support_->PostNotification(handle_, kFdRead);
      return;
    case TlsStatus::kWantRead: support_->RearmRead(handle_); return;
    case TlsStatus::kWantWrite: support_->ArmWrite(handle_); return;
    default: FailTls();
  }
}

bool CSocket::HandshakeEvent(std::int32_t event) {
  if (!tls_ || tls_->HandshakeDone()) return false;
  if (event == kFdClose) {
    Fail(errors::kTlsHandshake,
         GetErrorText(errors::kTlsHandshake) + ": the server closed the connection during the handshake");
  }
  if (event == kFdRead || event == kFdWrite) ContinueHandshake();
  return true;
}

platform::SocketResult CSocket::TlsReceive(char* data, std::size_t size) {
  if (tls_write_wants_read_) {
    tls_write_wants_read_ = false;
    SendBufferedData();
  }
  // One TLS read gives one record (16 KiB at most): a notification takes as many as the
  // buffer holds, or each would cost a notification pause.
  std::size_t got = 0;
  TlsResult r;
  while (got < size) {
    r = tls_->Read(data + got, size - got);
    if (r.status != TlsStatus::kDone) break;
    got += r.count;
  }
  if (got > 0) {
    if (r.status == TlsStatus::kClosed || r.status == TlsStatus::kEof) {
      support_->PostNotification(handle_, kFdRead);  // the end is reported on the next read
    } else if (tls_->HasBuffered()) {
      support_->PostNotification(handle_, kFdRead);  // bytes TLS holds make no readiness
    }
    return {static_cast<long long>(got), 0};
  }
  switch (r.status) {
    case TlsStatus::kDone: return {0, 0};
    case TlsStatus::kWantRead: return {0, platform::kWsaWouldBlock};
    case TlsStatus::kWantWrite:
      tls_read_wants_write_ = true;
      support_->ArmWrite(handle_);
      return {0, platform::kWsaWouldBlock};
    case TlsStatus::kClosed:
    case TlsStatus::kEof:
      // The close follows as for a plain stream; the transfer judges a missing close_notify by
      // its byte count.
      if (!tls_ended_) {
        // Our close_notify answers the peer's: a session whose connection ended without it is
        // dropped by the server and cannot be resumed by the next data connection.
        if (r.status == TlsStatus::kClosed) tls_->Shutdown();
        tls_ended_ = true;
        tls_unconfirmed_end_ = r.status == TlsStatus::kEof;
        WriteLog(std::string("TLS ") + m_strType +
                 (r.status == TlsStatus::kClosed ? ": close_notify" : ": end of stream without close_notify"));
        support_->PostNotification(handle_, kFdClose);
      }
      return {0, 0};
    default: FailTls();
  }
}

platform::SocketResult CSocket::TlsSend(const char* data, std::size_t size) {
  // Nothing goes out in clear text before the handshake is complete: it is sent afterwards.
  if (!tls_->HandshakeDone()) return {0, platform::kWsaWouldBlock};
  // A TLS write takes one record (16 KiB) at a time: as many as the socket takes now go out
  // in one send, or each would wait for a notification of its own.
  std::size_t sent = 0;
  TlsResult r;
  while (sent < size) {
    r = tls_->Write(data + sent, size - sent);
    if (r.status != TlsStatus::kDone) break;
    sent += r.count;
  }
  if (sent > 0) {
    if (r.status == TlsStatus::kWantRead) {
      tls_write_wants_read_ = true;
      support_->RearmRead(handle_);
    }
    return {static_cast<long long>(sent), 0};
  }
  switch (r.status) {
    case TlsStatus::kDone: return {0, 0};
    case TlsStatus::kWantWrite: return {0, platform::kWsaWouldBlock};
    case TlsStatus::kWantRead:
      tls_write_wants_read_ = true;
      support_->RearmRead(handle_);
      return {0, platform::kWsaWouldBlock};
    default: FailTls();
  }
}

void CSocket::TlsClose() {
  if (!tls_ || !tls_->HandshakeDone() || tls_ended_) return;
  const TlsResult r = tls_->Shutdown();
  if (r.status == TlsStatus::kFailed) WriteLog("TLS " + m_strType + ": close_notify not sent: " + tls_->Error());
}

}  // namespace quorvi::detail
