// qftp's transfer options (download/upload): parsed beside the connection options and applied
// to the component before a transfer.
#pragma once

#include <quorvi/ftp_library.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "clash_refusal.h"

namespace qftp {

struct TransferOptions {
  std::optional<std::string> replace;  ///< ask | overwrite | resume | skip | rename
  std::optional<std::string> rename_rule;
  std::optional<int> retries;
  std::optional<int> retry_pause;
  bool fsync = false;
  std::optional<int> max_speed_kib;
  std::optional<double> max_size_mib;
  std::optional<std::string> allow, forbid;
  bool without_list = false;
  bool correspond_folder = false;
  bool follow_outside_links = false;
  bool total = false;
  std::optional<std::string> status_dir;
  bool ascii = false;
};

/// The component's ReplaceSetting for a --replace word (nothing for an unknown word).
std::optional<std::int16_t> ReplaceCode(const std::string& word);

/// Applies the options. Without --replace a clash is asked on an interactive terminal;
/// without one it fails that file: the returned refusal (null otherwise) names the files.
std::shared_ptr<ClashRefusal> ApplyTransferOptions(quorvi::FtpLibrary& ftp,
                                                   const TransferOptions& options,
                                                   bool interactive);

/// Each "|" item of a local list made absolute against the current folder.
std::string AbsoluteLocalList(const std::string& list, const std::string& current_folder);

}  // namespace qftp
