// The status files an outside monitor uses: "trans.sta" (one line rewritten at every transfer
// event) and "cancel.sta" (created by the monitor to stop the transfer).
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quorvi::detail {

/// The figures of one trans.sta line, in file order.
struct StatusLine {
  std::int32_t queue_index = 0;
  std::int32_t queue_total = 0;
  std::int16_t percent = 0;
  double transfer_size = 0;
  double file_size = 0;
  std::int32_t speed = 0;
  std::int32_t speed_avg = 0;
  std::int32_t left_time = 0;
  std::int32_t elapsed_time = 0;
};

/// "1#3#45#3600#8000#900#850#4#12": every figure as decimal text.
std::string FormatStatusLine(const StatusLine& line);

class StatusFiles {
 public:
  /// The TranstatePath write: an existing folder switches the files on (and deletes a stale
  /// cancel.sta there); anything else switches them off.
  void SetPath(const std::string& value);
  const std::string& Path() const { return value_; }
  /// The normalised folder ending with "/", or "" while status files are off.
  const std::string& Folder() const { return folder_; }

  /// The transfer event: writes trans.sta, acts on cancel.sta (deletes it, then abort), then
  /// raise. File errors never fail the transfer.
  void RaiseTransferEvent(const StatusLine& line, const std::function<void()>& abort,
                          const std::function<void()>& raise) const;

 private:
  std::string value_;
  std::string folder_;
};

}  // namespace quorvi::detail
