// Bookkeeping of the transfer engine: the upload queue, the canceled list, the result lists,
// the queue counters and the per-file admission rules (extensions, size).
//
// Every list is a text of entries each appended as "|" + entry, kept in one buffer so that
// appending stays linear however long a job runs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_set>

namespace quorvi::detail {

class TransferLists {
 public:
  /// Counts the files of a folder item (the local folder file count).
  using FolderCounter = std::function<double(const std::string&)>;

  /// Append (remove false) or cancel (remove true) one normalised local path.
  void ChangeTransferList(const std::string& path, bool remove, const FolderCounter& count);

  // ---- Host reads ----
  /// Stored without its leading "|" (the shortened text is kept).
  std::string TransferedLocalFiles();
  std::string TransferedRemoteFiles();
  std::string SkippedFiles();
  std::string FailedFiles();
  /// The lists with doubled separators collapsed and no separator at either end.
  std::string CanceledFileList() const;
  std::string AbortedFileList() const;

  // ---- Engine operations ----
  /// Records a completed file once per job on each side.
  void RecordTransferred(const std::string& local_path, const std::string& remote_path);
  void RecordSkipped(const std::string& path) {
    skipped_.append("|").append(path);
    ++skipped_count;
  }
  void RecordAborted(const std::string& path) { aborted_.append("|").append(path); }
  /// A folder that could not be listed or an entry that could not be transferred by a tree job.
  void RecordFailed(const std::string& path) { failed_.append("|").append(path); }
  /// True when path was canceled and not appended again (case ignored).
  bool IsCanceled(const std::string& path) const;
  /// Hands the upload queue to the caller and empties it.
  std::string TakeTransferList();
  const std::string& TransferList() const { return transfer_; }

  // ---- Lifetimes ----
  /// Transferred and skipped lists emptied (a job start, CloseConnection).
  void ClearResults();
  void ClearAborted() { aborted_.clear(); }
  void ClearCanceled() { canceled_.clear(); }
  void ClearTransferList() { transfer_.clear(); }
  /// CloseConnection: counters 0, results emptied.
  void ResetForClose();

  /// Files of the job transferred and skipped (the lists cannot be counted at "|": a Linux
  /// name may hold one).
  std::int32_t transferred_count = 0;
  std::int32_t skipped_count = 0;
  std::int32_t queue_index = 0;
  std::int32_t queue_total = 0;
  bool queue_pass = false;  ///< UpLoad is uploading the queue

 private:
  std::string transfer_;
  std::string canceled_;
  std::string aborted_;
  std::string transferred_local_;
  std::string transferred_remote_;
  std::string skipped_;
  std::string failed_;
  std::unordered_set<std::string> local_seen_;   // lower-cased entries of transferred_local_
  std::unordered_set<std::string> remote_seen_;  // lower-cased entries of transferred_remote_
};

/// Extension of a file name as the admission rule sees it ("" when there is none).
std::string AdmissionExtension(const std::string& path);
/// 0 when the extension rules (FileTypeAllow, FileTypeForbid) admit the file, else the
/// refusal's number (20021 not allowed, 20022 forbidden).
std::int32_t FileTypeRefusal(const std::string& path, const std::string& allowed,
                             const std::string& forbidden);
/// Fails with 20021 or 20022 (source procedure) when the extension rules reject the file.
void CheckFileType(const std::string& path, const std::string& allowed,
                   const std::string& forbidden, const std::string& procedure);
/// Fails with 20003 when size is above the limit (bytes; 0 = none).
void CheckMaxSize(double size, double limit_bytes, const std::string& procedure);
/// The 20003 text for a limit in bytes: "Can't transfer files more than 2.5M".
std::string MaxSizeText(double limit_bytes);

}  // namespace quorvi::detail
