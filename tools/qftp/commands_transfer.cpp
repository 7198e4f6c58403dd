#include "commands_transfer.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "parallel.h"
#include "progress_bar.h"

namespace qftp {

namespace {

int CountItems(const std::string& list) {
  if (list.empty()) return 0;
  int n = 1;
  for (char c : list) n += c == '|';
  return n;
}

std::string Size(double bytes) {
  char text[32];
  if (bytes >= 1024.0 * 1024) {
    std::snprintf(text, sizeof text, "%.1f MiB", bytes / (1024.0 * 1024));
  } else if (bytes >= 1024) {
    std::snprintf(text, sizeof text, "%.1f KiB", bytes / 1024.0);
  } else {
    std::snprintf(text, sizeof text, "%.0f B", bytes);
  }
  return text;
}

// Runs one transfer with the options applied, the progress bar on a terminal and the
// summary line at the end.
bool Run(quorvi::FtpLibrary& ftp, const Options& o, bool download) {
  if (o.parallel > 1) return RunParallel(ftp, o, download);
  const bool terminal = isatty(STDERR_FILENO) != 0;
  const auto refusal = ApplyTransferOptions(ftp, o.transfer, terminal && isatty(STDIN_FILENO) != 0);
  const std::string cwd = std::filesystem::current_path().string();
  const std::string& first = o.args[0];
  const std::string& second = o.args[1];
  ftp.RemotePath(download ? first : second);
  ftp.LocalPath(AbsoluteLocalList(download ? second : first, cwd));

  std::unique_ptr<ProgressBar> bar;
  if (terminal && !o.quiet) bar = std::make_unique<ProgressBar>(ftp, stderr, o.transfer.total);
  const bool ok = download ? ftp.DownLoad(true) : ftp.UpLoad(true);
  bar.reset();
  if (!o.quiet) {
    std::fprintf(stderr, "%s\n",
                 SummaryLine(ftp.TransferredFileCount(), ftp.SkippedFileCount(),
                             CountItems(ftp.AbortedFileList()), ftp.TransferredBytes(),
                             ftp.ElapsedTime(), ftp.SpeedAvg())
                     .c_str());
  }
  if (refusal && !refusal->clashes().empty()) {
    std::fputs(refusal->Report().c_str(), stderr);
    return false;
  }
  return ok;
}

}  // namespace

std::string SummaryLine(int transferred, int skipped, int aborted, double bytes, int seconds,
                        double average_speed) {
  return std::to_string(transferred) + (transferred == 1 ? " file" : " files") +
         " transferred, " + std::to_string(skipped) + " skipped, " + std::to_string(aborted) +
         " aborted, " + Size(bytes) + " in " + std::to_string(seconds) + " s (" +
         Size(average_speed) + "/s)";
}

bool Download(quorvi::FtpLibrary& ftp, const Options& options) { return Run(ftp, options, true); }

bool Upload(quorvi::FtpLibrary& ftp, const Options& options) { return Run(ftp, options, false); }

}  // namespace qftp
