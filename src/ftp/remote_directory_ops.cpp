#include "ftp/remote_directory_ops.h"

#include <algorithm>
#include <utility>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/data_connection.h"
#include "ftp/ftp_text.h"
#include "ftp/listing_parser.h"
#include "ftp/listing_retrieval.h"
#include "ftp/remote_file_ops.h"
#include "ftp/remote_queries.h"
#include "ftp/session.h"
#include "local/path_rules.h"
#include "local/case_folding.h"
#include "platform/concat.h"

namespace quorvi::detail {

namespace {
// A removal deeper than this is a loop (a link to a parent listed as a folder), not a tree.
constexpr int kMaxRemovalDepth = 64;

// Begins the operation, sends the command and waits; true when no error was recorded.
bool RunCommand(Core& core, FtpOperations op, const char* command, const std::string& path) {
  FtpSession& session = FtpSession::Of(core);
  core.BeginAsyncMethod(op);
  if (!session.SendFtpCommand(command, path)) {
    if (core.rt.operation == op) core.EndAsyncMethod();
    return false;
  }
  session.WaitForOperation({op});
  return session.Succeeded();
}

// Counts a nesting level for the life of the scope.
class LevelScope {
 public:
  explicit LevelScope(int& level) : level_(level) { ++level_; }
  ~LevelScope() { --level_; }
  LevelScope(const LevelScope&) = delete;
  LevelScope& operator=(const LevelScope&) = delete;
  int level() const { return level_; }

 private:
  int& level_;
};

// The outermost RemoveDirectory empties the guard when it returns, so that a later removal of
// the same path starts afresh; within one removal a path refused twice stops it.
class RemovalScope {
 public:
  explicit RemovalScope(DirectoryLists& lists) : lists_(lists), level_(lists.removal_nesting) {}
  ~RemovalScope() {
    if (level_.level() == 1) lists_.guard.clear();
  }
  RemovalScope(const RemovalScope&) = delete;
  RemovalScope& operator=(const RemovalScope&) = delete;

 private:
  DirectoryLists& lists_;
  LevelScope level_;
};

bool IsRoot(const std::string& path) { return path == "/" || path == "\\"; }

// Whether a refused RMD is worth emptying the folder: servers word "not empty" in many ways
// ("550 Delete operation failed", "451 file system error", vsftpd's bare failure text), so the
// folder's own listing decides. Only a refusal by reply counts (a close is no refusal), and the
// refusal stays the error when the folder turns out empty or unlistable.
bool RefusedWithEntries(Core& core, const std::string& path) {
  const std::int32_t number = core.ErrorNumber();
  // 421 ends the session: that is no answer about the folder.
  if (number < errors::ReplyError(400) || number > errors::ReplyError(599) ||
      number == errors::ReplyError(421))
    return false;
  const SavedError refusal(core);
  const auto files = GetRemoteFolderEntries(core, path);
  const bool has_entries = files && files->Count() > 0 && core.ErrorNumber() == 0;
  core.error().Clear();
  refusal.PutBack(core);
  return has_entries;
}

// The rest of RemoveDirectory once RMD was refused as "not empty".
bool EmptyAndRemove(Core& core, const std::string& path) {
  DirectoryLists& lists = DataConnection::Of(core).directories;
  if (ftp_text::Contains("*" + lists.guard + "*", "*" + path + "*")) {
    lists.guard.clear();
    Fail(core.ErrorNumber(), core.ErrorInfo(), "RemoveDirectory");
  }
  lists.guard += "*" + path;
  const bool provisional = RemoveFTPFolderAndFiles(core, path);
  if (core.ErrorNumber() != 0) return provisional;
  if (!FtpSession::Of(core).RequireFree("RemoveDirectory")) return false;
  // Normally the folder is gone by now and this RMD fails: the result stays true.
  return RunCommand(core, opRemoveDirectory, "RMD", path) || provisional;
}

// True when the parent's fresh listing holds a folder of exactly this name (not a file, not a
// link, not another case of it).
bool FolderIsListed(Core& core, const std::string& path) {
  const DirectorySplit split = SplitDirectoryName(path);
  // The parent is a folder path, never a pattern: "?" or "*" in it are characters.
  const auto files = GetFtpFolderEntries(core, split.parent.empty() ? "/" : split.parent);
  if (!files) return false;
  return std::any_of(files->begin(), files->end(), [&](const CFtpFile& file) {
    return file.IsDirectory() && file.FileName() == split.name;
  });
}

// MKD and, when it was refused as "already exists", the proof that the folder is there.
bool MakeDirectory(Core& core, const std::string& path) {
  FtpSession& session = FtpSession::Of(core);
  session.mkd_existing_reply.reset();
  if (!RunCommand(core, opCreateDirectory, "MKD", path)) return false;
  if (!session.mkd_existing_reply) {
    DirectoryLists& lists = DataConnection::Of(core).directories;
    if (lists.created_switch) lists.fresh_folders.insert(lists.Key(path));
    return true;
  }
  const std::string refusal = *std::exchange(session.mkd_existing_reply, std::nullopt);
  if (FolderIsListed(core, path)) return true;
  if (core.ErrorNumber() == 0)
    RecordError("CreateDirectory", errors::ReplyError(550),
                "Folder not created: [ " + path + " ] (" + refusal + ")");
  return false;
}

}  // namespace

DirectorySplit SplitDirectoryName(const std::string& directory_name) {
  std::string path = FormatFTPPath(directory_name);
  std::string prefix;
  if (!path.empty() && path[0] == '/') {
    prefix = "/";
    path.erase(0, 1);
  }
  if (!path.empty() && path.back() == '/') path.pop_back();
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return {prefix, path};
  return {prefix + path.substr(0, slash + 1), path.substr(slash + 1)};
}

std::string NextCurrentDirectory(const std::string& current, const std::string& path) {
  std::string next;
  if (!path.empty() && path[0] == '/') {
    next = path;
  } else if (path == "..") {
    next = FormatFTPPath(GetParentFolderPath(current));
  } else {
    next = FormatFTPPath(current + "/" + path);
  }
  if (!next.empty() && next.back() == '/') next.pop_back();
  return next;
}

std::string ParentOfDirectory(const std::string& directory) {
  const auto slash = directory.rfind('/');
  if (slash == std::string::npos || slash == 0) return "/";
  return directory.substr(0, slash);
}

bool CreatedListHolds(const std::string& list, const std::string& path) {
  return ftp_text::Contains(FoldCase(Concat("|", list, "|")), Concat("|", FoldCase(path), "|"));
}

bool ExistDirectory(Core& core, const std::string& directory_name) {
  return Guarded(core, "ExistDirectory", false, [&] {
    RequireOneLine(directory_name, "remote path");
    const DirectorySplit split = SplitDirectoryName(directory_name);
    if (split.name.empty() && (split.parent.empty() || split.parent == "/")) {
      WriteLog("ExistDirectory -- Root -- " + split.parent);
      return true;
    }
    const auto files = GetFtpFolderEntries(core, split.parent.empty() ? "/" : split.parent);
    if (!files) return false;
    const std::string wanted = FoldCase(split.name);
    for (const auto& file : *files) {
      if (file.IsDirectory() && FoldCase(file.FileName()) == wanted) {
        WriteLog("ExistDirectory -- Yes -- " + split.parent + split.name);
        return true;
      }
    }
    WriteLog("ExistDirectory -- No -- " + split.parent + split.name);
    return false;
  });
}

bool CreateDirectory(Core& core, const std::string& directory_path, bool recursive) {
  return Guarded(core, "CreateDirectory", false, [&] {
    RequireOneLine(directory_path, "remote path");
    DirectoryLists& lists = DataConnection::Of(core).directories;
    std::string path = FormatFTPPath(directory_path);
    if (lists.created_switch && CreatedListHolds(lists.created, path)) {
      WriteLog("Already create: " + path + "; ");
      return true;
    }
    core.ClearLastError();
    core.error().Clear();
    path = ftp_text::Trim(path);
    if (path.empty()) Fail(errors::kNoRemotePath);
    if (path.back() == '/') path.pop_back();
    if (path.empty()) return true;  // the root always exists
    FtpSession& session = FtpSession::Of(core);
    if (!session.Connect()) return false;
    const std::string& current = core.rt.current_directory;
    if (core.settings.mkd_check_exist && ExistDirectory(core, path)) {
      if (lists.created_switch) lists.created += FoldCase(path) + "|";
      WriteLog("CCD.EXIST: " + current + "; " + path);
      return true;
    }
    if (recursive) {
      const std::string parent = FormatFTPPath(GetParentFolderPath(path));
      if (!parent.empty() && !IsRoot(parent)) CreateDirectory(core, parent, true);
    }
    if (core.ErrorNumber() != 0) return false;
    if (!session.RequireFree("CreateDirectory")) return false;
    const bool made = MakeDirectory(core, path);
    if (made && lists.created_switch) lists.created += FoldCase(path) + "|";
    WriteLog((made ? "CCDPATH.OK: " : "CCDPATH.ERR: ") + current + "; " + path);
    core.pump().Sleep(core.PacingPause(10));
    return made;
  });
}

bool RemoveDirectory(Core& core, const std::string& directory_path) {
  return Guarded(core, "RemoveDirectory", false, [&] {
    RequireOneLine(directory_path, "remote path");
    DirectoryLists& lists = DataConnection::Of(core).directories;
    core.ClearLastError();
    lists.ForgetCreated();
    const std::string path = FormatFTPPath(directory_path);
    if (path.empty()) Fail(errors::kNoRemotePath);
    FtpSession& session = FtpSession::Of(core);
    if (!session.Connect()) return false;
    if (!session.RequireFree("RemoveDirectory")) return false;
    const RemovalScope scope(lists);
    if (IsRoot(path)) return RemoveFTPFolderAndFiles(core, path);
    if (RunCommand(core, opRemoveDirectory, "RMD", path)) return true;
    WriteLog("RDIR:" + core.ErrorInfo());
    if (!RefusedWithEntries(core, path)) return false;
    return EmptyAndRemove(core, path);
  });
}

bool RemoveFTPFolderAndFiles(Core& core, const std::string& folder_path) {
  return Guarded(core, "RemoveFTPFolderAndFiles", false, [&] {
    RequireOneLine(folder_path, "remote path");
    DirectoryLists& lists = DataConnection::Of(core).directories;
    const LevelScope depth(lists.removal_depth);
    const std::string folder = FormatFTPPath(folder_path + "/");
    if (depth.level() > kMaxRemovalDepth)
      Fail(errors::ReplyError(550), "Removal stopped: more than 64 folder levels below [ " + folder + " ]");

    bool result = false;
    // The folder is taken literally: listed as a pattern, "a?b" would also list "acb" and
    // its files would be deleted.
    if (const auto files = GetRemoteFolderEntries(core, folder)) {
      for (const auto& file : *files) {
        // A name that is no name of this folder ("..", "a/b") is never deleted through it.
        if (!UsableEntryName(file.FileName()))
          Fail(errors::kUnknownListFormat, "Unusable name in the listing of " + folder + ": \"" + file.FileName() + "\"");
      }
      for (const auto& file : *files) {
        if (core.ErrorNumber() != 0) break;
        if (!file.IsDirectory()) DeleteRemoteFile(core, folder + file.FileName());
      }
      for (const auto& file : *files) {
        if (core.ErrorNumber() != 0) break;
        if (file.IsDirectory()) result = RemoveFTPFolderAndFiles(core, folder + file.FileName());
      }
    }
    if (core.ErrorNumber() != 0) return result;
    return IsRoot(folder) ? true : RemoveDirectory(core, folder);
  });
}

bool SetCurrentDirectory(Core& core, const std::string& directory_path) {
  return Guarded(core, "SetCurrentDirectory", false, [&] {
    RequireOneLine(directory_path, "remote path");
    core.ClearLastError();
    std::string path = FormatFTPPath(ftp_text::Trim(directory_path));
    if (path.empty()) Fail(errors::kNoRemotePath);
    if (path == ".") path = "/";
    FtpSession& session = FtpSession::Of(core);
    if (!session.Connect()) return false;
    if (!session.RequireFree("SetCurrentDirectory")) return false;
    if (!RunCommand(core, opSetCurrentDirectory, "CWD", path)) return false;
    core.rt.current_directory = NextCurrentDirectory(core.rt.current_directory, path);
    WriteLog("SCDPATH: " + core.rt.current_directory + "; ");
    return true;
  });
}

std::string GetParentDirectory(Core& core) {
  return Guarded(core, "GetParentDirectory", std::string(), [&] {
    const std::string directory = FtpSession::Of(core).GetCurrentDirectory();
    if (core.ErrorNumber() != 0) return std::string();
    return ParentOfDirectory(directory);
  });
}

}  // namespace quorvi::detail
