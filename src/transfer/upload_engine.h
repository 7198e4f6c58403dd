// The upload engine: UpLoad (pairing over the local list, totals, the queue pass), UpLoadAll
// (folder mode: one walk per folder item, remote folders created, empty ones too; file mode
// with the canceled list) and UpLoadOne (one file: replace decision against the server, REST +
// STOR resumption, remote folder creation, verification, retry).
#pragma once

#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

#include "transfer/download_engine_base.h"

namespace quorvi::detail {

class UploadEngine : private EngineBase {
 public:
  using EngineBase::EngineBase;

  /// The public UpLoad: LocalPath/RemotePath path lists; failures reported as "UpLoad".
  bool UpLoad(bool create_folder);
  /// The public UpLoadFile: one file by its exact paths (no lists, no patterns).
  bool UpLoadFile(const std::string& local, const std::string& remote);

 private:
  /// The host's items, read from its "|" lists: folder items (folders, patterns) with their
  /// remote folders, and single files with their remote destinations.
  struct Job {
    std::vector<std::string> local_folders, remote_folders, local_files, remote_files;
  };
  Job Pair(const std::vector<std::string>& local, const std::vector<std::string>& remote);
  /// Connects, runs the job make_job builds (folder job, file job, queue pass), reports
  /// failures as "UpLoad".
  bool Run(bool create_folder, const std::function<Job()>& make_job);
  void StartJob();
  bool RunJob(const Job& job, bool create_folder);
  bool QueuePass(const std::string& job_remote);
  void FailJob();
  /// One step of the job inside the engine's error boundary (reported as "UpLoadAll").
  bool Step(const std::function<bool()>& body);
  bool FolderMode(const std::vector<std::string>& local, const std::vector<std::string>& remote);
  bool FolderItem(const std::string& item, const std::string& remote);
  bool FileMode(const std::vector<std::string>& local, const std::vector<std::string>& remote,
                bool create_folder);
  /// Remote path of one file of a file-mode batch ("" when none is given).
  std::string FileTarget(const std::string& local, std::size_t i,
                         const std::vector<std::string>& remote, bool single_folder) const;
  /// tree: a folder job, in which a file the server refuses fails alone (NoteRefusedFile).
  bool TransferPairs(const std::vector<FilePair>& pairs, bool create_folder, bool tree = false);
  /// Queue pass: a target the finished job stored gets a new name by the rename rule.
  std::string AvoidJobFiles(std::string remote) const;

  bool UpLoadOne(bool create_folder);
  bool OneBody(bool create_folder);
  /// Remote size and the replace decision; false when finished here with result set.
  bool DecideRemote(bool create_folder, bool& result);
  bool Send();

  /// Remote files of the finished job (lower case), protected during a queue pass.
  std::unordered_set<std::string> job_files_;
};

/// Sum of the folder sizes and file sizes; negative when an item cannot be measured.
double GetTotalSizeLocal(FolderTotals& totals, const std::vector<std::string>& folders,
                         const std::vector<std::string>& files);

}  // namespace quorvi::detail
