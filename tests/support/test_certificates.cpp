#include "test_certificates.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

fs::path CertificateDir() {
  return fs::temp_directory_path() / ("quorvi-test-certs-" + std::to_string(::getpid()));
}

}  // namespace

const TestCertificates& TestCerts() {
  static const TestCertificates certs = [] {
    TestCertificates c;
    c.dir = CertificateDir();
    fs::create_directories(c.dir);
    std::atexit([] { fs::remove_all(CertificateDir()); });
    c.ca = c.dir / "ca.pem";
    c.cert = c.dir / "server.pem";
    c.key = c.dir / "server.key";
    c.combined = c.dir / "combined.pem";
    c.other_ca = c.dir / "other-ca.pem";
    // Readable by the servers' unprivileged workers (nginx runs them as nobody).
    const std::string script =
        "cd " + c.dir.string() + " && exec >/dev/null 2>&1 && chmod 755 . && "
        "openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj /CN=TestCA && "
        "openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other-ca.pem -days 2 -subj /CN=OtherCA && "
        "openssl req -newkey rsa:2048 -nodes -keyout server.key -out server.csr -subj /CN=localhost && "
        "printf 'subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1\\n' > ext.cnf && "
        "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem "
        "-days 2 -extfile ext.cnf && cat server.key server.pem > combined.pem && chmod 644 * && "
        "chmod 600 combined.pem";
    if (std::system(script.c_str()) != 0) c.dir.clear();
    return c;
  }();
  return certs;
}

}  // namespace quorvi::test
