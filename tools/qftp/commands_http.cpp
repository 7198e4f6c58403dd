// qftp http URL_LIST LOCAL_LIST (--proxy HOST:PORT anywhere): DownloadHttpFile with the transfer options,
// the progress bar on a terminal and a summary line. Needs no FTP login.
#include <quorvi/ftp_library.h>

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "commands_transfer.h"
#include "options.h"
#include "progress_bar.h"
#include "terminal_text.h"

namespace qftp {

namespace {

struct Proxy {
  std::string host;
  int port = 0;
};

// "HOST:PORT" with a port in 1..65535.
std::optional<Proxy> ParseProxy(const std::string& text) {
  const auto colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return std::nullopt;
  Proxy proxy{text.substr(0, colon)};
  const char* begin = text.data() + colon + 1;
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(begin, end, proxy.port);
  if (ec != std::errc() || ptr != end || proxy.port < 1 || proxy.port > 65535) return std::nullopt;
  return proxy;
}

bool Fail(const std::string& text) {
  std::fprintf(stderr, "qftp: %s\n", ForTerminal(text).c_str());
  return false;
}

}  // namespace

bool Http(quorvi::FtpLibrary& ftp, const Options& o) {
  std::optional<Proxy> proxy;
  const auto& args = o.args;
  if (o.proxy) {
    proxy = ParseProxy(*o.proxy);
    if (!proxy) return Fail("--proxy needs HOST:PORT");
  }

  const bool terminal = isatty(STDERR_FILENO) != 0;
  const auto refusal = ApplyTransferOptions(ftp, o.transfer, terminal && isatty(STDIN_FILENO) != 0);
  if (proxy) {
    ftp.ProxyServer(proxy->host);
    // The property is 16-bit; ports above 32767 travel as their two's-complement twin.
    ftp.ProxyPort(static_cast<std::int16_t>(static_cast<std::uint16_t>(proxy->port)));
  }
  ftp.RemotePath(args[0]);
  ftp.LocalPath(AbsoluteLocalList(args[1], std::filesystem::current_path().string()));

  std::unique_ptr<ProgressBar> bar;
  if (terminal && !o.quiet) bar = std::make_unique<ProgressBar>(ftp, stderr, false);
  const bool ok = ftp.DownloadHttpFile();
  bar.reset();
  if (!o.quiet) {
    std::fprintf(
        stderr, "%s\n",
        SummaryLine(ftp.TransferredFileCount(), ftp.SkippedFileCount(), 0, ftp.TransferredBytes(),
                    ftp.ElapsedTime(), ftp.SpeedAvg())
            .c_str());
  }
  if (!ok) {
    std::fprintf(stderr, "qftp: error %d: %s\n", static_cast<int>(ftp.ErrorNumber()),
                 ForTerminal(ftp.ErrorInfo()).c_str());
  }
  if (refusal && !refusal->clashes().empty()) {
    std::fputs(refusal->Report().c_str(), stderr);
    return false;
  }
  return ok;
}

}  // namespace qftp
