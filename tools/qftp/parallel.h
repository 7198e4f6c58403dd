// qftp --parallel N: a download or upload job on N sessions at once. The job is planned on the
// main session (folders listed or walked, every folder made before any file), then N
// components, each on a thread of its own, take files from one shared queue. One progress line
// sums them up; the result lists are merged.
#pragma once

#include <quorvi/ftp_library.h>

#include <string>
#include <vector>

#include "options.h"

namespace qftp {

/// One file of a parallel job.
struct JobFile {
  std::string remote;  ///< the remote path
  std::string local;   ///< the absolute local path
  double size = 0;     ///< as listed (download) or on disk (upload)
  bool named = false;  ///< named by the user (not found in a folder): the type filter refuses it
};

/// What a job moves: the files and the folders to make first (parents before children).
struct JobPlan {
  std::vector<JobFile> files;
  std::vector<std::string> folders;  ///< local folders (download) or remote ones (upload)
  std::vector<std::string> problems;  ///< entries that cannot be moved, one line each
};

/// Runs `download` REMOTE_LIST LOCAL_FOLDER or `upload` LOCAL_LIST REMOTE_FOLDER on
/// options.parallel sessions, main (connected) being the first. Prints the progress (on a
/// terminal), the summary and one line per failed file; true when every file arrived.
bool RunParallel(quorvi::FtpLibrary& main, const Options& options, bool download);

/// The entries of a name that may not be used as a path part ("", ".", "..", or one with "/").
bool UnusableName(const std::string& name);

}  // namespace qftp
