#include "transfer_options.h"

namespace qftp {

std::optional<std::int16_t> ReplaceCode(const std::string& word) {
  static const char* const kWords[] = {"ask", "overwrite", "resume", "skip", "rename"};
  for (std::int16_t code = 0; code < 5; ++code)
    if (word == kWords[code]) return code;
  return std::nullopt;
}

std::shared_ptr<ClashRefusal> ApplyTransferOptions(quorvi::FtpLibrary& ftp,
                                                   const TransferOptions& o, bool interactive) {
  const std::string replace = o.replace.value_or("ask");
  ftp.ReplaceSetting(ReplaceCode(replace).value_or(0));
  std::shared_ptr<ClashRefusal> refusal;
  if (replace == "ask" && (interactive || o.replace)) {
    ftp.SetUserInterface(quorvi::MakeTerminalUserInterface());
  } else if (replace == "ask") {
    refusal = std::make_shared<ClashRefusal>();
    ftp.SetUserInterface(refusal);
  }
  if (o.rename_rule) ftp.RenameRule(*o.rename_rule);
  if (o.retries) ftp.ReDoTimes(static_cast<std::int16_t>(*o.retries));
  if (o.retry_pause) ftp.RetryPause(static_cast<std::int16_t>(*o.retry_pause));
  if (o.fsync) ftp.SyncFiles(true);
  if (o.max_speed_kib) ftp.MaxSpeed(*o.max_speed_kib);
  if (o.max_size_mib) ftp.MaxSize(*o.max_size_mib);
  if (o.allow) ftp.FileTypeAllow(*o.allow);
  if (o.forbid) ftp.FileTypeForbid(*o.forbid);
  ftp.WithoutList(o.without_list);
  ftp.CreateCorrespondFolder(o.correspond_folder);
  ftp.FollowOutsideLinks(o.follow_outside_links);
  ftp.ShowTotalPercent(o.total);
  if (o.status_dir) ftp.TranstatePath(*o.status_dir);
  ftp.TransferMode(o.ascii ? quorvi::FTP_ASCII_MODE : quorvi::FTP_IMAGE_MODE);
  return refusal;
}

std::string AbsoluteLocalList(const std::string& list, const std::string& current_folder) {
  std::string out;
  std::size_t start = 0;
  for (;;) {
    const auto bar = list.find('|', start);
    std::string item = list.substr(start, bar == std::string::npos ? bar : bar - start);
    const auto first = item.find_first_not_of(' ');
    if (first != std::string::npos && item[first] != '/') {
      item = current_folder + (current_folder.ends_with('/') ? "" : "/") + item.substr(first);
    }
    out += item;
    if (bar == std::string::npos) return out;
    out += '|';
    start = bar + 1;
  }
}

}  // namespace qftp
