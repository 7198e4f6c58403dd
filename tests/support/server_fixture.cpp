#include "server_fixture.h"

#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "script_runner.h"

namespace quorvi::test {
namespace fs = std::filesystem;
namespace {

using std::chrono::milliseconds;

struct KindInfo {
  const char* name;
  const char* script;
  const char* log;                      ///< below the state folder
  std::array<const char*, 2> programs;  ///< any one of them present = installed
  bool ftp;
};

// In ServerKind's order. Each program is apt-installed or unpacked by install.sh under
// /opt/ftpsrv (the default FTPSRV_PREFIX).
constexpr std::array<KindInfo, 7> kKinds{{
    {"vsftpd", "start-vsftpd.sh", "vsftpd.log", {"/usr/sbin/vsftpd"}, true},
    {"pure-ftpd", "start-pure-ftpd.sh", "xfer.log",
     {"/opt/ftpsrv/pure-ftpd/usr/sbin/pure-ftpd", "/usr/sbin/pure-ftpd"}, true},
    {"proftpd", "start-proftpd.sh", "protocol.log",
     {"/opt/ftpsrv/proftpd-core/usr/sbin/proftpd", "/usr/sbin/proftpd"}, true},
    {"pyftpd", "start-pyftpd.sh", "pyftpd.log",
     {"/usr/lib/python3/dist-packages/pyftpdlib/__init__.py"}, true},
    {"nginx", "start-nginx.sh", "access.log", {"/usr/sbin/nginx"}, false},
    {"tinyproxy", "start-tinyproxy.sh", "tinyproxy.log",
     {"/usr/bin/tinyproxy", "/usr/sbin/tinyproxy"}, false},
    {"hostile-http", "start-hostile-http.sh", "requests.log", {"/usr/bin/python3"}, false},
}};

const KindInfo& Info(ServerKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

bool Installed(const KindInfo& info) {
  for (const char* program : info.programs) {
    if (program != nullptr && ::access(program, R_OK) == 0) return true;
  }
  return false;
}

fs::path FixturesDir() { return fs::path(QUORVI_SOURCE_DIR) / "tests" / "fixtures"; }

bool KeepFolders() { return std::getenv("QUORVI_KEEP_FIXTURES") != nullptr; }

// A fresh 0755 folder: the servers' users (ftptest, ftp, nobody) must be able to enter it.
fs::path MakeBaseFolder(const KindInfo& info) {
  std::string pattern = (fs::temp_directory_path() / "quorvi-").string() + info.name + "-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) return {};
  fs::permissions(pattern, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                               fs::perms::others_read | fs::perms::others_exec);
  return pattern;
}

}  // namespace

std::uint16_t FreeLoopbackPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return 0;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  std::uint16_t port = 0;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
    port = ntohs(addr.sin_port);
  }
  ::close(fd);
  return port;
}

const char* KindName(ServerKind kind) { return Info(kind).name; }

bool RunningUnderCi() {
  const char* ci = std::getenv("CI");
  return ci != nullptr && std::string(ci) == "true";
}

TestServer::TestServer(ServerKind kind, fs::path base, std::string host, std::uint16_t port,
                       pid_t pid)
    : kind_(kind), base_(std::move(base)), root_(base_ / "root"), state_(base_ / "state"),
      host_(std::move(host)), port_(port), pid_(pid) {}

TestServer::~TestServer() {
  RunScript({(FixturesDir() / "stop.sh").string(), std::to_string(pid_)}, {}, milliseconds(8000));
  if (!KeepFolders()) {
    std::error_code ignored;
    fs::remove_all(base_, ignored);
  }
}

std::string TestServer::user() const { return Info(kind_).ftp ? "ftptest" : ""; }
std::string TestServer::password() const { return user(); }
fs::path TestServer::log_path() const { return state_ / Info(kind_).log; }

fs::path TestServer::WriteFile(const std::string& relative, const std::string& content) const {
  const fs::path path = root_ / relative;
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                            fs::perms::others_read);
  // The real FTP servers write as ftptest (the fault server runs as root).
  if (Info(kind_).ftp && kind_ != ServerKind::FaultFtpd) {
    if (const passwd* pw = ::getpwnam("ftptest")) {
      for (fs::path p = path; p != root_ && p.has_relative_path(); p = p.parent_path()) {
        if (::chown(p.c_str(), pw->pw_uid, pw->pw_gid) != 0) break;
      }
    }
  }
  return path;
}

StartOutcome StartServer(const ServerSetup& setup) {
  const KindInfo& info = Info(setup.kind);
  StartOutcome outcome;
  if (!Installed(info) || ::geteuid() != 0) {
    outcome.missing = true;
    outcome.problem = std::string(info.name) + " is not available here (" +
                      (::geteuid() != 0 ? "the fixtures need root" : "not installed") +
                      "): run tests/fixtures/install.sh as root";
    return outcome;
  }
  for (int attempt = 0; attempt < 3; ++attempt) {
    const fs::path base = MakeBaseFolder(info);
    const std::uint16_t port = FreeLoopbackPort();
    if (base.empty() || port == 0) {
      outcome.problem = "no temporary folder or free port";
      continue;
    }
    // tinyproxy takes its state folder where the others take the root.
    const fs::path first = setup.kind == ServerKind::Tinyproxy ? base / "state" : base / "root";
    std::vector<std::string> argv = {(FixturesDir() / info.script).string(), first.string(),
                                     std::to_string(port)};
    argv.insert(argv.end(), setup.args.begin(), setup.args.end());
    const ScriptResult run =
        RunScript(argv, {{"STATE_DIR", (base / "state").string()}, {"BIND_IP", setup.bind_ip}},
                  milliseconds(15000));
    const long pid = run.exit_code == 0 ? std::strtol(run.out.c_str(), nullptr, 10) : 0;
    if (pid > 0) {
      outcome.server = std::make_unique<TestServer>(setup.kind, base, setup.bind_ip, port,
                                                    static_cast<pid_t>(pid));
      outcome.problem.clear();
      return outcome;
    }
    outcome.problem = std::string(info.name) + " did not start (exit " +
                      std::to_string(run.exit_code) + "): " + run.err;
    if (!KeepFolders()) {
      std::error_code ignored;
      fs::remove_all(base, ignored);
    }
    if (run.err.find("already in use") == std::string::npos) break;  // only a lost port race retries
  }
  return outcome;
}

}  // namespace quorvi::test
