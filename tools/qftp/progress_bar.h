// qftp's progress line on stderr while a download or upload runs: file i of n, percent, sizes,
// speed and time left (the job's totals with --total), redrawn at every transfer event.
#pragma once

#include <quorvi/ftp_library.h>

#include <cstdio>
#include <string>

namespace qftp {

/// The progress line for one set of figures: no line end, shorter than width (the last column
/// stays free); the bar shrinks and then goes, the name is shortened from the left.
struct ProgressFigures {
  int index = 0, total = 0;
  int percent = 0;
  double done = 0, size = 0;
  int speed = 0;  ///< bytes per second
  int left = 0;   ///< seconds
  std::string name;
};
std::string ProgressLine(const ProgressFigures& f, std::size_t width);

class ProgressBar {
 public:
  /// Draws on out (a terminal) from the component's events, one line redrawn in place and
  /// ended once per file; with totals the job's figures.
  ProgressBar(quorvi::FtpLibrary& ftp, std::FILE* out, bool totals);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

 private:
  /// Redraws the line; final ends it.
  void Draw(bool final);
  /// The terminal's columns now (80 when it cannot say).
  std::size_t Width() const;

  quorvi::FtpLibrary& ftp_;
  std::FILE* out_;
  bool totals_;
  bool open_ = false;     ///< a line is drawn and not ended
  int finished_ = -1;     ///< the job index of the file whose line was ended last
  quorvi::Event::Id transfer_token_ = 0, state_token_ = 0;
};

}  // namespace qftp
