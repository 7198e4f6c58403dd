// The download engine: DownLoad (path-list pairing into a folder job and a file job),
// DownLoadAll (folder mode: list, batch the files, recurse into subfolders; file mode: one
// file after the other with the queue counters) and DownLoadOne (one file: replace decision,
// RETR exchange, verification, retry with resumption).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <quorvi/ftp_file.h>

#include "transfer/download_engine_base.h"

namespace quorvi::detail {

class DownloadEngine : private EngineBase {
 public:
  using EngineBase::EngineBase;

  /// The public DownLoad: RemotePath/LocalPath path lists; failures reported as "DownLoad".
  bool DownLoad(bool create_folder);
  /// The public DownLoadFile: one file by its exact path (no lists, no patterns).
  bool DownLoadFile(const std::string& remote, const std::string& local);

 private:
  /// The host's items, read from its "|" lists: folder items (folders, patterns) with their
  /// local folders, and single files with their local destinations.
  struct Job {
    std::vector<std::string> remote_folders, local_folders, remote_files, local_files;
  };
  Job Pair(const std::vector<std::string>& remote, const std::vector<std::string>& local);
  /// Connects, runs the job make_job builds (folder job, then file job), reports failures.
  bool Run(bool create_folder, const std::function<Job()>& make_job);
  void StartJob();
  void CloseJob();
  /// One step of the job inside the engine's error boundary (reported as "DownLoadAll").
  bool Step(const std::function<bool()>& body);
  bool FolderMode(const std::vector<std::string>& remote, const std::vector<std::string>& local,
                  bool create_folder);
  /// What a folder job will do: the files (with their listed sizes) and the local folders.
  struct TreePlan {
    std::vector<FilePair> files;
    std::vector<std::string> folders;
  };
  /// A pattern item that matched nothing may be a name holding "?" or "*" (a server's glob
  /// cannot match "f0 a?b.bin" on vsftpd): the parent's entries of exactly that name.
  std::optional<CFtpFiles> NamedLiterally(const std::string& remote_item);
  void CollectFolder(const std::string& remote_item, const std::string& folder, bool literal,
                     int depth, TreePlan& plan);
  bool FileMode(const std::vector<std::string>& remote, const std::vector<std::string>& local,
                bool create_folder);
  bool TransferPairs(const std::vector<FilePair>& pairs, bool create_folder);
  bool DownLoadOne(bool create_folder);
  bool OneBody(bool create_folder);
  /// Remote size and the replace decision; false when the file is finished here (skipped,
  /// renamed, or the size query failed on the first attempt), with result set.
  bool DecideRemote(bool create_folder, bool& result);
  bool AskUser();
  bool Receive();
  /// The pair being downloaded, when it came from a listing (its listed size and date).
  const FilePair* listed_ = nullptr;
};

}  // namespace quorvi::detail
