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
    c.expired = c.dir / "expired.pem";
    c.wrong_name = c.dir / "wrong-name.pem";
    c.client_cert = c.dir / "client.pem";
    c.client_key = c.dir / "client.key";
    // Readable by the servers' unprivileged workers (nginx runs them as nobody).
    const std::string script =
        "cd " + c.dir.string() + " && exec >/dev/null 2>&1 && chmod 755 . && "
        "openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj /CN=TestCA && "
        "openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other-ca.pem -days 2 -subj /CN=OtherCA && "
        "openssl req -newkey rsa:2048 -nodes -keyout server.key -out server.csr -subj /CN=localhost && "
        "printf 'subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1\\n' > ext.cnf && "
        "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem "
        "-days 2 -extfile ext.cnf && cat server.key server.pem > combined.pem && "
        // A certificate that has expired needs explicit dates, which only `openssl ca` takes.
        "touch index.txt && echo 1000 > serial && "
        "printf '[ca]\\ndefault_ca=d\\n[d]\\ndatabase=index.txt\\nnew_certs_dir=.\\nserial=serial\\n"
        "default_md=sha256\\npolicy=p\\n[p]\\ncommonName=supplied\\n' > ca.cnf && "
        "openssl ca -batch -config ca.cnf -cert ca.pem -keyfile ca.key -in server.csr -notext "
        "-out expired.pem -startdate 20200101000000Z -enddate 20200102000000Z -extfile ext.cnf && "
        "printf 'subjectAltName=DNS:wrong.example\\n' > wrong.cnf && "
        "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -out wrong-name.pem -days 2 "
        "-extfile wrong.cnf && "
        "openssl req -newkey rsa:2048 -nodes -keyout client.key -out client.csr -subj /CN=ftptest && "
        "openssl x509 -req -in client.csr -CA ca.pem -CAkey ca.key -out client.pem -days 2 && "
        "chmod 644 * && chmod 600 combined.pem";
    if (std::system(script.c_str()) != 0) c.dir.clear();
    return c;
  }();
  return certs;
}

}  // namespace quorvi::test
