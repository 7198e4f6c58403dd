#include "ftp/remote_queries.h"

#include <algorithm>
#include <vector>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/data_connection.h"
#include "ftp/ftp_text.h"
#include "ftp/listing_parser.h"
#include "ftp/listing_retrieval.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/remote_file_ops.h"
#include "ftp/reply_parser.h"
#include "ftp/session.h"
#include "local/mfile.h"
#include "local/path_rules.h"
#include "local/case_folding.h"

namespace quorvi::detail {

namespace {

// The error text of a number with "{0}" replaced by the path.
std::string TextWithPath(std::int32_t number, const std::string& path) {
  std::string text = GetErrorText(number);
  if (const auto at = text.find("{0}"); at != std::string::npos) text.replace(at, 3, path);
  return text;
}

bool SameName(const std::string& a, const std::string& b) {
  return SameNameIgnoringCase(MFile::GetFileName(a), MFile::GetFileName(b));
}

// A copy of a listed entry as GetFtpFileInfo hands it out: the time as read (no seconds).
CFtpFile Copy(const CFtpFile& entry) {
  CFtpFile file = entry;
  file.LastWriteTime(entry.LastWriteTime());
  return file;
}

// With MLSD: the MLST fact line of the one name (no data connection).
std::optional<CFtpFile> FileInfoByMlst(Core& core, const std::string& path) {
  const std::string reply = ExeFtpCmd(core, "MLST", path);
  const auto files =
      GetFileListX(reply, {FormatFTPPath(GetParentFolderPath(path)), CurrentYear()});
  if (!files || files->Count() != 1) {
    core.error().Number(ScanReply(reply).code);
    core.error().Description(reply);
    return std::nullopt;
  }
  const CFtpFile& entry = *files->Item(1);
  if (entry.IsDirectory()) {
    core.error().Number(errors::kRemoteFileMissing);
    core.error().Description(TextWithPath(errors::kRemoteFileMissing, path));
    return std::nullopt;
  }
  return Copy(entry);
}

// Changes into the folder and back. A pattern's folder is not checked (the pattern may simply
// match nothing).
bool FolderCanBeEntered(Core& core, const std::string& listed, bool literal = false) {
  if (!literal && listed.find_first_of("*?") != std::string::npos) return true;
  const std::string saved = core.rt.current_directory;
  if (!SetCurrentDirectory(core, listed)) {
    core.error().Clear();
    core.ClearLastError();
    return false;
  }
  SetCurrentDirectory(core, saved.empty() ? "/" : saved);
  return core.ErrorNumber() == 0;
}

}  // namespace

CFtpFiles SortedByName(const CFtpFiles& files) {
  std::vector<const CFtpFile*> order;
  order.reserve(static_cast<std::size_t>(files.Count()));
  for (const auto& file : files) order.push_back(&file);
  std::stable_sort(order.begin(), order.end(), [](const CFtpFile* a, const CFtpFile* b) {
    return FoldCase(a->FileName()) < FoldCase(b->FileName());
  });
  CFtpFiles sorted;
  for (const CFtpFile* file : order) sorted.Add(*file, file->FileName());
  return sorted;
}

std::optional<CFtpFiles> GetFtpDirectoryInfo(Core& core, const std::string& directory_path) {
  return Guarded(core, "GetFtpDirectoryInfo", std::optional<CFtpFiles>(), [&] {
    std::string path = FormatFTPPath(directory_path);
    if ((path.empty() || path.back() != '/') && path.find_first_of("*?") == std::string::npos)
      path += "/";
    if (core.settings.list_dir_with_asterisk && path.back() == '/') path += "*";

    auto files = GetRemoteFilesInfo(core, path);
    if (!files) {
      // An empty listing is also what servers send for a folder that is not there: only a
      // folder that can be entered is empty.
      if (core.ErrorNumber() == 0 && !FolderCanBeEntered(core, FormatFTPPath(directory_path))) {
        RecordError("GetFtpDirectoryInfo", errors::kRemoteFolderMissing,
                    TextWithPath(errors::kRemoteFolderMissing, path));
      }
      if (core.ErrorNumber() == 0) core.SetState(ftpDirectoryInfoRetrieved);
      return std::optional<CFtpFiles>();
    }
    const CFtpFile& first = *files->Item(1);
    if (files->Count() == 1 && !first.IsDirectory() && SameName(first.FileName(), path)) {
      RecordError("GetFtpDirectoryInfo", errors::kRemoteFolderMissing, TextWithPath(errors::kRemoteFolderMissing, path));
      core.SetState(ftpDirectoryInfoRetrieved);
      return std::optional<CFtpFiles>();
    }
    std::optional<CFtpFiles> sorted = SortedByName(*files);
    core.SetState(ftpDirectoryInfoRetrieved);
    return sorted;
  });
}

std::optional<CFtpFiles> GetFtpFolderEntries(Core& core, const std::string& folder) {
  auto files = GetRemoteFolderEntries(core, folder);
  std::string path = FormatFTPPath(folder);
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  // Nothing, or a lone folder of the folder's own name, is also what servers send for a folder
  // they cannot read (vsftpd lists it like "ls -d"): only a folder that can be entered is
  // empty, or holds a folder of its own name.
  const bool doubtful =
      !files || (files->Count() == 1 && files->Item(1)->IsDirectory() &&
                 files->Item(1)->FileName() == MFile::GetFileName(path));
  if (doubtful && core.ErrorNumber() == 0 && !FolderCanBeEntered(core, folder, true)) {
    RecordError("GetFtpDirectoryInfo", errors::kRemoteFolderMissing,
                TextWithPath(errors::kRemoteFolderMissing, folder));
    files.reset();
  }
  return files;
}

std::optional<CFtpFile> GetFtpFileInfo(Core& core, const std::string& file_path) {
  return Guarded(core, "GetFtpFileInfo", std::optional<CFtpFile>(), [&] {
    const std::string path = FormatFTPPath(file_path);
    if (path.empty()) Fail(errors::kNoRemotePath);
    // Connected first: the login's feature probe may still change the list command.
    if (!FtpSession::Of(core).Connect()) return std::optional<CFtpFile>();
    // The cache answers only for an entry of the same folder.
    if (auto cached = GetFtpFileInfoFromCache(core, path); cached && !cached->FileName().empty())
      return cached;
    if (core.rt.list_command == "MLSD") return FileInfoByMlst(core, path);

    const auto files = GetRemoteFilesInfo(core, path);
    if (files) {
      for (const auto& entry : *files)
        if (!entry.IsDirectory() && SameName(entry.FileName(), path))
          return std::optional<CFtpFile>(Copy(entry));
    }
    if (files || core.ErrorNumber() == 0)
      RecordError("GetFtpFileInfo", errors::kRemoteFileMissing, TextWithPath(errors::kRemoteFileMissing, path));
    return std::optional<CFtpFile>();
  });
}

double GetFtpFileSize(Core& core, const std::string& file_path) {
  return Guarded(core, "GetFtpFileSize", -2.0, [&] {
    if (file_path.empty()) Fail(errors::kNoRemotePath);
    // A -1 left by an earlier query must not answer this one.
    DataConnection::Of(core).remote_size = -2;
    if (const auto entry = GetFtpFileInfo(core, file_path)) return entry->FileSize();
    if (IsNoSuchFile(core)) {
      RecordError("GetFtpFileSize", errors::kRemoteFileMissing, TextWithPath(errors::kRemoteFileMissing, file_path));
      return -1.0;
    }
    const double size = GetRemoteFileSize(core, file_path);
    if (IsNoSuchFile(core)) return -1.0;
    if (core.ErrorNumber() != 0) {
      RecordError("GetFtpFileSize", core.ErrorNumber(), core.ErrorInfo());
      return -2.0;
    }
    return size;
  });
}

bool ExistFile(Core& core, const std::string& file_path) {
  return GetFtpFileSize(core, file_path) >= 0;
}

double GetRemoteFileSize(Core& core, const std::string& path) {
  return Guarded(core, "GetRemoteFileSize", -2.0, [&] {
    core.ClearLastError();
    const std::string trimmed = ftp_text::Trim(path);
    FtpSession& session = FtpSession::Of(core);
    if (!session.Connect()) return -2.0;
    if (!session.RequireFree("GetRemoteFileSize")) return -2.0;
    if (trimmed.empty()) Fail(errors::kNoRemotePath);
    DataConnection& data = DataConnection::Of(core);
    data.size_path = trimmed;
    data.remote_size = -2;
    core.BeginAsyncMethod(opGetFileSize);
    if (!session.SendFtpCommand("SIZE", trimmed)) {
      if (core.rt.operation == opGetFileSize) core.EndAsyncMethod();
      return -2.0;
    }
    session.WaitForOperation({opGetFileSize});
    return data.remote_size;
  });
}

bool IsNoSuchFile(Core& core) {
  const std::string info = core.ErrorInfo();
  return DataConnection::Of(core).remote_size == -1 || ftp_text::Contains(info, "no such") ||
         ftp_text::Contains(info, "cannot find") || core.error().Number() == errors::kRemoteFileMissing;
}

}  // namespace quorvi::detail
