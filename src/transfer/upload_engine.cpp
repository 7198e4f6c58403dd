#include "transfer/upload_engine.h"

#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/ftp_text.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/remote_queries.h"
#include "ftp/data_connection.h"
#include "ftp/session.h"
#include "local/cfile.h"
#include "local/folder_walker.h"
#include "local/formatters.h"
#include "local/mfile.h"
#include "local/path_rules.h"
#include "platform/event_pump.h"
#include "platform/file_system.h"
#include "transfer/replace_dialog.h"
#include "transfer/replace_policy.h"
#include "local/case_folding.h"

namespace quorvi::detail {

namespace {

// Failures an upload never retries (553: a name the server does not allow); a refusal that
// says "denied" or "deny" neither.
// A cut or refused data connection (20061, 10061) is transient: the retry resumes.
const RetryRule kUploadRetry{{20007, 20003, 16550, 16553, 16501, 16010},
                             {"denied", "deny"}};

std::string Trimmed(const std::string& text) { return std::string(TrimBlanks(text)); }

double LocalSize(const std::string& path) {
  const auto status = platform::Stat(path);
  return status ? status->size : -1;
}

}  // namespace

double GetTotalSizeLocal(FolderTotals& totals, const std::vector<std::string>& folders,
                         const std::vector<std::string>& files) {
  double total = 0;
  try {
    for (const auto& folder : folders) total += LocalFolderSize(totals, folder, 0);
  } catch (const ComponentError&) {
    return -1;
  }
  for (const auto& file : files) {
    const double size = LocalSize(file);
    if (size < 0) return -1;
    total += size;
  }
  return total;
}

bool UploadEngine::UpLoad(bool create_folder) {
  // The host's "|" lists are read here, once; everything below passes typed paths.
  return Run(create_folder, [this] {
    return Pair(SplitList(settings().local_path), SplitList(settings().remote_path));
  });
}

bool UploadEngine::UpLoadFile(const std::string& local, const std::string& remote) {
  Settings& s = settings();
  s.local_path = local;
  s.remote_path = remote;
  return Run(true, [&] {
    Job job;
    const std::string l = FormatLocalPath(local);
    CheckFileType(l, s.file_type_allow, s.file_type_forbid, "UpLoadFile");
    if (!core_.transfer.lists.queue_pass) core_.transfer.lists.queue_total += 1;
    job.local_files.push_back(l);
    job.remote_files.push_back(FormatFTPPath(remote));
    return job;
  });
}

bool UploadEngine::Run(bool create_folder, const std::function<Job()>& make_job) {
  Settings& s = settings();
  // An abort while the job is made (its paths looked up) or listed ends that early, which
  // reads as a missing or empty folder: the job was cancelled all the same.
  const std::uint64_t serial = job_abort_serial_ = session_.abort_serial;
  try {
    if (!session_.Connect()) return false;
    session_.abort_request = false;
    engine_.abort_noted = false;
    core_.transfer.lists.ClearAborted();
    CreatedDirectories(true);
    if (!core_.transfer.lists.queue_pass) StartJob();
    if (TrimBlanks(s.remote_path).empty()) s.remote_path = core_.rt.current_directory + "/";
    if (TrimBlanks(s.local_path).empty()) Fail(errors::kNoLocalPath, GetErrorText(errors::kNoLocalPath), "UpLoad");
    s.local_path = FormatLocalPath(s.local_path);
    s.remote_path = FormatFTPPath(s.remote_path);
    WriteLog("Upload#" + std::to_string(s.replace_setting));
    WriteLog("Upload.LocalPath=" + s.local_path);
    WriteLog("Upload.RemotePath=" + s.remote_path);

    const Job job = make_job();
    Progress& p = core_.transfer.progress;
    if (s.show_total_percent) {
      p.total_percent = 0;
      p.total_transfer_size = 0;
      p.total_file_size =
          GetTotalSizeLocal(core_.transfer.folder_totals, job.local_folders, job.local_files);
      WriteLog("UL#TFS#" + NumberText(p.total_file_size) + "#" + s.local_path);
      if (p.total_file_size < 0) Fail(errors::kLocalFileMissing, GetErrorText(errors::kLocalFileMissing) + "#" + s.local_path, "Upload");
    }
    const std::string host_remote = s.remote_path, host_local = s.local_path;
    bool ok = RunJob(job, create_folder);
    s.remote_path = host_remote;
    s.local_path = host_local;

    ResetDialogAnswer(s.replace_setting);
    core_.transfer.lists.ClearCanceled();
    CreatedDirectories(false);
    if (!TrimBlanks(core_.transfer.lists.TransferList()).empty()) ok = QueuePass(s.remote_path);
    s.create_correspond_folder = false;
    p.EndJob();
    if (ok) p.total_percent = 100;
    RaiseEvent();
    return ok;
  } catch (const ComponentError& e) {
    FailJob();
    if (session_.abort_serial != serial)
      session_.ReportCanceled("UpLoad");
    else
      core_.ReportError("UpLoad", e.number(), e.text());
  }
  return false;
}

UploadEngine::Job UploadEngine::Pair(const std::vector<std::string>& local,
                                     const std::vector<std::string>& remote) {
  Job job;
  Settings& s = settings();
  TransferLists& lists = core_.transfer.lists;
  for (std::size_t i = 0; i < local.size(); ++i) {
    std::string l = FormatLocalPath(local[i]);
    if (l.empty()) continue;
    const std::string d = FormatFTPPath(i < remote.size() ? remote[i] : GetParentFolderPath(remote[0]));
    if (IsFolderItem(l)) {
      if (HasPattern(l) && l.back() == '/') l.pop_back();
      if (!lists.queue_pass) {
        lists.queue_total += static_cast<std::int32_t>(
            LocalFolderFileCount(core_.transfer.folder_totals, l, 0));
      }
      job.local_folders.push_back(l);
      job.remote_folders.push_back(s.create_correspond_folder ? JoinPath(d, CorrespondName(l)) : d);
    } else {
      CheckFileType(l, s.file_type_allow, s.file_type_forbid, "UpLoad");
      if (!lists.queue_pass) lists.queue_total += 1;
      job.local_files.push_back(l);
      job.remote_files.push_back(i < remote.size() ? d : d + "/");
    }
  }
  return job;
}

void UploadEngine::StartJob() {
  TransferLists& lists = core_.transfer.lists;
  lists.queue_index = 0;
  lists.queue_total = 0;
  lists.ClearResults();
  core_.transfer.progress.StartJob(false);
}

bool UploadEngine::RunJob(const Job& job, bool create_folder) {
  bool ok = false, folder_job_failed = false;
  if (!job.local_folders.empty()) {
    if (Step([&] { return FolderMode(job.local_folders, job.remote_folders); })) {
      ok = job.local_files.empty();
    } else {
      folder_job_failed = true;
    }
  }
  if (!job.local_files.empty() && !folder_job_failed) {
    ok = Step([&] { return FileMode(job.local_files, job.remote_files, create_folder); }) &&
         core_.ErrorNumber() == 0;
  }
  return ok;
}

// The queue pass uploads what the host appended during the job into the folder of the job's
// first remote destination; each queued item is paired with that folder, so every file keeps
// its own name there, and a name the finished job stored is renamed (see AvoidJobFiles).
bool UploadEngine::QueuePass(const std::string& job_remote) {
  TransferLists& lists = core_.transfer.lists;
  std::string queued = lists.TakeTransferList();
  if (!queued.empty() && queued.front() == '|') queued.erase(0, 1);
  DropTrailingBar(queued);

  const std::string first = Trimmed(SplitList(job_remote)[0]);
  const std::string folder =
      !first.empty() && first.back() == '/' ? first : GetParentFolderPath(first) + "/";
  std::string targets;
  for (std::size_t i = 0, n = SplitList(queued).size(); i < n; ++i)
    targets += (i ? "|" : "") + folder;

  job_files_.clear();
  for (const auto& path : SplitList(lists.TransferedRemoteFiles()))
    if (!path.empty()) job_files_.insert(FoldCase(FormatFTPPath(path)));

  lists.queue_pass = true;
  settings().remote_path = targets;
  settings().local_path = queued;
  const bool ok = UpLoad(true);
  lists.queue_pass = false;
  return ok;
}

std::string UploadEngine::AvoidJobFiles(std::string remote) const {
  if (!core_.transfer.lists.queue_pass) return remote;
  remote = FormatFTPPath(remote);
  for (int round = 0; round < 1000 && job_files_.count(FoldCase(remote)); ++round)
    remote = HostRenameDestination(remote, core_.settings.rename_rule);
  return remote;
}

void UploadEngine::FailJob() {
  Settings& s = settings();
  core_.transfer.progress.EndJob();
  ResetDialogAnswer(s.replace_setting);
  core_.transfer.lists.ClearCanceled();
  core_.transfer.lists.ClearTransferList();
  CreatedDirectories(false);
  s.create_correspond_folder = false;
}

bool UploadEngine::Step(const std::function<bool()>& body) {
  try {
    core_.error().Clear();
    if (core_.rt.operation != opNone) Fail(errors::kUnfinished, GetErrorText(errors::kUnfinished), "UpLoadAll");
    NoteAbortRequest();
    if (ErrorRecorded()) RaiseRecorded("UpLoadAll");
    const bool ok = body();
    return !Aborted("UpLoadAll") && ok;
  } catch (const ComponentError& e) {
    ResetDialogAnswer(settings().replace_setting);
    core_.ReportError("UpLoadAll", e.number(), e.text());
  }
  Aborted("UpLoadAll");
  return false;
}

bool UploadEngine::FolderMode(const std::vector<std::string>& local,
                              const std::vector<std::string>& remote) {
  for (std::size_t i = 0; i < local.size(); ++i) {
    if (!FolderItem(local[i], i < remote.size() ? remote[i] : remote[0])) return false;
  }
  RaiseTreeFailure();
  return true;
}

// One folder item: the walk of the folder (or the files a pattern matches), each file paired
// with its path below the remote folder, then the folders the walk found (empty ones too).
bool UploadEngine::FolderItem(const std::string& item, const std::string& remote) {
  Settings& s = settings();
  s.remote_path = remote;
  if (remote != "/" && !CreateDirectory(core_, remote, true)) return false;

  std::string folder = item, pattern;
  if (!folder.empty() && folder.back() != '/' && HasPattern(MFile::GetFileName(folder))) {
    pattern = MFile::GetFileName(folder);
    folder = GetParentFolderPath(folder);
  }
  if (folder.empty() || folder.back() != '/') folder += '/';
  const std::string remote_root = remote.empty() || remote.back() != '/' ? remote + "/" : remote;
  const auto remote_of = [&](const std::string& local) {
    return remote_root + local.substr(std::min(local.size(), folder.size()));
  };

  const auto entries =
      WalkFolder(folder, pattern, true, {[this] { core_.pump().DoEvents(); }, {}});
  std::vector<FilePair> batch;
  std::vector<std::string> folders;
  for (const WalkEntry& e : entries) {
    switch (e.kind) {
      case WalkKind::kFile:
        // The extension rules hold for every file of a job, not only for the ones it names.
        if (FileTypeRefusal(e.path, s.file_type_allow, s.file_type_forbid) != 0) {
          WriteLog("Upload.FileType:" + e.path);
          core_.transfer.lists.RecordSkipped(e.path);
          break;
        }
        // A link out of the folder would send a file the host never put in it (a planted
        // link to ~/.ssh/id_rsa in a tree to publish): refused unless the host allows it.
        if (e.link && !s.follow_outside_links && !ResolvesInside(e.path, folder)) {
          NoteTreeFailure(e.path, errors::kLinkOutsideTree,
                          GetErrorText(errors::kLinkOutsideTree) + " [ " + e.path + " ]");
          break;
        }
        batch.push_back({e.path, remote_of(e.path), -1, {}});
        break;
      case WalkKind::kFolder: folders.push_back(remote_of(e.path)); break;
      case WalkKind::kOther:
        // A FIFO, socket, device or dangling link holds no file to send (reading a FIFO would
        // wait for a writer forever).
        WriteLog("Upload.NotAFile:" + e.path);
        core_.transfer.lists.RecordSkipped(e.path);
        break;
      case WalkKind::kUnreadable:
        // A folder that could not be read fails the job after the rest is sent.
        NoteTreeFailure(e.path, e.error_number,
                        e.error_text + " [ " + e.path + " ]");
        break;
    }
  }
  if (!batch.empty() && !Step([&] { return TransferPairs(batch, true, true); })) return false;
  // Empty local folders exist on the server too; one the server refuses fails the job.
  for (const auto& path : folders)
    if (!CreateDirectory(core_, path, true)) NoteTreeFailure(path);
  return true;
}

std::string UploadEngine::FileTarget(const std::string& local, std::size_t i,
                                     const std::vector<std::string>& remote,
                                     bool single_folder) const {
  if (single_folder) return JoinPath(remote[0], MFile::GetFileName(local));
  if (i >= remote.size()) return {};
  const std::string& target = remote[i];
  if (!target.empty() && target.back() == '/') return target + MFile::GetFileName(local);
  return target;
}

bool UploadEngine::FileMode(const std::vector<std::string>& local,
                            const std::vector<std::string>& remote, bool create_folder) {
  const bool single_folder = remote.size() == 1 && !remote[0].empty() && remote[0].back() == '/';
  std::vector<FilePair> pairs;
  for (std::size_t i = 0; i < local.size(); ++i) {
    std::string target = FileTarget(local[i], i, remote, single_folder);
    if (target.empty()) Fail(errors::kNoSavePath, ErrorTextWith(20019, local[i]), "UpLoadAll");
    pairs.push_back({local[i], FormatFTPPath(target), -1, {}});
  }
  return TransferPairs(pairs, create_folder);
}

// One file after the other, each path exactly as given: no list syntax, pattern or trimming
// applies to them any more.
bool UploadEngine::TransferPairs(const std::vector<FilePair>& pairs, bool create_folder, bool tree) {
  Settings& s = settings();
  TransferLists& lists = core_.transfer.lists;
  for (const FilePair& pair : pairs) {
    if (lists.IsCanceled(pair.source)) {
      WriteLog("Skip upload:" + pair.source + "#[" + lists.CanceledFileList() + "]");
      continue;
    }
    s.local_path = pair.source;
    s.remote_path = AvoidJobFiles(pair.destination);
    engine_.attempt = 1;
    if (!UpLoadOne(create_folder)) {
      core_.rt.transfer_state.clear();
      AbandonCurrentFile(s.local_path, "UpLoadAll_AbortCurrent");
    }
    core_.rt.transfer_state.clear();
    NoteAbortRequest();
    if (tree && ErrorRecorded() && !session_.abort_request) NoteRefusedFile(pair.source);
    if (ErrorRecorded()) RaiseRecorded("UpLoadAll");
  }
  return true;
}

bool UploadEngine::UpLoadOne(bool create_folder) {
  try {
    return OneBody(create_folder);
  } catch (const ComponentError& e) {
    return HandleFailure(e, "UpLoadOne", kUploadRetry,
                         [this, create_folder] { return UpLoadOne(create_folder); });
  }
}

bool UploadEngine::OneBody(bool create_folder) {
  Settings& s = settings();
  TransferLists& lists = core_.transfer.lists;
  core_.ClearLastError();
  core_.error().Clear();
  if (lists.queue_index < lists.queue_total) ++lists.queue_index;
  // Validation failures are final: no retry can fix them.
  const auto refuse = [&](std::int32_t number, const std::string& text) {
    engine_.attempt = s.redo_limit;
    Fail(number, text, "UpLoadOne");
  };
  if (core_.rt.operation != opNone) refuse(16009, GetErrorText(errors::kUnfinished));
  if (s.remote_path.empty()) refuse(20005, GetErrorText(errors::kNoRemotePath));
  if (s.local_path.empty()) refuse(20006, GetErrorText(errors::kNoLocalPath));
  if (!CFile::FileExists(s.local_path)) refuse(20009, ErrorTextWith(20009, s.local_path));

  core_.rt.percent = 0;
  core_.rt.transfer_size = 0;
  engine_.bytes = 0;
  engine_.local_size = std::max(LocalSize(s.local_path), 0.0);
  engine_.streaming = false;
  engine_.ascii = s.transfer_mode == FTP_ASCII_MODE;
  if (const auto status = platform::Stat(s.local_path)) {
    engine_.local_modified = status->modified;
    // A pipe, FIFO or device has no size to send or to resume at: it is sent as a stream.
    engine_.streaming = !status->is_regular;
  }
  engine_.remote_size = 0;
  Progress& p = core_.transfer.progress;
  p.file_size = 0;
  p.start_offset = 0;
  if (engine_.attempt < 2) engine_.attempt = 1;
  CheckMaxSize(engine_.local_size, s.max_size, "UpLoadOne");
  WriteLog("Upload.ReplaceSetting=" + std::to_string(s.replace_setting));

  // A name with a line break or NUL (a listing's, say) is never sent: this file fails, a
  // job goes on with the next.
  if (!FitsOneLine(s.remote_path)) {
    engine_.attempt = s.redo_limit;
    RequireOneLine(s.remote_path, "remote path");
  }
  // A name the code page cannot hold would reach the server as another name ("??.txt").
  if (session_.Connected() && !session_.WireCanCarry(s.remote_path)) {
    engine_.attempt = s.redo_limit;
    Fail(errors::ReplyError(501), FtpSession::NotCarriedText(s.remote_path), "UpLoadOne");
  }
  bool result = false;
  if (!DecideRemote(create_folder, result)) return result;
  if (engine_.attempt == 1) {
    engine_.destination_ours = s.overwrite || engine_.remote_size <= 0;
    engine_.destination_written = false;
  } else if (engine_.destination_ours && !engine_.destination_written) {
    s.overwrite = true;  // no STOR was accepted yet: the server still holds the file it replaces
  }
  if (engine_.streaming && !s.overwrite && engine_.remote_size > 0) {
    refuse(errors::kNotSeekable, GetErrorText(errors::kNotSeekable) + " [ " + s.local_path + " ]");
  }
  if (!s.overwrite && !RestartWithoutRest(engine_.remote_size, "UpLoadOne") &&
      !RestartInAscii(engine_.remote_size, "UpLoadOne")) {
    engine_.bytes = engine_.remote_size;
    p.start_offset = engine_.remote_size;
    p.total_transfer_size += engine_.bytes;
    WriteLog("Upload.RemoteFileSize=" + NumberText(engine_.remote_size));
  } else {
    WriteLog("Upload.OverWrite");
  }
  if (engine_.bytes < 0) engine_.bytes = 0;
  p.file_size = engine_.local_size;
  if (engine_.streaming) {
    engine_.local_size = TransferEngine::kStreamSize;  // until the stream ends
    WriteLog("Upload.Stream:" + s.local_path);
  }
  if (engine_.local_size > 0 && engine_.bytes >= engine_.local_size) {
    core_.rt.percent = 100;
    core_.rt.transfer_size = engine_.local_size;
    RaiseEvent();
    return true;
  }
  if (engine_.remote_size < 1) {
    const std::string folder = FormatFTPPath(GetParentFolderPath(s.remote_path));
    if (!folder.empty() && create_folder && !CreateDirectory(core_, folder, true))
      WriteLog("CreateDirectory Error -- " + folder);
  }
  // From now on the name may exist there (even a failed send can leave a part).
  DataConnection::Of(core_).directories.sent_into_fresh.insert(DirectoryLists::Key(s.remote_path));
  return Send();
}

bool UploadEngine::DecideRemote(bool create_folder, bool& result) {
  Settings& s = settings();
  const int k = s.replace_setting % kDialogAnswerBase;
  std::string remote_date;
  const auto query_size = [&] {
    engine_.remote_size = GetFtpFileSize(core_, s.remote_path);
    if (IsNoSuchFile()) {
      engine_.remote_size = 0;
    } else if (ErrorRecorded()) {
      RaiseRecorded("UploadOne");
    }
    if (engine_.remote_size < 0) engine_.remote_size = 0;
  };
  if (DataConnection::Of(core_).directories.CannotExistYet(s.remote_path)) {
    // The job made this folder empty and has sent nothing here under this name: no lookup.
    WriteLog("Upload.NewFolder=" + s.remote_path);
  } else if (s.replace_setting != kReplaceAsk) {
    if (k == kReplaceRename || k == kReplaceResume || k == kReplaceResumeAll) query_size();
  } else if (const auto info = GetFtpFileInfo(core_, s.remote_path)) {
    engine_.remote_size = info->FileSize();
    remote_date = info->LastWriteTime();
  } else if (IsNoSuchFile()) {
    engine_.remote_size = 0;
  } else if (ErrorRecorded()) {
    query_size();
  }

  DialogRename rename;
  if (s.replace_setting == kReplaceAsk && engine_.remote_size > 0) {
    const auto status = platform::Stat(s.local_path);
    ReplaceQuestion q{MFile::GetFileName(s.remote_path),
                      engine_.remote_size,
                      remote_date,
                      FormatNumber(engine_.local_size),
                      status ? platform::LocalDateTimeText(status->modified) : std::string(),
                      ResumeDisableValue(engine_.remote_size, engine_.local_size)};
    const ReplaceAnswer answer = AskReplace(*core_.ui, [](int i) { return GetMessage(i); },
                                            core_.shared->disable_skip, q, s.title);
    s.replace_setting = static_cast<std::int16_t>(kDialogAnswerBase + answer.answer);
    rename = {answer.file_name, answer.new_name};
  }
  const ReplaceOutcome outcome =
      ApplyReplaceDecision({s.replace_setting, s.overwrite}, s.remote_path, engine_.remote_size,
                           s.rename_rule, rename, "UpLoadOne");
  if (outcome.action == ReplaceAction::kSkip) {
    core_.transfer.lists.RecordSkipped(s.local_path);
    core_.transfer.progress.total_transfer_size += engine_.local_size;
    WriteLog("Upload.Skip:#" + s.local_path + "|" + s.remote_path);
    result = true;
    return false;
  }
  if (outcome.action == ReplaceAction::kRename) {
    // The nested call counts the file again.
    --core_.transfer.lists.queue_index;
    s.remote_path = outcome.destination;
    result = UpLoadOne(create_folder);
    return false;
  }
  return true;
}

bool UploadEngine::Send() {
  Settings& s = settings();
  Progress& p = core_.transfer.progress;
  const ProgressClock& clock = p.clock();
  p.last_data_time = clock.now();
  p.file_start = clock.now();
  p.file_end.reset();
  p.last_event_tick = p.last_data_tick = clock.tick();
  p.speed_start_tick = 0;
  p.chunk_size = kSegmentSize;
  core_.BeginAsyncMethod(opUpload);
  DataConnection::Of(core_).BeginDataExchange(s.transfer_mode == FTP_ASCII_MODE ? "A" : "I");
  WriteLog("Upload.FileSize=" + NumberText(engine_.local_size));

  if (WaitWhileMoving(opUpload, [&] { return core_.rt.transfer_size >= engine_.local_size; })) {
    WriteLog("Upload:Exit Do.Start");
    // Bytes handed to the socket prove nothing: only the server's final reply says the file
    // is whole there (the STOR may not even have been sent).
    if (!WaitForCompletion(opUpload, 201, "Upload:Exit Do.") && !ErrorRecorded())
      RecordError("UpLoadOne", errors::kTimedOut,
                  GetErrorText(errors::kTimedOut) + ": the server did not confirm the upload [ " +
                      s.remote_path + " ]");
  }
  if (session_.abort_request || core_.rt.aborting_current) RecordCanceled();
  if (ErrorRecorded()) RaiseRecorded("UpLoadOne");

  const auto counts = [&] {
    return "#(" + NumberText(engine_.local_size) + "|" + NumberText(engine_.bytes) + ")#" +
           s.local_path + "|" + s.remote_path;
  };
  bool result = false;
  const bool short_count = engine_.bytes != engine_.local_size;
  // What the server holds is the file as it was when the upload began: a file written to
  // meanwhile is not on the server, whatever the byte count says.
  const auto now = platform::Stat(s.local_path);
  const bool changed = !short_count && !engine_.streaming &&
                       (!now || now->size != engine_.local_size ||
                        now->modified != engine_.local_modified);
  if (short_count) {
    CheckSocketState(core_);
    WriteLog("UploadOne.INVSIZE:" + counts());
    if (ErrorRecorded()) RaiseRecorded("UpLoadOne.CSS");
  } else if (changed) {
    WriteLog("UploadOne.CHANGED:" + counts());
  } else {
    core_.rt.percent = 100;
    p.remaining_time = 0;
    core_.transfer.lists.RecordTransferred(s.local_path, s.remote_path);
    core_.rt.transfer_size = engine_.local_size;
    result = true;
  }
  engine_.attempt = 1;
  PauseAfterFile();
  p.speed_start_tick = 0;
  p.EndFile();
  if (short_count) {
    WriteLog("Upload.FAILED:" + counts());
    Fail(errors::kDataSocketFailed, GetErrorText(errors::kDataSocketFailed), "UpLoadOne");
  }
  if (changed) {
    engine_.attempt = s.redo_limit;  // a resume would splice two versions of the file
    Fail(errors::kDataSocketFailed,
         "The local file changed while it was uploaded: the server holds the " +
             NumberText(engine_.local_size) + " bytes it had when the upload began, the file now has " +
             (now ? NumberText(now->size) : std::string("no")) + " bytes [ " + s.local_path + " ]",
         "UpLoadOne");
  }
  core_.SetState(ftpUploadCompleted);
  RaiseEvent();
  WriteLog("Upload.Completed:#" + s.local_path + "|" + s.remote_path);
  return result;
}

}  // namespace quorvi::detail
