#include "progress_bar.h"
#include "terminal_text.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cstdio>

namespace qftp {

namespace {

std::string Bytes(double n) {
  static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (n >= 1024 && unit < 4) {
    n /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", n, kUnits[unit]);
  return text;
}

std::string Duration(int seconds) {
  char text[32];
  if (seconds >= 3600) {
    std::snprintf(text, sizeof text, "%d:%02d:%02d", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
  } else {
    std::snprintf(text, sizeof text, "%d:%02d", seconds / 60, seconds % 60);
  }
  return text;
}

std::string BaseName(const std::string& path) {
  const auto end = path.find_last_not_of('/');
  if (end == std::string::npos) return path;
  const auto slash = path.find_last_of('/', end);
  return path.substr(slash == std::string::npos ? 0 : slash + 1, end - (slash + 1) + 1);
}

}  // namespace

std::string ProgressLine(const ProgressFigures& f, std::size_t width) {
  // The last column stays empty: writing there makes some terminals wrap the line.
  const std::size_t room = width > 1 ? width - 1 : 0;
  const int percent = f.percent < 0 ? 0 : (f.percent > 100 ? 100 : f.percent);
  const std::string figures = std::to_string(percent) + "% " + Bytes(f.done) + "/" + Bytes(f.size) +
                              " " + Bytes(f.speed) + "/s " + Duration(f.left) + " left";
  std::string head = "[";
  head.append(std::to_string(f.index)).append("/").append(std::to_string(f.total)).append("] ");
  // The bar takes what is left beside the figures, 10 to 30 columns; none on a narrow screen.
  const std::size_t fixed = head.size() + figures.size() + 3;
  const std::size_t bar_width = room >= fixed + 10 ? std::min<std::size_t>(30, room - fixed) : 0;
  std::string line = head;
  if (bar_width >= 10) {
    const std::size_t filled = static_cast<std::size_t>(percent) * bar_width / 100;
    line.append("[").append(filled, '#').append(bar_width - filled, '.').append("] ");
  }
  line += figures;
  if (line.size() + 1 < room) {
    std::string name = f.name;
    const std::size_t left = room - line.size() - 1;
    if (name.size() > left) name = left > 3 ? "..." + name.substr(name.size() - (left - 3)) : "";
    if (!name.empty()) line += " " + name;
  }
  if (line.size() > room) line.resize(room);
  return line;
}

ProgressBar::ProgressBar(quorvi::FtpLibrary& ftp, std::FILE* out, bool totals)
    : ftp_(ftp), out_(out), totals_(totals) {
  transfer_token_ = ftp_.OnTransfer().Subscribe([this] { Draw(false); });
  state_token_ = ftp_.OnStateChange().Subscribe([this] {
    const auto state = ftp_.FtpState();
    if (state == quorvi::ftpDownloadCompleted || state == quorvi::ftpUploadCompleted) Draw(true);
  });
}

ProgressBar::~ProgressBar() {
  ftp_.OnTransfer().Unsubscribe(transfer_token_);
  ftp_.OnStateChange().Unsubscribe(state_token_);
  if (open_) {
    std::fputc('\n', out_);
    std::fflush(out_);
  }
}

std::size_t ProgressBar::Width() const {
  // Asked at every redraw, so a resized window (SIGWINCH) is followed at the next one.
  winsize size{};
  if (ioctl(fileno(out_), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}

void ProgressBar::Draw(bool final) {
  ProgressFigures f;
  f.index = ftp_.QueueIndex();
  f.total = ftp_.QueueTotal();
  f.speed = ftp_.Speed();
  f.left = ftp_.LeftTime();
  f.name = ForTerminal(BaseName(ftp_.LocalPath()));
  // A file's line ends once; events after its end (the job's own completion, which names the
  // job's folder) draw nothing until the next file starts.
  if (f.index == finished_) return;
  if (totals_ && ftp_.TotalFileSize() > 0) {
    f.percent = ftp_.TotalPercent();
    f.done = ftp_.TotalTransferSize();
    f.size = ftp_.TotalFileSize();
  } else {
    f.percent = ftp_.Percent();
    f.done = ftp_.TransferSize();
    f.size = ftp_.FileSize();
  }
  std::fprintf(out_, "\r%s\033[K", ProgressLine(f, Width()).c_str());
  open_ = true;
  if (final) {
    std::fputc('\n', out_);
    open_ = false;
    finished_ = f.index;
  }
  std::fflush(out_);
}

}  // namespace qftp
