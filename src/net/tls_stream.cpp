#include "net/tls_stream.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <vector>

namespace quorvi::detail {
namespace {

std::string LibraryReason() {
  std::string reason;
  while (const unsigned long code = ERR_get_error()) {
    std::array<char, 256> text{};
    ERR_error_string_n(code, text.data(), text.size());
    reason = text.data();  // the last one is the innermost cause
  }
  return reason;
}

bool IsAddress(const std::string& host) {
  unsigned char buffer[16];
  return inet_pton(AF_INET, host.c_str(), buffer) == 1 ||
         inet_pton(AF_INET6, host.c_str(), buffer) == 1;
}

// The base64 SHA-256 of a certificate's public key in DER form ("" when it cannot be made).
std::string PinOf(X509* certificate) {
  if (certificate == nullptr) return {};
  unsigned char* der = nullptr;
  const int length = i2d_PUBKEY(X509_get0_pubkey(certificate), &der);
  if (length <= 0) return {};
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int digest_length = 0;
  const bool ok = EVP_Digest(der, static_cast<std::size_t>(length), digest.data(), &digest_length,
                             EVP_sha256(), nullptr) == 1;
  OPENSSL_free(der);
  if (!ok) return {};
  std::vector<unsigned char> encoded(4 * ((digest_length + 2) / 3) + 1);
  const int n = EVP_EncodeBlock(encoded.data(), digest.data(), static_cast<int>(digest_length));
  return "sha256//" + std::string(reinterpret_cast<const char*>(encoded.data()), static_cast<std::size_t>(n));
}

// A socket BIO whose writes never raise SIGPIPE: a peer that has gone must end in an error
// the connection reports, not in a signal that ends the host program. Reads and the rest are
// the library's socket BIO.
int SendWithoutSignal(BIO* bio, const char* data, int size) {
  int fd = -1;
  BIO_get_fd(bio, &fd);
  BIO_clear_retry_flags(bio);
  const ssize_t sent = ::send(fd, data, static_cast<std::size_t>(size), MSG_NOSIGNAL);
  if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
    BIO_set_retry_write(bio);
  }
  return static_cast<int>(sent);
}

const BIO_METHOD* SocketWithoutSignal() {
  static BIO_METHOD* const method = [] {
    const BIO_METHOD* base = BIO_s_socket();
    BIO_METHOD* m = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK | BIO_TYPE_DESCRIPTOR,
                                 "socket without SIGPIPE");
    BIO_meth_set_write(m, SendWithoutSignal);
    BIO_meth_set_read(m, BIO_meth_get_read(base));
    BIO_meth_set_puts(m, BIO_meth_get_puts(base));
    BIO_meth_set_ctrl(m, BIO_meth_get_ctrl(base));
    BIO_meth_set_create(m, BIO_meth_get_create(base));
    BIO_meth_set_destroy(m, BIO_meth_get_destroy(base));
    return m;
  }();
  return method;
}

// The index of the pool pointer in each SSL object (made once per process).
int PoolIndex() {
  static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

// A session (a TLS 1.3 ticket, or the TLS 1.2 session) the server issued: into the pool.
int NewSession(SSL* ssl, SSL_SESSION* session) {
  auto* pool = static_cast<TlsSessionPool*>(SSL_get_ex_data(ssl, PoolIndex()));
  if (pool == nullptr) return 0;  // not kept: the library frees it
  pool->Add(TlsSession(session, SSL_SESSION_free));
  return 1;
}

std::shared_ptr<ssl_ctx_st> MakeContext(const TlsSettings& settings, std::string& problem) {
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
  if (!context) {
    problem = LibraryReason();
    return nullptr;
  }
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  // A client cache lets the library keep the tickets a server sends after the handshake.
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  SSL_CTX_sess_set_new_cb(context.get(), NewSession);
  // Read what the socket holds in one call instead of a record header and a body at a time
  // (two system calls for every 16 KiB); the bytes held back are announced by HasBuffered.
  SSL_CTX_set_read_ahead(context.get(), 1);
  SSL_CTX_set_default_read_buffer_len(context.get(), 1 << 18);
  if (settings.verify) {
    const bool own = !settings.ca_file.empty() || !settings.ca_folder.empty();
    const bool loaded =
        own ? SSL_CTX_load_verify_locations(
                  context.get(), settings.ca_file.empty() ? nullptr : settings.ca_file.c_str(),
                  settings.ca_folder.empty() ? nullptr : settings.ca_folder.c_str()) == 1
            : SSL_CTX_set_default_verify_paths(context.get()) == 1;
    if (!loaded) {
      problem = "cannot use the CA file or folder: " + LibraryReason();
      return nullptr;
    }
  }
  if (!settings.client_cert_file.empty()) {
    const std::string& key =
        settings.client_key_file.empty() ? settings.client_cert_file : settings.client_key_file;
    if (SSL_CTX_use_certificate_chain_file(context.get(), settings.client_cert_file.c_str()) != 1 ||
        SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1 ||
        SSL_CTX_check_private_key(context.get()) != 1) {
      problem = "cannot use the client certificate: " + LibraryReason();
      return nullptr;
    }
  }
  return context;
}

}  // namespace

void TlsSessionPool::Add(TlsSession session) {
  constexpr std::size_t kKept = 16;
  if (!session) return;
  if (sessions_.size() >= kKept) sessions_.erase(sessions_.begin());
  sessions_.push_back(std::move(session));
}

TlsSession TlsSessionPool::Take() {
  if (!sessions_.empty()) {
    last_ = std::move(sessions_.back());
    sessions_.pop_back();
  }
  return last_;
}

TlsStream::TlsStream(int fd, const std::string& host, const TlsSettings& settings,
                     const TlsSession& resume, std::shared_ptr<TlsSessionPool> pool)
    : pool_(std::move(pool)), ssl_(nullptr, SSL_free), settings_(settings) {
  ERR_clear_error();
  std::string problem;
  context_ = MakeContext(settings, problem);
  if (!context_) {
    Fail(TlsFailure::kSetup, problem);
    return;
  }
  ssl_.reset(SSL_new(context_.get()));
  BIO* bio = ssl_ ? BIO_new(SocketWithoutSignal()) : nullptr;
  if (bio == nullptr) {
    Fail(TlsFailure::kSetup, LibraryReason());
    return;
  }
  BIO_set_fd(bio, fd, BIO_NOCLOSE);
  SSL_set_bio(ssl_.get(), bio, bio);  // the SSL object owns the BIO from here
  SSL_set_mode(ssl_.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_set_ex_data(ssl_.get(), PoolIndex(), pool_.get());
  if (settings.verify) {
    SSL_set_verify(ssl_.get(), SSL_VERIFY_PEER, nullptr);
    if (IsAddress(host)) {
      X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl_.get()), host.c_str());
    } else {
      SSL_set1_host(ssl_.get(), host.c_str());
    }
  } else {
    SSL_set_verify(ssl_.get(), SSL_VERIFY_NONE, nullptr);
  }
  if (!IsAddress(host) && !host.empty()) SSL_set_tlsext_host_name(ssl_.get(), host.c_str());
  if (resume) SSL_set_session(ssl_.get(), resume.get());
}

TlsStream::~TlsStream() = default;

TlsResult TlsStream::Fail(TlsFailure failure, std::string reason) {
  failure_ = failure;
  error_ = reason.empty() ? "unknown reason" : std::move(reason);
  return {TlsStatus::kFailed, 0};
}

TlsResult TlsStream::FromSslError(int ret, TlsFailure on_failure) {
  switch (SSL_get_error(ssl_.get(), ret)) {
    case SSL_ERROR_WANT_READ: return {TlsStatus::kWantRead, 0};
    case SSL_ERROR_WANT_WRITE: return {TlsStatus::kWantWrite, 0};
    case SSL_ERROR_ZERO_RETURN: return {TlsStatus::kClosed, 0};
    case SSL_ERROR_SYSCALL:
      if (ERR_peek_error() == 0) return {TlsStatus::kEof, 0};
      break;
    case SSL_ERROR_SSL:
      if (ERR_GET_REASON(ERR_peek_error()) == SSL_R_UNEXPECTED_EOF_WHILE_READING) {
        ERR_clear_error();
        return {TlsStatus::kEof, 0};
      }
      break;
    default: break;
  }
  return Fail(on_failure, LibraryReason());
}

TlsResult TlsStream::Handshake() {
  if (!ssl_) return {TlsStatus::kFailed, 0};
  if (handshake_done_) return {TlsStatus::kDone, 0};
  ERR_clear_error();
  const int ret = SSL_connect(ssl_.get());
  if (ret != 1) {
    const long verdict = SSL_get_verify_result(ssl_.get());
    if (settings_.verify && verdict != X509_V_OK) {
      ERR_clear_error();
      const bool name = verdict == X509_V_ERR_HOSTNAME_MISMATCH ||
                        verdict == X509_V_ERR_IP_ADDRESS_MISMATCH;
      return Fail(name ? TlsFailure::kNameMismatch : TlsFailure::kUntrusted,
                  X509_verify_cert_error_string(verdict));
    }
    const TlsResult result = FromSslError(ret, TlsFailure::kHandshake);
    if (result.status == TlsStatus::kClosed || result.status == TlsStatus::kEof)
      return Fail(TlsFailure::kHandshake, "the server closed the connection during the handshake");
    return result;
  }
  if (!CheckPin()) return {TlsStatus::kFailed, 0};
  handshake_done_ = true;
  return {TlsStatus::kDone, 0};
}

bool TlsStream::CheckPin() {
  if (settings_.pinned_key.empty()) return true;
  const std::string pin = PinOf(SSL_get0_peer_certificate(ssl_.get()));
  if (pin == settings_.pinned_key) return true;
  Fail(TlsFailure::kPinMismatch, "the server's public key is " + pin + ", not the pinned " +
                                     settings_.pinned_key);
  return false;
}

TlsResult TlsStream::Read(char* buffer, std::size_t size) {
  if (!ssl_) return {TlsStatus::kFailed, 0};
  ERR_clear_error();
  std::size_t n = 0;
  const int ret = SSL_read_ex(ssl_.get(), buffer, size, &n);
  if (ret == 1) return {TlsStatus::kDone, n};
  return FromSslError(ret, TlsFailure::kStream);
}

TlsResult TlsStream::Write(const char* data, std::size_t size) {
  if (!ssl_) return {TlsStatus::kFailed, 0};
  if (size == 0) return {TlsStatus::kDone, 0};
  ERR_clear_error();
  std::size_t n = 0;
  const int ret = SSL_write_ex(ssl_.get(), data, size, &n);
  if (ret == 1) return {TlsStatus::kDone, n};
  return FromSslError(ret, TlsFailure::kStream);
}

TlsResult TlsStream::Shutdown() {
  if (!ssl_ || !handshake_done_ || shutdown_sent_) return {TlsStatus::kDone, 0};
  ERR_clear_error();
  const int ret = SSL_shutdown(ssl_.get());
  if (ret >= 0) {
    shutdown_sent_ = true;
    return {TlsStatus::kDone, 0};
  }
  return FromSslError(ret, TlsFailure::kStream);
}

std::size_t TlsStream::Pending() const {
  return ssl_ ? static_cast<std::size_t>(SSL_pending(ssl_.get())) : 0;
}

bool TlsStream::HasBuffered() const { return ssl_ && SSL_has_pending(ssl_.get()) == 1; }

bool TlsStream::Resumed() const { return ssl_ && SSL_session_reused(ssl_.get()) == 1; }

TlsSession TlsStream::Session() const {
  if (!ssl_) return nullptr;
  SSL_SESSION* session = SSL_get1_session(ssl_.get());
  if (session == nullptr) return nullptr;
  return TlsSession(session, SSL_SESSION_free);
}

std::string TlsStream::Description() const {
  if (!ssl_ || !handshake_done_) return {};
  return std::string(SSL_get_version(ssl_.get())) + " " + SSL_get_cipher_name(ssl_.get());
}

std::string PublicKeyPin(const std::string& pem_file) {
  std::unique_ptr<BIO, int (*)(BIO*)> file(BIO_new_file(pem_file.c_str(), "r"), BIO_free);
  if (!file) return {};
  std::unique_ptr<X509, void (*)(X509*)> certificate(
      PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
  return PinOf(certificate.get());
}

}  // namespace quorvi::detail
