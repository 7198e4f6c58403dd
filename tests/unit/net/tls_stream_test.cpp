// The TLS client against an in-process OpenSSL server over a socket pair: verification
// outcomes (trusted, wrong name, untrusted, expired, pinned key), data both ways, the two ends
// of a stream (close_notify, a plain EOF), a peer that has gone, and session resumption.
#include "net/tls_stream.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

using namespace quorvi::detail;
namespace fs = std::filesystem;

namespace {

using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>;
using Cert = std::unique_ptr<X509, void (*)(X509*)>;

// A self-signed certificate for the given alternative names, valid from..until seconds from now.
struct Identity {
  Key key{EVP_EC_gen("P-256"), EVP_PKEY_free};
  Cert cert{X509_new(), X509_free};
  std::string pem_file;

  Identity(const std::string& names, long from, long until, const std::string& file) : pem_file(file) {
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), from);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), until);
    X509_set_pubkey(cert.get(), key.get());
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("QuorviFtp test"), -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    X509V3_CTX ctx;
    X509V3_set_ctx(&ctx, cert.get(), cert.get(), nullptr, nullptr, 0);
    X509_EXTENSION* san = X509V3_EXT_conf_nid(nullptr, &ctx, NID_subject_alt_name, names.c_str());
    X509_add_ext(cert.get(), san, -1);
    X509_EXTENSION_free(san);
    X509_EXTENSION* basic =
        X509V3_EXT_conf_nid(nullptr, &ctx, NID_basic_constraints, "critical,CA:TRUE");
    X509_add_ext(cert.get(), basic, -1);
    X509_EXTENSION_free(basic);
    X509_sign(cert.get(), key.get(), EVP_sha256());
    FILE* out = std::fopen(pem_file.c_str(), "w");
    PEM_write_X509(out, cert.get());
    std::fclose(out);
  }
};

// The server end: its own context (session cache on), driven one step at a time.
class Server {
 public:
  Server(const Identity& id, int fd)
      : context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free), ssl_(nullptr, SSL_free) {
    SSL_CTX_use_certificate(context_.get(), id.cert.get());
    SSL_CTX_use_PrivateKey(context_.get(), id.key.get());
    SSL_CTX_set_session_id_context(context_.get(), reinterpret_cast<const unsigned char*>("t"), 1);
    Attach(fd);
  }
  void Attach(int fd) {
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_fd(ssl_.get(), fd);
    SSL_set_accept_state(ssl_.get());
  }
  void Step() { SSL_do_handshake(ssl_.get()); ERR_clear_error(); }
  void Write(const std::string& text) { SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size())); }
  std::string Read() {
    char buffer[4096];
    const int n = SSL_read(ssl_.get(), buffer, sizeof buffer);
    ERR_clear_error();
    return n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : std::string();
  }
  void CloseNotify() { SSL_shutdown(ssl_.get()); }

 private:
  std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context_;
  std::unique_ptr<SSL, void (*)(SSL*)> ssl_;
};

struct Pair {
  int client = -1, server = -1;
  Pair() {
    int fds[2];
    ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds);
    client = fds[0];
    server = fds[1];
  }
  ~Pair() {
    ::close(client);
    ::close(server);
  }
};

// Steps both ends until the client's handshake ends one way or the other (bounded).
TlsResult Handshake(TlsStream& client, Server& server) {
  TlsResult r;
  for (int i = 0; i < 50; ++i) {
    r = client.Handshake();
    if (r.status != TlsStatus::kWantRead && r.status != TlsStatus::kWantWrite) return r;
    server.Step();
  }
  return r;
}

class TlsStreamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("quorvi-tls-unit-" + std::to_string(::getpid()));
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string File(const char* name) const { return (dir_ / name).string(); }
  fs::path dir_;
};

TEST_F(TlsStreamTest, VerificationOutcomes) {
  const Identity good("DNS:localhost,IP:127.0.0.1,IP:::1", 0, 3600, File("good.pem"));
  const Identity expired("DNS:localhost,IP:127.0.0.1", -7200, -3600, File("expired.pem"));
  const Identity other("DNS:localhost", 0, 3600, File("other.pem"));
  struct Case {
    const char* name;
    const Identity& server;
    std::string host;
    TlsSettings settings;
    TlsFailure failure;  // kNone: the handshake succeeds
  };
  const Case cases[] = {
      {"name", good, "localhost", {true, good.pem_file, {}, {}, {}, {}}, TlsFailure::kNone},
      {"IPv4 address", good, "127.0.0.1", {true, good.pem_file, {}, {}, {}, {}}, TlsFailure::kNone},
      {"IPv6 address", good, "::1", {true, good.pem_file, {}, {}, {}, {}}, TlsFailure::kNone},
      {"wrong name", good, "wrong.example", {true, good.pem_file, {}, {}, {}, {}},
       TlsFailure::kNameMismatch},
      {"wrong address", good, "127.0.0.2", {true, good.pem_file, {}, {}, {}, {}},
       TlsFailure::kNameMismatch},
      {"system trust only", good, "localhost", {}, TlsFailure::kUntrusted},
      {"another CA", good, "localhost", {true, other.pem_file, {}, {}, {}, {}},
       TlsFailure::kUntrusted},
      {"expired", expired, "localhost", {true, expired.pem_file, {}, {}, {}, {}},
       TlsFailure::kUntrusted},
      {"insecure", good, "wrong.example", {false, {}, {}, {}, {}, {}}, TlsFailure::kNone},
      {"pinned key", good, "localhost",
       {true, good.pem_file, {}, PublicKeyPin(good.pem_file), {}, {}}, TlsFailure::kNone},
      {"another pinned key", good, "localhost",
       {true, good.pem_file, {}, PublicKeyPin(other.pem_file), {}, {}}, TlsFailure::kPinMismatch},
      {"missing CA file", good, "localhost", {true, File("none.pem"), {}, {}, {}, {}},
       TlsFailure::kSetup},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Pair pair;
    Server server(c.server, pair.server);
    TlsStream client(pair.client, c.host, c.settings);
    const TlsResult r = Handshake(client, server);
    if (c.failure == TlsFailure::kNone) {
      EXPECT_EQ(r.status, TlsStatus::kDone) << client.Error();
      EXPECT_TRUE(client.HandshakeDone());
    } else {
      EXPECT_EQ(r.status, TlsStatus::kFailed);
      EXPECT_EQ(client.Failure(), c.failure) << client.Error();
      EXPECT_FALSE(client.Error().empty());
    }
  }
}

TEST_F(TlsStreamTest, DataBothWaysAndTheEndsOfAStream) {
  const Identity id("DNS:localhost", 0, 3600, File("id.pem"));
  const TlsSettings settings{true, id.pem_file, {}, {}, {}, {}};
  for (const bool close_notify : {true, false}) {
    SCOPED_TRACE(close_notify ? "close_notify" : "plain EOF");
    Pair pair;
    Server server(id, pair.server);
    TlsStream client(pair.client, "localhost", settings);
    ASSERT_EQ(Handshake(client, server).status, TlsStatus::kDone) << client.Error();
    const std::string hello = "220 hello\r\n";
    ASSERT_EQ(client.Write(hello.data(), hello.size()).count, hello.size());
    EXPECT_EQ(server.Read(), hello);
    server.Write(std::string(3000, 'a'));
    char small[1000];
    const TlsResult first = client.Read(small, sizeof small);
    EXPECT_EQ(first.count, sizeof small);
    EXPECT_EQ(client.Pending(), 2000u);  // decrypted and held: readiness will not say so
    if (close_notify) {
      server.CloseNotify();
    } else {
      ::shutdown(pair.server, SHUT_WR);
    }
    TlsResult r;
    std::size_t got = first.count;
    for (int i = 0; i < 10; ++i) {
      r = client.Read(small, sizeof small);
      if (r.status != TlsStatus::kDone) break;
      got += r.count;
    }
    EXPECT_EQ(got, 3000u);
    EXPECT_EQ(r.status, close_notify ? TlsStatus::kClosed : TlsStatus::kEof);
  }
}

// Writing to a peer that has gone gets EPIPE and, unless the write says otherwise, a SIGPIPE
// that would end the host program.
TEST_F(TlsStreamTest, APeerThatHasGoneIsAFailureNotASignal) {
  const Identity id("DNS:localhost", 0, 3600, File("id.pem"));
  const TlsSettings settings{true, id.pem_file, {}, {}, {}, {}};
  for (const char* step : {"handshake", "write", "close_notify"}) {
    SCOPED_TRACE(step);
    Pair pair;
    Server server(id, pair.server);
    TlsStream client(pair.client, "localhost", settings);
    const bool early = std::string(step) == "handshake";
    if (!early) {
      ASSERT_EQ(Handshake(client, server).status, TlsStatus::kDone) << client.Error();
    }
    ::close(std::exchange(pair.server, -1));
    TlsResult r;
    if (early) r = client.Handshake();
    if (std::string(step) == "write") r = client.Write("NOOP\r\n", 6);
    if (std::string(step) == "close_notify") r = client.Shutdown();
    EXPECT_TRUE(r.status == TlsStatus::kFailed || r.status == TlsStatus::kEof)
        << static_cast<int>(r.status);
  }
}

TEST_F(TlsStreamTest, ASecondConnectionResumesTheFirstOnesSession) {
  const Identity id("DNS:localhost", 0, 3600, File("id.pem"));
  const TlsSettings settings{true, id.pem_file, {}, {}, {}, {}};
  Pair first_pair, second_pair;
  Server server(id, first_pair.server);
  TlsStream first(first_pair.client, "localhost", settings);
  ASSERT_EQ(Handshake(first, server).status, TlsStatus::kDone);
  // TLS 1.3 tickets come after the handshake: a reply read takes them in.
  server.Write("220 ready\r\n");
  char buffer[64];
  first.Read(buffer, sizeof buffer);
  const TlsSession session = first.Session();
  ASSERT_NE(session, nullptr);
  server.Attach(second_pair.server);
  TlsStream second(second_pair.client, "localhost", settings, session);
  ASSERT_EQ(Handshake(second, server).status, TlsStatus::kDone) << second.Error();
  EXPECT_TRUE(second.Resumed());
  EXPECT_FALSE(first.Resumed());
}

}  // namespace
