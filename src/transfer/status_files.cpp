#include "transfer/status_files.h"

#include "local/cfile.h"
#include "local/formatters.h"
#include "local/path_rules.h"
#include "platform/file_system.h"
#include "platform/private_file.h"

namespace quorvi::detail {

std::string FormatStatusLine(const StatusLine& l) {
  return std::to_string(l.queue_index) + "#" + std::to_string(l.queue_total) + "#" +
         std::to_string(l.percent) + "#" + NumberText(l.transfer_size) + "#" +
         NumberText(l.file_size) + "#" + std::to_string(l.speed) + "#" +
         std::to_string(l.speed_avg) + "#" + std::to_string(l.left_time) + "#" +
         std::to_string(l.elapsed_time);
}

void StatusFiles::SetPath(const std::string& value) {
  value_ = value;
  folder_.clear();
  if (!CFile::FolderExists(value)) return;
  folder_ = FormatLocalPath(value + "/");
  platform::DeleteFile(folder_ + "cancel.sta");
}

void StatusFiles::RaiseTransferEvent(const StatusLine& line, const std::function<void()>& abort,
                                     const std::function<void()>& raise) const {
  if (!folder_.empty()) {
    // The status folder may be one others can write to: the line never goes through a link
    // planted in trans.sta's place, nor truncates a file that is not ours.
    const std::string status = folder_ + "trans.sta";
    if (const int error = platform::WritePrivateFile(status, FormatStatusLine(line) + "\r\n", true))
      DealError("WriteFile", error, platform::ErrorText(error) + " [" + status + "]");
    const std::string cancel = folder_ + "cancel.sta";
    if (platform::Stat(cancel)) {
      platform::DeleteFile(cancel);
      if (abort) abort();
    }
  }
  if (raise) raise();
}

}  // namespace quorvi::detail
