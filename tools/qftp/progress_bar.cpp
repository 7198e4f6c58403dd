#include "progress_bar.h"

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
  const int percent = f.percent < 0 ? 0 : (f.percent > 100 ? 100 : f.percent);
  constexpr int kBarWidth = 20;
  const int filled = percent * kBarWidth / 100;
  std::string line = "[" + std::to_string(f.index) + "/" + std::to_string(f.total) + "] [" +
                     std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                     std::to_string(percent) + "% " + Bytes(f.done) + "/" + Bytes(f.size) + " " +
                     Bytes(f.speed) + "/s " + Duration(f.left) + " left";
  std::string name = f.name;
  if (line.size() + 1 < width) {
    const std::size_t room = width - line.size() - 1;
    if (name.size() > room) name = room > 3 ? "..." + name.substr(name.size() - (room - 3)) : "";
    if (!name.empty()) line += " " + name;
  } else {
    line.resize(width);
  }
  return line;
}

ProgressBar::ProgressBar(quorvi::FtpLibrary& ftp, std::FILE* out, bool totals)
    : ftp_(ftp), out_(out), totals_(totals) {
  transfer_token_ = ftp_.OnTransfer().Subscribe([this] { Draw(); });
  state_token_ = ftp_.OnStateChange().Subscribe([this] {
    const auto state = ftp_.FtpState();
    if (state == quorvi::ftpDownloadCompleted || state == quorvi::ftpUploadCompleted) {
      Draw();
      EndLine();
    }
  });
}

ProgressBar::~ProgressBar() {
  ftp_.OnTransfer().Unsubscribe(transfer_token_);
  ftp_.OnStateChange().Unsubscribe(state_token_);
  EndLine();
}

void ProgressBar::Draw() {
  ProgressFigures f;
  f.index = ftp_.QueueIndex();
  f.total = ftp_.QueueTotal();
  f.speed = ftp_.Speed();
  f.left = ftp_.LeftTime();
  f.name = BaseName(ftp_.LocalPath());
  if (totals_ && ftp_.TotalFileSize() > 0) {
    f.percent = ftp_.TotalPercent();
    f.done = ftp_.TotalTransferSize();
    f.size = ftp_.TotalFileSize();
  } else {
    f.percent = ftp_.Percent();
    f.done = ftp_.TransferSize();
    f.size = ftp_.FileSize();
  }
  std::fprintf(out_, "\r%s\033[K", ProgressLine(f, 100).c_str());
  std::fflush(out_);
  drawn_ = true;
}

void ProgressBar::EndLine() {
  if (!drawn_) return;
  std::fputc('\n', out_);
  std::fflush(out_);
  drawn_ = false;
}

}  // namespace qftp
