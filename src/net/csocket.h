// CSocket: one asynchronous IPv4 or IPv6 socket (TCP, or UDP) of the component. Operations return at
// once; outcomes arrive as events raised while the thread pumps (socket_support.h). Failures
// are recorded in the thread's error object and raise OnError; nothing throws out.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "net/socket_value.h"
#include "net/tls_stream.h"
#include "platform/event_pump.h"
#include "platform/socket_api.h"


namespace quorvi::detail {

class SocketSupport;
class CError;
struct ThreadShared;

/// Values of CSocket::State (1, 3, 4 and 5 are never used).
enum SocketState : std::int32_t {
  sckClosed = 0,
  sckListening = 2,
  sckConnecting = 6,
  sckConnected = 7,
  sckClosing = 8,
  sckError = 9,
};

class CSocket {
 public:
  CSocket();
  ~CSocket();
  CSocket(const CSocket&) = delete;
  CSocket& operator=(const CSocket&) = delete;

  // ---- Public variables ----
  /// Label of the connection in log lines ("[Ctrl]", "[Data]").
  std::string m_strType;
  /// Bytes still to be sent; 0 when nothing is pending. The owner may reset it to 0.
  double m_lngBufferLen = 0;
  /// Event code being handled when handling it failed.
  std::int32_t m_lngPostEventErrorID = 0;
  /// Error code of the most recent network event (0 = none).
  std::int32_t m_lngEventErrorNumber = 0;

  // ---- Events (a handler must not destroy the socket that raises it) ----
  std::function<void()> OnError;
  std::function<void()> OnClose;
  std::function<void()> OnConnect;
  /// requestID is the already accepted handle; call Accept(requestID) inside the handler,
  /// otherwise the connection is closed when the handler returns.
  std::function<void(std::int32_t requestID)> OnConnectionRequest;
  std::function<void(double bytesTotal)> OnDataArrival;
  std::function<void()> OnSendComplete;
  std::function<void(double bytesSent, double bytesRemaining)> OnSendProgress;
  /// The TLS handshake that StartTls began is complete (the server verified).
  std::function<void()> OnSecured;
  /// Where the socket's modal messages go; unset, they become log lines.
  std::function<void(const std::string& text)> ShowMessageBox;

  // ---- Methods ----
  /// The error object of the component that owns this socket, made active while its events
  /// are handled. By default, the one active when the socket was made.
  void BelongsTo(std::weak_ptr<CError> error) { owner_error_ = std::move(error); }
  /// Fills the send buffer from varData and sends lngBufferLength bytes (UTF-8 text sends
  /// all its bytes and returns their count in lngBufferLength).
  void SendData(const SocketValue& varData, double& lngBufferLength, bool blnListCommand = false,
                bool blnUTF8 = false);
  /// SendData of a byte block that takes over the block's storage instead of copying it.
  void SendBytes(std::string&& bytes, double& lngBufferLength);
  /// The storage of the send buffer once all of it was sent (empty while bytes are pending), so
  /// that a transfer refills one block instead of allocating a new one for every chunk.
  std::string TakeSentBuffer();
  /// The received bytes converted by varType (a variant-type code; none = text), consumed.
  void GetData(SocketValue& varData, std::optional<std::int32_t> varType = {},
               std::optional<std::int32_t> maxLen = {});
  /// As GetData, but the bytes stay in the receive buffer.
  void PeekData(SocketValue& varData, std::optional<std::int32_t> varType = {},
                std::optional<std::int32_t> maxLen = {});
  void Listen();
  /// Half-closes a connected socket (OnClose follows the peer's close); closes others at once.
  void CloseSocket();
  /// Closes at once, connected or not: no event of this connection reaches the owner after it.
  void CloseNow();
  void Bind(std::int32_t lngLocalPort = 0, const std::string& strLocalIP = {});
  void SendBufferedData();
  void Connect();
  /// Creates and registers a new handle; -1 on failure.
  std::int32_t InitSocket();
  /// Takes an accepted handle (from OnConnectionRequest) as this socket's connection.
  void Accept(std::int32_t requestID);
  /// Sends "NOO" on the handle; returns the send result.
  std::int16_t KeepConn();
  /// Starts TLS as the client of this connected socket: OnSecured follows the handshake, or
  /// OnError with a 19xxx error and its reason. Until then nothing is sent; afterwards every
  /// read, write and close goes through TLS. A session given is offered for resumption.
  void StartTls(const std::string& host, const TlsSettings& settings, const TlsSession& resume = nullptr,
                std::shared_ptr<TlsSessionPool> pool = nullptr);
  /// TLS is on and its handshake is complete.
  bool Secured() const { return tls_ && tls_->HandshakeDone(); }
  /// TLS was started on this connection (the handshake may still run).
  bool UsesTls() const { return tls_ != nullptr; }
  /// The session another connection can resume (the latest one, tickets included).
  TlsSession TlsSessionNow() const { return tls_ ? tls_->Session() : nullptr; }
  /// The handshake resumed the offered session.
  bool TlsResumed() const { return tls_ && tls_->Resumed(); }
  /// The peer ended the TLS stream without close_notify: what came may have been cut short
  /// (kept after the close, until the next StartTls).
  bool EndedWithoutCloseNotify() const { return tls_unconfirmed_end_; }
  /// Protocol and cipher of the secured connection ("" without TLS).
  std::string TlsDescription() const { return tls_ ? tls_->Description() : std::string(); }

  // ---- Properties ----
  std::int32_t State() const { return state_; }
  std::int32_t SocketHandle() const { return handle_; }
  std::int32_t Protocol() const { return protocol_; }
  /// 0 TCP, 1 UDP; ignored while a handle exists.
  void Protocol(std::int32_t lngNewValue);
  std::int32_t LocalPort() const { return local_port_; }
  void LocalPort(std::int32_t lngNewValue) { local_port_ = lngNewValue; }
  std::string LocalIP() const { return local_ip_; }
  /// The local host name; after a connect it is looked up (once) on first read.
  std::string LocalHostName();
  double BytesReceived() const { return bytes_received_; }
  /// The address connected to (or to be connected to next), as text ("::1", "10.0.0.5").
  std::string RemoteHost() const { return remote_host_; }
  /// Stores the trimmed host: an address (IPv6 with or without brackets) as it is, a name
  /// resolved at once to all its addresses. Connect tries them in order until one connects.
  void RemoteHost(const std::string& strNewValue);
  /// The connection (or the next one) is IPv6.
  bool IsIPv6() const { return v6_; }
  /// 21 while unset.
  std::int32_t RemotePort();
  /// Values outside 1..65535 store 21.
  void RemotePort(std::int32_t lngNewValue);
  std::int32_t Rcvbuf() const { return rcvbuf_; }
  void Rcvbuf(std::int32_t value) { rcvbuf_ = value; }
  /// Most bytes one receive takes (0: as many as the receive buffer holds); a speed limit
  /// keeps reads small so that its pacing stays smooth.
  void MaxReceive(std::int32_t bytes) { max_receive_ = bytes; }
  std::int32_t Sndbuf() const { return sndbuf_; }
  void Sndbuf(std::int32_t value) { sndbuf_ = value; }

 private:
  friend class SocketSupport;

  /// Called by the socket support for every notification of this handle.
  void PostSocketEvent(std::int32_t event, std::int32_t error);
  void HandleEvent(std::int32_t event);
  void OnReadEvent();
  void OnAcceptEvent();
  void OnConnectEvent();
  void OnCloseEvent();
  bool SocketExists();
  /// The checks every send starts with; false when a UDP socket has nothing to send on.
  bool BeginSend(bool list_command);
  void GetWinsockBuffers();
  void RecvData(SocketValue& varData, std::optional<std::int32_t> varType,
                std::optional<std::int32_t> maxLen, bool peek);
  void DestroySocket();
  std::int32_t RecvDataToBuffer();
  void BindHandle(std::int32_t lngLocalPort, const std::string& strLocalIP);
  void ConnectHandle(int depth);
  void TakeAccepted();
  void QueryLocalName();
  void ReportFailure(const std::string& procedure, std::int32_t number, const std::string& text);
  /// The family of the handle to make: a handle of the other family is closed first.
  void UseFamily(bool v6);
  /// A connect failed or took too long: on to the next address of the name; false when none
  /// is left.
  bool ConnectNextAddress(std::int32_t error);
  void StopAddressTimer();
  // TLS (csocket_tls.cpp).
  void ContinueHandshake();
  [[noreturn]] void FailTls();
  /// A TLS event while the handshake runs; true when it was one.
  bool HandshakeEvent(std::int32_t event);
  /// Decrypted bytes into data, as a receive would report them (0: nothing now).
  platform::SocketResult TlsReceive(char* data, std::size_t size);
  platform::SocketResult TlsSend(const char* data, std::size_t size);
  /// Sends close_notify before the socket half-closes.
  void TlsClose();
  template <typename Body>
  void Protect(const char* procedure, Body&& body) noexcept;
  template <typename... Args, typename... Params>
  void Raise(const std::function<void(Params...)>& handler, Args... args) noexcept;

  std::shared_ptr<ThreadShared> shared_;
  std::shared_ptr<SocketSupport> support_;
  std::weak_ptr<CError> owner_error_;
  std::string remote_host_;
  std::vector<platform::IpAddress> remote_addresses_;  // of the name given to RemoteHost
  std::size_t address_index_ = 0;                      // the one being connected to
  platform::EventPump::TimerId address_timer_ = 0;     // moves on from a silent address
  bool v6_ = false;                                    // family of the handle
  std::int32_t remote_port_ = 0;
  std::string receive_buffer_;
  std::int32_t receive_count_ = 0;
  std::int32_t rcvbuf_ = 0;
  std::int32_t sndbuf_ = 0;
  std::int32_t effective_send_size_ = 0;
  std::int32_t effective_receive_size_ = 0;
  std::int32_t max_receive_ = 0;
  std::int32_t protocol_ = 0;
  std::int32_t state_ = sckClosed;
  double bytes_received_ = 0;
  std::string local_host_name_;
  bool local_host_name_pending_ = false;  // reverse lookup deferred to the first read
  std::string local_ip_;
  std::int32_t local_port_ = 0;
  std::int32_t handle_ = -1;
  std::int32_t max_datagram_ = 0;
  bool bound_ = false;
  bool list_command_ = false;
  std::string send_buffer_;
  std::size_t send_offset_ = 0;  // bytes of the send buffer already accepted by the system
  std::unique_ptr<TlsStream> tls_;
  bool tls_read_wants_write_ = false;  // a TLS read goes on when the socket is writable
  bool tls_write_wants_read_ = false;  // a TLS write goes on when the socket is readable
  bool tls_ended_ = false;             // the peer ended the TLS stream
  bool tls_unconfirmed_end_ = false;   // ... without close_notify
};

}  // namespace quorvi::detail
