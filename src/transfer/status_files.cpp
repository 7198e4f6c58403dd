#include "transfer/status_files.h"

#include "local/cfile.h"
#include "local/formatters.h"
#include "local/path_rules.h"
#include "platform/file_system.h"

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
    CFile::WriteFile(folder_ + "trans.sta", FormatStatusLine(line), true);
    const std::string cancel = folder_ + "cancel.sta";
    if (platform::Stat(cancel)) {
      platform::DeleteFile(cancel);
      if (abort) abort();
    }
  }
  if (raise) raise();
}

}  // namespace quorvi::detail
