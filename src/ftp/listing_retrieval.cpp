#include "ftp/listing_retrieval.h"

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/data_connection.h"
#include "ftp/ftp_text.h"
#include "ftp/listing_parser.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/session.h"
#include "local/mfile.h"
#include "local/path_rules.h"

namespace quorvi::detail {

namespace {
constexpr const char* kProcedure = "GetRemoteFilesInfo";

bool HasPattern(const std::string& path) {
  return path.find_first_of("*?") != std::string::npos;
}

bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

bool HasBlank(const std::string& text) {
  return text.find_first_of(" \t") != std::string::npos;
}

// A path's folder ("/" for a top-level name, "" for a bare relative name) and last name.
std::pair<std::string, std::string> SplitLast(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {"", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

// pure-ftpd splits a LIST argument at its blanks ("LIST /up/with space" lists nothing), so a
// folder whose path holds a blank is changed into and listed without an argument. A single
// name with a blank (ListDirForFile off) is found by listing its folder and keeping that name.
void AvoidSplitArgument(ListingPlan& plan, bool list_dir_for_file) {
  auto [folder, name] = SplitLast(plan.path);
  std::string rest;  // what LIST is given after the change
  if (HasPattern(plan.path)) {
    rest = name;
  } else if (plan.explicit_folder) {
    folder = plan.path;
  } else if (!list_dir_for_file) {
    if (!HasBlank(plan.path)) return;
    plan.only_name = name;
    plan.listed = folder;
  }
  // (ListDirForFile lists the folder of the name: only the folder's blanks matter.)
  if (!HasBlank(folder)) return;
  plan.change_directory = true;
  plan.directory = folder;
  plan.listed = rest;
}

// Only the entries named exactly `name`, in their order.
CFtpFiles OnlyNamed(const CFtpFiles& files, const std::string& name) {
  CFtpFiles kept;
  for (const auto& file : files)
    if (file.FileName() == name) kept.Add(file, file.FileName());
  return kept;
}

// What the listing changed and must put back: the list command and the current directory.
struct Restore {
  bool list_command = false;
  bool directory = false;
  std::string saved_directory;
};

void PutBack(Core& core, const Restore& restore) {
  if (restore.list_command) core.rt.list_command = "MLSD";
  if (!restore.directory) return;
  const SavedError saved(core);
  // "" is how the root is held after a change to it.
  const std::string folder = restore.saved_directory.empty() ? "/" : restore.saved_directory;
  if (!SetCurrentDirectory(core, folder)) {
    WriteLog("SetCurrentDirectory Folder=False|" + folder + "|" + core.ErrorInfo());
    return;
  }
  saved.PutBack(core);
}

// Steps 8 to 14: from the directory change (MLSD) to the parsed listing.
std::optional<CFtpFiles> RunListing(Core& core, const ListingPlan& plan, Restore& restore) {
  FtpSession& session = FtpSession::Of(core);
  DataConnection& data = DataConnection::Of(core);
  if (plan.change_directory) {
    restore.saved_directory = core.rt.current_directory;
    if (!SetCurrentDirectory(core, plan.directory)) return std::nullopt;
    restore.directory = true;
  }

  ListingState& listing = data.listing;
  listing.listed_path = ftp_text::Trim(plan.listed);
  listing.listed_parent = plan.parent;
  // ListDirForFile's parent rule applies to the requested path only, never to an argument
  // already rewritten here.
  listing.may_be_file = plan.may_be_file && plan.listed == plan.path;
  listing.list_reply = listing.data_closed = false;
  listing.buffer.Clear();
  listing.unread = {};

  core.BeginAsyncMethod(opListDirectory);
  if (!data.BeginDataExchange(data.GetTransferType())) {
    if (core.rt.operation == opListDirectory) core.EndAsyncMethod();
    return std::nullopt;
  }
  // Passive mode needs both the final reply and the close of the data connection; they come
  // in either order.
  const auto complete = [&] { return listing.list_reply && listing.data_closed; };
  session.WaitForOperation(
      {opListDirectory}, 0, true,
      [&] {
        if (complete() && core.rt.operation == opListDirectory) core.EndAsyncMethod();
      },
      complete);
  // Active mode ends a listing with its data connection: the LIST's final reply may still be
  // on its way, and must not answer the next command.
  if (!core.settings.passive_mode) session.OweFinalReply();
  listing.listed_path.clear();
  const std::string text = listing.buffer.Finish();
  // Some servers end a listing's TLS stream without close_notify; a listing that stops at a
  // line break is taken, one that stops inside a line was cut short.
  if (core.error().Number() == 0 && data.m_objDataSocket.EndedWithoutCloseNotify() &&
      !text.empty() && text.back() != '\n') {
    Fail(errors::kTlsStream, GetErrorText(errors::kTlsStream) +
                                 ": the listing ended inside a line without close_notify");
  }

  std::optional<CFtpFiles> files;
  if (core.error().Number() == 0 && (!IsBlank(text) || plan.explicit_folder)) {
    listing.last_text = text;
    files = GetFileListX(
        text, {plan.parent, CurrentYear(), {}, core.rt.list_command == "MLSD", &listing.unread});
    if (!IsBlank(text) && !files) {
      WriteLog(std::to_string(text.size()) + "--GetRMInfo--" + plan.path +
               "---------------------------\n" + text + "\n---------------------------");
      Fail(errors::kUnknownListFormat);
    }
    if (files && !plan.only_name.empty()) files = OnlyNamed(*files, plan.only_name);
    if (core.settings.cache_listing) listing.cached = files;
    if (files && files->Count() == 0) files.reset();
  }
  core.pump().Sleep(core.PacingPause(5));
  return files;
}

}  // namespace

ListingPlan PlanFolderListing(const std::string& folder, const std::string& list_command) {
  ListingPlan plan;
  plan.path = FormatFTPPath(folder);
  if (plan.path.size() > 1 && plan.path.back() == '/') plan.path.pop_back();
  plan.parent = plan.path;
  plan.explicit_folder = true;
  // LIST reads pattern characters, blanks and backslashes in its argument (servers glob it or
  // split it), so such a folder is changed into and listed without an argument; CWD takes its
  // argument as it is.
  const bool plain = plan.path.find_first_of("*?[]{}~ \t\\") == std::string::npos;
  if (list_command == "MLSD" || !plain) {
    plan.change_directory = true;
    plan.directory = plan.path;
  } else {
    plan.listed = plan.path;
  }
  return plan;
}

ListingPlan PlanListing(const std::string& requested, const std::string& current_directory,
                        const std::string& list_command, bool list_dir_for_file) {
  ListingPlan plan;
  plan.path = FormatFTPPath(requested);
  plan.parent = FormatFTPPath(GetParentFolderPath(plan.path));
  plan.explicit_folder = HasPattern(plan.path);
  if (!plan.path.empty() && plan.path.back() == '/') {
    if (plan.path != "/") plan.path.pop_back();
    plan.explicit_folder = true;
  }
  plan.may_be_file = !plan.explicit_folder;
  if (plan.path.empty() || (plan.path[0] != '/' && plan.path[0] != '\\'))
    plan.parent = FormatFTPPath(current_directory + "/" + plan.parent + "/");
  plan.use_list = HasPattern(plan.path) && list_command == "MLSD";
  plan.listed = plan.path;
  if (list_command == "MLSD" && !plan.use_list && !plan.path.empty()) {
    // MLSD takes no path: change into it and list the current directory.
    plan.change_directory = true;
    plan.directory = plan.path;
    plan.listed.clear();
  } else {
    AvoidSplitArgument(plan, list_dir_for_file);
  }
  return plan;
}

std::optional<CFtpFiles> GetRemoteFilesInfo(Core& core, const std::string& path) {
  return ListRemote(core, [&] {
    return PlanListing(path, core.rt.current_directory, core.rt.list_command,
                       core.settings.list_dir_for_file);
  });
}

std::optional<CFtpFiles> GetRemoteFolderEntries(Core& core, const std::string& folder) {
  return ListRemote(core, [&] { return PlanFolderListing(folder, core.rt.list_command); });
}

std::optional<CFtpFiles> ListRemote(Core& core, const std::function<ListingPlan()>& make_plan) {
  FtpSession& session = FtpSession::Of(core);
  core.ClearLastError();
  if (!session.Connect()) return std::nullopt;
  if (!session.RequireFree(kProcedure)) return std::nullopt;

  // Planned after the login: its feature probe may still change the list command.
  const ListingPlan plan = make_plan();
  Restore restore;
  if (plan.use_list) {
    core.rt.list_command = "LIST";  // MLSD takes no pattern
    restore.list_command = true;
  }
  std::optional<CFtpFiles> files;
  try {
    // Checked before a data connection opens for it (a folder name from a listing, say).
    RequireOneLine(plan.listed, "remote path");
    RequireOneLine(plan.directory, "remote path");
    files = RunListing(core, plan, restore);
  } catch (const ComponentError& e) {
    WriteLog(std::string("GetRemoteFilesInfo.Err:") + std::to_string(e.number()) + " " + e.text());
    DataConnection& data = DataConnection::Of(core);
    data.listing.listed_path.clear();
    data.listing.buffer.Clear();
    data.CloseDataConnection();
    core.ReportError(kProcedure, e.number(), e.text());
    files.reset();
  }
  PutBack(core, restore);
  return files;
}

std::optional<CFtpFile> GetFtpFileInfoFromCache(Core& core, const std::string& path) {
  const auto& cached = DataConnection::Of(core).listing.cached;
  if (!cached || !core.settings.cache_listing) return std::nullopt;
  // Only an entry of the same folder answers: a name listed elsewhere says nothing here.
  std::string full = FormatFTPPath(path);
  if (full.empty() || full[0] != '/') full = FormatFTPPath(core.rt.current_directory + "/" + full);
  const CFtpFile* file = cached->Item(MFile::GetFileName(full));
  if (file == nullptr || file->IsDirectory() || file->FilePath() != full) return std::nullopt;
  return *file;
}

SavedError::SavedError(Core& core)
    : number(core.error().Number()),
      description(core.error().Description()),
      source(core.error().Source()),
      last_number(core.rt.last_error_number),
      last_text(core.rt.last_error_text) {}

void SavedError::PutBack(Core& core) const {
  if (number != 0) {
    core.error().Number(number);
    core.error().Description(description);
    core.error().Source(source);
  }
  core.rt.last_error_number = last_number;
  core.rt.last_error_text = last_text;
}

}  // namespace quorvi::detail
