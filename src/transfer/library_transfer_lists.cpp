// FtpLibrary's transfer list, queue counters and result lists.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "local/path_rules.h"

namespace quorvi {

using detail::Guarded;

void FtpLibrary::AppendTransferList(const std::string& FilePath) {
  ChangeTransferList(FilePath, false);
}

void FtpLibrary::RemoveTransferList(const std::string& FilePath) {
  ChangeTransferList(FilePath, true);
}

void FtpLibrary::ChangeTransferList(const std::string& FilePath, bool Delete) {
  Guarded(*core_, "ChangeTransferList", [&] {
    core_->transfer.lists.ChangeTransferList(
        detail::FormatLocalPath(FilePath), Delete,
        [this](const std::string& folder) { return GetLocalFolderFileCount(folder, 0); });
  });
}

std::int32_t FtpLibrary::QueueIndex() const { return core_->transfer.lists.queue_index; }

std::int32_t FtpLibrary::QueueTotal() const { return core_->transfer.lists.queue_total; }

std::string FtpLibrary::TransferedLocalFiles() {
  return Guarded(*core_, "TransferedLocalFiles", std::string(),
                 [&] { return core_->transfer.lists.TransferedLocalFiles(); });
}

std::string FtpLibrary::TransferedRemoteFiles() {
  return Guarded(*core_, "TransferedRemoteFiles", std::string(),
                 [&] { return core_->transfer.lists.TransferedRemoteFiles(); });
}

std::string FtpLibrary::SkippedFiles() {
  return Guarded(*core_, "SkippedFiles", std::string(),
                 [&] { return core_->transfer.lists.SkippedFiles(); });
}

std::int32_t FtpLibrary::TransferredFileCount() const {
  return core_->transfer.lists.transferred_count;
}

std::int32_t FtpLibrary::SkippedFileCount() const { return core_->transfer.lists.skipped_count; }

double FtpLibrary::TransferredBytes() const { return core_->transfer.progress.job_bytes_moved; }

std::string FtpLibrary::FailedFiles() {
  return Guarded(*core_, "FailedFiles", std::string(),
                 [&] { return core_->transfer.lists.FailedFiles(); });
}

std::string FtpLibrary::CanceledFileList() const {
  return Guarded(*core_, "CanceledFileList", std::string(),
                 [&] { return core_->transfer.lists.CanceledFileList(); });
}

std::string FtpLibrary::AbortedFileList() const {
  return Guarded(*core_, "AbortedFileList", std::string(),
                 [&] { return core_->transfer.lists.AbortedFileList(); });
}

}  // namespace quorvi
