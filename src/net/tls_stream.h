// TLS on a non-blocking socket, with OpenSSL 3: the client side of one connection (handshake,
// reads, writes, the two-way close), its verification settings and the session it can resume.
// Every call returns at once; WantRead/WantWrite say which readiness lets it go on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct ssl_st;
struct ssl_ctx_st;
struct ssl_session_st;

namespace quorvi::detail {

/// How the client checks the server and proves itself.
struct TlsSettings {
  bool verify = true;            ///< check the chain and the name; off only when asked for
  std::string ca_file;           ///< trust these CAs (a PEM file) instead of the system's
  std::string ca_folder;         ///< or a folder of hashed CA certificates
  std::string pinned_key;        ///< "sha256//BASE64" of the server's public key; "" = none
  std::string client_cert_file;  ///< PEM certificate presented to the server; "" = none
  std::string client_key_file;   ///< its key (the certificate file when empty)
};

/// A session to resume (shared with the connections that resume it).
using TlsSession = std::shared_ptr<ssl_session_st>;

/// The sessions a server issued on the connections of one FTP session, for data connections
/// to resume. TLS 1.3 tickets are good for one resumption each: every one is handed out once,
/// the newest first; when none is left the last one handed out is offered again.
class TlsSessionPool {
 public:
  void Add(TlsSession session);
  TlsSession Take();
  std::size_t Size() const { return sessions_.size(); }

 private:
  std::vector<TlsSession> sessions_;
  TlsSession last_;
};

/// Outcome of one step.
enum class TlsStatus {
  kDone,       ///< finished (a read or write moved `count` bytes)
  kWantRead,   ///< go on when the socket is readable
  kWantWrite,  ///< go on when the socket is writable
  kClosed,     ///< the peer ended the stream with close_notify
  kEof,        ///< the stream ended without close_notify
  kFailed,     ///< see TlsStream::Error()
};

struct TlsResult {
  TlsStatus status = TlsStatus::kFailed;
  std::size_t count = 0;
};

/// What went wrong, for the component's error numbers.
enum class TlsFailure {
  kNone,
  kSetup,        ///< a setting could not be used (a CA or certificate file)
  kHandshake,    ///< the protocol failed (reason from the library)
  kUntrusted,    ///< the chain does not lead to a trusted CA, or is expired or revoked
  kNameMismatch, ///< the certificate is not for the host name or address asked for
  kPinMismatch,  ///< the server's key is not the pinned one
  kStream,       ///< a read or write failed after the handshake
};

class TlsStream {
 public:
  /// A client connection over fd (already connected) to host (a name or an IP address, for
  /// the name check and SNI). A session given is offered for resumption; sessions the server
  /// issues on this connection go to the pool.
  TlsStream(int fd, const std::string& host, const TlsSettings& settings,
            const TlsSession& resume = nullptr, std::shared_ptr<TlsSessionPool> pool = nullptr);
  ~TlsStream();
  TlsStream(const TlsStream&) = delete;
  TlsStream& operator=(const TlsStream&) = delete;

  /// One step of the handshake; kDone when it is complete and the server is verified.
  TlsResult Handshake();
  /// Decrypted bytes into buffer.
  TlsResult Read(char* buffer, std::size_t size);
  /// Encrypts and sends up to size bytes; after kWantRead/kWantWrite call again with the same
  /// bytes.
  TlsResult Write(const char* data, std::size_t size);
  /// Sends close_notify (once); kDone when sent.
  TlsResult Shutdown();
  /// Bytes decrypted and held by the library: no readiness will announce them.
  std::size_t Pending() const;
  /// Bytes taken off the socket and not yet returned (decrypted or not): no readiness will
  /// announce them either.
  bool HasBuffered() const;
  bool HandshakeDone() const { return handshake_done_; }
  /// The handshake resumed the offered session.
  bool Resumed() const;
  /// The session to offer on another connection (after a read, TLS 1.3 tickets included).
  TlsSession Session() const;
  TlsFailure Failure() const { return failure_; }
  /// The reason of the last failure, as the library or the check states it.
  const std::string& Error() const { return error_; }
  /// The protocol and cipher ("TLSv1.3 TLS_AES_256_GCM_SHA384").
  std::string Description() const;

 private:
  TlsResult Fail(TlsFailure failure, std::string reason);
  TlsResult FromSslError(int ret, TlsFailure on_failure);
  bool CheckPin();

  std::shared_ptr<TlsSessionPool> pool_;
  std::shared_ptr<ssl_ctx_st> context_;
  std::unique_ptr<ssl_st, void (*)(ssl_st*)> ssl_;
  TlsSettings settings_;
  bool handshake_done_ = false;
  bool shutdown_sent_ = false;
  TlsFailure failure_ = TlsFailure::kNone;
  std::string error_;
};

/// "sha256//BASE64" of a PEM certificate file's public key; "" when it cannot be read.
std::string PublicKeyPin(const std::string& pem_file);

}  // namespace quorvi::detail
