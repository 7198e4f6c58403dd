#include "parallel.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

#include "commands_transfer.h"
#include "configure.h"
#include "transfer_options.h"
#include "terminal_text.h"

namespace qftp {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> SplitList(const std::string& list) {
  std::vector<std::string> items;
  std::size_t start = 0;
  for (;;) {
    const auto bar = list.find('|', start);
    std::string item = list.substr(start, bar == std::string::npos ? bar : bar - start);
    if (!item.empty()) items.push_back(item);
    if (bar == std::string::npos) return items;
    start = bar + 1;
  }
}

std::string JoinRemote(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

std::string BaseName(const std::string& path) {
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.ends_with('/')) trimmed.pop_back();
  const auto slash = trimmed.find_last_of('/');
  return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

// Remote folders are listed one by one (a folder's contents go into the local folder; links
// are never followed).
JobPlan PlanDownload(quorvi::FtpLibrary& ftp, const std::vector<std::string>& remote,
                     const fs::path& local) {
  JobPlan plan;
  plan.folders.push_back(local.string());
  for (const std::string& item : remote) {
    const bool folder = item.ends_with('/') || ftp.ExistDirectory(item);
    if (!folder) {
      const double size = ftp.GetFtpFileSize(item);
      if (size < 0) {
        plan.problems.push_back(item + ": " + ftp.ErrorInfo());
        continue;
      }
      plan.files.push_back({item, (local / BaseName(item)).string(), size, true});
      continue;
    }
    std::deque<std::pair<std::string, fs::path>> pending{{item, local}};
    while (!pending.empty()) {
      auto [remote_folder, local_folder] = pending.front();
      pending.pop_front();
      const auto entries = ftp.GetFtpDirectoryInfo(remote_folder);
      if (!entries) {
        if (ftp.ErrorNumber() != 0) plan.problems.push_back(remote_folder + ": " + ftp.ErrorInfo());
        continue;
      }
      for (const auto& entry : *entries) {
        if (UnusableName(entry.FileName())) {
          plan.problems.push_back(JoinRemote(remote_folder, entry.FileName()) + ": unusable name in the listing");
        } else if (entry.IsLink()) {
          continue;  // never followed, as the component's own tree jobs do
        } else if (entry.IsDirectory()) {
          const fs::path sub = local_folder / entry.FileName();
          plan.folders.push_back(sub.string());
          pending.emplace_back(JoinRemote(remote_folder, entry.FileName()), sub);
        } else {
          plan.files.push_back({JoinRemote(remote_folder, entry.FileName()),
                                (local_folder / entry.FileName()).string(), entry.FileSize()});
        }
      }
    }
  }
  return plan;
}

// True when the link's target, resolved, lies inside the folder.
bool LinkStaysInside(const fs::path& link, const fs::path& folder) {
  std::error_code error;
  const fs::path target = fs::canonical(link, error), root = fs::canonical(folder, error);
  if (error) return false;
  const auto [end, rest] = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
  return end == root.end() && rest != target.end();
}

// A local folder's contents go into the remote folder; only regular files are sent, and a
// link out of the folder only when the host allows it (as the component's FollowOutsideLinks).
JobPlan PlanUpload(const std::vector<std::string>& local, const std::string& remote,
                   bool follow_outside_links) {
  JobPlan plan;
  plan.folders.push_back(remote);
  for (const std::string& item : local) {
    std::error_code error;
    if (!fs::is_directory(item, error)) {
      if (fs::is_regular_file(item, error)) {
        plan.files.push_back({JoinRemote(remote, BaseName(item)), item,
                              static_cast<double>(fs::file_size(item, error)), true});
      } else {
        plan.problems.push_back(item + ": not a file or folder");
      }
      continue;
    }
    const fs::path root(item);
    for (auto it = fs::recursive_directory_iterator(root, error);
         !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
      const std::string relative = fs::relative(it->path(), root, error).generic_string();
      if (it->is_directory(error) && !it->is_symlink(error)) {
        plan.folders.push_back(JoinRemote(remote, relative));
      } else if (it->is_symlink(error) && it->is_regular_file(error) && !follow_outside_links &&
                 !LinkStaysInside(it->path(), root)) {
        plan.problems.push_back(it->path().string() +
                                ": not uploaded: a symbolic link that points outside the folder");
      } else if (it->is_regular_file(error)) {
        plan.files.push_back({JoinRemote(remote, relative), it->path().string(),
                              static_cast<double>(it->file_size(error))});
      }
    }
    if (error) plan.problems.push_back(item + ": " + error.message());
  }
  return plan;
}

// What every session shares: the queue, the figures and the results.
class Job {
 public:
  Job(const JobPlan& plan, bool download, bool show) : plan_(plan), download_(download), show_(show) {
    for (const auto& f : plan.files) total_bytes_ += f.size;
    start_ = std::chrono::steady_clock::now();
  }

  std::optional<JobFile> Next() {
    std::lock_guard lock(mutex_);
    if (next_ >= plan_.files.size()) return std::nullopt;
    return plan_.files[next_++];
  }

  /// A file found in a folder that --allow/--forbid leaves out.
  void Skipped() {
    std::lock_guard lock(mutex_);
    ++skipped_;
  }

  void Finished(const JobFile& file, bool ok, const std::string& error) {
    std::lock_guard lock(mutex_);
    if (ok) {
      ++done_;
      done_bytes_ += file.size;
    } else {
      failures_.push_back("qftp: " + error + " [ " + (download_ ? file.remote : file.local) + " ]");
    }
    DrawLocked(true);
  }

  void Moving() {
    std::lock_guard lock(mutex_);
    DrawLocked(false);
  }

  void SessionRefused(const std::string& why) {
    std::lock_guard lock(mutex_);
    notes_.push_back("qftp: one session fewer: " + why);
  }

  bool Report(bool quiet) {
    std::lock_guard lock(mutex_);
    if (drawn_) std::fputc('\n', stderr);
    for (const auto& note : notes_) std::fprintf(stderr, "%s\n", ForTerminal(note).c_str());
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    if (!quiet) {
      std::fprintf(stderr, "%s\n",
                   SummaryLine(done_, skipped_, static_cast<int>(failures_.size()), done_bytes_,
                               static_cast<int>(seconds), done_bytes_ / std::max(seconds, 0.001))
                       .c_str());
    }
    for (const auto& line : failures_) std::fprintf(stderr, "%s\n", ForTerminal(line).c_str());
    return failures_.empty() && done_ + skipped_ == static_cast<int>(plan_.files.size());
  }

 private:
  void DrawLocked(bool force) {
    if (!show_) return;
    const auto now = std::chrono::steady_clock::now();
    if (!force && now - last_draw_ < std::chrono::milliseconds(100)) return;
    last_draw_ = now;
    std::fprintf(stderr, "\r[%d/%zu files] %.1f of %.1f MiB\033[K", done_, plan_.files.size(),
                 done_bytes_ / 1048576, total_bytes_ / 1048576);
    std::fflush(stderr);
    drawn_ = true;
  }

  const JobPlan& plan_;
  const bool download_, show_;
  std::mutex mutex_;
  std::size_t next_ = 0;
  int done_ = 0, skipped_ = 0;
  double done_bytes_ = 0, total_bytes_ = 0;
  std::vector<std::string> failures_, notes_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point start_, last_draw_;
};

// One session's share: files from the queue until it is empty.
void Work(quorvi::FtpLibrary& ftp, Job& job, bool download, const ClashRefusal* refusal) {
  const auto token = ftp.OnTransfer().Subscribe([&job] { job.Moving(); });
  // The folder's listing (cached) gives each download its size: without it every file would
  // cost a listing of its own.
  ftp.CacheListing(true);
  std::string listed;
  std::size_t clashes_seen = 0;
  while (const auto file = job.Next()) {
    const std::string folder = file->remote.substr(0, file->remote.find_last_of('/') + 1);
    if (download && folder != listed) {
      ftp.GetFtpDirectoryInfo(folder);
      listed = folder;
    }
    // By exact paths: a listed name with "?", "*" or "|" is a name here, not a pattern.
    bool ok = download ? ftp.DownLoadFile(file->remote, file->local)
                       : ftp.UpLoadFile(file->local, file->remote);
    // Without --replace a clash is skipped by the refusal: that file did not arrive.
    const std::size_t clashes_before = refusal != nullptr ? clashes_seen : 0;
    if (refusal != nullptr) clashes_seen = refusal->clashes().size();
    const bool clashed = refusal != nullptr && clashes_seen > clashes_before;
    // The type filter holds for every file; one found in a folder is left out, not failed.
    const std::int32_t number = ok ? 0 : ftp.ErrorNumber();
    if (!file->named && (number == 20021 || number == 20022)) {
      job.Skipped();
      continue;
    }
    std::string error;
    if (clashed || (!ok && ftp.ErrorNumber() == 0)) {
      ok = false;
      error = "the destination exists; choose --replace overwrite|resume|skip|rename";
    } else if (!ok) {
      error = "error " + std::to_string(ftp.ErrorNumber()) + ": " + ftp.ErrorInfo();
    }
    job.Finished(*file, ok, error);
  }
  ftp.OnTransfer().Unsubscribe(token);
}

// A session of its own on this thread. A server that refuses more sessions (421 "too many
// connections", 530 at login) leaves the job to the others.
void ExtraSession(const Options& options, Job& job, bool download) {
  quorvi::FtpLibrary ftp;
  Configure(ftp, options);
  const auto refusal = ApplyTransferOptions(ftp, options.transfer, false);
  if (!ftp.Connect()) {
    job.SessionRefused(std::to_string(ftp.ErrorNumber()) + " " + ftp.ErrorInfo());
    return;
  }
  Work(ftp, job, download, refusal.get());
  ftp.CloseConnection();
}

}  // namespace

bool UnusableName(const std::string& name) {
  return name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos;
}

bool RunParallel(quorvi::FtpLibrary& main, const Options& o, bool download) {
  const std::string cwd = fs::current_path().string();
  const auto absolute = [&](const std::string& path) {
    return path.starts_with('/') ? path : cwd + "/" + path;
  };
  const JobPlan plan = download ? PlanDownload(main, SplitList(o.args[0]), absolute(o.args[1]))
                                : PlanUpload([&] {
                                    std::vector<std::string> items;
                                    for (const auto& item : SplitList(o.args[0])) items.push_back(absolute(item));
                                    return items;
                                  }(),
                                             o.args[1], o.transfer.follow_outside_links);
  for (const auto& problem : plan.problems)
    std::fprintf(stderr, "qftp: %s\n", ForTerminal(problem).c_str());
  // Every folder exists before any file goes into it.
  for (const auto& folder : plan.folders) {
    std::error_code error;
    if (download ? (fs::create_directories(folder, error), !error)
                 : main.CreateDirectory(folder, true)) {
      continue;
    }
    std::fprintf(stderr, "qftp: cannot create the folder %s: %s\n", ForTerminal(folder).c_str(),
                 ForTerminal(download ? error.message() : main.ErrorInfo()).c_str());
    return false;
  }
  const auto refusal = ApplyTransferOptions(main, o.transfer, false);
  Job job(plan, download, isatty(STDERR_FILENO) != 0 && !o.quiet);
  std::vector<std::jthread> sessions;
  const int extra = std::min<int>(o.parallel, static_cast<int>(plan.files.size())) - 1;
  for (int i = 0; i < extra; ++i) sessions.emplace_back([&] { ExtraSession(o, job, download); });
  Work(main, job, download, refusal.get());
  sessions.clear();  // joins
  return job.Report(o.quiet) && plan.problems.empty();
}

}  // namespace qftp
