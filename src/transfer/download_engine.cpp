#include "transfer/download_engine.h"

#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/data_connection.h"
#include "ftp/ftp_text.h"
#include "ftp/listing_parser.h"
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
// SIZE answered 550, a name the server does not allow (553), syntax errors, refused connection.
// A cut or refused data connection (20061, 10061) is transient: the retry resumes.
const RetryRule kDownloadRetry{{20007, 20003, 16550, 16553, 16501, 501},
                               {"not found", "is invalid"}};

double LocalSize(const std::string& path) {
  const auto status = platform::Stat(path);
  return status ? status->size : 0;
}

// Deeper trees are refused: a server that lists a folder inside itself would never end.
constexpr int kMaxTreeDepth = 64;

}  // namespace

bool DownloadEngine::DownLoad(bool create_folder) {
  // The host's "|" lists are read here, once; everything below passes typed paths.
  return Run(create_folder, [this] {
    return Pair(SplitList(settings().remote_path), SplitList(settings().local_path));
  });
}

bool DownloadEngine::DownLoadFile(const std::string& remote, const std::string& local) {
  Settings& s = settings();
  s.remote_path = remote;
  s.local_path = local;
  return Run(true, [&] {
    Job job;
    CheckFileType(FormatFTPPath(remote), s.file_type_allow, s.file_type_forbid, "DownLoadFile");
    job.remote_files.push_back(FormatFTPPath(remote));
    job.local_files.push_back(FormatLocalPath(local));
    return job;
  });
}

bool DownloadEngine::Run(bool create_folder, const std::function<Job()>& make_job) {
  Settings& s = settings();
  // An abort while the job is made (its paths looked up) or listed ends that early, which
  // reads as a missing or empty folder: the job was cancelled all the same.
  const std::uint64_t serial = job_abort_serial_ = session_.abort_serial;
  try {
    if (s.remote_path.empty()) Fail(errors::kNoRemotePath, GetErrorText(errors::kNoRemotePath), "DownLoad");
    if (s.local_path.empty()) Fail(errors::kNoLocalPath, GetErrorText(errors::kNoLocalPath), "DownLoad");
    if (!session_.Connect()) return false;
    session_.abort_request = false;
    engine_.abort_noted = false;
    s.local_path = FormatLocalPath(s.local_path);
    s.remote_path = FormatFTPPath(s.remote_path);
    const std::string host_remote = s.remote_path, host_local = s.local_path;
    WriteLog("Download#" + std::to_string(s.replace_setting));
    WriteLog("Download.LocalPath=" + s.local_path);
    WriteLog("Download.RemotePath=" + s.remote_path);

    const Job job = make_job();
    StartJob();
    bool ok = false, folder_job_failed = false;
    if (!job.remote_folders.empty()) {
      if (Step([&] { return FolderMode(job.remote_folders, job.local_folders, create_folder); })) {
        ok = job.remote_files.empty();
      } else {
        folder_job_failed = true;
      }
    }
    if (!job.remote_files.empty() && !folder_job_failed) {
      ok = Step([&] { return FileMode(job.remote_files, job.local_files, create_folder); });
    }
    s.remote_path = host_remote;
    s.local_path = host_local;
    CloseJob();
    if (ok) core_.transfer.progress.total_percent = 100;
    RaiseEvent();
    return ok;
  } catch (const ComponentError& e) {
    CloseJob();
    if (session_.abort_serial != serial)
      session_.ReportCanceled("DownLoad");
    else
      core_.ReportError("DownLoad", e.number(), e.text());
  }
  return false;
}

DownloadEngine::Job DownloadEngine::Pair(const std::vector<std::string>& remote,
                                         const std::vector<std::string>& local) {
  Job job;
  const Settings& s = settings();
  for (std::size_t i = 0; i < remote.size(); ++i) {
    std::string r = FormatFTPPath(remote[i]);
    if (r.empty()) continue;
    const std::string l = FormatLocalPath(i < local.size() ? local[i] : local[0]);
    const bool paired = i < local.size();
    if (IsFolderItem(r)) {
      if (HasPattern(r) && r.back() == '/') r.pop_back();
      job.remote_folders.push_back(r);
      std::string d = paired ? l : GetParentFolderPath(l);
      if (s.create_correspond_folder) d.append("/").append(CorrespondName(r));
      job.local_folders.push_back(d);
    } else {
      CheckFileType(r, s.file_type_allow, s.file_type_forbid, "DownLoad");
      job.remote_files.push_back(r);
      job.local_files.push_back(paired ? l : GetParentFolderPath(l) + "/");
    }
  }
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

bool DownloadEngine::Step(const std::function<bool()>& body) {
  try {
    core_.error().Clear();
    if (core_.rt.operation != opNone) Fail(errors::kUnfinished, GetErrorText(errors::kUnfinished), "DownLoadAll");
    NoteAbortRequest();
    if (ErrorRecorded()) RaiseRecorded("DownLoadAll");
    const bool ok = body();
    return !Aborted("DownLoadAll") && ok;
  } catch (const ComponentError& e) {
    ResetDialogAnswer(settings().replace_setting);
    core_.ReportError("DownLoadAll", e.number(), e.text());
  }
  Aborted("DownLoadAll");
  return false;
}

bool DownloadEngine::FolderMode(const std::vector<std::string>& remote,
                                const std::vector<std::string>& local, bool create_folder) {
  // The whole tree is listed first, so that the job's file count and size are known before
  // its first byte moves.
  TreePlan plan;
  for (std::size_t i = 0; i < remote.size(); ++i) {
    std::string folder = i < local.size() ? local[i] : local[0];
    // Folders that a folder item needs are created whatever the argument says.
    if (!CFile::FolderExists(folder) && !CFile::CreateFolder(folder)) return false;
    CollectFolder(remote[i], folder, false, 0, plan);
  }
  for (std::string folder : plan.folders)
    if (!CFile::FolderExists(folder) && !CFile::CreateFolder(folder)) return false;
  Progress& p = core_.transfer.progress;
  if (settings().show_total_percent) {
    for (const FilePair& file : plan.files) p.total_file_size += std::max(file.listed_size, 0.0);
    WriteLog("DL#TFS#" + NumberText(p.total_file_size));
  }
  if (!plan.files.empty() && !TransferPairs(plan.files, create_folder)) return false;
  if (ErrorRecorded()) RaiseRecorded("DownLoadAll");
  RaiseTreeFailure();
  return true;
}

std::optional<CFtpFiles> DownloadEngine::NamedLiterally(const std::string& remote_item) {
  const std::int32_t number = core_.ErrorNumber();
  if (number != 0 && number != errors::kRemoteFolderMissing) return std::nullopt;
  const std::string text = core_.ErrorInfo();
  const std::string name = remote_item.substr(remote_item.rfind('/') + 1);
  CFtpFiles named;
  if (const auto entries = GetFtpFolderEntries(core_, FormatFTPPath(GetParentFolderPath(remote_item))))
    for (const auto& entry : *entries)
      if (entry.FileName() == name) named.Add(entry, name);
  if (named.Count() > 0) return named;
  if (number != 0) RecordError("GetFtpDirectoryInfo", number, text);  // the pattern's answer
  return std::nullopt;
}

// One folder of the tree: its files, then its subfolders' trees. A host's item may be a
// pattern; a subfolder's name from a listing is taken literally.
void DownloadEngine::CollectFolder(const std::string& remote_item, const std::string& folder,
                                   bool literal, int depth, TreePlan& plan) {
  if (depth > kMaxTreeDepth) {
    NoteTreeFailure(remote_item, errors::kUnknownListFormat,
                    "More than 64 folder levels below [ " + remote_item + " ]");
    return;
  }
  auto entries =
      literal ? GetFtpFolderEntries(core_, remote_item) : GetFtpDirectoryInfo(core_, remote_item);
  if (!entries && !literal && HasPattern(remote_item)) entries = NamedLiterally(remote_item);
  if (!entries) {
    // Empty is fine; a folder that cannot be listed or entered fails the job, after the rest.
    if (core_.ErrorNumber() != 0) NoteTreeFailure(remote_item);
    return;
  }
  // A pattern item lists the matching entries of its parent folder.
  const std::string remote_folder =
      !literal && HasPattern(remote_item) ? FormatFTPPath(GetParentFolderPath(remote_item)) : remote_item;
  // A listing line no reader understood may stand for a file of this folder: the job fails
  // once the rest is handled instead of reporting a complete tree.
  const ListingReport unread = DataConnection::Of(core_).listing.unread;
  if (unread.skipped != 0)
    NoteTreeFailure(remote_folder, errors::kUnknownListFormat,
                    "Unreadable line in the listing of " + remote_folder + ": \"" +
                        unread.first_skipped + "\"");

  std::vector<FilePair> subfolders;
  for (const auto& entry : *entries) {
    const std::string& name = entry.FileName();
    if (name == "." || name == "..") continue;
    if (!UsableEntryName(name)) {
      // "../x" or "a/b" would be written outside the folder it was listed in.
      NoteTreeFailure(JoinPath(remote_folder, name), errors::kUnknownListFormat,
                      "Unusable name in the listing of " + remote_folder + ": \"" + name + "\"");
      continue;
    }
    FilePair pair{JoinPath(remote_folder, name), JoinPath(folder, name), -1, {}};
    if (entry.IsDirectory()) {
      subfolders.push_back(std::move(pair));
      continue;
    }
    // The extension rules hold for every file of a job, not only for the ones it names.
    if (FileTypeRefusal(name, settings().file_type_allow, settings().file_type_forbid) != 0) {
      WriteLog("Download.FileType:" + pair.source);
      core_.transfer.lists.RecordSkipped(pair.source);
      continue;
    }
    // A link's listed size is the link's own; its file is measured when it is fetched.
    if (!entry.IsLink()) {
      pair.listed_size = entry.FileSize();
      pair.listed_date = entry.LastWriteTime();
    }
    plan.files.push_back(std::move(pair));
  }
  for (const auto& sub : subfolders) {
    plan.folders.push_back(sub.destination);
    CollectFolder(sub.source, sub.destination, true, depth + 1, plan);
  }
}

bool DownloadEngine::FileMode(const std::vector<std::string>& remote,
                              const std::vector<std::string>& local, bool create_folder) {
  std::vector<FilePair> pairs;
  std::string destination;
  for (std::size_t i = 0; i < remote.size(); ++i) {
    std::string local_path;
    if (i < local.size()) {
      const std::string& item = local[i];
      // A relative destination is refused before any folder is made for it.
      if (!IsAbsoluteLocalPath(item)) Fail(errors::kNotAbsolute, ErrorTextWith(20011, item), "DownLoadAll");
      if ((!item.empty() && item.back() == '/') || CFile::FolderExists(item)) {
        destination = item;
      } else {
        destination = GetParentFolderPath(item);
        local_path = item;
      }
      if (!CFile::FolderExists(destination)) {
        if (!create_folder) Fail(errors::kFolderMissing, ErrorTextWith(20010, destination), "DownLoadAll");
        std::string created = destination;
        if (!CFile::CreateFolder(created)) return false;
      }
    }
    if (local_path.empty()) local_path = JoinPath(destination, MFile::GetFileName(remote[i]));
    pairs.push_back({remote[i], local_path, -1, {}});
  }
  return TransferPairs(pairs, create_folder);
}

// One file after the other, each path exactly as given: no list syntax, no pattern, no
// trimming is applied to them any more.
bool DownloadEngine::TransferPairs(const std::vector<FilePair>& pairs, bool create_folder) {
  Settings& s = settings();
  TransferLists& lists = core_.transfer.lists;
  lists.queue_total = static_cast<std::int32_t>(pairs.size());
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    lists.queue_index = static_cast<std::int32_t>(i + 1);
    s.remote_path = pairs[i].source;
    s.local_path = pairs[i].destination;
    engine_.attempt = 1;
    listed_ = &pairs[i];
    const bool done = DownLoadOne(create_folder);
    listed_ = nullptr;
    if (!done) {
      core_.rt.transfer_state.clear();
      AbandonCurrentFile(s.remote_path, "DownloadAll_AbortCurrent");
    }
    core_.rt.transfer_state.clear();
    NoteAbortRequest();
    if (ErrorRecorded()) RaiseRecorded("DownLoad");
  }
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
  engine_.streaming = false;
  engine_.ascii = s.transfer_mode == FTP_ASCII_MODE;
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

  // A name with a line break or NUL (a listing's, say) is never sent: this file fails, a
  // job goes on with the next.
  if (!FitsOneLine(s.remote_path)) {
    engine_.attempt = s.redo_limit;
    RequireOneLine(s.remote_path, "remote path");
  }
  // A name the code page cannot hold would reach the server as another name ("??.txt").
  if (session_.Connected() && !session_.WireCanCarry(s.remote_path)) {
    engine_.attempt = s.redo_limit;
    Fail(errors::ReplyError(501), FtpSession::NotCarriedText(s.remote_path), "DownLoadOne");
  }
  bool result = false;
  if (!DecideRemote(create_folder, result)) return result;
  CheckMaxSize(engine_.remote_size, s.max_size, "DownLoadOne");

  engine_.replace_local = false;
  const bool exists = CFile::FileExists(s.local_path);
  if (engine_.attempt == 1) {
    engine_.destination_ours = !exists || s.overwrite;
    engine_.destination_written = false;
  } else if (engine_.destination_ours && !engine_.destination_written) {
    s.overwrite = true;  // no byte arrived yet: the local file is still the one it replaces
  }
  if (exists) {
    if (s.overwrite || RestartWithoutRest(LocalSize(s.local_path), "DownLoadOne") ||
        RestartInAscii(LocalSize(s.local_path), "DownLoadOne")) {
      // Replaced when its first byte arrives: until the server agrees to send, it stays.
      WriteLog("Download.OverWrite");
      engine_.replace_local = true;
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
  if (listed_ && listed_->listed_size >= 0) {
    // The tree's own listing said what is there: no second look that a pattern character or a
    // blank in the name could mislead. Receive checks the bytes against this size.
    engine_.remote_size = listed_->listed_size;
    remote_date = listed_->listed_date;
  } else if (s.replace_setting != kReplaceAsk) {
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
  DataConnection::Of(core_).BeginDataExchange(s.transfer_mode == FTP_ASCII_MODE ? "A" : "I");
  WriteLog("Download.FileSize=" + NumberText(engine_.remote_size));

  // Without a size, or in ASCII mode (local bytes, converted), only the end of the data
  // tells that the file is whole.
  const bool sized = !s.without_list && !engine_.ascii;
  const bool moved = WaitWhileMoving(opDownload, [&] {
    return sized && engine_.bytes >= engine_.remote_size;
  });
  // A file of 0 bytes has "moved" before its data connection even opened: only the end of
  // the operation says the server sent it.
  if (moved && !WaitForCompletion(opDownload, 101, "Download:Exit Do.") && !ErrorRecorded())
    RecordError("DownLoadOne", errors::kTimedOut,
                GetErrorText(errors::kTimedOut) + ": the server did not confirm the download [ " +
                    s.remote_path + " ]");

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
  // Without a size the end of the stream is the only proof of a whole file, and a TLS stream
  // that ended without close_notify may have been cut short.
  const bool unconfirmed =
      !sized && DataConnection::Of(core_).m_objDataSocket.EndedWithoutCloseNotify();
  const bool short_count = (engine_.bytes != engine_.remote_size && sized) || unconfirmed;
  if (short_count) {
    if (!unconfirmed) CheckSocketState(core_);
    WriteLog("DownloadOne.INVSIZE:" + counts());
    if (ErrorRecorded()) RaiseRecorded("DownOne.CSS");
  } else {
    // An empty file sends no byte that would have opened (or replaced) the local one.
    if (!engine_.local_opened && engine_.bytes == 0) {
      if (!OpenDownloadFile(core_)) RaiseRecorded("DownLoadOne");
    }
    // The last buffered bytes reach the disk only now: a full disk fails the file here.
    if (engine_.local_opened && !FinishDownloadFile(core_, "DownLoadOne")) RaiseRecorded("DownLoadOne");
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
    if (unconfirmed) {
      Fail(errors::kTlsStream, GetErrorText(errors::kTlsStream) +
                                   ": the size is unknown and the data ended without close_notify",
           "DownLoadOne");
    }
    Fail(errors::kDataSocketFailed, GetErrorText(errors::kDataSocketFailed), "DownLoadOne");
  }
  core_.SetState(ftpDownloadCompleted);
  RaiseEvent();
  WriteLog("DownloadOne.Completed:#" + s.local_path + "|" + s.remote_path);
  return result;
}

}  // namespace quorvi::detail
