#include "component/message_table.h"

#include <string_view>

#include "component/thread_shared.h"
#include "platform/concat.h"

namespace quorvi::detail {

namespace {

// The English column; index = message number.
constexpr std::array<std::string_view, MessageTable::kCount> kEnglish = {
    "Hostname Required",
    "Unable to resolve host name",
    "Login failed",
    "Connecting",
    "Connect failed(No response from server)",
    "Failed to connect to server",
    "The previous operation is unfinished",
    "The operation has been canceled",
    "Can't find the file[ {0} ]",
    "Can't find the folder[ {0} ]",
    "Please input Remote Path",
    "Please input Local Path",
    "Please enter absolute path [ {0} ]",
    "The folder already contains a file named [ {0} ]",
    "Please input filename!",
    "New Filename",
    "Don't specify the save path of file [ {0} ]!",
    "Failed to create directory[ {0} ] !",
    "This filetype is not allowed.Allowable File Types:[ {0} ]",
    "This filetype is forbidden.Forbidden File Types:[ {0} ]",
    "Operation timed out",
    "Unknown Error",
    "This folder already contains a file named '{0}'.\\nWould you like to replace the existing "
    "file\\n {1} Bytes , {2}\\nwith this one?\\n{3} Bytes , {4}\\n",
    "Confirm File Replace",
    "Overwrite",
    "Resume",
    "Skip",
    "Rename",
    "Overwrite All",
    "Resume All",
    "Skip All",
    "OK",
    "Cancel",
    "Host not found",
    "Connection timeout",
    "Connection refused",
    "Permission denied",
    "Can't transfer files more than {0}",
    "Exit",
    "Failed to create file[ {0} ] !",
    "Failed to open file[ {0} ] !",
    "Occur an error, retransfer {0}th time after {1} second(s)",
    "Retransfer,please wait ... ",
    "Hrs",
    "Mins",
    "Secs",
    "Invalid FTP host address",
    "File Not Found",
    "No Resuming Support",
    "Can't get file size",
    "Data Socket Error: Connection failed",
};

}  // namespace

MessageTable::MessageTable() {
  for (int i = 0; i < kCount; ++i) entries_[i] = std::string(kEnglish[i]);
}

std::string MessageTable::GetMessage(int index) const {
  return index >= 0 && index < kCount ? entries_[index] : std::string();
}

std::string MessageTable::Joined() const {
  std::string joined;
  for (int i = 0; i < kCount; ++i) {
    if (i > 0) joined += '|';
    joined += entries_[i];
  }
  return joined;
}

bool MessageTable::ReplaceFrom(const std::string& joined) {
  std::array<std::string, kCount> pieces;
  std::size_t count = 0;
  std::size_t start = 0;
  while (true) {
    const auto bar = joined.find('|', start);
    if (count == kCount) return false;  // more pieces than entries
    pieces[count++] = joined.substr(start, bar == std::string::npos ? bar : bar - start);
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  if (count != kCount) return false;
  entries_ = std::move(pieces);
  return true;
}

std::string FormatMessage(std::string text, std::initializer_list<std::string> values) {
  int index = 0;
  for (const auto& value : values) {
    const std::string marker = Concat("{", std::to_string(index++), "}");
    for (auto pos = text.find(marker); pos != std::string::npos;
         pos = text.find(marker, pos + value.size())) {
      text.replace(pos, marker.size(), value);
    }
  }
  return text;
}

std::string GetMessage(int index) {
  if (const auto* shared = ThreadShared::Current()) return shared->messages.GetMessage(index);
  return index >= 0 && index < MessageTable::kCount ? std::string(kEnglish[index]) : std::string();
}

}  // namespace quorvi::detail
