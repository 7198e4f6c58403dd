// Throw-away certificates for the TLS tests, made once per test process with the openssl
// command and removed at exit: nothing secret is committed.
#pragma once

#include <filesystem>

namespace quorvi::test {

struct TestCertificates {
  std::filesystem::path dir;
  std::filesystem::path ca;        ///< the test CA (PEM)
  std::filesystem::path cert;      ///< server certificate for localhost, 127.0.0.1 and ::1
  std::filesystem::path key;       ///< its key
  std::filesystem::path combined;  ///< key and certificate in one file (pure-ftpd)
  std::filesystem::path other_ca;  ///< a CA that signed nothing here
  std::filesystem::path expired;   ///< the server's key, certified for 2020-01-01 only
  std::filesystem::path wrong_name;  ///< the server's key, certified for wrong.example only
  std::filesystem::path client_cert;  ///< a client certificate from the test CA
  std::filesystem::path client_key;   ///< its key
};

/// The certificates of this process (made on first use).
const TestCertificates& TestCerts();

}  // namespace quorvi::test
