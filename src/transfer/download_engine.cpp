#include "transfer/download_engine.h"

#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/ftp_text.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/remote_queries.h"
#include "ftp/session.h"
#include "local/cfile.h"
#include "local/formatters.h"
#include "local/mfile.h"
#include "local/path_rules.h"
#include "platform/event_pump.h"
#include "platform/file_system.h"
#include "transfer/replace_dialog.h"
#include "transfer/replace_policy.h"

namespace quorvi::detail {

namespace {

// Failures a download never retries: missing file, broken data connection, size limit,
// SIZE answered 550, syntax errors, refused connection.
const RetryRule kDownloadRetry{{20007, 20061, 20003, 16550, 16501, 10061, 501},
                               {"not found", "is invalid"}};

double LocalSize(const std::string& path) {
  const auto status = platform::Stat(path);
  return status ? status->size : 0;
}

std::string Trimmed(const std::string& text) { return std::string(TrimBlanks(text)); }

}  // namespace

bool DownloadEngine::DownLoad(bool create_folder) {
  Settings& s = settings();
  try {
    if (s.remote_path.empty()) Fail(errors::kNoRemotePath, GetErrorText(errors::kNoRemotePath), "DownLoad");
    if (s.local_path.empty()) Fail(errors::kNoLocalPath, GetErrorText(errors::kNoLocalPath), "DownLoad");
    if (!session_.Connect()) return false;
    session_.abort_request = false;
    engine_.abort_noted = false;
    s.local_path = FormatLocalPath(s.local_path);
    s.remote_path = FormatFTPPath(s.remote_path);
    WriteLog("Download#" + std::to_string(s.replace_setting));
    WriteLog("Download.LocalPath=" + s.local_path);
    WriteLog("Download.RemotePath=" + s.remote_path);

    const Job job = Pair(SplitList(s.remote_path), SplitList(s.local_path));
    StartJob();
    bool ok = false, folder_job_failed = false;
    s.remote_path = job.remote_folders;
    s.local_path = job.local_folders;
    if (!s.remote_path.empty()) {
      s.local_path = FormatLocalPath(s.local_path);
      s.remote_path = FormatFTPPath(s.remote_path);
      if (DownLoadAll(create_folder)) {
        ok = OnlySeparators(job.remote_files);
      } else {
        folder_job_failed = true;
      }
    }
    s.remote_path = job.remote_files;
    s.local_path = job.local_files.empty() ? job.local_folders : job.local_files;
    if (!s.remote_path.empty() && !folder_job_failed) {
      s.local_path = FormatLocalPath(s.local_path);
      s.remote_path = FormatFTPPath(s.remote_path);
      ok = DownLoadAll(create_folder);
    }
    CloseJob();
    if (ok) core_.transfer.progress.total_percent = 100;
    RaiseEvent();
    return ok;
  } catch (const ComponentError& e) {
    CloseJob();
    core_.ReportError("DownLoad", e.number(), e.text());
  }
  return false;
}

DownloadEngine::Job DownloadEngine::Pair(const std::vector<std::string>& remote,
                                         const std::vector<std::string>& local) {
  Job job;
  const Settings& s = settings();
  for (std::size_t i = 0; i < remote.size(); ++i) {
    std::string r = Trimmed(remote[i]);
    if (r.empty()) continue;
    const bool paired = i < local.size();
    if (IsFolderItem(r)) {
      if (HasPattern(r) && r.back() == '/') r.pop_back();
      job.remote_folders += r + "|";
      std::string d = paired ? Trimmed(local[i]) : GetParentFolderPath(local[0]);
      if (s.create_correspond_folder) d += "/" + CorrespondName(r);
      job.local_folders += d + "|";
    } else {
      CheckFileType(r, s.file_type_allow, s.file_type_forbid, "DownLoad");
      job.remote_files += r + "|";
      job.local_files += (paired ? Trimmed(local[i]) : GetParentFolderPath(local[0]) + "/") + "|";
    }
  }
  for (auto* list : {&job.remote_folders, &job.local_folders, &job.remote_files, &job.local_files})
    DropTrailingBar(*list);
  return job;
}

void DownloadEngine::StartJob() {
  Progress& p = core_.transfer.progress;
  p.total_percent = 0;
  p.total_transfer_size = 0;
  p.total_file_size = 0;
  core_.transfer.lists.ClearResults();
  p.StartJob(false);
}

void DownloadEngine::CloseJob() {
  ResetDialogAnswer(settings().replace_setting);
  core_.transfer.lists.ClearCanceled();
  core_.transfer.lists.ClearTransferList();
  settings().create_correspond_folder = false;
  core_.transfer.progress.EndJob();
}

bool DownloadEngine::DownLoadAll(bool create_folder) {
  try {
    return AllBody(create_folder);
  } catch (const ComponentError& e) {
    ResetDialogAnswer(settings().replace_setting);
    core_.ReportError("DownLoadAll", e.number(), e.text());
  }
  return false;
}

bool DownloadEngine::AllBody(bool create_folder) {
  Settings& s = settings();
  core_.error().Clear();
  if (core_.rt.operation != opNone) Fail(errors::kUnfinished, GetErrorText(errors::kUnfinished), "DownLoadAll");
  if (s.remote_path.empty()) Fail(errors::kNoRemotePath, GetErrorText(errors::kNoRemotePath), "DownLoadAll");
  if (s.local_path.empty()) Fail(errors::kNoLocalPath, GetErrorText(errors::kNoLocalPath), "DownLoadAll");
  s.local_path = FormatLocalPath(s.local_path);
  NoteAbortRequest();
  if (ErrorRecorded()) RaiseRecorded("DownLoadAll");

  if (!IsFolderItem(s.remote_path)) {
    return FileMode(SplitList(s.remote_path), SplitList(s.local_path), create_folder);
  }
  s.local_path = FormatLocalPath(s.local_path);
  s.remote_path = FormatFTPPath(s.remote_path);
  DropTrailingBar(s.remote_path);
  return FolderMode(SplitList(s.remote_path), SplitList(s.local_path), create_folder);
}

bool DownloadEngine::FolderMode(const std::vector<std::string>& remote,
                                const std::vector<std::string>& local, bool create_folder) {
  for (std::size_t i = 0; i < remote.size(); ++i) {
    std::string folder = Trimmed(i < local.size() ? local[i] : local[0]);
    // Folders that a folder item needs are created whatever the argument says.
    if (!CFile::FolderExists(folder) && !CFile::CreateFolder(folder)) return false;
    if (!FolderItem(remote[i], folder, create_folder)) return false;
  }
  if (ErrorRecorded()) RaiseRecorded("DownLoadAll");
  return true;
}

bool DownloadEngine::FolderItem(const std::string& remote_item, const std::string& folder,
                                bool create_folder) {
  Settings& s = settings();
  s.local_path = folder;
  const auto entries = GetFtpDirectoryInfo(core_, remote_item);
  if (!entries) return true;
  Progress& p = core_.transfer.progress;
  if (s.show_total_percent) {
    p.total_transfer_size = 0;
    p.total_file_size = 0;
    for (const auto& entry : *entries) p.total_file_size += entry.FileSize();
    WriteLog("DL#TFS#" + NumberText(p.total_file_size) + "#" + remote_item);
  }
  // A pattern item lists the matching entries of its parent folder.
  std::string parent;
  if (HasPattern(remote_item)) parent = FormatFTPPath(GetParentFolderPath(remote_item));
  auto remote_of = [&](const CFtpFile& entry) {
    if (!HasPattern(remote_item)) return remote_item + "/" + entry.FileName();
    return parent.empty() ? entry.FileName() : parent + "/" + entry.FileName();
  };

  std::string batch;
  for (const auto& entry : *entries)
    if (!entry.IsDirectory()) batch += remote_of(entry) + "|";
  if (!batch.empty()) {
    s.remote_path = batch;
    s.local_path = folder + "/";
    if (!DownLoadAll(create_folder)) return false;
  }
  for (const auto& entry : *entries) {
    if (!entry.IsDirectory() || entry.FileName() == "." || entry.FileName() == "..") continue;
    s.local_path = folder + "/" + entry.FileName() + "/";
    s.remote_path = remote_of(entry) + "/";
    if (!DownLoadAll(create_folder)) return false;
    s.local_path = folder;
  }
  return true;
}

bool DownloadEngine::FileMode(const std::vector<std::string>& remote,
                              const std::vector<std::string>& local, bool create_folder) {
  Settings& s = settings();
  TransferLists& lists = core_.transfer.lists;
  const std::string saved_local = s.local_path;
  lists.queue_total = static_cast<std::int32_t>(remote.size());
  std::string destination;
  for (std::size_t i = 0; i < remote.size(); ++i) {
    lists.queue_index = static_cast<std::int32_t>(i + 1);
    s.local_path.clear();
    s.remote_path = Trimmed(remote[i]);
    if (s.remote_path.empty()) continue;
    if (i < local.size()) {
      const std::string item = Trimmed(local[i]);
      // A relative destination is refused before any folder is made for it.
      if (!IsAbsoluteLocalPath(item)) Fail(errors::kNotAbsolute, ErrorTextWith(20011, item), "DownLoadAll");
      if ((!item.empty() && item.back() == '/') || CFile::FolderExists(item)) {
        destination = item;
      } else {
        destination = GetParentFolderPath(item);
        s.local_path = item;
      }
      if (!CFile::FolderExists(destination)) {
        if (!create_folder) Fail(errors::kFolderMissing, ErrorTextWith(20010, destination), "DownLoadAll");
        std::string created = destination;
        if (!CFile::CreateFolder(created)) return false;
      }
    }
    if (s.local_path.empty()) s.local_path = destination + "/" + MFile::GetFileName(s.remote_path);
    s.local_path = FormatLocalPath(s.local_path);
    s.remote_path = FormatFTPPath(s.remote_path);
    engine_.attempt = 1;
    if (!DownLoadOne(create_folder)) {
      core_.rt.transfer_state.clear();
      AbandonCurrentFile(s.remote_path, "DownloadAll_AbortCurrent");
    }
    core_.rt.transfer_state.clear();
    NoteAbortRequest();
    if (ErrorRecorded()) RaiseRecorded("DownLoad");
  }
  s.local_path = saved_local;
  return !ErrorRecorded();
}

bool DownloadEngine::DownLoadOne(bool create_folder) {
  try {
    return OneBody(create_folder);
  } catch (const ComponentError& e) {
    return HandleFailure(e, "DownLoadOne", kDownloadRetry,
                         [this, create_folder] { return DownLoadOne(create_folder); });
  }
}

bool DownloadEngine::OneBody(bool create_folder) {
  Settings& s = settings();
  core_.ClearLastError();
  core_.error().Clear();
  if (core_.rt.operation != opNone) Fail(errors::kUnfinished, GetErrorText(errors::kUnfinished), "DownLoadOne");
  core_.rt.percent = 0;
  engine_.bytes = engine_.local_size = engine_.remote_size = 0;
  core_.transfer.progress.file_size = 0;
  if (engine_.attempt < 2) engine_.attempt = 1;

  if (!CFile::FileExists(s.local_path)) {
    if (!IsAbsoluteLocalPath(s.local_path)) {
      engine_.attempt = s.redo_limit;
      Fail(errors::kNotAbsolute, ErrorTextWith(20011, s.local_path), "DownLoadOne");
    }
    const std::string parent = GetParentFolderPath(s.local_path);
    if (!CFile::FolderExists(parent)) {
      engine_.attempt = s.redo_limit;
      Fail(errors::kFolderMissing, ErrorTextWith(20010, parent), "DownLoadOne");
    }
  } else {
    engine_.local_size = LocalSize(s.local_path);
  }

  bool result = false;
  if (!DecideRemote(create_folder, result)) return result;
  CheckMaxSize(engine_.remote_size, s.max_size, "DownLoadOne");

  if (CFile::FileExists(s.local_path)) {
    if (s.overwrite) {
      WriteLog("Download.OverWrite");
      platform::DeleteFile(s.local_path);
      engine_.local_size = 0;
    } else {
      engine_.local_size = LocalSize(s.local_path);
    }
  }
  Progress& p = core_.transfer.progress;
  p.file_size = engine_.remote_size;
  engine_.bytes = engine_.local_size;
  p.total_transfer_size += engine_.local_size;
  p.start_offset = engine_.bytes;
  if (engine_.remote_size > 0 && engine_.bytes >= engine_.remote_size) {
    core_.rt.percent = 100;
    core_.rt.transfer_size = engine_.remote_size;
    RaiseEvent();
    return true;
  }
  return Receive();
}

bool DownloadEngine::DecideRemote(bool create_folder, bool& result) {
  Settings& s = settings();
  std::string remote_date;
  if (s.replace_setting != kReplaceAsk) {
    engine_.remote_size = s.without_list ? 1 : GetFtpFileSize(core_, s.remote_path);
    if (engine_.remote_size == -2) {
      if (engine_.attempt < 2) return false;
      RaiseRecorded("DownLoadOne");
    }
    if (IsNoSuchFile()) Fail(errors::kRemoteFileMissing, ErrorTextWith(20007, s.remote_path), "DownLoadOne");
  } else if (s.without_list) {
    engine_.remote_size = 1;
  } else if (const auto info = GetFtpFileInfo(core_, s.remote_path)) {
    engine_.remote_size = info->FileSize();
    remote_date = info->LastWriteTime();
  } else {
    if (IsNoSuchFile()) Fail(errors::kRemoteFileMissing, ErrorTextWith(20007, s.remote_path), "DownLoadOne");
    if (ErrorRecorded()) {
      engine_.remote_size = GetFtpFileSize(core_, s.remote_path);
      if (IsNoSuchFile()) Fail(errors::kRemoteFileMissing, ErrorTextWith(20007, s.remote_path), "DownLoadOne");
      if (engine_.remote_size < 0) RaiseRecorded("DownLoadOne");
    }
  }
  DialogRename rename;
  if (s.replace_setting == kReplaceAsk && engine_.local_size > 0) {
    const auto status = platform::Stat(s.local_path);
    ReplaceQuestion q{MFile::GetFileName(s.local_path),
                      engine_.local_size,
                      status ? platform::LocalDateTimeText(status->modified) : std::string(),
                      s.without_list ? "Unknown" : FormatNumber(engine_.remote_size),
                      remote_date,
                      ResumeDisableValue(engine_.local_size, engine_.remote_size)};
    const ReplaceAnswer answer = AskReplace(*core_.ui, [](int i) { return GetMessage(i); },
                                            core_.shared->disable_skip, q, s.title);
    s.replace_setting = static_cast<std::int16_t>(kDialogAnswerBase + answer.answer);
    rename = {answer.file_name, answer.new_name};
  }
  Progress& p = core_.transfer.progress;
  if (engine_.remote_size > p.total_file_size) p.total_file_size = engine_.remote_size;

  // Skipping keeps what is at the destination; with nothing there nothing clashes and the file
  // is downloaded (skipping it would leave it out of the copy).
  const bool nothing_there = !CFile::FileExists(s.local_path);
  const ReplaceOutcome outcome =
      nothing_there && s.replace_setting == kReplaceSkipAll
          ? ReplaceOutcome{}
          : ApplyReplaceDecision({s.replace_setting, s.overwrite}, s.local_path,
                                 engine_.local_size, s.rename_rule, rename, "DownLoadOne");
  if (outcome.action == ReplaceAction::kSkip) {
    core_.transfer.lists.RecordSkipped(s.remote_path);
    WriteLog("Download.Skip:#" + s.local_path + "|" + s.remote_path);
    result = true;
    return false;
  }
  if (outcome.action == ReplaceAction::kRename) {
    s.local_path = outcome.destination;
    result = DownLoadOne(create_folder);
    return false;
  }
  return true;
}

bool DownloadEngine::Receive() {
  Settings& s = settings();
  Progress& p = core_.transfer.progress;
  const ProgressClock& clock = p.clock();
  p.last_data_time = clock.now();
  p.file_start = clock.now();
  p.file_end.reset();
  p.speed_start_tick = p.last_event_tick = p.last_data_tick = clock.tick();
  core_.BeginAsyncMethod(opDownload);
  session_.SendFtpCommand("TYPE", s.transfer_mode == FTP_ASCII_MODE ? "A" : "I");
  WriteLog("Download.FileSize=" + NumberText(engine_.remote_size));

  const bool moved = WaitWhileMoving(opDownload, [&] {
    return !s.without_list && engine_.bytes >= engine_.remote_size;
  });
  if (moved) WaitForCompletion(opDownload, 101, "Download:Exit Do.");

  if (session_.abort_request || core_.rt.aborting_current) RecordCanceled();
  if (ErrorRecorded()) {
    if (s.without_list && engine_.remote_size == 1) p.file_size = 0;
    RaiseRecorded("DownloadOne");
  }
  const auto counts = [&] {
    return "#(" + NumberText(engine_.local_size) + "|" + NumberText(engine_.bytes) + ")#" +
           s.local_path + "|" + s.remote_path;
  };
  bool result = false;
  const bool short_count = engine_.bytes != engine_.remote_size && !s.without_list;
  if (short_count) {
    CheckSocketState(core_);
    WriteLog("DownloadOne.INVSIZE:" + counts());
    if (ErrorRecorded()) RaiseRecorded("DownOne.CSS");
  } else {
    core_.rt.percent = 100;
    p.remaining_time = 0;
    core_.transfer.lists.RecordTransferred(s.local_path, s.remote_path);
    core_.rt.transfer_size = engine_.remote_size;
    result = true;
  }
  engine_.attempt = 1;
  PauseAfterFile();
  p.EndFile();
  if (short_count) {
    WriteLog("DownloadOne.FAILED:" + counts());
    Fail(errors::kDataSocketFailed, GetErrorText(errors::kDataSocketFailed), "DownLoadOne");
  }
  core_.SetState(ftpDownloadCompleted);
  RaiseEvent();
  WriteLog("DownloadOne.Completed:#" + s.local_path + "|" + s.remote_path);
  return result;
}

}  // namespace quorvi::detail
