// The transfer engine's state inside one FtpLibrary: lists and counters, progress, status
// files and the totals of the local counting walks.
#pragma once

#include "local/folder_walker.h"
#include "transfer/progress.h"
#include "transfer/status_files.h"
#include "transfer/transfer_lists.h"

namespace quorvi::detail {

struct TransferState {
  TransferLists lists;
  Progress progress;
  StatusFiles status;
  FolderTotals folder_totals;
};

}  // namespace quorvi::detail
